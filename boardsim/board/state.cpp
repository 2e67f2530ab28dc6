// What a board does besides files and network: time, faults, the trace, and the refusal of what it lacks.
#include "boardsim/board/state.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>

#include "boardsim/kernel/real.h"

namespace boardsim {
namespace {

constexpr std::uint32_t kLoopbackNetwork = 127;

std::vector<std::string_view> split(std::string_view text) {
  std::vector<std::string_view> words;
  for (;;) {
    const auto begin = text.find_first_not_of(" \t");
    if (begin == std::string_view::npos) return words;
    text.remove_prefix(begin);
    const auto end = std::min(text.find_first_of(" \t"), text.size());
    words.push_back(text.substr(0, end));
    text.remove_prefix(end);
  }
}

bool is_call(std::string_view word) {
  return std::ranges::find(CallFaults::kinds(), word, &FaultyCallKind::name) != CallFaults::kinds().end();
}

}  // namespace

BoardState::BoardState(const Family& family, Pace pace, double speed)
    : clock(pace, speed),
      devices([this] { return clock.now(); },
              [this](Time span, std::function<void()> event) { after(span, std::move(event)); },
              [this](const std::string& text)
                  BOARDSIM_LOCKS(requires_capability(mutex)) { violation(text); }) {
  devices.general_io.boot_block() = make_boot_block(family);
  devices.bench.set_level_inputs(family.level_inputs);
  devices.emmc.leave_factory(hardware_of(family.type));
}

void BoardState::after(Time span, std::function<void()> event) {
  clock.at(clock.now() + span, [this, event = std::move(event)] {
    const Locked lock(mutex);
    event();
  });
}

const FaultForms& BoardState::fault_forms() {
  const std::uint32_t type = boot_type(devices.general_io.boot_block());
  if (!forms.empty() && type == type_of_forms) return forms;
  type_of_forms = type;
  forms = {{"interface NAME ADDRESS|none",
            "a network interface has this IPv4 address, or none",
            {text("NAME"), text("ADDRESS|none")},
            [this](const FaultArguments& given) BOARDSIM_LOCKS(requires_capability(mutex)) {
              const std::string address(given.word(1) == "none" ? "" : given.word(1));
              if (!address.empty()) check_address(address);
              interface_faults.insert_or_assign(std::string(given.word(0)), address);
            }}};
  for (FaultForm& form : devices.fault_forms()) forms.push_back(std::move(form));
  return forms;
}

void BoardState::fault(std::string_view text) {
  const Locked lock(mutex);
  const FaultWords words = split(text);
  if (words.size() > 1 && words[1].starts_with('/') && !devices.can_have(words[1]) && is_call(words[0])) {
    throw std::invalid_argument("fault: the board has no " + std::string(words[1]) + "; it has " +
                                devices.paths());
  }
  if (call_faults.add(words) || lay_fault(fault_forms(), words)) return;
  std::string known;
  for (const FaultyCallKind& kind : CallFaults::kinds()) known.append(kind.words()).append(", ");
  for (const FaultForm& form : forms) known.append(form.words()).append(", ");
  throw std::invalid_argument("fault: \"" + std::string(text) + "\" is not understood; known are " +
                              known.substr(0, known.size() - 2));
}

std::vector<FaultLine> BoardState::fault_list() {
  const Locked lock(mutex);
  std::vector<FaultLine> lines;
  for (const FaultyCallKind& kind : CallFaults::kinds())
    lines.push_back({kind.words(), "", std::string(kind.meaning)});
  for (const FaultForm& form : fault_forms())
    lines.push_back({form.words(), form.possible(), form.meaning()});
  return lines;
}

void BoardState::clear_faults() {
  const Locked lock(mutex);
  interface_faults.clear();
  call_faults.clear();
  devices.clear_faults();
}

void BoardState::violation(const std::string& text) {
  const int error = errno;
  violations.push_back(text);
  const std::string line = "boardsim: " + text + "\n";
  [[maybe_unused]] const auto ignored = real::write(STDERR_FILENO, line.data(), line.size());
  if (process_rules.after_violation) process_rules.after_violation();
  errno = error;
}

void BoardState::serve_application(std::string_view socket_name) {
  if (socket_name == Application::kSocketName) devices.application.serve();
}

std::string BoardState::name_of(int fd) {
  const Descriptor* known = descriptors.find(fd);
  return known != nullptr ? known->name : "station";
}

std::string BoardState::address_of(std::string_view interface) const {
  const auto fault = interface_faults.find(interface);
  if (fault != interface_faults.end()) return fault->second;
  const auto healthy = interfaces.find(interface);
  return healthy != interfaces.end() ? healthy->second : "";
}

void BoardState::check_address(std::string_view address) const {
  const std::string text(address);
  in_addr parsed{};
  if (inet_pton(AF_INET, text.c_str(), &parsed) != 1) {
    throw std::invalid_argument("interface: \"" + text + "\" is no IPv4 address");
  }
  if (process_rules.loopback_only && ntohl(parsed.s_addr) >> 24 != kLoopbackNetwork) {
    throw std::invalid_argument("interface: " + text + " is no loopback address (127.x.y.z)");
  }
}

void BoardState::set_interface(std::string_view name, std::string_view address) {
  if (!address.empty()) check_address(address);
  interfaces.insert_or_assign(std::string(name), std::string(address));
}

}  // namespace boardsim
