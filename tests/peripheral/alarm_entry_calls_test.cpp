// What the alarm entries ask of the board before a variant begins, how nodes are opened, and that a run keeps
// its reply to itself.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/peripheral/alarm/alarm.h"
#include "t1_sdk/boardtest/peripheral/alarm/variants.h"
#include "t1_sdk/boardtest/protocol/message.h"
#include "tests/peripheral/alarm_reports.h"

namespace {

class AlarmEntryCallsTest : public AlarmRun {
 protected:
  /// Goes on with another board; what the board before left open is as it should be.
  void next_board(std::string_view family) {
    expect_open(board.open_nodes());
    AlarmRun::next_board(family);
    expect_open({});
  }
  void TearDown() override {
    expect_open(board.open_nodes());
    AlarmRun::TearDown();
  }
};

// ---- questions --------------------------------------------------------------------------------------------

struct Questions {
  const char* family;
  void (*entry)();
  int count;                                                       ///< of questions before the variant
  std::vector<std::string> nodes = {"/dev/qznio", "/dev/qznitc"};  ///< which the variant opens first
};

TEST_F(AlarmEntryCallsTest, TheBoardIsAskedWhoItIsOnlyUntilTheVariantIsKnown) {
  const Questions rows[] = {{"ma", t1_sdk_alarm_test_5in3out, 1},
                            {"68xx", t1_sdk_alarm_test_5in3out, 2},
                            {"normal", t1_sdk_alarm_test_5in3out, 2},
                            {"loop", t1_sdk_alarm_test_4in5out, 1},
                            {"loop-c", t1_sdk_alarm_test_4in5out, 2},
                            {"68xx-fpga", t1_sdk_alarm_test_4in5out, 2},
                            {"normal", t1_sdk_alarm_test_5in4out, 0},
                            {"normal", t1_sdk_alarm_test_5in5out, 0},
                            {"k", t1_sdk_alarm_test_8in9out, 0},
                            {"6444", t1_sdk_alarm_test_4in7out, 0},
                            {"6444-j", t1_sdk_alarm_test_3in2out, 0},
                            {"rkd1", t1_sdk_alarm_test_2in4out, 0},
                            {"rkd1", t1_sdk_alarm_test_1in3out, 0},
                            {"65xx", t1_sdk_alarm_test_10in10out_switch, 0},
                            {"65xx", t1_sdk_alarm_test_10in10out_level, 0},
                            {"63xx", t1_sdk_alarm_test_1in1out, 0, {"/dev/qznio"}}};
  for (const Questions& row : rows) {
    SCOPED_TRACE(row.family);
    next_board(row.family);
    row.entry();
    HardwareScript expected;
    for (int i = 0; i < row.count; ++i) expected.query();
    for (const std::string& node : row.nodes) expected.open(node);
    Lines calls = board.timed_hardware_trace();
    ASSERT_GT(calls.size(), expected.lines().size());
    calls.resize(expected.lines().size());
    EXPECT_EQ(calls, expected.lines());
  }
}

TEST_F(AlarmEntryCallsTest, TheQuestionsComeInTheirOrder) {
  const struct {
    const char* family;
    void (*entry)();
    int deaf;  ///< the question that the board does not answer
    const char* banner;
  } rows[] = {{"ma", t1_sdk_alarm_test_5in3out, 1, "alarm_test_65xx"},
              {"ma", t1_sdk_alarm_test_5in3out, 2, "alarm_test_64xx_19"},
              {"68xx", t1_sdk_alarm_test_5in3out, 1, "alarm_test_68xx"},
              {"68xx", t1_sdk_alarm_test_5in3out, 2, "alarm_test_65xx"},
              {"loop", t1_sdk_alarm_test_4in5out, 1, "alarm_test_65xx"},
              {"loop", t1_sdk_alarm_test_4in5out, 2, "alarm_test_wpf_u"},
              {"loop-c", t1_sdk_alarm_test_4in5out, 1, "alarm_test_wpf_u"},
              {"loop-c", t1_sdk_alarm_test_4in5out, 2, "alarm_test_65xx"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.family) + " " + std::to_string(row.deaf));
    next_board(row.family);
    board.fault("ioctl /dev/qznio 0x80044801 #" + std::to_string(row.deaf));
    row.entry();
    const Lines lines = console.lines();
    EXPECT_NE(std::find(lines.begin(), lines.end(), row.banner), lines.end());
  }
}

