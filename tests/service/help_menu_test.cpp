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

TEST_F(HelpMenuTest, TheMenuGoesToTheStationWhateverSocketIsNamed) {
  EXPECT_EQ(send_help_info(-1), 0);
  EXPECT_EQ(send_help_info(9999), 0);
  EXPECT_EQ(station.records().size(), 2U);
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

TEST_F(HelpMenuTest, ALineIsCutTo255Bytes) {
  const std::string description(400, 'x');
  t1_cmds[0].cmd_desc = description.c_str();
  EXPECT_EQ(send_help_info(g_iSockClient), 0);
  const std::string line = "<TestContext>\t[h] " + std::string(250, 'x') + "</TestContext>";
  EXPECT_NE(station.texts().front().find(line), std::string::npos);
}

TEST(MenuStateTest, StatesAreNumberedFromZeroInThisOrder) {
  const int states[] = {ST_INVALID,         ST_MAIN_MENU,      ST_TEST_ALL,        ST_TEST_ALARM,
                        ST_TEST_IRCUT,      ST_TEST_RTC,       ST_TEST_SDCARD,     ST_TEST_FANCTL,
                        ST_TEST_TEMP,       ST_TEST_CENTAURUS, ST_TEST_QUIT,       ST_SET_TG_PARAM,
                        ST_GET_TG_PARAM,    ST_TEST_RS485,     ST_TEST_VSUB_6484A, ST_TEST_VSUB_6455,
                        ST_TEST_VSUB_6485,  ST_TEST_USBDEV,    ST_TEST_VSUB_TRIM,  ST_TEST_VSUB_AUTO,
                        ST_TEST_VSUB_PRINT, ST_TEST_AUTO_IRIS, ST_TEST_SAMPLING,   ST_TEST_TEMPERATURE,
                        ST_TEST_FAN,        ST_ERROR};
  int expected = 0;
  for (const int state : states) EXPECT_EQ(state, expected++);
  EXPECT_EQ(expected, 26);
}

}  // namespace
