// Watching a board.
#include "station/monitor.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/station/board_texts.h"
#include "tests/station/scripted_link.h"

namespace {

using namespace board_texts;
using t1station::MonitorLimits;

class MonitorTest : public testing::Test {
 protected:
  int watch(const std::vector<Event>& events, const MonitorLimits& limits, bool quit = false) {
    ScriptedLink link(clock_, events);
    const int code = t1station::monitor(link, clock_, limits, quit, out_);
    sent_ = link.sent;
    return code;
  }

  ManualClock clock_;
  std::ostringstream out_;
  std::vector<std::string> sent_;
};

TEST_F(MonitorTest, EveryRecordOfABoardIsShownInReadableChinese) {
  EXPECT_EQ(watch({bytes_after(0, menu()), bytes_after(0.1, heartbeat() + rtc_pass())}, {std::nullopt, 3}),
            0);
  EXPECT_EQ(out_.str(),
            "     0.0 s  message of 3 lines\n"
            "            \tT1 test menu:\n"
            "            \t[h] 帮助菜单\n"
            "            \t[q] 退出测试\n"
            "     0.1 s  message of 1 line\n"
            "            请选择测试项(默认值=0): \n"
            "     0.1 s  reply to 1536 测试RTC时钟: Pass\n"
            "            测试成功\n");
}

TEST_F(MonitorTest, WatchingEndsAfterTheSecondsAsked) {
  const double start = clock_.now();
  EXPECT_EQ(watch({bytes_after(0, heartbeat()), bytes_after(5, heartbeat()), bytes_after(10, heartbeat())},
                  {7, {}}),
            0);
  EXPECT_DOUBLE_EQ(clock_.now() - start, 7);
  EXPECT_NE(out_.str().find("     5.0 s  message"), std::string::npos);
  EXPECT_EQ(out_.str().find("    10.0 s"), std::string::npos);
}

TEST_F(MonitorTest, WatchingEndsAfterTheRecordsAsked) {
  EXPECT_EQ(watch({bytes_after(0, heartbeat() + heartbeat() + heartbeat())}, {std::nullopt, 2}), 0);
  EXPECT_EQ(out_.str(),
            "     0.0 s  message of 1 line\n            请选择测试项(默认值=0): \n"
            "     0.0 s  message of 1 line\n            请选择测试项(默认值=0): \n");
}

TEST_F(MonitorTest, ARecordThatCannotBeReadIsShownAndWatchingGoesOn) {
  EXPECT_EQ(watch({bytes_after(0, record_of("\xFF\xFF") + heartbeat())}, {std::nullopt, 2}), 6);
  EXPECT_EQ(out_.str(),
            "     0.0 s  unreadable record of 2 bytes: the document is no GBK text: byte 0 of 2 is wrong\n"
            "     0.0 s  message of 1 line\n            请选择测试项(默认值=0): \n");
}

TEST_F(MonitorTest, ALengthThatNoBoardCanSendEndsWatching) {
  EXPECT_EQ(watch({bytes_after(0, length_field(-5))}, {}), 6);
  EXPECT_EQ(out_.str(),
            "     0.0 s  ended: the board announced a record of -5 bytes; 1 to 2048 are possible\n");
}

TEST_F(MonitorTest, ABoardThatClosesEndsWatching) {
  EXPECT_EQ(watch({close_after(3)}, {}, true), 6);
  EXPECT_EQ(out_.str(), "     3.0 s  ended: the board closed the connection\n");
  EXPECT_TRUE(sent_.empty());
}

TEST_F(MonitorTest, TheOperatorEndsWatchingAndTheBoardIsLeftFree) {
  EXPECT_EQ(watch({interrupt_after(4)}, {}, true), 2);
  EXPECT_EQ(sent_, std::vector<std::string>{request(62208)});
}

TEST_F(MonitorTest, WatchingAsksTheBoardForNothing) {
  watch({bytes_after(0, greeting())}, {20, {}});
  EXPECT_TRUE(sent_.empty());
}

}  // namespace
