#include "boardsim/board/call_faults.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <utility>

#include "boardsim/kernel/fault_forms.h"
#include "boardsim/kernel/trace.h"

namespace boardsim {
namespace {

// clang-format off
constexpr FaultyCallKind kKinds[] = {
    // name       node?  bytes? result? meaning
    {"open",      true,  false, false, "the node cannot be opened; ENODEV without another error"},
    {"ioctl",     true,  false, true,  "a request fails; without a number any"},
    {"read",      true,  true,  false, "reading fails, or moves fewer bytes"},
    {"write",     true,  true,  true,  "writing fails, or moves fewer bytes"},
    {"lseek",     true,  false, true,  "seeking fails"},
    {"stat",      true,  false, true,  "stat and fstat fail"},
    {"access",    true,  false, true,  "access fails"},
    {"close",     true,  false, false, "closing fails; the descriptor is closed all the same"},
    {"socket",    false, false, false, "no socket can be made"},
    {"bind",      false, false, false, "binding fails"},
    {"listen",    false, false, false, "listening fails"},
    {"accept",    false, false, false, "accepting a station fails"},
    {"connect",   false, false, false, "connecting fails, to the application too"},
    {"select",    false, false, false, "select fails"},
    {"poll",      false, false, false, "poll fails"},
    {"recv",      false, true,  false, "receiving from any socket fails, or moves fewer bytes"},
    {"send",      false, true,  false, "sending to any socket fails, or moves fewer bytes"},
    {"thread",    false, false, false, "a thread does not start"},
    {"system",    false, false, false, "a shell command that the board has returns -1"},
    {"mount",     false, false, false, "mounting fails"},
    {"umount",    false, false, false, "unmounting fails"},
    {"statfs",    false, false, false, "the space of a medium cannot be asked"},
    {"mkdir",     false, false, false, "no folder can be made"},
    {"rmdir",     false, false, false, "no folder can be removed"},
    {"unlink",    false, false, false, "no file can be removed"},
    {"tcgetattr", false, false, false, "the settings of a terminal cannot be read, nor those of the console"},
    {"tcsetattr", false, false, false, "the settings of a terminal cannot be changed, nor those of the console"},
};
// clang-format on

const FaultyCallKind* find_kind(std::string_view name) {
  const auto* found = std::ranges::find(kKinds, name, &FaultyCallKind::name);
  return found == std::end(kKinds) ? nullptr : found;
}

bool is_number(std::string_view word) {
  return !word.empty() && word.front() >= '0' && word.front() <= '9';
}

/// The words of a fault, taken one after the other.
class Reader {
 public:
  Reader(const FaultyCallKind& kind, const FaultWords& words) : kind_(kind), words_(words) {}

  bool at_end() const { return next_ == words_.size(); }
  std::string_view look() const { return at_end() ? std::string_view() : words_[next_]; }
  std::string_view take() { return words_[next_++]; }
  std::uint32_t take_number() {
    if (at_end()) refuse("behind it there can be a number");
    if (!is_number(look())) refuse(quoted() + " is not a number");
    return fault_number(take());
  }
  std::string quoted() const { return "\"" + std::string(look()) + "\""; }
  [[noreturn]] void refuse(const std::string& reason) const { refuse_fault(words_, reason, kind_.words()); }

 private:
  const FaultyCallKind& kind_;
  const FaultWords& words_;
  std::size_t next_ = 1;
};

/// "#2" or "#2+".
void take_count(Reader& words, unsigned& first, bool& goes_on) {
  std::string_view count = words.look().substr(1);
  goes_on = count.ends_with('+');
  if (goes_on) count.remove_suffix(1);
  first = is_number(count) ? fault_number(count) : 0;
  if (first == 0) words.refuse(words.quoted() + " can only be a count from 1, like #2 or #2+");
  words.take();
}

FaultyCall take_outcome(Reader& words, const FaultyCallKind& kind) {
  if (words.look() == "short" && kind.with_bytes) {
    words.take();
    return {.at_most = words.take_number()};
  }
  if (words.look() == "result" && kind.with_result) {
    words.take();
    const std::uint32_t result = words.take_number();
    if (result > INT32_MAX) words.refuse("a result can only be a number from 0 to 2147483647");
    return {.result = static_cast<long>(result)};
  }
  if (words.at_end()) return {.error = kind.name == "open" ? ENODEV : EIO};
  const int error = error_number(words.look());
  if (error == 0) {
    words.refuse(words.quoted() + " can only be the name of an error, like EBUSY" +
                 (kind.with_bytes ? ", or short" : "") + (kind.with_result ? ", or result" : ""));
  }
  words.take();
  return {.error = error};
}

}  // namespace

std::string FaultyCallKind::words() const {
  std::string text(name);
  if (on_node) text.append(" NODE");
  if (name == "ioctl") text.append(" [REQUEST]");
  text.append(" [#N[+]] [ERRNO");
  if (with_bytes) text.append("|short BYTES");
  if (with_result) text.append("|result N");
  return text.append("]");
}

std::span<const FaultyCallKind> CallFaults::kinds() {
  return kKinds;
}

bool CallFaults::add(const FaultWords& words) {
  const FaultyCallKind* const kind = words.empty() ? nullptr : find_kind(words.front());
  if (kind == nullptr) return false;
  Reader rest(*kind, words);
  Fault fault{.call = std::string(kind->name)};
  if (kind->on_node) {
    if (!rest.look().starts_with('/'))
      rest.refuse("behind " + fault.call + " there can be a node, like /dev/rtc");
    fault.node = rest.take();
  }
  if (fault.call == "ioctl" && is_number(rest.look())) fault.request = fault_number(rest.take());
  if (rest.look().starts_with('#')) take_count(rest, fault.first, fault.goes_on);
  fault.outcome = take_outcome(rest, *kind);
  if (!rest.at_end()) rest.refuse("it ends before " + rest.quoted());
  faults_.push_back(std::move(fault));
  return true;
}

std::optional<FaultyCall> CallFaults::meet(std::string_view call, std::string_view node,
                                           std::uint32_t request) {
  std::optional<FaultyCall> outcome;
  for (Fault& fault : faults_) {
    if (fault.call != call || fault.node != node || (fault.request && *fault.request != request)) continue;
    ++fault.met;
    const bool hits = fault.met == fault.first || (fault.goes_on && fault.met > fault.first);
    if (hits && !outcome) outcome = fault.outcome;
  }
  return outcome;
}

}  // namespace boardsim
