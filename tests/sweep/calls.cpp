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
  bool names_node;                  ///< the fault names what the call is made on
  std::vector<const char*> errors;  ///< once, and from there to the end; the first for every node at once
  std::vector<const char*> once_errors;  ///< no board gives these for ever
  bool moves_bytes = false;              ///< can fall short
};

// A close that fails has closed all the same, and the program looks at none of its results: one error will
// do.
const std::vector<FallibleCall> kCalls = {
    {"open", true, {"EMFILE", "ENODEV", "ENOENT", "EACCES", "EBUSY", "ENXIO"}, {"EINTR"}},
    {"close", true, {"EIO"}, {}},
    {"ioctl", true, {"EIO", "ENOTTY", "EINVAL", "ENODEV"}, {"EINTR"}},
    {"read", true, {"EIO"}, {"EINTR"}, true},
    {"write", true, {"EIO", "ENOSPC"}, {"EINTR"}, true},
    {"lseek", true, {"EINVAL", "EIO"}, {}},
    {"stat", true, {"ENOENT", "EACCES"}, {}},
    {"access", true, {"ENOENT", "EACCES"}, {}},
    {"socket", false, {"EMFILE", "ENOBUFS"}, {}},
    {"connect", false, {"ECONNREFUSED", "ETIMEDOUT"}, {}},
    {"select", false, {"ENOMEM", "time-out"}, {"EINTR"}},
    {"poll", false, {"ENOMEM"}, {"EINTR"}},
    {"recv", false, {"ECONNRESET", "EIO"}, {"EINTR"}, true},
    {"send", false, {"EPIPE", "ECONNRESET"}, {"EINTR"}, true},
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
    {"tcflush", false, {"EIO"}, {}},
    {"reboot", false, {"EPERM"}, {}},
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
using Calls = std::vector<const boardsim::Call*>;

constexpr std::size_t kFirstOnes = 4;  // of a long run of like calls: these, and the last, in every way

/// The ways in which a call can fail, once or lastingly.
std::vector<std::string> ways(const FallibleCall& kind, const boardsim::Call& call, bool lasting) {
  std::vector<std::string> all(kind.errors.begin(), kind.errors.end());
  if (!lasting) all.insert(all.end(), kind.once_errors.begin(), kind.once_errors.end());
  if (!kind.moves_bytes) return all;
  if (kind.name != "send") all.emplace_back("short 0");
  if (call.result > 1) all.emplace_back("short 1");
  if (call.result > 2) all.push_back("short " + std::to_string(call.result - 1));
  return all;
}

/// The faults of like calls, in the order of the calls.
void add_each(std::vector<Fault>& faults, const Target& target, const FallibleCall& kind,
              const Calls& calls) {
  const auto& [name, node, request] = target;
  for (std::size_t i = 0; i < calls.size(); ++i) {
    const bool in_every_way = i < kFirstOnes || i + 1 == calls.size();
    for (const bool lasting : {false, true}) {
      const std::vector<std::string> effects = ways(kind, *calls[i], lasting);
      for (std::size_t way = 0; way < effects.size(); ++way) {
        if (!in_every_way && way != (i + lasting) % effects.size()) continue;
        faults.push_back({name, node, request, static_cast<unsigned>(i + 1), lasting, effects[way]});
      }
    }
  }
}

/// Everything of a kind fails from some call on: a driver whatever the request, the process on whatever node.
/// For the process, the first of calls on one node that follow one another will do.
void add_together(std::vector<Fault>& faults, const Target& target, const FallibleCall& kind,
                  const Calls& calls, bool each) {
  const auto& [name, node, request] = target;
  for (std::size_t i = 0; i < calls.size(); ++i) {
    if (!each && i > 0 && calls[i]->node == calls[i - 1]->node) continue;
    faults.push_back({name, node, request, static_cast<unsigned>(i + 1), true, kind.errors.front()});
  }
}

bool is_fault_of(const Fault& fault, const boardsim::Call& call) {
  const bool opens = fault.call == "open" && call.name == "fopen";
  return (call.name == fault.call || opens) && (fault.node.empty() || fault.node == call.node) &&
         (fault.request == 0 || fault.request == call.request);
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
    throw std::invalid_argument("CALL [NODE [REQUEST]] #N[+] ERRNO|short BYTES|result 0|time-out, not: " +
                                text);
  }
  return fault;
}

std::vector<std::size_t> befallen(const Fault& fault, const std::vector<boardsim::Call>& trace) {
  std::vector<std::size_t> places;
  unsigned met = 0;
  for (std::size_t i = 0; i < trace.size(); ++i) {
    if (!is_fault_of(fault, trace[i])) continue;
    ++met;
    if (met == fault.first || (fault.lasting && met > fault.first)) places.push_back(i);
  }
  return places;
}

std::vector<std::string> laid(const Fault& fault, const std::vector<boardsim::Call>& healthy) {
  if (!fault.node.empty() || !fallible(fault.call)->names_node) return {fault.text()};
  std::map<std::string, unsigned> before;  // calls on each node that still go well
  unsigned met = 0;
  for (const boardsim::Call& call : healthy) {
    if (!is_fault_of(fault, call)) continue;
    before[call.node] += ++met < fault.first;
  }
  std::vector<std::string> texts;
  for (const auto& [node, count] : before) {
    texts.push_back(Fault{fault.call, node, fault.request, count + 1, fault.lasting, fault.effect}.text());
  }
  return texts;
}

bool can_fail(const boardsim::Call& call) {
  return fallible(call.name) != nullptr && !(call.name == "close" && !call.node.starts_with('/'));
}

std::vector<Fault> faults_of(const std::vector<boardsim::Call>& trace) {
  std::map<Target, Calls> each;
  std::map<Target, Calls> of_driver;
  std::map<Target, Calls> of_process;
  for (const boardsim::Call& call : trace) {
    if (!can_fail(call)) continue;
    const FallibleCall& kind = *fallible(call.name);
    const std::string name(kind.name);
    each[{name, kind.names_node ? call.node : "", call.request}].push_back(&call);
    if (call.name == "ioctl") of_driver[{name, call.node, 0}].push_back(&call);
    if (kind.names_node && name != "close") of_process[{name, "", 0}].push_back(&call);
  }
  const auto differ = [](const Calls& calls, auto member) {
    return std::ranges::any_of(calls, [&](const auto* call) { return call->*member != calls[0]->*member; });
  };
  std::vector<Fault> faults;
  for (const auto& [target, calls] : each) add_each(faults, target, *fallible(std::get<0>(target)), calls);
  for (const auto& [target, calls] : of_driver) {
    if (differ(calls, &boardsim::Call::request))
      add_together(faults, target, *fallible("ioctl"), calls, true);
  }
  for (const auto& [target, calls] : of_process) {
    if (!differ(calls, &boardsim::Call::node)) continue;
    add_together(faults, target, *fallible(std::get<0>(target)), calls, false);
  }
  return faults;
}
