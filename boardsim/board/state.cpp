// What a board does besides files and network: time, faults, the trace, and the refusal of what it lacks.
#include "boardsim/board/state.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <stdexcept>

#include "boardsim/kernel/real.h"

namespace boardsim {
namespace {

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
              [this](const std::string& text) { violation(text); }) {
  devices.general_io.boot_block() = make_boot_block(family);
  devices.bench.set_level_inputs(family.level_inputs);
  devices.emmc.leave_factory(hardware_of(family.type));
}

void BoardState::after(Time span, std::function<void()> event) {
  clock.at(clock.now() + span, [this, event = std::move(event)] {
    const std::lock_guard lock(mutex);
    event();
  });
}

bool BoardState::sleep(std::string_view name, std::vector<std::uint32_t> length, Time span) {
  const Call call = begin(name, "", std::move(length));
  {
    const std::lock_guard lock(mutex);
    finish(call, Subject::clock, 0, 0);
  }
  return clock.sleep_until(call.at + span);
}

int BoardState::reboot(std::uint32_t command) {
  const std::lock_guard lock(mutex);
  reboots.push_back(command);
  finish(begin("reboot", "", {command}), Subject::hardware, 0, 0);
  if (conduct.after_reboot) conduct.after_reboot();
  return 0;
}

int BoardState::system(const char* command) {
  {
    const std::lock_guard lock(mutex);
    Call call = begin("system", command == nullptr ? "" : command);
    const auto done = [&](int result, int error) {
      return static_cast<int>(finish(std::move(call), Subject::hardware, result, error));
    };
    if (Devices::is_command(call.node)) {
      if (const auto faulty = call_faults.meet("system")) return done(-1, faulty->error);
      devices.run(call.node);
      return done(0, 0);
    }
  }
  return refuse(std::string("system of ") + (command != nullptr ? command : "nothing"));
}

int BoardState::refuse(std::string_view call) {
  const std::lock_guard lock(mutex);
  violation(std::string(call) + " is nothing that a program may do on this board");
  return static_cast<int>(finish(begin(call, ""), Subject::hardware, -1, EPERM));
}

const FaultForms& BoardState::fault_forms() {
  const std::uint32_t type = boot_type(devices.general_io.boot_block());
  if (!forms.empty() && type == type_of_forms) return forms;
  type_of_forms = type;
  forms = {{"interface NAME ADDRESS|none",
            "a network interface has this IPv4 address, or none",
            {text("NAME"), text("ADDRESS|none")},
            [this](const FaultArguments& given) {
              const std::string address(given.word(1) == "none" ? "" : given.word(1));
              if (!address.empty()) check_address(address);
              interface_faults.insert_or_assign(std::string(given.word(0)), address);
            }}};
  for (FaultForm& form : devices.fault_forms()) forms.push_back(std::move(form));
  return forms;
}

void BoardState::fault(std::string_view text) {
  const std::lock_guard lock(mutex);
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
  const std::lock_guard lock(mutex);
  std::vector<FaultLine> lines;
  for (const FaultyCallKind& kind : CallFaults::kinds())
    lines.push_back({kind.words(), "", std::string(kind.meaning)});
  for (const FaultForm& form : fault_forms())
    lines.push_back({form.words(), form.possible(), form.meaning()});
  return lines;
}

void BoardState::clear_faults() {
  const std::lock_guard lock(mutex);
  interface_faults.clear();
  call_faults.clear();
  devices.clear_faults();
}

int BoardState::thread_error() {
  const std::lock_guard lock(mutex);
  const auto faulty = call_faults.meet("thread");
  if (!faulty) return 0;
  finish(begin("pthread_create", ""), Subject::thread, -1, faulty->error);
  return faulty->error;
}

void BoardState::thread_event(std::string_view name) {
  const std::lock_guard lock(mutex);
  finish(begin(name, ""), Subject::thread, 0, 0);
}

Call BoardState::begin(std::string_view name, std::string_view node,
                       std::vector<std::uint32_t> record) const {
  return {
      .at = clock.now(), .name = std::string(name), .node = std::string(node), .record = std::move(record)};
}

long BoardState::finish(Call call, Subject subject, long result, int error) {
  call.result = result;
  call.error = error;
  trace.add(std::move(call), subject);
  if (error != 0) errno = error;
  return result;
}

void BoardState::violation(const std::string& text) {
  const int error = errno;
  violations.push_back(text);
  const std::string line = "boardsim: " + text + "\n";
  [[maybe_unused]] const auto ignored = real::write(STDERR_FILENO, line.data(), line.size());
  if (conduct.after_violation) conduct.after_violation();
  errno = error;
}

std::optional<FaultyCall> BoardState::meet(std::string_view call) {
  const std::lock_guard lock(mutex);
  return call_faults.meet(call);
}

}  // namespace boardsim
