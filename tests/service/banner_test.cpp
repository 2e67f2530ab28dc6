// What greets a station; e2e/start_test.cpp has it byte by byte.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>
#include <string>

#include "t1_sdk/boardtest/protocol/message.h"
#include "t1_sdk/boardtest/service/server.h"
#include "tests/harness/station_run.h"

namespace {

using ::testing::HasSubstr;

class BannerTest : public StationRun {
 protected:
  int send() { return send_start_info(&g_iSockClient); }
};

TEST_F(BannerTest, ABannerWithTheTimeOfTheBuildAndThenTheMenuAreSent) {
  EXPECT_EQ(send(), 0);
  EXPECT_EQ(console.out(), "");
  ASSERT_EQ(station.records().size(), 2U);
  EXPECT_THAT(station.texts()[1], HasSubstr("T1 test menu"));
  const std::regex build(
      "<TestContext>BUILD: (Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) [ 1-3][0-9] 20[0-9]{2}"
      "-[0-2][0-9]:[0-5][0-9]:[0-6][0-9]\n</TestContext>");
  EXPECT_TRUE(std::regex_search(station.texts().front(), build)) << station.texts().front();
}

TEST_F(BannerTest, TheReplyThatIsUnderConstructionIsLeftAlone) {
  msg.SetDoc("<TestItem/>");
  send();
  EXPECT_EQ(msg.GetDoc(), "<TestItem/>");
}

TEST_F(BannerTest, NoSocketIsRefused) {
  EXPECT_EQ(send_start_info(nullptr), -1);
  EXPECT_EQ(station.bytes(), "");
}

TEST_F(BannerTest, ABannerOrAMenuThatCannotBeSentGivesMinusOneAndNothingFollows) {
  board.fault("send #1 EPIPE");
  board.fault("send #3 EPIPE");
  EXPECT_EQ(send(), -1);
  EXPECT_EQ(calls("send"), 1U);
  EXPECT_EQ(send(), -1);
  EXPECT_EQ(station.records().size(), 1U) << "the menu is missing";
}

}  // namespace
