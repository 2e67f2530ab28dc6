// IR-cut filters that need no motor driver: a motor stepped through GPIO lines, shell commands, and the
// electromagnetic filter.
#include <unistd.h>
#include <cstdio>
#include <cstdlib>

#include "t1_sdk/boardtest/peripheral/ircut.h"
#include "t1_sdk/boardtest/platform/gpio.h"
#include "t1_sdk/boardtest/platform/node.h"
#include "t1_sdk/boardtest/protocol/report.h"
#include "t1_sdk/util/descriptor.h"

using namespace boardtest;

namespace {

constexpr char kTestName[] = "IR CUT测试";
constexpr int kTestCode = 1792;

// ---- the stepped motor ------------------------------------------------------------------------------------

constexpr unsigned kMotorEnable = 110;
constexpr unsigned kCoilA = 111;
constexpr unsigned kCoilB = 113;
constexpr unsigned kHomeSwitch = 26;
constexpr int kTravel = 175;  // steps

struct CoilState {
  unsigned line;
  int level;
};
constexpr CoilState kForward[] = {{kCoilB, 1}, {kCoilA, 0}, {kCoilB, 0}, {kCoilA, 1}};
constexpr CoilState kBack[] = {{kCoilA, 0}, {kCoilB, 1}, {kCoilA, 1}, {kCoilB, 0}};

void step(int fd, const CoilState (&states)[4], useconds_t pause) {
  for (const CoilState& state : states) {
    gpio_set_value(fd, state.line, state.level);
    usleep(pause);
  }
}

void step_filter(TestReport& report) {
  const Descriptor io(open_io_aloud());
  if (io.get() < 0) return report.fail(1, kNoIo);
  const int fd = io.get();
  gpio_set_value(fd, kMotorEnable, 1);
  gpio_set_value(fd, kCoilA, 0);
  gpio_set_value(fd, kCoilB, 0);
  usleep(10000);
  for (int i = 0; i < kTravel; ++i) step(fd, kForward, 10000);
  for (int i = 0; i < kTravel && gpio_get_value(fd, kHomeSwitch) != 1; ++i) step(fd, kBack, 5000);
  gpio_set_value(fd, kMotorEnable, 0);
}

// ---- shell commands ---------------------------------------------------------------------------------------

void run_command(const char* text, const char* command, const char* failure) {
  std::puts(text);
  if (std::system(command) < 0) std::puts(failure);
  sleep(3);
}

// ---- the electromagnetic filter ---------------------------------------------------------------------------

constexpr unsigned kFilterEnable = 87;
constexpr unsigned kFilterFront = 86;
constexpr unsigned kFilterBack = 88;

/// Two cycles of two switches. Only the first switch of a cycle can fail the test: the second one's result
/// has never been looked at. The description stays that of success.
void switch_filter(const char* banner, int first_state) {
  std::puts(banner);
  TestReport report(kTestCode, kTestName);
  int result = 0;
  int cycle = 0;
  for (; cycle < 2; ++cycle) {
    sleep(5);
    result = loop_ircut_test(first_state);
    if (result < 0) {
      std::puts("ICR切换失败");
      break;
    }
    sleep(5);
    loop_ircut_test(first_state == 0 ? 1 : 0);
    std::printf("第%d次测试成功\n", cycle);
  }
  if (cycle == 2) std::puts("ICR 测试成功");
  if (result < 0) report.fail(result);
  report.send();
}

}  // namespace

void ircut_test_65xx() {
  std::puts("ircut_test_65xx");
  TestReport report(kTestCode, kTestName);
  step_filter(report);
  report.send();
}

void ircut_test_63xx() {
  std::puts("ircut_test_65xx");  // the banner of another board
  TestReport report(kTestCode, kTestName);
  run_command("复位至白天...", "dayICR", "icr向白天切换 failed!");
  run_command("切至晚上...", "nightICR", "icr向晚上切换 failed!");
  run_command("复位至白天...", "dayICR", "icr向白天切换 failed!");
  report.send();
}

void ircut_test_loop() {
  switch_filter("ircut_test_wpfxx", 0);
}

void ircut_test_loop_c() {
  switch_filter("ircut_test_wpfxxC", 1);
}

int loop_ircut_test(int night) {
  struct Line {
    unsigned line;
    int level;
    const char* failure;
  };
  const Line lines[] = {
      {kFilterEnable, 0, "<gpio_set_icr_electro()> set ELECTRO_ENABLE 0 error!"},
      {kFilterFront, night == 0 ? 1 : 0, "<gpio_set_icr_electro()> set ELECTRO_FRONT 1 error!"},
      {kFilterBack, night != 0 ? 1 : 0, "<gpio_set_icr_electro()> set ELECTRO_BACK 0 error!"},
      {kFilterEnable, 1, "<gpio_set_icr_electro()> set ELECTRO_ENABLE 1 error!"},  // and it stays on
  };
  const Descriptor node(open_io());
  if (node.get() < 0) return -1;
  int result = 0;
  for (const Line& line : lines) {
    result = gpio_set_value(node.get(), line.line, line.level);
    if (result < 0) {
      std::puts(line.failure);
      break;
    }
  }
  return result;
}
