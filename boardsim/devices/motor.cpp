#include "boardsim/devices/motor.h"

#include <cerrno>

#include "boardsim/devices/motor_configuration.h"
#include "boardsim/devices/records.h"

namespace boardsim {
namespace {

enum Number : std::uint32_t {
  kConfigure = 0x40044301,
  kMove = 0x40044901,
  kMoveBack = 0x40044902,
  kIris = 0x40046901,
  kStepToLimit = 0x40044201,
  kStepFromLimit = 0x40044202,
};

constexpr std::size_t kFilterEntry = 0;
constexpr std::size_t kIrisEntry = 3;
constexpr std::uint32_t kFocusStep = 10;

using enum Request::Argument;

// clang-format off
constexpr Request kRequests[] = {
    {kConfigure,     record, "644 bytes: a count and 16 entries of ten words", 0, "configures the filter's motor or the iris", false, motor_configuration_words},
    {kMove,          value,  "a number", 0, "moves the filter"},
    {kMoveBack,      value,  "a number", 0, "the same"},
    {kIris,          value,  "a number", 0, "gives the iris a value"},
    {kStepToLimit,   value,  "10", 0, "steps the focus motor towards its limit"},
    {kStepFromLimit, value,  "10", 0, "steps it away from there"},
};
// clang-format on

}  // namespace

Answer Motor::open(int /*flags*/) {
  filter_configured_ = false;
  iris_configured_ = false;
  return Answer::ok();
}

std::span<const Request> Motor::requests() const {
  return kRequests;
}

Answer Motor::answer(const Request& request, void* argument) {
  switch (request.number) {
    case kConfigure:
      return configure(argument);
    case kMove:
    case kMoveBack:
      return move(value_argument(argument));
    case kIris:
      return set_iris(value_argument(argument));
    default:
      if (value_argument(argument) != kFocusStep) return Answer::fails(EINVAL);
      return focus_.step(request.number == kStepToLimit ? FocusMotor::Way::to_limit
                                                        : FocusMotor::Way::from_limit);
  }
}

Answer Motor::configure(const void* record) {
  const bool filter = is_motor_configuration(record, kFilterEntry, MotorChip::filter);
  const bool iris = is_motor_configuration(record, kIrisEntry, MotorChip::iris);
  // Chips are configured one by one; a configuration that makes no sense leaves none usable.
  if (filter || !iris) filter_configured_ = filter;
  if (iris || !filter) iris_configured_ = iris;
  return filter || iris ? Answer::ok() : Answer::fails(EINVAL);
}

Answer Motor::move(std::uint32_t travel) {
  const bool rejected = rejected_.next();
  if (!filter_configured_) return Answer::fails(EINVAL);
  if (rejected) return Answer::fails(EIO);
  ++moves_;
  travel_ = travel;
  return Answer::ok();
}

Answer Motor::set_iris(std::uint32_t value) {
  if (!iris_configured_) return Answer::fails(EINVAL);
  if (watcher_) watcher_(value);
  return Answer::ok();
}

FaultForms Motor::fault_forms() {
  FaultForms forms{{"motor rejects move N[+]",
                    "the N-th move from now on fails with EIO, with + every later one too",
                    {count("N[+]")},
                    [this](const FaultArguments& given) { rejected_.add(given.word(0)); }}};
  for (FaultForm& form : focus_.fault_forms()) forms.push_back(std::move(form));
  return forms;
}

void Motor::clear_faults() {
  rejected_.clear();
  focus_.clear_faults();
}

}  // namespace boardsim
