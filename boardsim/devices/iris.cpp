// The lens iris, and the driver that moves it on some boards, /dev/motor1.
#include "boardsim/devices/iris.h"

#include <cerrno>

#include "boardsim/devices/motor_configuration.h"
#include "boardsim/devices/records.h"

namespace boardsim {
namespace {

enum Request : std::uint32_t {
  kConfigure = 0x40044301,
  kValue = 0x40046901,
  kOpen = 0x40046902,
  kSpeed = 0x40046903,
};

constexpr std::size_t kEntry = 1;

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

Answer IrisMotor::ioctl(std::uint32_t request, void* argument) {
  if (request == kConfigure) {
    if (argument == nullptr) return Answer::fails(EFAULT);
    configured_ = is_motor_configuration(argument, kEntry, MotorChip::iris);
    return configured_ ? Answer::ok() : Answer::fails(EINVAL);
  }
  if (request != kValue && request != kOpen && request != kSpeed) return Answer::unknown();
  if (!configured_) return Answer::fails(EINVAL);
  if (request != kSpeed && watcher_) {
    watcher_(request == kValue ? value_argument(argument) : ends_of(IrisDrive::gpio).open);
  }
  return Answer::ok();
}

std::vector<std::uint32_t> IrisMotor::words_in(std::uint32_t request, const void* argument) const {
  switch (request) {
    case kConfigure:
      return motor_configuration_words(argument);
    case kValue:
    case kOpen:
    case kSpeed:
      return {value_argument(argument)};
    default:
      return {};
  }
}

}  // namespace boardsim
