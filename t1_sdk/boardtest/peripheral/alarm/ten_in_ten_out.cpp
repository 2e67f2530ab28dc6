// The ten-in ten-out test of the 65xx boards: all outputs off, all outputs on, five times.
#include <unistd.h>
#include <cstdint>
#include <cstdio>

#include "t1_sdk/boardtest/peripheral/alarm/frame.h"
#include "t1_sdk/boardtest/peripheral/alarm/lines.h"
#include "t1_sdk/boardtest/peripheral/alarm/variants.h"
#include "t1_sdk/boardtest/platform/registers.h"

using namespace boardtest;

namespace {

constexpr useconds_t kSettle = 500000;

/// What the inputs must read without and with alarm. The third mode is accepted and selects nothing.
struct ModeRow {
  const char* name;
  std::uint32_t no_alarm, alarm;
};
constexpr ModeRow kModes[] = {{"开关量(10进10出)..", 0x3FF, 0x000}, {"电平量(10进10出)..", 0x300, 0x0FF}, {}};

/// One step: register 0x2002 and both relays, and what the step is called.
struct Step {
  unsigned outputs, relays;
  const char* name;
};
constexpr Step kOff{0x80180038, 0, "无报警"};
constexpr Step kOn{0xC0180038, 1, "有报警"};

void set_relays(int fpga, unsigned value) {
  set_fpga(fpga, 81, value);
  set_fpga(fpga, 82, value);
}

void prepare(AlarmRun& run) {
  const ModeRow& mode = kModes[run.mode];
  if (mode.name == nullptr) return;
  std::puts(mode.name);
  set_fpga(run.device, 0x60, 0);
}

int run_step(int io, int fpga, const Step& step, std::uint32_t reference) {
  set_fpga(fpga, 0x2018, 0x180038);
  set_fpga(fpga, 0x2002, step.outputs);
  set_relays(fpga, step.relays);
  usleep(kSettle);
  std::uint32_t word = 0;
  getTriggerIn_Ex(io, &word);
  word &= 0x3FF;
  const bool passed = word == reference;
  std::printf("##%s输入测试,%s,ret=0x%04x,ref=0x%04x\n", step.name, passed ? "成功" : "失败", word,
              reference);
  return passed ? 0 : 1;
}

int cycle(AlarmRun& run) {
  const ModeRow& mode = kModes[run.mode];
  const int errors = run_step(run.io, run.device, kOff, mode.no_alarm);
  return errors + run_step(run.io, run.device, kOn, mode.alarm);
}

void finish(const AlarmRun& run) {
  set_relays(run.device, 0);
  set_fpga(run.device, 0x2002, 0x180038);
}

// clang-format off
constexpr AlarmVariant k65xx{.banner = "alarm_test_65xx",
    .last_mode = 2, .wrong_mode_line = "打开/dev/qznio失败",
    .cycles = 5, .pause = 0,
    .counting = Counting::step_errors, .failure = "测试失败",
    .prepare = prepare, .cycle = cycle, .finish = finish};
// clang-format on

}  // namespace

void alarm_test_65xx(unsigned mode, int code) {
  run_alarm_variant(k65xx, static_cast<int>(mode), code);
}
