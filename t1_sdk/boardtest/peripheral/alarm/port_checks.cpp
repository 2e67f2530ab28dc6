// Port checks: two patterns on the outputs, and one input that must differ between them.
#include <sys/ioctl.h>
#include <unistd.h>
#include <cstdint>
#include <cstdio>

#include "t1_sdk/boardtest/peripheral/alarm/checks.h"
#include "t1_sdk/boardtest/peripheral/alarm/lines.h"
#include "t1_sdk/boardtest/platform/gpio.h"
#include "t1_sdk/boardtest/platform/registers.h"
#include "t1_sdk/boardtest/protocol/report.h"
#include "t1_sdk/util/text.h"

using namespace boardtest;

namespace {

/// What a port check says: on the console, and (after a failure) to the station.
struct PortTexts {
  unsigned mask;
  const char* passed;
  const char* stuck_set;
  const char* stuck_set_reply;
  const char* stuck_clear;
  const char* stuck_clear_reply;
};

// T3, T4 and SYNC hang on the same third output of the jig: so there is F3 in the texts of all three; T3 and
// T4 share the texts of a short circuit. The last row serves every other mask.
// clang-format off
constexpr PortTexts kFivePorts[] = {
    {1, "T1口报警输入测试成功",
     "T1口不通或F1+、F1-短路!!!", "测试失败:T1不通或(F1+F1-)短路!!!",
     "F1+、F1-短路或T1、T2短路或T1、T3短路", "测试失败:(F1+F1-)或(T1T2)或(T1T3)短路!!!"},
    {2, "T2口报警输入测试成功",
     "T2口不通或F2+、F2-短路!!!", "测试失败:T2不通或(F2+F2-)短路!!!",
     "F2+、F2-短路或T1、T2短路或T2、T4短路", "测试失败:(F2+F2-)或(T1T2)或(T2T4)短路!!!"},
    {4, "T3口报警输入测试成功",
     "T3口不通或F3+、F3-短路!!!", "测试失败:T3不通或(F3+F3-)短路!!!",
     "F3+、F3-短路或T1、T3短路或T2、T4短路", "测试失败:(F3+F3-)或(T1T3)或(T2T4)短路!!!"},
    {8, "T4口报警输入测试成功",
     "T4口不通或F3+、F3-短路!!!", "测试失败:T4不通或(F3+F3-)短路!!!",
     "F3+、F3-短路或T1、T3短路或T2、T4短路", "测试失败:(F3+F3-)或(T1T3)或(T2T4)短路!!!"},
    {0, "SYNC口报警输入测试成功",
     "SYNC口不通或F3+、F3-短路!!!", "测试失败:SYNC不通或(F3+F3-)短路!!!",
     "F3+、F3-短路或T1、T3短路或T2、T4短路SYNC、GND短路", "测试失败:(F3+F3-)或(T1T3)或(T2T4)或(SYNC、GND)短路!!!"},
};

// T1 and T2 as above. The last row is SYNC, which is checked in a way of its own.
constexpr PortTexts kEightPorts[] = {
    kFivePorts[0],
    kFivePorts[1],
    {4, "T3口报警输入测试成功",
     "T3口不通或F3+、F3-短路!!!", "测试失败:T3不通或(F3+F3-)短路!!!",
     "F3+、F3-短路或T1、T3短路或T3、T4短路或T3、T5短路", "测试失败:(F3+F3-)或(T1T3)或(T3T4)或(T3T5)短路!!!"},
    {8, "T4口报警输入测试成功",
     "T4口不通或F4+、F4-短路!!!", "测试失败:T4不通或(F4+F4-)短路!!!",
     "F4+、F4-短路或T2、T4短路或T3、T4短路或T4、T6短路", "测试失败:(F4+F4-)或(T2T4)或(T3T4)或(T4T6)短路!!!"},
    {16, "T5口报警输入测试成功",
     "T5口不通或F5+、F5-短路!!!", "测试失败:T5不通或(F5+F5-)短路!!!",
     "F5+、F5-短路或T3、T5短路或T5、T6短路或T5、T7短路", "测试失败:(F5+F5-)或(T3T5)或(T5T6)或(T5T7)短路!!!"},
    {32, "T6口报警输入测试成功",
     "T6口不通或F6+、F6-短路!!!", "测试失败:T6不通或(F6+F6-)短路!!!",
     "F6+、F6-短路或T4、T6短路或T5、T6短路", "测试失败:(F6+F6-)或(T4T6)或(T5T6)短路!!!"},
    {64, "T7口报警输入测试成功",
     "T7口不通或F7+、F7-短路!!!", "测试失败:T7不通或(F7+F7-)短路!!!",
     "F7+、F7-短路或T5、T7短路或T7、SYNC短路", "测试失败:(F7+F7-)或(T5T7)或(T7、SYNC)短路!!!"},
    {0, "SYNC口报警输入测试成功",
     "SYNC不通", "测试失败:SYNC不通!!!",
     "SYNC口短路", "测试失败:SYNC口短路!!!"},
};
// clang-format on

/// The row of a mask, or the last one.
template <std::size_t N>
const PortTexts& texts_of(const PortTexts (&ports)[N], unsigned mask) {
  for (const PortTexts& port : ports) {
    if (port.mask == mask) return port;
  }
  return ports[N - 1];
}

/// How a kind of port check drives the outputs and reads the inputs back.
struct Wiring {
  useconds_t wait1;  ///< between pattern 1 and its reading, in microseconds
  useconds_t wait2;
  void (*read_inputs)(int fd, std::uint32_t* word);
  bool show_word = false;  ///< print each input word as a debug line
};

constexpr Wiring kFiveWiring{200000, 300000, getTriggerIn};
constexpr Wiring k19Wiring{200000, 300000, getTriggerIn_6194, true};
constexpr Wiring kKWiring{200000, 300000, getTriggerIn_Ex};
constexpr Wiring kHisiWiring{500000, 500000, getTriggerIn};
constexpr useconds_t kSyncWait = 400000;

bool input_is_set(int io, const Wiring& wiring, useconds_t wait, unsigned mask) {
  usleep(wait);
  std::uint32_t word = 0;
  wiring.read_inputs(io, &word);
  if (wiring.show_word) std::printf("0x%x\n", word);
  return (word & mask) != 0;
}

int failed(const char* console, const char* reply, char* text) {
  std::puts(console);
  copy_gbk(text, kDescriptionSize, reply);
  return 1;
}

/// The check of every port: `apply` puts pattern 1 or 2 on the outputs.
template <class Apply>
int check_port(int io, const Wiring& wiring, const PortTexts& port, unsigned mask, char* text, Apply apply) {
  apply(1);
  const bool first = input_is_set(io, wiring, wiring.wait1, mask);
  apply(2);
  const bool second = input_is_set(io, wiring, wiring.wait2, mask);
  int errors = 0;
  if (first != second) {
    std::puts(port.passed);
  } else if (first) {
    errors = failed(port.stuck_set, port.stuck_set_reply, text);
  } else {
    errors = failed(port.stuck_clear, port.stuck_clear_reply, text);
  }
  std::fflush(stdout);
  return errors;
}

/// SYNC of the eight-port boards: pattern 2 must set it, then pattern 1 must clear it.
template <class Apply>
int check_sync(int io, const PortTexts& port, unsigned mask, char* text, Apply apply) {
  int errors = 0;
  apply(2);
  if (!input_is_set(io, kKWiring, kSyncWait, mask)) {
    std::fputs(port.stuck_clear, stdout);  // has never ended its line
    copy_gbk(text, kDescriptionSize, port.stuck_clear_reply);
    errors = 1;
  } else {
    apply(1);
    if (input_is_set(io, kKWiring, kSyncWait, mask)) {
      errors = failed(port.stuck_set, port.stuck_set_reply, text);
    } else {
      std::puts(port.passed);
    }
  }
  std::fflush(stdout);
  return errors;
}

}  // namespace

