// The alarm entries: which variant runs on which board, in which mode, and under which code it answers; what
// they ask of the board before; that a run keeps its reply to itself.
#include <fcntl.h>
#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "t1_sdk/boardtest/peripheral/alarm/alarm.h"
#include "t1_sdk/boardtest/protocol/message.h"
#include "tests/peripheral/alarm_room.h"

namespace {

using Types = std::vector<std::uint32_t>;

const Types kMa = {0xA6001, 0xA6002, 0xA6003, 0xA6004};
const Types k68xx = {0x27252, 0x9A01, 0x27254, 0x9A03, 0xA6005, 0xA6006, 0xA60A0, 0xA60A3};
const Types kLoop = {0x96C1, 0x96C2, 0x96C3, 0x96C4, 0x96C5};
const Types kOther = {0x9601, 0x960B, 0x27201, 0x27202, 0x27251, 0x96C0, 0x9C0A, 0x970E};

Types join(std::initializer_list<Types> lists) {
  Types all;
  for (const Types& list : lists) all.insert(all.end(), list.begin(), list.end());
  return all;
}
const Types kAny = join({kMa, k68xx, kLoop, kOther});

/// What an entry starts on boards of some types: a variant by its banner, its mode by the line below.
struct Choice {
  const char* name;
  void (*run)();
  int code;
  Types types;
  const char* banner;
  const char* mode_line;
};

// Four variants show the banner of the 65xx boards.
// clang-format off
const Choice kChoices[] = {
    {"FiveInThreeOutOnMa",      t1_sdk_alarm_test_5in3out, 520, kMa,   "alarm_test_64xx_19", "无扩展板.."},
    {"FiveInThreeOutOn68xx",    t1_sdk_alarm_test_5in3out, 520, k68xx, "alarm_test_68xx",    ""},
    {"FiveInThreeOutElsewhere", t1_sdk_alarm_test_5in3out, 520, join({kLoop, kOther}), "alarm_test_65xx", "无扩展板.."},
    {"FiveInFourOut",           t1_sdk_alarm_test_5in4out, 521, kAny,  "alarm_test_65xx",    "一路报警一路485扩展板.."},
    {"FiveInFiveOut",           t1_sdk_alarm_test_5in5out, 528, kAny,  "alarm_test_65xx",    "两路报警输出扩展板.."},
    {"EightInNineOut",          t1_sdk_alarm_test_8in9out, 530, kAny,  "alarm_test_65xx",    "九路报警输出无扩展板.."},
    {"FourInSevenOut",          t1_sdk_alarm_test_4in7out, 519, kAny,  "alarm_test_65xx",    "type: 4"},
    {"FourInFiveOutOnLoop",     t1_sdk_alarm_test_4in5out, 518, kLoop, "alarm_test_wpf_u",   "type: 5"},
    {"FourInFiveOutElsewhere",  t1_sdk_alarm_test_4in5out, 518, join({kMa, k68xx, kOther}), "alarm_test_65xx", "type: 5"},
    {"ThreeInTwoOut",           t1_sdk_alarm_test_3in2out, 534, kAny,  "alarm_test_wpf_u_j", "type: 2"},
    {"TenInTenOutSwitch", t1_sdk_alarm_test_10in10out_switch, 531, kAny, "alarm_test_65xx",  "开关量(10进10出).."},
    {"TenInTenOutLevel",  t1_sdk_alarm_test_10in10out_level,  532, kAny, "alarm_test_65xx",  "电平量(10进10出).."},
    {"OneInOneOut",       t1_sdk_alarm_test_1in1out,   513, {0x9601}, "alarm_test_65xx", "报警输入1,报警输出1测试成功."},
    {"TwoInFourOut",      t1_sdk_alarm_test_2in4out,   535, {0xA60A0, 0xA60A3}, "alarm_test_rkd", ""},
    {"OneInThreeOut",     t1_sdk_alarm_test_1in3out, 69634, {0xA60A0, 0xA60A3}, "alarm_test_rkd", ""},
};
// clang-format on

/// Boards may leave nodes open here: that is what the tests of the variants look at.
class AlarmEntryTest : public AlarmRoom {
 protected:
  void next_board(std::string_view family) {
    expect_open(board.open_nodes());
    AlarmRoom::next_board(family);
    expect_open({});
  }
  void TearDown() override {
    expect_open(board.open_nodes());
    AlarmRoom::TearDown();
  }
};

TEST_F(AlarmEntryTest, EachBoardRunsItsVariantInTheModeOfTheEntryAndAnswersUnderItsCode) {
  for (const Choice& choice : kChoices) {
    for (const std::uint32_t type : choice.types) {
      SCOPED_TRACE(std::string(choice.name) + ", " + std::to_string(type));
      next_board("normal");
      board.set_type(type);
      choice.run();
      const Lines lines = console.lines();
      ASSERT_GE(lines.size(), 2U);
      EXPECT_EQ(lines[0], choice.banner);
      EXPECT_EQ(lines[1], choice.mode_line);
      EXPECT_EQ(station.reply().code, choice.code);
      EXPECT_EQ(station.reply().name, "测试应用程序");
    }
  }
}

TEST_F(AlarmEntryTest, TheQuestionsComeInTheirOrder) {
  const struct {
    const char* family;
    void (*run)();
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
    row.run();
    EXPECT_EQ(std::ranges::count(console.lines(), row.banner), 1);
  }
}

// ---- every entry -----------------------------------------------------------------------------------------

struct Entry {
  const char* family;
  void (*run)();
  int questions;            ///< who the board is, before the variant
  bool has_control = true;  ///< whether the variant opens the test control
};

constexpr Entry kEntries[] = {
    {"normal", t1_sdk_alarm_test_5in3out, 2},        {"ma", t1_sdk_alarm_test_5in3out, 1},
    {"68xx", t1_sdk_alarm_test_5in3out, 2},          {"normal", t1_sdk_alarm_test_5in4out, 0},
    {"normal", t1_sdk_alarm_test_5in5out, 0},        {"k", t1_sdk_alarm_test_8in9out, 0},
    {"6444", t1_sdk_alarm_test_4in7out, 0},          {"loop", t1_sdk_alarm_test_4in5out, 1},
    {"loop-c", t1_sdk_alarm_test_4in5out, 2},        {"68xx-fpga", t1_sdk_alarm_test_4in5out, 2},
    {"6444-j", t1_sdk_alarm_test_3in2out, 0},        {"63xx", t1_sdk_alarm_test_1in1out, 0, false},
    {"rkd1", t1_sdk_alarm_test_2in4out, 0},          {"rkd2", t1_sdk_alarm_test_1in3out, 0},
    {"65xx", t1_sdk_alarm_test_10in10out_switch, 0}, {"65xx-level", t1_sdk_alarm_test_10in10out_level, 0}};

TEST_F(AlarmEntryTest, TheBoardIsAskedWhoItIsOnlyUntilTheVariantIsKnown) {
  for (const Entry& entry : kEntries) {
    SCOPED_TRACE(entry.family);
    next_board(entry.family);
    entry.run();
    HardwareScript expected;
    for (int i = 0; i < entry.questions; ++i) expected.query();
    expected.open("/dev/qznio");
    if (entry.has_control) expected.open("/dev/qznitc");
    Lines calls = board.timed_hardware_trace();
    calls.resize(std::min(calls.size(), expected.lines().size()));
    EXPECT_EQ(calls, expected.lines());
  }
}

TEST_F(AlarmEntryTest, EveryNodeIsOpenedForReadingAndWritingAndTheAlarmDriversCallsDoNotBlock) {
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

TEST_F(AlarmEntryTest, ARunKeepsItsReplyInADocumentOfItsOwn) {
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

}  // namespace
