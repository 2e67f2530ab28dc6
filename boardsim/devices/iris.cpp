#include "boardsim/devices/iris.h"

#include <cerrno>

#include "boardsim/devices/motor_configuration.h"
#include "boardsim/devices/records.h"

namespace boardsim {
namespace {

enum Number : std::uint32_t {
  kConfigure = 0x40044301,
  kValue = 0x40046901,
  kOpen = 0x40046902,
  kSpeed = 0x40046903,
};

constexpr std::size_t kEntry = 1;

using enum Request::Argument;

// clang-format off
constexpr Request kRequests[] = {
    {kConfigure, record, "644 bytes, as on `/dev/motor`", 0, "configures it: count 1, chip 3 in entry 1", false, motor_configuration_words},
    {kValue,     value,  "a number", 0, "gives the iris a value"},
    {kOpen,      value,  "a number", 0, "opens it"},
    {kSpeed,     value,  "a number", 0, "sets its speed"},
};
// clang-format on

constexpr std::string_view kCloseCommand = "closeIRIS";
constexpr std::string_view kOpenCommand = "openIRIS";

/// The values at which a drive has closed and opened the iris.
struct Ends {
  std::uint32_t closed;
  std::uint32_t open;
};

Ends ends_of(IrisDrive drive) {
  return drive == IrisDrive::gpio ? Ends{512, 767} : Ends{0xCFF, 0xC00};
}

}  // namespace

void Iris::set(IrisDrive drive, std::uint32_t value) {
  if (own_drive_() != drive) return;
  const Ends ends = ends_of(drive);
  if (value == ends.closed) state_ = State::closed;
  if (value == ends.open) state_ = State::open;
}

bool Iris::is_command(std::string_view text) {
  return text == kCloseCommand || text == kOpenCommand;
}

void Iris::run(std::string_view command) {
  const Ends ends = ends_of(IrisDrive::shell);
  set(IrisDrive::shell, command == kCloseCommand ? ends.closed : ends.open);
}

Answer IrisMotor::open(int /*flags*/) {
  configured_ = false;
  return Answer::ok();
}

std::span<const Request> IrisMotor::requests() const {
  return kRequests;
}

Answer IrisMotor::answer(const Request& request, void* argument) {
  if (request.number == kConfigure) {
    configured_ = is_motor_configuration(argument, kEntry, MotorChip::iris);
    return configured_ ? Answer::ok() : Answer::fails(EINVAL);
  }
  if (!configured_) return Answer::fails(EINVAL);
  if (request.number != kSpeed && watcher_) {
    watcher_(request.number == kValue ? value_argument(argument) : ends_of(IrisDrive::gpio).open);
  }
  return Answer::ok();
}

}  // namespace boardsim
