// Loopback variants: two cycles over every port of a board, each with two patterns.
#include <cstdio>

#include "t1_sdk/boardtest/peripheral/alarm/checks.h"
#include "t1_sdk/boardtest/peripheral/alarm/frame.h"
#include "t1_sdk/boardtest/peripheral/alarm/variants.h"
#include "t1_sdk/boardtest/platform/device_type.h"
#include "t1_sdk/boardtest/platform/registers.h"
#include "t1_sdk/util/contains.h"

using namespace boardtest;

namespace {

/// Register values of one port.
struct FivePortRow {
  unsigned mask;
  unsigned value1, value2;              ///< 0x2002, patterns 1 and 2
  unsigned short_value1, short_value2;  ///< the same on boards with short values
};

struct EightPortRow {
  unsigned mask;
  unsigned ex_value1, value1;           ///< 0x2018 and 0x2002, pattern 1
  unsigned ex_value2, value2;           ///< pattern 2
  unsigned short_value1, short_value2;  ///< 0x2002 on boards with short values, where 0x2018 is 0
};

struct MaPortRow {
  unsigned mask;
  unsigned ex_value1, value1;
  unsigned ex_value2, value2;
};

// clang-format off
constexpr FivePortRow kFivePorts[] = {  // T1, T2, T3, T4, SYNC
    { 1, 0x3819C0, 0x3805C0, 6, 1},
    { 2, 0x3815C0, 0x3809C0, 5, 2},
    { 4, 0x380DC0, 0x3811C0, 3, 4},
    { 8, 0x380DC0, 0x3811C0, 3, 4},
    {16, 0x380DC0, 0x3811C0, 3, 4},
};

constexpr EightPortRow kEightPorts[] = {  // T1 to T7, SYNC
    {  1, 0x180CC0, 0x6C019C0, 0x1800C0,  0xC005C0, 126,  1},
    {  2, 0x180CC0, 0x6C015C0, 0x1800C0,  0xC009C0, 125,  2},
    {  4, 0x180CC0, 0x6C00DC0, 0x1800C0,  0xC011C0, 123,  4},
    {  8, 0x180CC0, 0x4C01DC0, 0x1800C0, 0x2C001C0, 119,  8},
    { 16, 0x180CC0, 0x2C01DC0, 0x1800C0, 0x4C001C0, 111, 16},
    { 32, 0x1808C0, 0x6C01DC0, 0x1804C0,  0xC001C0,  95, 32},
    { 64, 0x1804C0, 0x6C01DC0, 0x1808C0,  0xC001C0,  63, 64},
    {128, 0x1800C0,  0xC001C0, 0x180CC0, 0x6C01DC0, 127,  0},
};

constexpr MaPortRow kMaPorts[] = {  // T1, T2, T3, T4, SYNC
    {  1,  0x40, 0x6C01DC0, 0x440,  0xC001C0},
    {  2, 0x440, 0x4C01DC0,  0x40, 0x2C001C0},
    {  4, 0x440, 0x6C019C0,  0x40,  0xC005C0},
    {  8, 0x440, 0x6C015C0,  0x40,  0xC009C0},
    {128, 0x440, 0x2C00DC0,  0x40, 0x4C011C0},
};

constexpr unsigned kDriverMasks[] = {1, 2, 4, 8, 16};

constexpr int kShortFivePortBoards[] = {0x27202, 0x27203, 0x27204, 0x27205, 0x970E};
constexpr int kShortEightPortBoards[] = {0x97C2, 0x9615};

/// The expansion boards: register 0x60 by mode.
struct ModeRow { const char* name; unsigned board; };
constexpr ModeRow kModes[] = {
    {"无扩展板..", 0},
    {"一路报警一路485扩展板..", 0x10},
    {"两路报警输出扩展板..", 8},
    {"九路报警输出无扩展板..", 0},
};
// clang-format on

void select_expansion_board(const AlarmRun& run) {
  const ModeRow& mode = kModes[run.mode];
  std::puts(mode.name);
  set_fpga(run.device, 0x60, mode.board);
}

void set_up_fpga(AlarmRun& run) {
  set_up_alarm_fpga(run.device);
  run.dev_type = get_dev_type();
}

void prepare(AlarmRun& run) {
  select_expansion_board(run);
  set_up_fpga(run);
}

void prepare_64xx(AlarmRun& run) {
  select_expansion_board(run);
  if (run.mode == 0) std::puts("..............................ffff.....");
  set_up_fpga(run);
}

int cycle_64xx(AlarmRun& run) {
  const bool is_short = contains(kShortFivePortBoards, run.dev_type);
  int errors = 0;
  for (const FivePortRow& port : kFivePorts) {
    errors += alarm_test_everyport(run.device, is_short ? port.short_value1 : port.value1,
                                   is_short ? port.short_value2 : port.value2, run.port_text, port.mask);
  }
  return errors;
}

int cycle_k(AlarmRun& run) {
  const bool is_short = contains(kShortEightPortBoards, run.dev_type);
  int errors = 0;
  for (const EightPortRow& port : kEightPorts) {
    errors += is_short ? alarm_test_everyport_k(run.device, port.short_value1, 0, port.short_value2, 0,
                                                run.port_text, port.mask)
                       : alarm_test_everyport_k(run.device, port.value1, port.ex_value1, port.value2,
                                                port.ex_value2, run.port_text, port.mask);
  }
  return errors;
}

int cycle_19(AlarmRun& run) {
  int errors = 0;
  for (const MaPortRow& port : kMaPorts) {
    errors += alarm_test_everyport_19(run.device, port.value1, port.ex_value1, port.value2, port.ex_value2,
                                      run.port_text, port.mask);
  }
  return errors;
}

int cycle_68xx(AlarmRun& run) {
  int errors = 0;
  for (const unsigned mask : kDriverMasks)
    errors += alarm_test_everyport_hisi(run.device, run.port_text, mask);
  return errors;
}

void finish_64xx(const AlarmRun& run) {
  set_fpga(run.device, 0x2002, 0x380038);
}

// clang-format off
constexpr AlarmVariant k64xx{.banner = "alarm_test_65xx",
    .last_mode = 2,
    .prepare = prepare_64xx, .cycle = cycle_64xx, .finish = finish_64xx};

constexpr AlarmVariant k64xxK{.banner = "alarm_test_65xx",
    .last_mode = 3,
    .device_line = false,
    .pause = 700000,
    .prepare = prepare, .cycle = cycle_k};

constexpr AlarmVariant k64xx19{.banner = "alarm_test_64xx_19",
    .last_mode = 3,
    .device_line = false,
    .counting = Counting::failed_cycles_kept,
    .prepare = prepare, .cycle = cycle_19};

constexpr AlarmVariant k68xx{.banner = "alarm_test_68xx",
    .last_mode = 2,
    .device = kAlarmNode, .device_reply = "打开设备/dev/alarm失败",
    .cycle = cycle_68xx};
// clang-format on

}  // namespace

void alarm_test_64xx(unsigned mode, int code) {
  run_alarm_variant(k64xx, static_cast<int>(mode), code);
}

void alarm_test_64xx_k(unsigned mode, int code) {
  run_alarm_variant(k64xxK, static_cast<int>(mode), code);
}

void alarm_test_64xx_19(unsigned mode, int code) {
  run_alarm_variant(k64xx19, static_cast<int>(mode), code);
}

void alarm_test_68xx(unsigned mode, int code) {
  run_alarm_variant(k68xx, static_cast<int>(mode), code);
}
