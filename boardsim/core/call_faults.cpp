// Faults that make a system call fail or fall short.
#include "boardsim/core/call_faults.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>

#include "boardsim/core/trace.h"
#include "boardsim/devices/fault_words.h"

namespace boardsim {
namespace {

constexpr std::array<std::string_view, 8> kNodeCalls{"open", "ioctl", "read",  "write",
                                                     "stat", "close", "lseek", "access"};
constexpr std::array<std::string_view, 19> kPlainCalls{
    "socket", "bind",  "listen", "accept", "select", "recv",  "send",   "connect",   "poll",     "thread",
    "system", "mount", "umount", "statfs", "mkdir",  "rmdir", "unlink", "tcgetattr", "tcsetattr"};

constexpr std::array<std::string_view, 4> kWithBytes{"read", "write", "recv", "send"};
// Calls that can return a number without having done anything.
constexpr std::array<std::string_view, 5> kWithResult{"ioctl", "write", "lseek", "stat", "access"};

bool is_one_of(std::string_view word, const auto& words) {
  return std::ranges::find(words, word) != words.end();
}

bool is_number(std::string_view word) {
  return !word.empty() && word.front() >= '0' && word.front() <= '9';
}

}  // namespace

std::string_view CallFaults::help() {
  return "open|read|write|lseek|stat|access|close NODE, ioctl NODE [REQUEST], socket, bind, listen, "
         "accept, connect, select, poll, recv, send, thread, system, mount, umount, statfs, mkdir, rmdir, "
         "unlink, tcgetattr, tcsetattr; each with [#N[+]] [ERRNO]; for ERRNO also short BYTES (read, write, "
         "recv, send) or result N (ioctl, write, lseek, stat, access)";
}

bool CallFaults::add(const std::vector<std::string_view>& words) {
  if (words.empty()) return false;
  const bool on_node = is_one_of(words.front(), kNodeCalls);
  if (!on_node && !is_one_of(words.front(), kPlainCalls)) return false;

  Fault fault{.call = std::string(words.front())};
  fault.outcome.error = fault.call == "open" ? ENODEV : EIO;
  auto word = words.begin() + 1;
  if (on_node) {
    if (word == words.end() || !word->starts_with('/')) refuse_fault(words, help());
    fault.node = *word++;
  }
  if (fault.call == "ioctl" && word != words.end() && is_number(*word)) fault.request = fault_number(*word++);
  if (word != words.end() && word->starts_with('#')) {
    std::string_view count = word++->substr(1);
    fault.goes_on = count.ends_with('+');
    if (fault.goes_on) count.remove_suffix(1);
    fault.first = fault_number(count);
    if (fault.first == 0) refuse_fault(words, "calls are counted from #1");
  }
  if (word != words.end() && *word == "short") {
    if (++word == words.end() || !is_one_of(fault.call, kWithBytes)) refuse_fault(words, help());
    fault.outcome = {.at_most = fault_number(*word++)};
  } else if (word != words.end() && *word == "result") {
    if (++word == words.end() || !is_one_of(fault.call, kWithResult)) refuse_fault(words, help());
    const std::uint32_t result = fault_number(*word++);
    if (result > INT32_MAX) refuse_fault(words, "a result from 0 to 2147483647");
    fault.outcome = {.result = static_cast<long>(result)};
  } else if (word != words.end()) {
    fault.outcome.error = error_number(*word++);
    if (fault.outcome.error == 0) refuse_fault(words, "the name of an error, like EIO");
  }
  if (word != words.end()) refuse_fault(words, help());
  faults_.push_back(std::move(fault));
  return true;
}

std::optional<FaultyCall> CallFaults::meet(std::string_view call, std::string_view node,
                                           std::uint32_t request) {
  std::optional<FaultyCall> outcome;
  for (Fault& fault : faults_) {
    if (fault.call != call || fault.node != node || (fault.request && *fault.request != request)) continue;
    ++fault.met;
    const bool befalls = fault.met == fault.first || (fault.goes_on && fault.met > fault.first);
    if (befalls && !outcome) outcome = fault.outcome;
  }
  return outcome;
}

}  // namespace boardsim
