// Alarm tests of steps, of ten inputs and of relays on boards where a node does not open.
#include <gtest/gtest.h>
#include <chrono>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/peripheral/alarm/variants.h"
#include "tests/peripheral/alarm_reports.h"

namespace {

using namespace std::chrono_literals;

// What the program says of each node, on standard output and on standard error, and to the station.
constexpr const char* kIo = "/dev/qznio";
constexpr const char* kControl = "/dev/qznitc";
constexpr const char* kFpga = "/dev/fpga";
constexpr const char* kAlarm = "/dev/alarm";
constexpr const char* kNoIo = "打开/dev/qznio失败\n";
constexpr const char* kNoControl = "打开/dev/qznitc失败\n";
constexpr const char* kNoIoError = "Open /dev/qznio: No such device\n";
constexpr const char* kNoControlError = "Open /dev/qznitc: No such device\n";

struct MissingNode {
  const char* name;
  void (*run)();
  const char* banner;
  int test_code;
  const char* node;
  const char* out;  ///< between the banner and "fail num"
  const char* err;
  const char* description;
  int result;
  std::vector<std::string> left_open;
};

void relays_4() {
  alarm_test_64xx_u(4, 519);
}
void relays_5() {
  alarm_test_64xx_u(5, 518);
}
void driver() {
  alarm_test_wpf_u(5, 518);
}
void driver_j() {
  alarm_test_wpf_u_j(2, 534);
}
void ten_switch() {
  alarm_test_65xx(0, 531);
}
void ten_level() {
  alarm_test_65xx(1, 532);
}
void two_relays() {
  alarm_test_rkd(0, 535);
}
void three_outputs() {
  alarm_test_rkd_1in3out(2, 69634);
}
void one_line() {
  alarm_test_1i1o(513);
}

// clang-format off
const MissingNode kRows[] = {
  {"StepsOf7Outputs_Io",      relays_4, "alarm_test_65xx\n", 519, kIo,      kNoIo,      kNoIoError,      "打开/dev/qznio失败",  1, {}},
  {"StepsOf7Outputs_Control", relays_4, "alarm_test_65xx\n", 519, kControl, kNoControl, kNoControlError, "打开/dev/qznitc失败", 2, {kIo}},
  {"StepsOf7Outputs_Fpga",    relays_4, "alarm_test_65xx\n", 519, kFpga,    "Open /dev/fpga error.", "", "打开/dev/fpga失败",   3, {kIo, kControl}},
  {"StepsOf5Outputs_Fpga",    relays_5, "alarm_test_65xx\n", 518, kFpga,    "Open /dev/fpga error.", "", "打开/dev/fpga失败",   3, {kIo, kControl}},
  {"Driver_Io",      driver, "alarm_test_wpf_u\n", 518, kIo,      kNoIo,      kNoIoError,      "打开/dev/qznio失败",  1, {}},
  {"Driver_Control", driver, "alarm_test_wpf_u\n", 518, kControl, kNoControl, kNoControlError, "打开/dev/qznitc失败", 2, {kIo}},
  {"Driver_Alarm",   driver, "alarm_test_wpf_u\n", 518, kAlarm,   "Open /dev/alarm error.打开/dev/alarm失败\n", "", "打开/dev/alarm失败", 3, {kIo, kControl}},
  {"DriverJ_Io",      driver_j, "alarm_test_wpf_u_j\n", 534, kIo,      kNoIo,      kNoIoError,      "打开/dev/qznio失败",  1, {}},
  {"DriverJ_Control", driver_j, "alarm_test_wpf_u_j\n", 534, kControl, kNoControl, kNoControlError, "打开/dev/qznitc失败", 2, {kIo}},
  {"DriverJ_Alarm",   driver_j, "alarm_test_wpf_u_j\n", 534, kAlarm,   "Open /dev/alarm error.打开/dev/alarm失败\n", "", "打开/dev/alarm失败", 3, {kIo, kControl}},
  {"TenSwitch_Io",      ten_switch, "alarm_test_65xx\n", 531, kIo,      kNoIo,      kNoIoError,      "打开/dev/qznio失败",  2, {}},
  {"TenSwitch_Control", ten_switch, "alarm_test_65xx\n", 531, kControl, kNoControl, kNoControlError, "打开/dev/qznitc失败", 3, {kIo}},
  {"TenSwitch_Fpga",    ten_switch, "alarm_test_65xx\n", 531, kFpga,    "Open /dev/fpga error.打开/dev/fpga失败\n", "", "打开/dev/fpga失败", 4, {kIo, kControl}},
  {"TenLevel_Fpga",     ten_level,  "alarm_test_65xx\n", 532, kFpga,    "Open /dev/fpga error.打开/dev/fpga失败\n", "", "打开/dev/fpga失败", 4, {kIo, kControl}},
  {"TwoRelays_Io",      two_relays, "alarm_test_rkd\n", 535, kIo,      kNoIo,      kNoIoError,      "打开/dev/qznio失败",  2, {}},
  {"TwoRelays_Control", two_relays, "alarm_test_rkd\n", 535, kControl, kNoControl, kNoControlError, "打开/dev/qznitc失败", 3, {kIo}},
  {"TwoRelays_Alarm",   two_relays, "alarm_test_rkd\n", 535, kAlarm,   "Open /dev/alarm error.打开/dev/alarm失败\n", "", "打开/dev/alarm失败", 3, {kIo, kControl}},
  {"ThreeOutputs_Io",      three_outputs, "alarm_test_rkd\n", 69634, kIo,      kNoIo,      kNoIoError,      "打开/dev/qznio失败",  2, {}},
  {"ThreeOutputs_Control", three_outputs, "alarm_test_rkd\n", 69634, kControl, kNoControl, kNoControlError, "打开/dev/qznitc失败", 3, {kIo}},
  {"ThreeOutputs_Alarm",   three_outputs, "alarm_test_rkd\n", 69634, kAlarm,   "Open /dev/alarm error.打开/dev/alarm失败\n", "", "打开/dev/alarm失败", 3, {kIo, kControl}},
  {"OneLine_Io", one_line, "alarm_test_65xx\n", 513, kIo, kNoIo, kNoIoError, "打开/dev/qznio失败", 1, {}},
};
// clang-format on

void PrintTo(const MissingNode& row, std::ostream* out) {
  *out << row.name;
}

class AlarmMissingNodeTest : public AlarmRun, public ::testing::WithParamInterface<MissingNode> {};

INSTANTIATE_TEST_SUITE_P(Of, AlarmMissingNodeTest, ::testing::ValuesIn(kRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(AlarmMissingNodeTest, EndsTheTestWithItsTextAndCodeAndWhatIsOpenStaysOpen) {
  const MissingNode& row = GetParam();
  board.fault(std::string("open ") + row.node + " #1");
  row.run();
  EXPECT_EQ(console.out(),
            std::string(row.banner) + row.out + "fail num = " + std::to_string(row.result) + "\n");
  EXPECT_EQ(console.err(), row.err);
  expect_fail(row.test_code, row.description);
  EXPECT_EQ(board.now(), 0s) << "nothing waits";
  EXPECT_EQ(gpiofd > 0, !row.left_open.empty()) << "gpiofd stays with its node";
  expect_open(row.left_open);
}

TEST_P(AlarmMissingNodeTest, NothingIsAskedOfTheNodesThatDidOpen) {
  const MissingNode& row = GetParam();
  board.fault(std::string("open ") + row.node + " #1");
  row.run();
  Lines opens;
  for (const std::string& node : row.left_open) opens.push_back("open " + node + " = ok");
  opens.push_back(std::string("open ") + row.node + " = -1 ENODEV");
  EXPECT_EQ(board.hardware_trace(), opens);
  expect_open(row.left_open);
}

}  // namespace
