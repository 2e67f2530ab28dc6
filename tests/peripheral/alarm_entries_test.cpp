// The alarm entries: which variant runs on which board, in which mode, and under which code it answers.
#include <gtest/gtest.h>
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/peripheral/alarm/alarm.h"
#include "tests/harness/station_run.h"
#include "tests/service/dispatching.h"

namespace {

using Lines = std::vector<std::string>;

/// What an entry starts on boards of some types: a variant by its banner, its mode by a line that it prints.
struct Choice {
  const char* name;
  void (*run)();
  int code;
  std::vector<std::uint32_t> types;
  const char* banner;
  const char* mode_line;  ///< the line below the banner
  Lines left_open;
};

const std::vector<std::uint32_t> kMa = {0xA6001, 0xA6002, 0xA6003, 0xA6004};
const std::vector<std::uint32_t> k68xx = {0x27252, 0x9A01,  0x27254, 0x9A03,
                                          0xA6005, 0xA6006, 0xA60A0, 0xA60A3};
const std::vector<std::uint32_t> kLoop = {0x96C1, 0x96C2, 0x96C3, 0x96C4, 0x96C5};
const std::vector<std::uint32_t> kOther = {0x9601, 0x960B, 0x27201, 0x27202, 0x27251, 0x96C0, 0x9C0A, 0x970E};

std::vector<std::uint32_t> join(std::initializer_list<std::vector<std::uint32_t>> lists) {
  std::vector<std::uint32_t> all;
  for (const auto& list : lists) all.insert(all.end(), list.begin(), list.end());
  return all;
}
const std::vector<std::uint32_t> kAny = join({kMa, k68xx, kLoop, kOther});

// clang-format off
std::vector<Choice> choices() {
  return {
      {"FiveInThreeOutOnMa",     t1_sdk_alarm_test_5in3out, 520, kMa,   "alarm_test_64xx_19", "无扩展板..", {}},
      {"FiveInThreeOutOn68xx",   t1_sdk_alarm_test_5in3out, 520, k68xx, "alarm_test_68xx",    "",           {}},
      {"FiveInThreeOutElsewhere", t1_sdk_alarm_test_5in3out, 520, join({kLoop, kOther}), "alarm_test_65xx", "无扩展板..", {}},
      {"FiveInFourOut",  t1_sdk_alarm_test_5in4out, 521, kAny, "alarm_test_65xx", "一路报警一路485扩展板..", {}},
      {"FiveInFiveOut",  t1_sdk_alarm_test_5in5out, 528, kAny, "alarm_test_65xx", "两路报警输出扩展板..", {}},
      {"EightInNineOut", t1_sdk_alarm_test_8in9out, 530, kAny, "alarm_test_65xx", "九路报警输出无扩展板..", {}},
      {"FourInSevenOut", t1_sdk_alarm_test_4in7out, 519, kAny, "alarm_test_65xx", "type: 4", {}},
      {"FourInFiveOutOnLoop",    t1_sdk_alarm_test_4in5out, 518, kLoop, "alarm_test_wpf_u", "type: 5", {"/dev/alarm"}},
      {"FourInFiveOutElsewhere", t1_sdk_alarm_test_4in5out, 518, join({kMa, k68xx, kOther}), "alarm_test_65xx", "type: 5", {}},
      {"ThreeInTwoOut", t1_sdk_alarm_test_3in2out, 534, kAny, "alarm_test_wpf_u_j", "type: 2", {"/dev/alarm"}},
      {"TenInTenOutSwitch", t1_sdk_alarm_test_10in10out_switch, 531, kAny, "alarm_test_65xx", "开关量(10进10出)..", {}},
      {"TenInTenOutLevel",  t1_sdk_alarm_test_10in10out_level,  532, kAny, "alarm_test_65xx", "电平量(10进10出)..", {}},
  };
}
// clang-format on

class AlarmEntryTest : public StationRun {};

class AlarmChoiceTest : public AlarmEntryTest, public ::testing::WithParamInterface<Choice> {};

INSTANTIATE_TEST_SUITE_P(Entries, AlarmChoiceTest, ::testing::ValuesIn(choices()),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(AlarmChoiceTest, EachBoardRunsItsVariantInTheModeOfTheEntryAndAnswersUnderItsCode) {
  Lines open;
  for (const std::uint32_t type : GetParam().types) {
    SCOPED_TRACE(type);
    board.set_type(type);
    console.clear();
    station.forget();
    GetParam().run();
    const Lines lines = console.lines();
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(lines[0], GetParam().banner);
    EXPECT_EQ(lines[1], GetParam().mode_line);
    const Reply reply = station.reply();
    EXPECT_EQ(reply.code, GetParam().code);
    EXPECT_EQ(reply.name, "测试应用程序");
    open.insert(open.end(), GetParam().left_open.begin(), GetParam().left_open.end());
  }
  expect_open(open);
}

TEST_F(AlarmEntryTest, OnlyBoardsWithoutExpansionAndWithoutMaPrintTheLineOfDots) {
  const std::string dots = "..............................ffff.....";
  const auto prints_dots = [&](std::uint32_t type, void (*run)()) {
    board.set_type(type);
    console.clear();
    station.forget();
    run();
    const Lines lines = console.lines();
    return std::find(lines.begin(), lines.end(), dots) != lines.end();
  };
  EXPECT_TRUE(prints_dots(0x9601, t1_sdk_alarm_test_5in3out));
  EXPECT_FALSE(prints_dots(0xA6001, t1_sdk_alarm_test_5in3out));
  EXPECT_FALSE(prints_dots(0x27252, t1_sdk_alarm_test_5in3out));
  EXPECT_FALSE(prints_dots(0x9601, t1_sdk_alarm_test_5in4out));
  EXPECT_FALSE(prints_dots(0x960B, t1_sdk_alarm_test_8in9out));
}

TEST_F(AlarmEntryTest, ABoardThatCannotSayWhoItIsRunsTheUsualVariants) {
  board.fault("ioctl /dev/qznio 0x80044801");
  for (const std::uint32_t type : {0xA6001U, 0x27252U}) {
    board.set_type(type);
    console.clear();
    station.forget();
    t1_sdk_alarm_test_5in3out();
    EXPECT_NE(console.out().find("alarm_test_65xx\n无扩展板..\n"), std::string::npos) << type;
    EXPECT_EQ(station.reply().code, 520);
  }
  board.set_type(0x96C1);
  console.clear();
  station.forget();
  t1_sdk_alarm_test_4in5out();
  EXPECT_NE(console.out().find("alarm_test_65xx\ntype: 5\n"), std::string::npos);
  EXPECT_EQ(station.reply().code, 518);
}

TEST_F(AlarmEntryTest, EightInNineOutChecksEightPorts) {
  with_family("k");
  t1_sdk_alarm_test_8in9out();
  EXPECT_NE(console.out().find("T7口报警输入测试成功\nSYNC口报警输入测试成功\n"), std::string::npos);
  EXPECT_EQ(station.reply().value, "Pass");
}

TEST_F(AlarmEntryTest, OneInOneOutChecksLines20And21AndLeavesItsNodeOpen) {
  t1_sdk_alarm_test_1in1out();
  EXPECT_EQ(console.lines().front(), "alarm_test_65xx");
  EXPECT_NE(console.out().find("\n================报警输入1,报警输出1测试结束================\n"),
            std::string::npos);
  EXPECT_EQ(station.reply().code, 513);
  EXPECT_EQ(board->general_io.direction(20), boardsim::Direction::input);
  EXPECT_EQ(board->general_io.direction(21), boardsim::Direction::output);
  expect_open({"/dev/qznio"});
}

std::ptrdiff_t finished_relays(const Console& console) {
  const Lines lines = console.lines();
  return std::count(lines.begin(), lines.end(), "报警输入,报警输出测试成功.");
}

TEST_F(AlarmEntryTest, TwoInFourOutChecksTwoRelaysInEachOfTwoCycles) {
  with_family("rkd1");
  t1_sdk_alarm_test_2in4out();
  EXPECT_EQ(console.lines().front(), "alarm_test_rkd");
  EXPECT_EQ(finished_relays(console), 4);
  EXPECT_EQ(station.reply().code, 535);
}

TEST_F(AlarmEntryTest, OneInThreeOutChecksOnePairOfRelaysInEachOfTwoCycles) {
  with_family("rkd1");
  t1_sdk_alarm_test_1in3out();
  EXPECT_EQ(console.lines().front(), "alarm_test_rkd");
  EXPECT_EQ(finished_relays(console), 2);
  EXPECT_EQ(station.reply().code, 69634);
}

// ---- dispatch --------------------------------------------------------------------------------------------

struct AlarmRequest {
  int code;
  const char* code_name;
  const char* family;
  const char* banner;
  Lines left_open;
};

// clang-format off
const AlarmRequest kRequests[] = {
    {513,   "T1_TESTCODE_ARLARM_1in1out", "63xx", "alarm_test_65xx", {"/dev/qznio"}},
    {518,   "T1_TESTCODE_ARLARM_4in5out", "loop", "alarm_test_wpf_u", {"/dev/alarm"}},
    {519,   "T1_TESTCODE_ARLARM_4in7out", "6444", "alarm_test_65xx", {}},
    {520,   "T1_TESTCODE_ARLARM_5in3out", "normal", "alarm_test_65xx", {}},
    {521,   "T1_TESTCODE_ARLARM_5in4out", "normal", "alarm_test_65xx", {}},
    {528,   "T1_TESTCODE_ARLARM_5in5out", "normal", "alarm_test_65xx", {}},
    {530,   "T1_TESTCODE_ARLARM_8in9out", "k",      "alarm_test_65xx", {}},
    {531,   "T1_TESTCODE_ARLARM_10in10out_SWITCH", "65xx", "alarm_test_65xx", {}},
    {532,   "T1_TESTCODE_ARLARM_10in10out_LEVEL",  "65xx", "alarm_test_65xx", {}},
    {534,   "T1_TESTCODE_ARLARM_3in2out", "6444-j", "alarm_test_wpf_u_j", {"/dev/alarm"}},
    {535,   "T1_TESTCODE_ARLARM_2in4out", "rkd1",   "alarm_test_rkd", {}},
    {69634, "T1_TESTCODE_ARLARM_1in3out", "rkd2",   "alarm_test_rkd", {}},
};
// clang-format on

class AlarmDispatchTest : public DispatchTest, public ::testing::WithParamInterface<AlarmRequest> {};

INSTANTIATE_TEST_SUITE_P(Codes, AlarmDispatchTest, ::testing::ValuesIn(kRequests),
                         [](const auto& test) { return "Code" + std::to_string(test.param.code); });

TEST_P(AlarmDispatchTest, TheCodeRunsItsTestAfterPrintingItsName) {
  with_family(GetParam().family);
  EXPECT_EQ(dispatch(GetParam().code), 0);
  expect_open(GetParam().left_open);
  const Lines lines = console.lines();
  ASSERT_GE(lines.size(), 2U);
  EXPECT_EQ(lines[0], GetParam().code_name);
  EXPECT_EQ(lines[1], GetParam().banner);
  EXPECT_EQ(station.reply().code, GetParam().code);
}

TEST_P(AlarmDispatchTest, TheCodeResetsTheIdleCounterAndAnUnfinishedTrim) {
  with_family(GetParam().family);
  dispatch(GetParam().code);
  expect_open(GetParam().left_open);
  EXPECT_EQ(g_iTimeCount, 0);
  EXPECT_TRUE(trim_is_reset());
}

TEST_F(DispatchTest, TheIrCutTestRunsUnderItsCodeAndPrintsNoCodeName) {
  EXPECT_EQ(dispatch(1792), 0);
  EXPECT_EQ(console.lines().front(), "ircut_test_64xx");
  EXPECT_EQ(station.reply().code, 1792);
  EXPECT_EQ(station.reply().name, "IR CUT测试");
  EXPECT_EQ(g_iTimeCount, 0);
  EXPECT_TRUE(trim_is_reset());
}

TEST_F(DispatchTest, TheCodesBesideTheAlarmCodesAreUnknown) {
  for (const int code : {512, 514, 517, 522, 527, 529, 533, 536, 1791, 1793, 69635}) {
    console.clear();
    EXPECT_EQ(dispatch(code), 0);
    EXPECT_EQ(console.out().find("alarm_test"), std::string::npos) << code;
    EXPECT_EQ(console.out().find("ircut_test"), std::string::npos) << code;
    EXPECT_EQ(station.bytes(), "") << code;
  }
}

}  // namespace
