// Restart of the board. The simulated board records a restart and goes on.
#include "t1_sdk/boardtest/comm/restart.h"

#include <gtest/gtest.h>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>
#include "tests/harness/station_run.h"

namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;
using Reboots = std::vector<std::uint32_t>;

constexpr char kRestarting[] = "测试应用程序,正在重新启动......";

class RestartTest : public StationRun {
 protected:
  boardsim::Time time_of(const std::string& call_name) {
    for (const boardsim::Call& call : board.trace()) {
      if (call.name == call_name) return call.at;
    }
    ADD_FAILURE() << "no " << call_name;
    return {};
  }
};

TEST_F(RestartTest, TheStationHasItsPassBeforeTheBoardGoesDown) {
  bool answered = false;
  board.at(1ms, [&] { answered = !station.bytes().empty(); });
  t1_sdk_centaurus_test();
  EXPECT_TRUE(answered);
  EXPECT_EQ(time_of("send"), 0s);
  EXPECT_EQ(time_of("reboot"), 1s);
}

TEST_F(RestartTest, TheReplyPasses) {
  t1_sdk_centaurus_test();
  expect_reply(station, -15, "测试应用程序", "Pass", "测试成功");
}

TEST_F(RestartTest, TheNegativeTestCodeIsWrittenWithItsSign) {
  t1_sdk_centaurus_test();
  EXPECT_NE(station.reply().raw.find("<TestCode>-15</TestCode>"), std::string::npos);
}

TEST_F(RestartTest, TheConsoleSaysTheTestAndTheRestart) {
  t1_sdk_centaurus_test();
  EXPECT_EQ(console.lines(), (Lines{"t1_sdk_centaurus_test", kRestarting}));
}

TEST_F(RestartTest, TheRestartIsSaidHalfASecondAfterTheReply) {
  board.at(499ms, [&] { EXPECT_EQ(console.lines(), Lines{"t1_sdk_centaurus_test"}); });
  board.at(501ms, [&] { EXPECT_EQ(console.lines().size(), 2U); });
  t1_sdk_centaurus_test();
}

TEST_F(RestartTest, TheTextIsFlushedBeforeTheSecondHalfSecond) {
  std::string flushed;
  board.at(501ms, [&] { flushed = console.flushed(); });
  t1_sdk_centaurus_test();
  EXPECT_EQ(flushed, std::string("t1_sdk_centaurus_test\n") + kRestarting + "\n");
}

TEST_F(RestartTest, TheBoardIsRestartedOnceByTheRestartCommand) {
  t1_sdk_centaurus_test();
  EXPECT_EQ(board.reboots(), Reboots{0x1234567});
  EXPECT_EQ(board.hardware_trace().back(), "reboot 0x1234567 = 0");
  EXPECT_EQ(board.now(), 1s);
}

TEST_F(RestartTest, ARestartThatReturnsIsNotTriedAgain) {
  t1_sdk_centaurus_test();
  t1_sdk_centaurus_test();
  EXPECT_EQ(board.reboots(), (Reboots{0x1234567, 0x1234567}));
  EXPECT_EQ(station.records().size(), 2U);
}

TEST_F(RestartTest, AStationThatIsGoneDoesNotStopTheRestart) {
  station.reset();
  t1_sdk_centaurus_test();
  EXPECT_EQ(board.reboots(), Reboots{0x1234567});
}

TEST_F(RestartTest, TheSilentRestartSendsNoReply) {
  centaurus_test();
  EXPECT_EQ(station.bytes(), "");
  EXPECT_EQ(console.lines(), Lines{kRestarting});
  EXPECT_EQ(board.reboots(), Reboots{0x1234567});
}

TEST_F(RestartTest, TheSilentRestartTakesTheSameTime) {
  std::string before;
  std::string after;
  board.at(499ms, [&] { before = console.flushed(); });
  board.at(501ms, [&] { after = console.flushed(); });
  centaurus_test();
  EXPECT_EQ(before, "");
  EXPECT_EQ(after, std::string(kRestarting) + "\n");
  EXPECT_EQ(time_of("reboot"), 1s);
}

}  // namespace
