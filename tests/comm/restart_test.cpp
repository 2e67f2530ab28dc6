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
  EXPECT_EQ(board.reboots(), Reboots{0x1234567}) << "the restart command";
  expect_reply(station, -15, "测试应用程序", "Pass", "测试成功");
  EXPECT_NE(station.reply().raw.find("<TestCode>-15</TestCode>"), std::string::npos);
}

TEST_F(RestartTest, TheRestartIsSaidAndFlushedHalfASecondAfterTheReply) {
  const std::string begin = "t1_sdk_centaurus_test\n";
  board.at(499ms, [&] { EXPECT_EQ(console.out(), begin); });
  board.at(501ms, [&] { EXPECT_EQ(console.flushed(), begin + kRestarting + "\n"); });
  t1_sdk_centaurus_test();
  EXPECT_EQ(console.out(), begin + kRestarting + "\n");
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

TEST_F(RestartTest, TheSilentRestartSendsNoReplyAndTakesTheSameTime) {
  board.at(499ms, [&] { EXPECT_EQ(console.flushed(), ""); });
  board.at(501ms, [&] { EXPECT_EQ(console.flushed(), std::string(kRestarting) + "\n"); });
  centaurus_test();
  EXPECT_EQ(station.bytes(), "");
  EXPECT_EQ(console.out(), std::string(kRestarting) + "\n");
  EXPECT_EQ(board.reboots(), Reboots{0x1234567});
  EXPECT_EQ(time_of("reboot"), 1s);
}

}  // namespace