int alarm_test_everyport(int fpga, unsigned value1, unsigned value2, char* text, unsigned mask) {
  return check_port(gpiofd, kFiveWiring, texts_of(kFivePorts, mask), mask, text,
                    [&](int pattern) { set_fpga(fpga, 0x2002, pattern == 1 ? value1 : value2); });
}

int alarm_test_everyport_19(int fpga, unsigned value1, unsigned ex_value1, unsigned value2,
                            unsigned ex_value2, char* text, unsigned mask) {
  return check_port(gpiofd, k19Wiring, texts_of(kFivePorts, mask), mask, text, [&](int pattern) {
    set_fpga(fpga, 0x2018, pattern == 1 ? ex_value1 : ex_value2);
    set_fpga(fpga, 0x2002, pattern == 1 ? value1 : value2);
  });
}

int alarm_test_everyport_k(int fpga, unsigned value1, unsigned ex_value1, unsigned value2, unsigned ex_value2,
                           char* text, unsigned mask) {
  const auto apply = [&](int pattern) {
    set_fpga(fpga, 0x2018, pattern == 1 ? ex_value1 : ex_value2);
    set_fpga(fpga, 0x2002, pattern == 1 ? value1 : value2);
    set_fpga(fpga, 81, pattern == 1 ? 1 : 0);
    set_fpga(fpga, 82, pattern == 1 ? 1 : 0);
  };
  const PortTexts& port = texts_of(kEightPorts, mask);
  if (port.mask == 0) return check_sync(gpiofd, port, mask, text, apply);
  return check_port(gpiofd, kKWiring, port, mask, text, apply);
}

int alarm_test_everyport_hisi(int alarm, char* text, unsigned mask) {
  return check_port(gpiofd, kHisiWiring, texts_of(kFivePorts, mask), mask, text, [&](int pattern) {
    alarm_ctrl all{kAllAlarms, pattern == 1 ? ~(mask ^ 0xF0000000U) : mask, HAL_ALARM_OUT};
    ioctl(alarm, kAlarmSet, &all);
  });
}
