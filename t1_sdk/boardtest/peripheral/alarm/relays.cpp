// Relay variants: outputs and inputs that are plain GPIO lines.
#include <unistd.h>
#include <cstdio>
#include <initializer_list>

#include "t1_sdk/boardtest/peripheral/alarm/checks.h"
#include "t1_sdk/boardtest/peripheral/alarm/frame.h"
#include "t1_sdk/boardtest/peripheral/alarm/variants.h"
#include "t1_sdk/boardtest/platform/gpio.h"
#include "t1_sdk/boardtest/platform/node.h"
#include "t1_sdk/boardtest/protocol/report.h"
#include "t1_sdk/util/descriptor.h"
#include "t1_sdk/util/text.h"

using namespace boardtest;

namespace {

constexpr useconds_t kSettle = 500000;
constexpr int kRelayRepetitions = 2;
constexpr int kLoopRepetitions = 5;

// ---- one input and one output -----------------------------------------------------------------------------

/// One repetition on port `port`. True when it passed.
bool loop_once(int fd, unsigned input, unsigned output, unsigned port) {
  if (gpio_set_value(fd, output, 1) < 0) {
    std::printf("设置报警输出%u为触发状态失败.\n", port);
    return false;
  }
  usleep(kSettle);
  int value = gpio_get_value(fd, input);
  if (value < 0) {
    std::printf("报警输出%u为触发状态,读取报警输入%u失败.\n", port, port);
    return false;
  }
  if (value == 1) {
    std::printf("报警输入%u,报警输出%u测试失败,alarm_in.value:%u.\n", port, port,
                static_cast<unsigned>(value));
    return false;
  }
  if (gpio_set_value(fd, output, 0) < 0) {
    std::printf("设置报警输出%u为非触发状态失败.\n", port);
    return false;
  }
  usleep(kSettle);
  value = gpio_get_value(fd, input);
  if (value < 0) {
    std::printf("报警输出%u为非触发状态,读取报警输入%u失败.\n", port, port);
    return false;
  }
  if (value == 0) {
    std::printf("报警输入%u,报警输出%u测试失败,alarm_in.value :%u.\n", port, port,
                static_cast<unsigned>(value));
    return false;
  }
  std::printf("报警输入%u,报警输出%u测试成功.\n", port, port);
  return true;
}

// ---- inputs behind relays ---------------------------------------------------------------------------------

/// Makes the input an input and the outputs outputs at 0. False after one line of text.
bool set_directions(int fd, unsigned input, std::initializer_list<unsigned> outputs) {
  if (gpio_direction_input(fd, input) < 0) {
    std::printf("set alarm_in gpio[%u] direction input failure!\n", input);
    return false;
  }
  for (const unsigned output : outputs) {
    if (gpio_direction_output(fd, output, 0) < 0) {
      std::printf("set alarm_in gpio[%u] direction output failure!\n", output);
      return false;
    }
  }
  return true;
}

bool set_line(int fd, unsigned line, int value, const char* failure) {
  if (gpio_set_value(fd, line, value) >= 0) return true;
  std::puts(failure);
  return false;
}

constexpr int kKeep = -1;  ///< the relay stays as it is

/// One step: the relays, a pause, the output, half a second, and a reading of the input, which may be
/// anything but `refused`: `failure` is printed with that reading. Pauses are in microseconds.
struct RelayStep {
  int relays[2];
  useconds_t pause;
  int output;
  int refused;
  const char* failure;
  useconds_t pause_behind;
};

// clang-format off
constexpr RelayStep kOneRelaySteps[] = {
    {{0, kKeep},          0, 0, 0, "报警输入F-LOW,报警输出A-LOW测试失败",   0},
    {{1, kKeep},     kSettle, 0, 1, "报警输入F-LOW,报警输出A-HIGH测试失败",  kSettle},
    {{kKeep, kKeep},      0, 1, 0, "报警输入F-HIGH,报警输出A-HIGH测试失败", kSettle},
};

constexpr RelayStep kTwoRelaySteps[] = {
    {{0, 1},       0, 0, 1, "继电器1断开,2闭合,报警输入F-LOW,报警输出A-LOW测试失败",   0},
    {{0, 0},       0, 0, 0, "继电器1断开,2断开,报警输入F-LOW,报警输出A-HIGH测试失败",  0},
    {{1, 0}, kSettle, 0, 1, "继电器1闭合,2断开,报警输入F-LOW,报警输出A-LOW测试失败",   0},
    {{0, 1}, kSettle, 1, 0, "继电器1断开,2闭合,报警输入F-HIGH,报警输出A-HIGH测试失败", 0},
    {{1, 0}, kSettle, 0, 1, "继电器1闭合,2断开,报警输入F-LOW,报警输出A-LOW测试失败",   kSettle},
    {{0, 0}, kSettle, 1, 0, "继电器1断开,2断开,报警输入F-HIGH,报警输出A-HIGH测试失败", kSettle},
};
// clang-format on

/// The lines of one relay check; relays[1] is not used behind one relay.
struct RelayLines {
  unsigned input;
  unsigned output;
  unsigned relays[2];
};

bool run_step(int fd, const RelayLines& lines, const RelayStep& step) {
  for (std::size_t i = 0; i < 2; ++i) {
    if (step.relays[i] == kKeep) continue;
    if (!set_line(fd, lines.relays[i], step.relays[i], "gpio_set_value failed")) return false;
  }
  if (step.pause != 0) usleep(step.pause);
  if (!set_line(fd, lines.output, step.output, "gpio_set_value failed.")) return false;
  usleep(kSettle);
  const int value = gpio_get_value(fd, lines.input);
  if (value < 0) {
    std::puts("gpio_get_value failed.");
    return false;
  }
  if (value == step.refused) {
    std::printf("%s,alarm_in.value:%u.\n", step.failure, static_cast<unsigned>(value));
    return false;
  }
  if (step.pause_behind != 0) usleep(step.pause_behind);
  return true;
}

/// Runs the repetitions; a failed step ends its repetition. Returns how many failed.
template <std::size_t N>
int run_steps(int fd, const RelayLines& lines, const RelayStep (&steps)[N]) {
  int errors = 0;
  for (int repetition = 0; repetition < kRelayRepetitions; ++repetition) {
    for (const RelayStep& step : steps) {
      if (run_step(fd, lines, step)) continue;
      ++errors;
      break;
    }
  }
  std::puts("报警输入,报警输出测试成功.");  // whatever the outcome
  return errors;
}

int cycle_rkd(AlarmRun& run) {
  const int errors = t1_sdk_alarm_test_rkd_new(run.io, run.port_text, 18, 76, 78);
  return errors + t1_sdk_alarm_test_rkd_new(run.io, run.port_text, 19, 77, 79);
}

int cycle_rkd_1in3out(AlarmRun& run) {
  return t1_sdk_alarm_test_rkd_1in3out(run.io, run.port_text, 18, 76, 78, 79);
}

// The checks never write the port text, so a failed test replies with an empty Description.
// clang-format off
constexpr AlarmVariant kRkd{.banner = "alarm_test_rkd",
    .last_mode = 2, .wrong_mode = WrongMode::no_reply,
    .device = kAlarmNode, .device_code = 3,
    .counting = Counting::failed_cycles_kept,
    .cycle = cycle_rkd};

constexpr AlarmVariant kRkd1in3out{.banner = "alarm_test_rkd",
    .last_mode = 2, .wrong_mode = WrongMode::no_reply,
    .device = kAlarmNode, .device_code = 3,
    .counting = Counting::failed_cycles_kept,
    .cycle = cycle_rkd_1in3out};
// clang-format on

void check_one_port(TestReport& report) {
  Descriptor io(open_io_aloud());
  if (io.get() < 0) return report.fail(1, kNoIo);
  int code = 0;
  char text[kDescriptionSize] = {};
  if (t1_sdk_alarm_test_63xx(io.get(), 20, 21, 1, &code, text) == -1) {
    std::puts("报警输入和输出1测试失败!");
    report.fail(2);
  }
  if (code != 0) report.fail(code, text);
  io.leave_open("this board's test has never closed it");
}

}  // namespace

