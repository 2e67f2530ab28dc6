// From a request to its test: the steps, their order, and what each code does.
#include "t1_sdk/boardtest/service/dispatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <chrono>
#include <string>

#include "tests/service/dispatching.h"

namespace {

using namespace std::chrono_literals;
using ::testing::StartsWith;

constexpr int kQuit = 62208;

// ---- known codes ------------------------------------------------------------------------

TEST_F(DispatchTest, CounterAndTrimAreResetBeforeTheTestBegins) {
  bool looked = false;
  board.at(board.now() + 500ms, [&] {
    looked = true;
    EXPECT_EQ(g_iTimeCount, 0);
    EXPECT_TRUE(trim_is_reset());
    EXPECT_EQ(station.bytes(), "") << "the test is still running";
  });
  dispatch(1536);
  EXPECT_TRUE(looked);
}

TEST_F(DispatchTest, ATestThatFailsOrWhoseReplyCannotBeSentGivesZeroToo) {
  board.fault("open /dev/rtc");
  EXPECT_EQ(dispatch(1536), 0);
  EXPECT_EQ(station.reply().value, "Fail");
  board.fault("send #2 EPIPE");
  EXPECT_EQ(dispatch(7426), 0);
}

// ---- quit -------------------------------------------------------------------------------

TEST_F(DispatchTest, QuitGivesTwoSendsNothingAndLeavesTrimAndIdleCounterAlone) {
  EXPECT_EQ(dispatch(kQuit), 2);
  EXPECT_EQ(console.out(), "recv q command\n");
  EXPECT_EQ(station.bytes(), "");
  EXPECT_TRUE(trim_is_untouched());
  EXPECT_EQ(g_iTimeCount, kNoted);
}

TEST_F(DispatchTest, TheMenusQuitCharacterIsNotTheQuitRequest) {
  expect_invalid(request("q"));
}

// ---- parameters -------------------------------------------------------------------------

class SetCommandTest : public DispatchTest, public ::testing::WithParamInterface<int> {
 protected:
  std::string with(const std::string& parameters) const {
    return "<TestItem><TestCode>" + std::to_string(GetParam()) + "</TestCode>" + parameters + "</TestItem>";
  }
  /// The command ran with this parameter, which it used up.
  void expect_parameter(int number) {
    EXPECT_THAT(console.out(), StartsWith("g_sub_value = " + std::to_string(number) + "\n"));
    EXPECT_EQ(g_sub_value, 0);
  }
};

INSTANTIATE_TEST_SUITE_P(Vsub, SetCommandTest, ::testing::Values(9728, 9984, 10240),
                         [](const auto& code) { return "Code" + std::to_string(code.param); });

TEST_P(SetCommandTest, TheParameterIsReadAndPrintedFirstAndIsZeroWithoutANumber) {
  const struct {
    const char* elements;
    int parameter;
  } rows[] = {
      {"<Parameters>120</Parameters>", 120}, {"<Operator>55</Operator><Parameters>120</Parameters>", 120},
      {"<Parameters>-3</Parameters>", -3},   {"", 0},
      {"<Operator>55</Operator>", 0},  // never another element's text
      {"<Parameters>abc</Parameters>", 0},   {"<Parameters/>", 0},
      {"<Parameters></Parameters>", 0},      {"<Parameters><a>120</a></Parameters>", 0}};
  for (const auto& [elements, parameter] : rows) {
    g_sub_value = 77;
    begin_trim();
    console.clear();
    EXPECT_EQ(dispatch(with(elements)), 0) << elements;
    expect_parameter(parameter);
    EXPECT_TRUE(trim_is_reset()) << elements;
  }
}

TEST_P(SetCommandTest, AParameterBeforeTheCodeIsNotFound) {
  const std::string code = std::to_string(GetParam());
  dispatch("<TestItem><Parameters>120</Parameters><TestCode>" + code + "</TestCode></TestItem>");
  expect_parameter(0);
}

TEST_F(DispatchTest, OtherRequestsDoNotReadAParameter) {
  dispatch("<TestItem><TestCode>7426</TestCode><Parameters>120</Parameters></TestItem>");
  dispatch("<TestItem><TestCode>1</TestCode><Parameters>120</Parameters></TestItem>");
  dispatch("<TestItem><TestCode>11010</TestCode><Parameters>120</Parameters></TestItem>");
  EXPECT_EQ(g_sub_value, 77);
  EXPECT_EQ(console.out().find("g_sub_value"), std::string::npos);
}

// ---- trim -------------------------------------------------------------------------------

TEST_F(DispatchTest, TheNineTrimStepsKeepTheTrim) {
  for (const int code : {11009, 11010, 11011, 11265, 11266, 11267, 11521, 11522, 11523}) {
    begin_trim();
    dispatch(code);
    EXPECT_FALSE(trim_is_reset()) << code;
  }
}

TEST_F(DispatchTest, TheCodesBesideTheTrimStepsDiscardTheTrim) {
  for (const int code : {11008, 11012, 11264, 11268, 11520, 11524, 11777, 0, 1, -1, 2147483647}) {
    begin_trim();
    dispatch(code);
    EXPECT_TRUE(trim_is_reset()) << code;
  }
}

}  // namespace