// ---- every entry ------------------------------------------------------------------------------------------

struct Entry {
  const char* family;
  void (*run)();
};

constexpr Entry kEntries[] = {{"normal", t1_sdk_alarm_test_5in3out},
                              {"ma", t1_sdk_alarm_test_5in3out},
                              {"68xx", t1_sdk_alarm_test_5in3out},
                              {"normal", t1_sdk_alarm_test_5in4out},
                              {"normal", t1_sdk_alarm_test_5in5out},
                              {"k", t1_sdk_alarm_test_8in9out},
                              {"6444", t1_sdk_alarm_test_4in7out},
                              {"loop", t1_sdk_alarm_test_4in5out},
                              {"68xx-fpga", t1_sdk_alarm_test_4in5out},
                              {"6444-j", t1_sdk_alarm_test_3in2out},
                              {"63xx", t1_sdk_alarm_test_1in1out},
                              {"rkd1", t1_sdk_alarm_test_2in4out},
                              {"rkd2", t1_sdk_alarm_test_1in3out},
                              {"65xx", t1_sdk_alarm_test_10in10out_switch},
                              {"65xx-level", t1_sdk_alarm_test_10in10out_level}};

TEST_F(AlarmEntryCallsTest, EveryNodeIsOpenedForReadingAndWritingAndTheAlarmDriversCallsDoNotBlock) {
  for (const Entry& entry : kEntries) {
    SCOPED_TRACE(entry.family);
    next_board(entry.family);
    entry.run();
    std::map<std::string, int> opened;
    for (const boardsim::Call& call : board.trace()) {
      if (call.name != "open") continue;
      // The variant's own opening of the alarm driver comes first; later ones are those of the driver's
      // calls.
      const bool is_call = call.node == "/dev/alarm" && opened[call.node] > 0;
      ++opened[call.node];
      const std::uint32_t flags = is_call ? O_RDWR | O_NONBLOCK : O_RDWR;
      EXPECT_EQ(call.record, std::vector<std::uint32_t>{flags}) << call.node;
    }
    EXPECT_GT(opened["/dev/qznio"], 0);
  }
}

TEST_F(AlarmEntryCallsTest, ARunKeepsItsReplyInADocumentOfItsOwn) {
  t1_sdk_initial_t1Msg(&msg, 4712U, "another test's reply");
  const std::string before = msg.GetDoc();
  ASSERT_NE(before.find("4712"), std::string::npos);
  for (const Entry& entry : kEntries) {
    for (const bool fails : {false, true}) {
      SCOPED_TRACE(entry.family);
      next_board(entry.family);
      if (fails) board.fault("open /dev/qznitc");
      if (fails) board.fault("input T1 stuck high");
      entry.run();
      EXPECT_EQ(station.reply().value, fails ? "Fail" : "Pass");
      EXPECT_EQ(msg.GetDoc(), before);
    }
  }
}

TEST_F(AlarmEntryCallsTest, ARunThatIsNotAnsweredLeavesTheSharedReplyAsItIs) {
  t1_sdk_initial_t1Msg(&msg, 4712U, "another test's reply");
  const std::string before = msg.GetDoc();
  alarm_test_rkd(3, 535);
  alarm_test_rkd_1in3out(3, 69634);
  EXPECT_EQ(station.bytes(), "");
  EXPECT_EQ(msg.GetDoc(), before);
}

}  // namespace