int t1_sdk_alarm_test_63xx(int fd, unsigned input, unsigned output, unsigned port, int* code, char* text) {
  if (gpio_direction_input(fd, input) < 0) {
    std::printf("set alarm_in gpio[%u] direction input failure!\n", input);
    *code = 1;
    copy_gbk(text, kDescriptionSize, "set alarm_in gpio fail");
    return -1;
  }
  if (gpio_direction_output(fd, output, 0) < 0) {
    std::printf("set alarm_in gpio[%u] direction output failure!\n", output);
    *code = 2;
    copy_gbk(text, kDescriptionSize, "set alarm_in gpio fail 2");
    return -1;
  }
  int errors = 0;
  for (int repetition = 0; repetition < kLoopRepetitions; ++repetition) {
    if (!loop_once(fd, input, output, port)) ++errors;
  }
  std::printf("\n================报警输入%u,报警输出%u测试结束================\n", port, port);
  if (errors == 0) {
    std::printf("!!!报警输入%u,报警输出%u测试全部成功!!!\n", port, port);
    *code = 0;
  } else {
    std::printf("!!!报警输入%u,报警输出%u测试成功-%d-次，失败-%d-次!!!\n", port, port,
                kLoopRepetitions - errors, errors);
    *code = 10;
    copy_gbk(text, kDescriptionSize, "测试失败");
  }
  return 0;
}

int t1_sdk_alarm_test_rkd_new(int fd, char* /*text*/, unsigned input, unsigned output, unsigned relay) {
  if (!set_directions(fd, input, {output, relay})) return -1;
  return run_steps(fd, {input, output, {relay, 0}}, kOneRelaySteps);
}

int t1_sdk_alarm_test_rkd_1in3out(int fd, char* /*text*/, unsigned input, unsigned output, unsigned relay1,
                                  unsigned relay2) {
  if (!set_directions(fd, input, {output, relay1, relay2})) return -1;
  return run_steps(fd, {input, output, {relay1, relay2}}, kTwoRelaySteps);
}

void alarm_test_rkd(unsigned mode, int code) {
  run_alarm_variant(kRkd, static_cast<int>(mode), code);
}

void alarm_test_rkd_1in3out(unsigned mode, int code) {
  run_alarm_variant(kRkd1in3out, static_cast<int>(mode), code);
}

void alarm_test_1i1o(int code) {
  std::puts("alarm_test_65xx");
  XmlDocument reply;
  TestReport report(code, "测试应用程序", kTestSucceeded, reply);
  check_one_port(report);
  report.send();
}
