#include "t1_sdk/boardtest/sensor/abf.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <cstdio>

#include "t1_sdk/boardtest/platform/gpio.h"
#include "t1_sdk/boardtest/platform/node.h"
#include "t1_sdk/boardtest/protocol/report.h"
#include "t1_sdk/util/descriptor.h"

using namespace boardtest;

namespace {

constexpr unsigned kTowardsLimit = 0x40044201;  // _IOW('B', 1, 4); the argument is a value
constexpr unsigned kFromLimit = 0x40044202;     // _IOW('B', 2, 4)
constexpr long kStepArgument = 10;

constexpr unsigned kLimitSwitch = 7;
constexpr int kStepsFromLimit = 80;
constexpr int kMostSteps = 1000;
constexpr useconds_t kPause = 100;

/// The phases of the test, as their failures are numbered.
constexpr int kFirstPhase = 1;
constexpr int kReturnPhase = 2;

constexpr char kFailed[] = "ABF fail";

class FocusMotor {
 public:
  FocusMotor(int io, int motor, TestReport& report) : io_(io), motor_(motor), report_(report) {}

  int limit_switch() const { return gpio_get_value(io_, kLimitSwitch); }
  int print_limit_switch() const {
    const int level = limit_switch();
    std::printf("the val is %d\n", level);
    return level;
  }
  /// False after reporting a request that failed in that phase.
  bool step(unsigned request, int phase) {
    if (ioctl(motor_, request, kStepArgument) >= 0) return true;
    std::puts("  ABF break");
    report_.fail(phase, kFailed);
    return false;
  }
  bool limit_switch_failed() {
    std::puts("the ABF test is fail");
    report_.fail(kFirstPhase, kFailed);
    return false;
  }

 private:
  int io_;
  int motor_;
  TestReport& report_;
};

/// From the limit away until the switch has opened, and back.
bool leave_limit(FocusMotor& motor) {
  int level = 1;
  for (int i = 0; i < kStepsFromLimit; ++i) {
    if (!motor.step(kFromLimit, kFirstPhase)) return false;
    level = motor.print_limit_switch();
    usleep(kPause);
  }
  if (level == 1) return motor.limit_switch_failed();
  for (int i = 0; i < kStepsFromLimit; ++i) {
    if (!motor.step(kTowardsLimit, kReturnPhase)) return false;
    motor.print_limit_switch();
  }
  return true;
}

/// To the limit, and as many steps back.
bool seek_limit(FocusMotor& motor) {
  int steps = 0;
  int level = 0;
  do {
    if (!motor.step(kTowardsLimit, kFirstPhase)) return false;
    usleep(kPause);
    level = motor.print_limit_switch();
    ++steps;
  } while (level != 1 && steps < kMostSteps);
  std::printf("\nthe total step is %d\n\n", steps);
  if (steps == kMostSteps) return motor.limit_switch_failed();
  for (int i = 0; i < steps; ++i) {
    if (!motor.step(kFromLimit, kReturnPhase)) return false;
    std::printf("the i is %d\n", i);
    usleep(kPause);
  }
  return true;
}

void move_there_and_back(TestReport& report) {
  const Descriptor io(open_io());
  const Descriptor driver(open("/dev/motor", O_RDWR));
  if (io.get() < 0 || driver.get() < 0) {
    std::puts("  ABF break");
    return report.fail(kFirstPhase, kFailed);
  }
  FocusMotor motor(io.get(), driver.get(), report);
  if (motor.limit_switch() == 1 ? leave_limit(motor) : seek_limit(motor)) {
    std::puts("ABF测试成功.....");
  }
}

}  // namespace

void t1_sdk_abf() {
  std::puts("printTGParam5");  // what stations' logs have always shown
  std::puts(" ABF test will begin");
  std::puts(" ABF test will begin!!!");
  TestReport report(0x2A10, "ABF test");
  move_there_and_back(report);
  report.send();
}
