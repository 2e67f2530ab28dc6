// What greets a station.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>
#include <string>

#include "t1_sdk/boardtest/protocol/message.h"
#include "t1_sdk/boardtest/service/server.h"
#include "tests/harness/station_run.h"

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class BannerTest : public StationRun {
 protected:
  int send() { return send_start_info(&g_iSockClient); }
};

const std::string kStars = std::string(50, '*') + "\n";

TEST_F(BannerTest, ABannerThatReadsLikeThisAndThenTheMenuAreSent) {
  EXPECT_EQ(send(), 0);
  EXPECT_EQ(console.out(), "");
  ASSERT_EQ(station.records().size(), 2U);
  EXPECT_THAT(station.texts()[1], HasSubstr("T1 test menu"));
  const std::string banner =
      "<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n"
      "<TestItem>\r\n"
      "<TestCode>255</TestCode>\r\n"
      "<ResultNum>4</ResultNum>\r\n"
      "<TestContext>" +
      kStars +
      "</TestContext>\r\n"
      "<TestContext>*           VELTRONIX IPC 外设测试程序           *\n</TestContext>\r\n"
      "<TestContext>" +
      kStars +
      "</TestContext>\r\n"
      "<TestContext>BUILD: ";
  EXPECT_THAT(station.texts().front(), StartsWith(banner));
  EXPECT_THAT(station.texts().front(), EndsWith("\n</TestContext>\r\n</TestItem>\r\n"));
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
