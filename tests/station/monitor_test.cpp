// Watching a board.
#include "station/tools/monitor.h"

#include <gtest/gtest.h>

#include <sstream>

#include "station/terminal/progress.h"
#include "tests/station/board_texts.h"
#include "tests/station/scripted_link.h"

namespace {

using namespace board_texts;
using t1station::MonitorLimits;
using t1station::Watched;

class MonitorTest : public testing::Test {
 protected:
  Watched watch(const std::vector<Event>& events, const MonitorLimits& limits, bool quit = false) {
    ScriptedConnector connector(clock_, {events}, {});
    std::ostringstream err;
    t1station::Progress progress(err, {});
    t1station::Opening opening(connector, clock_, interrupt_, progress, {});
    const Watched end = t1station::monitor(opening, clock_, limits, quit, out_);
    sent_ = connector.links.at(0)->sent;
    return end;
  }

  // The same behind a greeting, whose lines are not shown here.
  Watched watch_greeted(std::vector<Event> events, MonitorLimits limits, bool quit = false) {
    events.insert(events.begin(), bytes_after(0, greeting()));
    if (limits.records) *limits.records += 2;
    const Watched end = watch(events, limits, quit);
    const std::string text = out_.str();
    const std::string last = "[q] 退出测试\n";
    out_.str(text.substr(text.find(last) + last.size()));
    return end;
  }

  t1station::Interrupt interrupt_;
  ManualClock clock_;
  std::ostringstream out_;
  std::vector<std::string> sent_;
};

TEST_F(MonitorTest, EveryRecordOfABoardIsShownInReadableChinese) {
  EXPECT_EQ(
      watch({bytes_after(7, banner()), bytes_after(7, menu()), bytes_after(7.1, heartbeat() + rtc_pass())},
            {std::nullopt, 4}),
      Watched::to_the_limit);
  const std::string text = out_.str();
  EXPECT_TRUE(text.starts_with("     0.0 s  message of 4 lines\n")) << text;
  EXPECT_EQ(text.substr(text.find("     0.0 s  message of 3")),
            "     0.0 s  message of 3 lines\n"
            "            \tT1 test menu:\n"
            "            \t[h] 帮助菜单\n"
            "            \t[q] 退出测试\n"
            "     0.1 s  message of 1 line\n"
            "            请选择测试项(默认值=0): \n"
            "     0.1 s  reply to 1536 测试RTC时钟: Pass\n"
            "            测试成功\n");
  EXPECT_TRUE(sent_.empty()) << "watching asks the board for nothing";
}

TEST_F(MonitorTest, WatchingEndsAfterTheSecondsAsked) {
  const double start = clock_.now();
  EXPECT_EQ(
      watch_greeted({bytes_after(0, heartbeat()), bytes_after(5, heartbeat()), bytes_after(10, heartbeat())},
                    {7, {}}),
      Watched::to_the_limit);
  EXPECT_DOUBLE_EQ(clock_.now() - start, 7);
  EXPECT_NE(out_.str().find("     5.0 s  message"), std::string::npos);
  EXPECT_EQ(out_.str().find("    10.0 s"), std::string::npos);
}

TEST_F(MonitorTest, WatchingEndsAfterTheRecordsAsked) {
  EXPECT_EQ(watch_greeted({bytes_after(0, heartbeat() + heartbeat() + heartbeat())}, {std::nullopt, 2}),
            Watched::to_the_limit);
  EXPECT_EQ(out_.str(),
            "     0.0 s  message of 1 line\n            请选择测试项(默认值=0): \n"
            "     0.0 s  message of 1 line\n            请选择测试项(默认值=0): \n");
}

TEST_F(MonitorTest, ARecordThatCannotBeReadIsShownAndWatchingGoesOn) {
  EXPECT_EQ(watch_greeted({bytes_after(0, record_of("\xFF\xFF") + heartbeat())}, {std::nullopt, 2}),
            Watched::broken);
  EXPECT_EQ(out_.str(),
            "     0.0 s  unreadable record of 2 bytes: the document is no GBK text: byte 0 of 2 is wrong\n"
            "     0.0 s  message of 1 line\n            请选择测试项(默认值=0): \n");
  EXPECT_EQ(watch({bytes_after(0, record_of("\xFF\xFF") + menu())}, {std::nullopt, 2}), Watched::broken)
      << "a banner, too";
  EXPECT_NE(out_.str().find("message of 3 lines"), std::string::npos) << out_.str();
}

TEST_F(MonitorTest, ABoardThatClosesOrSendsALengthThatNoneCanEndsWatching) {
  EXPECT_EQ(watch_greeted({close_after(3)}, {}, true), Watched::broken);
  EXPECT_EQ(out_.str(), "     3.0 s  ended: the board closed the connection\n");
  EXPECT_TRUE(sent_.empty());
  EXPECT_EQ(watch_greeted({bytes_after(0, length_field(-5))}, {}), Watched::broken);
  EXPECT_EQ(out_.str(),
            "     0.0 s  ended: the board announced a record of -5 bytes; 1 to 2048 are possible\n");
}

TEST_F(MonitorTest, TheOperatorEndsWatchingAndTheBoardIsLeftFree) {
  EXPECT_EQ(watch_greeted({interrupt_after(4)}, {}, true), Watched::interrupted);
  EXPECT_EQ(sent_, std::vector<std::string>{request(62208)});
}

TEST_F(MonitorTest, ALimitBeforeTheWholeGreetingIsReachedLeavesNoBoardHalfGreeted) {
  EXPECT_EQ(watch({bytes_after(0, banner()), bytes_after(40, menu())}, {std::nullopt, 1}, true),
            Watched::to_the_limit);
  EXPECT_EQ(out_.str().find("T1 test menu"), std::string::npos) << "the limit is one record";
  EXPECT_EQ(sent_, std::vector<std::string>{request(62208)});
  EXPECT_DOUBLE_EQ(clock_.now() - 1000, 40);
}

TEST_F(MonitorTest, ABoardThatIsBusyIsWaitedForAndTheTimeAskedBeginsWithItsFirstRecord) {
  EXPECT_EQ(watch({bytes_after(250, greeting()), bytes_after(259, heartbeat())}, {12, {}}),
            Watched::to_the_limit);
  EXPECT_NE(out_.str().find("     9.0 s  message of 1 line"), std::string::npos) << out_.str();
}

TEST_F(MonitorTest, WatchingEndsWhenNobodyCanSeeIt) {
  out_.setstate(std::ios::badbit);
  EXPECT_EQ(watch({bytes_after(0, greeting()), bytes_after(5, heartbeat())}, {}, true),
            Watched::to_the_limit);
  EXPECT_EQ(sent_, std::vector<std::string>{request(62208)});
}

}  // namespace
