// Every code of the station's table: what is printed before the test, which test it is, under which code it
// replies.
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "t1_sdk/boardtest/platform/pins.h"
#include "tests/matrix/codes.h"
#include "tests/service/dispatching.h"

namespace {

struct CodeRow {
  int code;
  const char* name;         ///< printed by the dispatcher; empty: none
  const char* first_line;   ///< the first one that the test itself prints
  std::string_view family;  ///< a board that has the test
  int reply;                ///< test code in the reply
};

void PrintTo(const CodeRow& row, std::ostream* out) {
  *out << row.code;
}

// clang-format off
const std::vector<CodeRow> kCodes = {
    {  -16, "T1_TESTCODE_RS485_PTZ",               "485设备打开成功.",         "normal",      1024},
    {  -15, "T1_TESTCODE_CENTAURUS",               "t1_sdk_centaurus_test",    "normal",       -15},
    {  513, "T1_TESTCODE_ARLARM_1in1out",          "alarm_test_65xx",          "63xx",         513},
    {  518, "T1_TESTCODE_ARLARM_4in5out",          "alarm_test_wpf_u",         "loop",         518},
    {  519, "T1_TESTCODE_ARLARM_4in7out",          "alarm_test_65xx",          "6444",         519},
    {  520, "T1_TESTCODE_ARLARM_5in3out",          "alarm_test_65xx",          "normal",       520},
    {  521, "T1_TESTCODE_ARLARM_5in4out",          "alarm_test_65xx",          "normal",       521},
    {  528, "T1_TESTCODE_ARLARM_5in5out",          "alarm_test_65xx",          "normal",       528},
    {  530, "T1_TESTCODE_ARLARM_8in9out",          "alarm_test_65xx",          "k",            530},
    {  531, "T1_TESTCODE_ARLARM_10in10out_SWITCH", "alarm_test_65xx",          "65xx",         531},
    {  532, "T1_TESTCODE_ARLARM_10in10out_LEVEL",  "alarm_test_65xx",          "65xx-level",   532},
    {  534, "T1_TESTCODE_ARLARM_3in2out",          "alarm_test_wpf_u_j",       "6444-j",       534},
    {  535, "T1_TESTCODE_ARLARM_2in4out",          "alarm_test_rkd",           "rkd1",         535},
    { 1024, "T1_TESTCODE_RS485",                   "rs485_test",               "normal",      1024},
    { 1536, "",                                    "t1_sdk_rtc_test",          "normal",      1536},
    { 1792, "",                                    "ircut_test_64xx",          "normal",      1792},
    { 4352, "",                                    "sd_rw_test",               "normal",      4352},
    { 4608, "T1_TESTCODE_USB",                     "**********USB[/dev/msb1]测试开始**********", "normal",      4608},
    { 7426, "T1_TESTCODE_TEMP",                    "t1_sdk_tmp_test",          "normal",      7426},
    { 9472, "T1_TESTCODE_AUTO_IRIS",               "auto_iris_test_65xx",      "normal",      9472},
    { 9728, "T1_TESTCODE_SET_SUB_6455",            "t1_sdk_vsub_set",          "6455",        9728},
    { 9984, "T1_TESTCODE_SET_SUB_6485",            "t1_sdk_vsub_set",          "6485",        9984},
    {10240, "T1_TESTCODE_SET_SUB_6484",            "t1_sdk_vsub_set",          "6484",       10240},
    {10496, "T1_TESTCODE_SET_TG_PARAM",            "setTGParam",               "normal",     10496},
    {10752, "T1_TESTCODE_GET_TG_PARAM",            "printTGParam",             "normal",     10752},
    {10768, "T1_TESTCODE_ABF",                     "printTGParam5",            "normal",     10768},
    {10769, "T1_TESTCODE_MA",                      "t1_sdk_ma",                "ma",         10769},
    {11009, "T1_TESTCODE_ADD_SUB_6455",            "t1_sdk_add_trim_vsub",     "6455",       11009},
    {11010, "T1_TESTCODE_DEC_SUB_6455",            "t1_sdk_dec_trim_vsub",     "6455",       11010},
    {11011, "T1_TESTCODE_SAVE_SUB_6455",           "t1_sdk_save_trim_vsub",    "6455",       11011},
    {11265, "T1_TESTCODE_ADD_SUB_6485",            "t1_sdk_add_trim_vsub",     "6485",       11265},
    {11266, "T1_TESTCODE_DEC_SUB_6485",            "t1_sdk_dec_trim_vsub",     "6485",       11266},
    {11267, "T1_TESTCODE_SAVE_SUB_6485",           "t1_sdk_save_trim_vsub",    "6485",       11267},
    {11521, "T1_TESTCODE_ADD_SUB_6484",            "t1_sdk_add_trim_vsub",     "6484",       11521},
    {11522, "T1_TESTCODE_DEC_SUB_6484",            "t1_sdk_dec_trim_vsub",     "6484",       11522},
    {11523, "T1_TESTCODE_SAVE_SUB_6484",           "t1_sdk_save_trim_vsub",    "6484",       11523},
    {11776, "T1_TESTCODE_AUTO_SUB",                "t1_sdk_autoCCDLevel",      "6455",       11776},
    {12032, "T1_TESTCODE_PRINT_SUB",               "t1_sdk_printVsub",         "6455",       12032},
    {13568, "T1_TESTCODE_CHECK_CAMERA_DPI",        "t1_sdk_check_camera_dpi",  "normal",     13568},
    {13824, "T1_TESTCODE_CHECK_FF_CORR",           "t1_sdk_check_ff_corr",     "normal",     13824},
    {14592, "T1_TESTCODE_LIGHT",                   "t1_sdk_light",             "normal",     14592},
    {69633, "T1_TESTCODE_IN_LIGHT",                "t1_sdk_in_light_rkd",      "rkd2",       69633},
    {69634, "T1_TESTCODE_ARLARM_1in3out",          "alarm_test_rkd",           "rkd1",       69634},
};
// clang-format on

/// What a code of the alarm tests leaves open.
std::vector<std::string> left_open(int code) {
  switch (code) {
    case 513:
      return {"/dev/qznio"};
    case 518:  // of a loop board
    case 534:
      return {"/dev/alarm"};
    default:
      return {};
  }
}

class EveryCodeTest : public DispatchTest, public ::testing::WithParamInterface<CodeRow> {};

INSTANTIATE_TEST_SUITE_P(All, EveryCodeTest, ::testing::ValuesIn(kCodes), [](const auto& row) {
  std::string name = std::to_string(row.param.code);
  if (name.front() == '-') name.replace(0, 1, "Minus");
  return name;
});

TEST_P(EveryCodeTest, PrintsItsNameAndRunsItsTestWhichReplies) {
  const CodeRow& row = GetParam();
  with_family(row.family);
  gpio_pin_cfg();
  t1_sdk_reset_trim_vsub();
  console.clear();
  EXPECT_EQ(dispatch("<TestItem><TestCode>" + std::to_string(row.code) +
                     "</TestCode><Parameters>650</Parameters></TestItem>"),
            0);
  std::vector<std::string> expected;
  if (std::string_view(row.first_line) == "t1_sdk_vsub_set") expected.emplace_back("g_sub_value = 650");
  if (row.name[0] != '\0') expected.emplace_back(row.name);
  expected.emplace_back(row.first_line);
  std::vector<std::string> lines = console.lines();
  lines.resize(std::min(lines.size(), expected.size()));
  EXPECT_EQ(lines, expected);
  EXPECT_EQ(station.reply().code, row.reply);
  EXPECT_EQ(g_iTimeCount, 0);
  expect_open(left_open(row.code));
}

TEST(EveryCodeTableTest, HasTheCodesOfTheCatalogue) {
  EXPECT_TRUE(std::ranges::equal(kCodes, test_codes(), {}, &CodeRow::code));
}

TEST_F(DispatchTest, NoCodeBetweenThemIsKnown) {
  constexpr int kQuit = 62208;
  std::string expected;
  g_sub_value = 0;
  for (int code = -20; code <= 70000; ++code) {
    const bool known = std::ranges::find(kCodes, code, &CodeRow::code) != kCodes.end();
    if (known || code == kQuit) continue;
    dispatch(code);
    expected += "testCode is invalid\n";
  }
  EXPECT_TRUE(console.out() == expected) << "an unknown code did something";
  EXPECT_EQ(station.bytes(), "");
  EXPECT_EQ(g_iTimeCount, kNoted);
}

}  // namespace
