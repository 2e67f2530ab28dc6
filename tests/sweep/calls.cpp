// From the trace of a healthy run to the faults that it can meet.
#include "tests/sweep/calls.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <tuple>
#include <utility>

namespace {

/// What a call can give instead of success.
struct FallibleCall {
  std::string_view name;
  bool names_node;                       ///< the fault names what the call is made on
  std::vector<const char*> errors;       ///< once, and from there to the end
  std::vector<const char*> once_errors;  ///< no board gives these for ever
  std::vector<const char*> shorts{};
};

// A close that fails has closed all the same, and the program looks at none of its results: one error will
// do.
const std::vector<FallibleCall> kCalls = {
    {"open", true, {"ENODEV", "EMFILE"}, {}},
    {"close", true, {"EIO"}, {}},
    {"ioctl", true, {"EIO"}, {"EINTR"}},
    {"read", true, {"EIO"}, {"EINTR"}, {"short 0", "short 1"}},
    {"write", true, {"EIO", "ENOSPC"}, {"EINTR"}, {"short 0", "short 1"}},
    {"lseek", true, {"EINVAL", "EIO"}, {}},
    {"stat", true, {"ENOENT", "EACCES"}, {}},
    {"access", true, {"ENOENT", "EACCES"}, {}},
    {"socket", false, {"EMFILE", "ENOBUFS"}, {}},
    {"connect", false, {"ECONNREFUSED", "ETIMEDOUT"}, {}},
    {"select", false, {"ENOMEM"}, {"EINTR"}},
    {"poll", false, {"ENOMEM"}, {"EINTR"}},
    {"recv", false, {"ECONNRESET", "EIO"}, {"EINTR"}, {"short 0", "short 1"}},
    {"send", false, {"EPIPE", "ECONNRESET"}, {"EINTR"}, {"short 1"}},
    {"malloc", false, {"ENOMEM"}, {}},
    {"calloc", false, {"ENOMEM"}, {}},
    {"system", false, {"EAGAIN", "ENOMEM"}, {}},
    {"mount", false, {"EBUSY", "ENXIO"}, {}},
    {"umount", false, {"EBUSY", "EIO"}, {}},
    {"statfs", false, {"EIO"}, {}},
    {"mkdir", false, {"EEXIST", "ENOSPC"}, {}},
    {"rmdir", false, {"EBUSY", "ENOTEMPTY"}, {}},
    {"unlink", false, {"EROFS", "EIO"}, {}},
    {"tcgetattr", false, {"EIO", "ENOTTY"}, {}},
    {"tcsetattr", false, {"EIO", "ENOTTY"}, {}},
};

const FallibleCall* fallible(std::string_view name) {
  const auto found = std::ranges::find(kCalls, name == "fopen" ? "open" : name, &FallibleCall::name);
  return found == kCalls.end() ? nullptr : &*found;
}

std::string hexadecimal(std::uint32_t number) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08x", static_cast<unsigned>(number));
  return text;
}

using Target = std::tuple<std::string, std::string, std::uint32_t>;  // call, node, request

void add_count(std::vector<Fault>& faults, const Target& target, const FallibleCall& call, unsigned first,
               bool once) {
  const auto& [name, node, request] = target;
  const auto add = [&](const std::vector<const char*>& effects, bool lasting) {
    for (const char* effect : effects) faults.push_back({name, node, request, first, lasting, effect});
  };
  for (const bool lasting : {false, true}) {
    if (!lasting && !once) continue;
    add(call.errors, lasting);
    add(call.shorts, lasting);
  }
  if (once) add(call.once_errors, false);
}

}  // namespace

std::string Fault::target() const {
  std::string text = call;
  if (!node.empty()) text += " " + node;
  if (request != 0) text += " " + hexadecimal(request);
  return text;
}

std::string Fault::text() const {
  return target() + " #" + std::to_string(first) + (lasting ? "+ " : " ") + effect;
}

Fault parse_fault(const std::string& text) {
  std::istringstream words(text);
  Fault fault;
  std::string word;
  words >> fault.call;
  while (words >> word) {
    if (word.starts_with('/')) {
      fault.node = word;
    } else if (word.starts_with("0x")) {
      fault.request = static_cast<std::uint32_t>(std::stoul(word, nullptr, 16));
    } else if (word.starts_with('#')) {
      fault.lasting = word.ends_with('+');
      fault.first = static_cast<unsigned>(std::stoul(word.substr(1)));
    } else {
      fault.effect += (fault.effect.empty() ? "" : " ") + word;
    }
  }
  if (fallible(fault.call) == nullptr || fault.effect.empty()) {
    throw std::invalid_argument("CALL [NODE [REQUEST]] #N[+] ERRNO|short BYTES, not: " + text);
  }
  return fault;
}

std::vector<std::size_t> befallen(const Fault& fault, const std::vector<boardsim::Call>& trace) {
  std::vector<std::size_t> places;
  unsigned met = 0;
  for (std::size_t i = 0; i < trace.size(); ++i) {
    if (trace[i].name != fault.call && !(fault.call == "open" && trace[i].name == "fopen")) continue;
    if (!fault.node.empty() && trace[i].node != fault.node) continue;
    if (fault.request != 0 && trace[i].request != fault.request) continue;
    ++met;
    if (met == fault.first || (fault.lasting && met > fault.first)) places.push_back(i);
  }
  return places;
}

bool can_fail(const boardsim::Call& call) {
  return fallible(call.name) != nullptr && !(call.name == "close" && !call.node.starts_with('/'));
}

std::vector<Fault> faults_of(const std::vector<boardsim::Call>& trace) {
  std::map<Target, unsigned> counts;
  std::map<std::string, std::map<std::uint32_t, unsigned>> requests;  // of each node
  for (const boardsim::Call& call : trace) {
    if (!can_fail(call)) continue;
    const FallibleCall& kind = *fallible(call.name);
    ++counts[{std::string(kind.name), kind.names_node ? call.node : "", call.request}];
    if (call.name == "ioctl") ++requests[call.node][call.request];
  }
  std::vector<Fault> faults;
  for (const auto& [target, count] : counts) {
    const FallibleCall& kind = *fallible(std::get<0>(target));
    for (unsigned first = 1; first <= count; ++first) add_count(faults, target, kind, first, true);
  }
  // A driver that fails for every request from some call on.
  for (const auto& [node, of_node] : requests) {
    if (of_node.size() < 2) continue;
    unsigned count = 0;
    for (const auto& [request, calls] : of_node) count += calls;
    for (unsigned first = 1; first <= count; ++first) {
      add_count(faults, {"ioctl", node, 0}, *fallible("ioctl"), first, false);
    }
  }
  return faults;
}
