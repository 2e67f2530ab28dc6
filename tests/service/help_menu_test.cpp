// The list of commands that follows the banner.
#include "t1_sdk/boardtest/service/help_menu.h"

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

}  // namespace
