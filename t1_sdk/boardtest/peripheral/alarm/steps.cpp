// Step variants: five cycles of fixed output states, each compared with the inputs that it must give.
#include <unistd.h>
#include <cstdint>
#include <cstdio>
#include <iterator>

#include "t1_sdk/boardtest/peripheral/alarm/frame.h"
#include "t1_sdk/boardtest/peripheral/alarm/lines.h"
#include "t1_sdk/boardtest/peripheral/alarm/variants.h"
#include "t1_sdk/boardtest/platform/registers.h"

using namespace boardtest;

namespace {

constexpr useconds_t kSettle = 500000;

/// What the steps are called. The values are those of one board; the texts serve all three variants.
constexpr const char* kStepNames[] = {
    "##1 0x1 0x1 0x1 0x1 0x0 0x80000018",
    "##2 0x0 0x0 0x0 0x0 0x0 0xC0000018",
    "##3 0x0 0x0 0x0 0x1 0x1 0x80000018",
    "##4 0x0 0x0 0x0 0x0 0x0 0xC0000018",
};

/// What stands before the state of all alarms that is read back in each step.
constexpr const char* kReadBackMarks[] = {"111", "222", "333", "444"};

constexpr int kWideRelayType = 4;

// clang-format off
/// FPGA steps: register 0x2002, relay registers from 81 on for type 4 and for the others, expected inputs.
struct FpgaStep { unsigned outputs; unsigned wide_relays[5]; unsigned relays[3]; std::uint32_t reference; };
constexpr FpgaStep kFpgaSteps[] = {
    {0x80000018, {1, 1, 1, 1, 0}, {1, 1, 0}, 0x0},
    {0xC0000018, {0, 0, 0, 0, 0}, {0, 0, 0}, 0xF},
    {0x80000018, {0, 0, 0, 1, 1}, {1, 0, 1}, 0x0},
    {0xC0000018, {0, 0, 0, 0, 0}, {0, 0, 0}, 0xF},
};

/// Driver steps: state of all outputs, expected inputs.
struct DriverStep { int state; std::uint32_t reference; };
constexpr DriverStep kWpfSteps[]  = {{0, 0x3}, {15, 0xC}, {0, 0x3}, {27, 0xC}};
constexpr DriverStep kWpfJSteps[] = {{0, 0xF}, {15, 0x2}, {0, 0xF}};
// clang-format on

/// Reads the inputs of step `step` and says whether they are as they should be. Returns its errors.
int compare(int io, std::size_t step, std::uint32_t reference) {
  usleep(kSettle);
  std::uint32_t word = 0;
  getTriggerIn_Ex(io, &word);
  word &= 0xF;
  const bool passed = word == reference;
  std::printf("%s, %s,trigger_in=0x%04x,ref=0x%04x\n", kStepNames[step], passed ? "成功" : "失败", word,
              reference);
  if (step < 3) std::fflush(stdout);  // the fourth line has always gone out with what is printed after it
  return passed ? 0 : 1;
}

template <std::size_t N>
void set_relays(int fpga, const unsigned (&values)[N]) {
  for (std::size_t i = 0; i < N; ++i) set_fpga(fpga, 81 + static_cast<unsigned>(i), values[i]);
}

void print_type(AlarmRun& run) {
  std::printf("type: %d\n", run.mode);
}

void prepare_fpga(AlarmRun& run) {
  print_type(run);
  set_fpga(run.device, 0x60, 0);
  set_up_alarm_fpga(run.device);
}

int cycle_fpga(AlarmRun& run) {
  int errors = 0;
  for (std::size_t step = 0; step < std::size(kFpgaSteps); ++step) {
    const FpgaStep& row = kFpgaSteps[step];
    set_fpga(run.device, 0x2002, row.outputs);
    if (run.mode == kWideRelayType) {
      set_relays(run.device, row.wide_relays);
    } else {
      set_relays(run.device, row.relays);
    }
    errors += compare(run.io, step, row.reference);
  }
  return errors;
}

void finish_fpga(const AlarmRun& run) {
  static constexpr unsigned kAllOff[5] = {};
  set_fpga(run.device, 0x2002, 0x80000018);
  set_relays(run.device, kAllOff);
}

void show_all(const char* mark) {
  std::printf("%salarm_all_value:%0x\n", mark, static_cast<unsigned>(alarm_get_all_value()));
}

int driver_step(int io, std::size_t step, const DriverStep& row) {
  show_all("");
  alarm_all_set(row.state);
  show_all(kReadBackMarks[step]);
  return compare(io, step, row.reference);
}

template <std::size_t N>
int driver_steps(int io, const DriverStep (&rows)[N]) {
  int errors = 0;
  for (std::size_t step = 0; step < N; ++step) errors += driver_step(io, step, rows[step]);
  return errors;
}

int cycle_wpf(AlarmRun& run) {
  return driver_steps(run.io, kWpfSteps);
}

int cycle_wpf_j(AlarmRun& run) {
  const int errors = driver_steps(run.io, kWpfJSteps);
  show_all("");  // all that is left of a fourth step
  return errors;
}

// clang-format off
constexpr AlarmVariant kFpgaVariant{.banner = "alarm_test_65xx",
    .io_code = 1, .control_code = 2, .device_code = 3, .device_line = false,
    .cycles = 5, .pause = 0,
    .counting = Counting::step_errors, .failure = "测试失败",
    .prepare = prepare_fpga, .cycle = cycle_fpga, .finish = finish_fpga};

// The driver variants open /dev/alarm only to see that it is there.
constexpr AlarmVariant kWpf{.banner = "alarm_test_wpf_u",
    .io_code = 1, .control_code = 2, .device = kAlarmNode, .device_code = 3, .leaves_device_open = true,
    .cycles = 5, .pause = 0,
    .counting = Counting::step_errors, .failure = "测试失败",
    .prepare = print_type, .cycle = cycle_wpf};

constexpr AlarmVariant kWpfJ{.banner = "alarm_test_wpf_u_j",
    .io_code = 1, .control_code = 2, .device = kAlarmNode, .device_code = 3, .leaves_device_open = true,
    .cycles = 5, .pause = 0,
    .counting = Counting::step_errors, .failure = "测试失败",
    .prepare = print_type, .cycle = cycle_wpf_j};
// clang-format on

}  // namespace

void alarm_test_64xx_u(int type, int code) {
  run_alarm_variant(kFpgaVariant, type, code);
}

void alarm_test_wpf_u(int type, int code) {
  run_alarm_variant(kWpf, type, code);
}

void alarm_test_wpf_u_j(int type, int code) {
  run_alarm_variant(kWpfJ, type, code);
}
