// The list of commands that follows the banner.
#include "t1_sdk/boardtest/service/help_menu.h"
#include "t1_sdk/boardtest/platform/test_status.h"

#include <gtest/gtest.h>
#include <string>

#include "t1_sdk/boardtest/protocol/message.h"
#include "tests/harness/gbk.h"
#include "tests/harness/golden.h"
#include "tests/harness/station_run.h"

namespace {

/// Keeps the menu as it is beyond tests that change it.
class HelpMenuTest : public StationRun {
 protected:
  HelpMenuTest() : kept_{t1_cmds[0], t1_cmds[1], t1_cmds[2]} {}
  ~HelpMenuTest() override {
    for (int row = 0; row < 3; ++row) t1_cmds[row] = kept_[row];
  }

 private:
  t1_cmd kept_[3];
};

TEST_F(HelpMenuTest, TheMenuShowsItsTitleHelpAndQuitInOneRecord) {
  EXPECT_EQ(send_help_info(g_iSockClient), 0);
  EXPECT_EQ(hex(station.bytes()), golden::kMenu) << "ResultNum says 19 and means nothing";
  EXPECT_EQ(console.out(), "");
}

TEST_F(HelpMenuTest, TheMenuReadsLikeThis) {
  send_help_info(g_iSockClient);
  EXPECT_EQ(station.texts(), std::vector<std::string>{"<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n"
                                                      "<TestItem>\r\n"
                                                      "<TestCode>255</TestCode>\r\n"
                                                      "<ResultNum>19</ResultNum>\r\n"
                                                      "<TestContext>\n\tT1 test menu:\n</TestContext>\r\n"
                                                      "<TestContext>\t[h] 帮助菜单\n</TestContext>\r\n"
                                                      "<TestContext>\t[q] 退出测试\n</TestContext>\r\n"
                                                      "</TestItem>\r\n"});
}

TEST_F(HelpMenuTest, TheMenuGoesToTheStationWhateverSocketIsNamed) {
  EXPECT_EQ(send_help_info(-1), 0);
  EXPECT_EQ(send_help_info(9999), 0);
  EXPECT_EQ(station.records().size(), 2U);
}

TEST_F(HelpMenuTest, TheReplyThatIsUnderConstructionIsLeftAlone) {
  msg.SetDoc("<TestItem/>");
  send_help_info(g_iSockClient);
  EXPECT_EQ(msg.GetDoc(), "<TestItem/>");
}

TEST_F(HelpMenuTest, AMenuThatCannotBeSentGivesMinusOne) {
  board.fault("send #1 EPIPE");
  EXPECT_EQ(send_help_info(g_iSockClient), -1);
}

TEST_F(HelpMenuTest, AMenuWithoutAStationGivesMinusOne) {
  g_iSockClient = -1;
  EXPECT_EQ(send_help_info(0), -1);
}

TEST_F(HelpMenuTest, TheTableHasHelpQuitAndItsEnd) {
  EXPECT_EQ(t1_cmds[0].cmd, 'h');
  EXPECT_EQ(hex(t1_cmds[0].cmd_desc), "b0efd6fab2cbb5a5");
  EXPECT_EQ(t1_cmds[1].cmd, 'q');
  EXPECT_EQ(hex(t1_cmds[1].cmd_desc), "cdcbb3f6b2e2cad4");
  EXPECT_EQ(t1_cmds[2].cmd, 0xFF);
  EXPECT_EQ(t1_cmds[2].cmd_desc, nullptr);
  for (const t1_cmd& row : t1_cmds) EXPECT_EQ(row.cmd_func, nullptr);
}

TEST_F(HelpMenuTest, ACommandWithoutADescriptionShowsABlank) {
  t1_cmds[1].cmd_desc = nullptr;
  send_help_info(g_iSockClient);
  EXPECT_NE(station.texts().front().find("<TestContext>\t[q]  \n</TestContext>"), std::string::npos);
}

TEST_F(HelpMenuTest, TheMenuEndsWithTheRowThatSaysSo) {
  t1_cmds[1].cmd = 0xFF;
  send_help_info(g_iSockClient);
  EXPECT_EQ(station.texts().front().find("[q]"), std::string::npos);
  EXPECT_NE(station.texts().front().find("<ResultNum>19</ResultNum>"), std::string::npos);
}

TEST_F(HelpMenuTest, ALineIsCutTo255Bytes) {
  const std::string description(400, 'x');
  t1_cmds[0].cmd_desc = description.c_str();
  EXPECT_EQ(send_help_info(g_iSockClient), 0);
  const std::string line = "<TestContext>\t[h] " + std::string(250, 'x') + "</TestContext>";
  EXPECT_NE(station.texts().front().find(line), std::string::npos);
}

TEST(MenuStateTest, StatesHaveTheseNumbers) {
  EXPECT_EQ(ST_INVALID, 0);
  EXPECT_EQ(ST_MAIN_MENU, 1);
  EXPECT_EQ(ST_TEST_ALL, 2);
  EXPECT_EQ(ST_TEST_ALARM, 3);
  EXPECT_EQ(ST_TEST_IRCUT, 4);
  EXPECT_EQ(ST_TEST_RTC, 5);
  EXPECT_EQ(ST_TEST_SDCARD, 6);
  EXPECT_EQ(ST_TEST_FANCTL, 7);
  EXPECT_EQ(ST_TEST_TEMP, 8);
  EXPECT_EQ(ST_TEST_CENTAURUS, 9);
  EXPECT_EQ(ST_TEST_QUIT, 10);
  EXPECT_EQ(ST_SET_TG_PARAM, 11);
  EXPECT_EQ(ST_GET_TG_PARAM, 12);
  EXPECT_EQ(ST_TEST_RS485, 13);
  EXPECT_EQ(ST_TEST_VSUB_6484A, 14);
  EXPECT_EQ(ST_TEST_VSUB_6455, 15);
  EXPECT_EQ(ST_TEST_VSUB_6485, 16);
  EXPECT_EQ(ST_TEST_USBDEV, 17);
  EXPECT_EQ(ST_TEST_VSUB_TRIM, 18);
  EXPECT_EQ(ST_TEST_VSUB_AUTO, 19);
  EXPECT_EQ(ST_TEST_VSUB_PRINT, 20);
  EXPECT_EQ(ST_TEST_AUTO_IRIS, 21);
  EXPECT_EQ(ST_TEST_SAMPLING, 22);
  EXPECT_EQ(ST_TEST_TEMPERATURE, 23);
  EXPECT_EQ(ST_TEST_FAN, 24);
  EXPECT_EQ(ST_ERROR, 25);
}

}  // namespace
