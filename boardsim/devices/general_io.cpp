#include "boardsim/devices/general_io.h"

#include <cerrno>
#include <cstring>

#include "boardsim/devices/records.h"

namespace boardsim {
namespace {

enum Number : std::uint32_t {
  kBootBlock = 0x80044801,
  kInput = 0x40044701,
  kOutput = 0x40044702,
  kRead = 0x80044703,
  kWrite = 0x40044704,
  kRead2 = 0x8004680B,
  kInput2 = 0x4004680D,
  kOutput2 = 0x4004680E,
  kTransmitter = 0x104,
  kDay = 0x40046831,
  kNight = 0x40046832,
  kPwm = 0x40044D02,
  kVsub = 0x40044D0E,
};

using enum Request::Argument;

// clang-format off
constexpr Request kRequests[] = {
    {kBootBlock,   record, "256 bytes", 0, "copies out the boot block"},
    {kInput,       record, "{line}", 1, "makes a GPIO line an input"},
    {kOutput,      record, "{line, level}", 2, "makes it an output at this level"},
    {kRead,        record, "{line, level}", 2, "reads the level into the second word"},
    {kWrite,       record, "{line, level}", 2, "sets the level of an output"},
    {kRead2,       record, "{line, level}", 2, "the other generation: reads the level"},
    {kInput2,      record, "{line, level}", 2, "makes it an input; the level is ignored"},
    {kOutput2,     record, "{line, level}", 2, "makes it an output at this level"},
    {kTransmitter, record, "{line, level}", 2, "the same, for the line that enables an RS485 transmitter"},
    {kDay,         value,  "a number", 0, "noted only: the IR-cut filter does not hang on it"},
    {kNight,       value,  "a number", 0, "the same"},
    {kPwm,         record, "{channel, period, duty}", 3, "sets a PWM channel"},
    {kVsub,        record, "{code}", 1, "sets the substrate voltage of 65xx boards"},
};
// clang-format on

}  // namespace

std::span<const Request> GeneralIo::requests() const {
  return kRequests;
}

Answer GeneralIo::answer(const Request& request, void* argument) {
  switch (request.number) {
    case kDay:
      return drive_ir_cut(IrFilter::Side::day, value_argument(argument));
    case kNight:
      return drive_ir_cut(IrFilter::Side::night, value_argument(argument));
    case kBootBlock:
      std::memcpy(argument, boot_block_.data(), boot_block_.size());
      return Answer::ok();
    case kPwm:
      return set_pwm(argument);
    case kVsub:
      if (vsub_watcher_) vsub_watcher_(word(argument, 0));
      return Answer::ok();
    default:
      return gpio(request.number, argument);
  }
}

Answer GeneralIo::gpio(std::uint32_t request, void* line_and_level) {
  const unsigned number = word(line_and_level, 0);
  if (number >= kLines) return Answer::fails(EINVAL);
  Line& line = lines_[number];
  if (request == kRead || request == kRead2) {
    set_word(line_and_level, 1, static_cast<std::uint32_t>(level(number)));
  } else if (request == kInput || request == kInput2) {
    line.direction = Direction::input;
  } else {
    line.driven = word(line_and_level, 1) != 0 ? 1 : 0;
    if (request != kWrite) line.direction = Direction::output;
    if (watcher_) watcher_(number);
  }
  return Answer::ok();
}

Answer GeneralIo::drive_ir_cut(IrFilter::Side side, std::uint32_t steps) {
  ir_cut_ = side;
  ir_cut_steps_ = steps;
  return Answer::ok();
}

Answer GeneralIo::set_pwm(const void* record) {
  const auto field = [record](std::size_t index) { return static_cast<std::int32_t>(word(record, index)); };
  pwm_[field(0)] = {field(1), field(2)};
  return Answer::ok();
}

FaultForms GeneralIo::fault_forms() {
  return {
      {"gpio LINE stuck high|low",
       "the line reads 1 or 0 from then on, whatever drives it",
       {number("LINE", 0, kLines - 1)},
       [this](const FaultArguments& given) { stuck_[given.number(0)] = given.word(1) == "high" ? 1 : 0; }}};
}

int GeneralIo::level(unsigned line) const {
  const Line& it = lines_.at(line);
  if (const auto stuck = stuck_.find(line); stuck != stuck_.end()) return stuck->second;
  if (outside_ && !it.held && it.direction != Direction::output) {
    if (const auto hanging = outside_(line)) return *hanging;
  }
  return it.direction == Direction::input ? it.outside : it.driven;
}

int GeneralIo::driven(unsigned line) const {
  const Line& it = lines_.at(line);
  if (const auto stuck = stuck_.find(line); stuck != stuck_.end()) return stuck->second;
  return it.direction == Direction::input ? 0 : it.driven;
}

void GeneralIo::set_level(unsigned line, int level) {
  Line& it = lines_.at(line);
  it.outside = level != 0 ? 1 : 0;
  it.held = true;
  if (it.direction == Direction::unset) it.driven = it.outside;
}

Direction GeneralIo::direction(unsigned line) const {
  return lines_.at(line).direction;
}

Pwm GeneralIo::pwm(std::int32_t channel) const {
  const auto found = pwm_.find(channel);
  return found == pwm_.end() ? Pwm{} : found->second;
}

}  // namespace boardsim
