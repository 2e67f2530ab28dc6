// Setting the substrate voltage from the operator's entry.
#include "t1_sdk/boardtest/sensor/vsub/set.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <cstdint>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/sensor/vsub/records.h"
#include "t1_sdk/boardtest/sensor/vsub/vsub.h"
#include "tests/sensor/vsub_board.h"
#include "tests/sensor/vsub_store_faults.h"

namespace {

using ::testing::EndsWith;
using ::testing::MatchesRegex;
using ::testing::StartsWith;
using vsub::Bytes;

/// One of the three set commands, its entry and the code that this stands for.
struct Command {
  const char* name;
  const char* family;
  void (*run)();
  int code;
  int entry;
  int tenths;
  std::uint32_t vsub;
};

void PrintTo(const Command& command, std::ostream* out) {
  *out << command.name;
}

class VsubSetTest : public VsubRun, public ::testing::WithParamInterface<Command> {
 protected:
  const Command& command = GetParam();

  VsubSetTest() : VsubRun(GetParam().family) {}

  void set() {
    g_sub_value = command.entry;
    command.run();
  }
  std::string opening() const {
    return "t1_sdk_vsub_set\ng_sub_value = " + std::to_string(command.entry) +
           "\ntemp_sub_value = " + std::to_string(command.tenths);
  }
  void expect_set_reply(const std::string& value, const std::string& description) {
    expect_reply(command.code, kSetName, value, description);
  }
  /// The voltage record on the flash when only its two codes were ever written.
  Bytes bare_codes() const {
    Bytes bytes = never_written();
    vsub::put_word(bytes, 0, command.vsub);
    vsub::put_word(bytes, 4, command.vsub);
    return bytes;
  }
};

INSTANTIATE_TEST_SUITE_P(
    Of, VsubSetTest,
    ::testing::Values(Command{"Model6455", "6455", t1_sdk_setVsub6455, 0x2600, 650, 65, 2742},
                      Command{"Model6485", "6485", t1_sdk_setVsub6485, 0x2700, 1005, 100, 2598},
                      Command{"Model6484", "6484", t1_sdk_setVsub6484, 0x2800, 950, 95, 2744}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_P(VsubSetTest, PassesOnAHealthyBoard) {
  set();
  expect_set_reply("Pass", "设置成功");
  EXPECT_EQ(console.out(), opening() + "您输入的数字为 0xa86 \n");
  EXPECT_EQ(console.err(), "");
}

TEST_P(VsubSetTest, TheReplyIsTheSameAsThatOfOtherTestsInForm) {
  set();
  // "设置vsub电压值", "测试结果" and "设置成功" in GBK.
  EXPECT_EQ(
      station.reply().raw,
      "<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n<TestItem>\r\n<TestCode>" + std::to_string(command.code) +
          "</TestCode>\r\n<TestName>\xC9\xE8\xD6\xC3\x76\x73\x75\x62\xB5\xE7\xD1\xB9\xD6\xB5</TestName>\r\n"
          "<Result>\r\n<ResultItem>\r\n<Name>\xB2\xE2\xCA\xD4\xBD\xE1\xB9\xFB</Name>\r\n"
          "<Value>Pass</Value>\r\n<Description>\xC9\xE8\xD6\xC3\xB3\xC9\xB9\xA6</Description>\r\n"
          "</ResultItem>\r\n</Result>\r\n</TestItem>\r\n");
}

TEST_P(VsubSetTest, SavesTwiceReadsBackAndApplies) {
  set();
  VsubScript expected;
  expected.flash_save();
  expected.flash_save();
  expected.emmc_read(4);
  expected.apply(kStored);
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
}

TEST_P(VsubSetTest, StoresTheCodeAsBothWordsOfTheRecord) {
  set();
  EXPECT_EQ(on_flash(), bare_codes());
  EXPECT_EQ(flash_saves(), 2U);
  EXPECT_EQ(luma_on_flash(), never_written(vsub::kLumaSize));
}

TEST_P(VsubSetTest, AppliesTheFactorysCodeNotTheOneThatWasSet) {
  set();
  EXPECT_EQ(board->substrate_voltage.code(), kStored);
  EXPECT_EQ(on_emmc(), vsub::record(kStored, kStored, "7.6")) << "the eMMC keeps the factory's record";
}

TEST_P(VsubSetTest, ShowsAndAppliesWhateverTheFactoryStored) {
  store(0xDEADBEEF, 1);
  set();
  EXPECT_EQ(console.out(), opening() + "您输入的数字为 0xdeadbeef \n");
  EXPECT_EQ(board->substrate_voltage.code(), 0xDEADBEEFU);
  expect_set_reply("Pass", "设置成功");
}

TEST_P(VsubSetTest, LeavesMagicAndChecksumOfAStoredRecordAsTheyWere) {
  const Bytes before = vsub::record(2700, 2700, "7.5");
  board->flash.set_bytes(vsub::kFlashVsub, before);
  set();
  Bytes expected = before;
  vsub::put_word(expected, 0, command.vsub);
  vsub::put_word(expected, 4, command.vsub);
  EXPECT_EQ(on_flash(), expected);
  EXPECT_NE(vsub::byte_sum(expected, 40), vsub::word_at(expected, 40));
}

TEST_P(VsubSetTest, ForgetsTheEntry) {
  set();
  EXPECT_EQ(g_sub_value, 0);
}

TEST_P(VsubSetTest, IsCarriedOutOnTheStationsRequest) {
  request(command.code, std::to_string(command.entry));
  expect_set_reply("Pass", "设置成功");
  EXPECT_EQ(console.out(), "g_sub_value = " + std::to_string(command.entry) + "\nT1_TESTCODE_SET_SUB_" +
                               command.family + "\n" + opening() + "您输入的数字为 0xa86 \n");
  EXPECT_EQ(on_flash(), bare_codes());
}

TEST_P(VsubSetTest, FailsWithCode1WithoutParametersAndWritesNothing) {
  request(command.code);
  expect_set_reply("Fail", "g_sub_value error");
  EXPECT_THAT(console.out(), EndsWith("t1_sdk_vsub_set\ng_sub_value = 0\ng_sub_value error\nfail num = 1\n"));
  EXPECT_EQ(board.hardware_trace(), Lines{});
}

TEST_P(VsubSetTest, FailsWithCode1ForZeroAndWritesNothing) {
  request(command.code, "0");
  expect_set_reply("Fail", "g_sub_value error");
  EXPECT_EQ(board.hardware_trace(), Lines{});
  EXPECT_EQ(flash_saves(), 0U);
  EXPECT_EQ(g_sub_value, 0);
}

TEST_P(VsubSetTest, AnEntryOutOfRangeSetsAFallbackAndPasses) {
  request(command.code, "5");
  expect_set_reply("Pass", "设置成功");
  EXPECT_THAT(console.out(), EndsWith("temp_sub_value = 0error num\n您输入的数字为 0xa86 \n"));
  const std::uint32_t fallback = command.code == 0x2800 ? 2784 : 2686;
  EXPECT_EQ(vsub::word_at(on_flash(), 0), fallback);
  EXPECT_EQ(vsub::word_at(on_flash(), 4), fallback);
}

TEST_P(VsubSetTest, ANegativeEntryIsAnEntryOutOfRange) {
  request(command.code, "-650");
  expect_set_reply("Pass", "设置成功");
  EXPECT_EQ(vsub::word_at(on_flash(), 0), command.code == 0x2800 ? 2784U : 2686U);
}

TEST_P(VsubSetTest, FailsWithCode3WhenTheFirstSaveFails) {
  for (const StoreFault& fault : kFlashSaveFaults) {
    SCOPED_TRACE(fault.on(1));
    next_board(command.family);
    board.fault(fault.on(1));
    set();
    expect_set_reply("Fail", "Save vsub to flash error");
    EXPECT_EQ(console.out(), opening() + fault.line + "Save vsub to flash error = " +
                                 std::to_string(fault.number) + "\nfail num = 3\n");
    EXPECT_EQ(board->substrate_voltage.code(), 0U) << "nothing is applied";
    EXPECT_EQ(g_sub_value, 0);
  }
}

TEST_P(VsubSetTest, FailsWithCode4WhenTheSecondSaveFails) {
  for (const StoreFault& fault : kFlashSaveFaults) {
    SCOPED_TRACE(fault.on(1));
    next_board(command.family);
    board.fault(fault.on(2));
    set();
    expect_set_reply("Fail", "Save vsub2 to flash error");
    EXPECT_EQ(console.out(), opening() + fault.line + "Save vsub2 to flash error = " +
                                 std::to_string(fault.number) + "\nfail num = 4\n");
    EXPECT_EQ(board->substrate_voltage.code(), 0U);
    EXPECT_EQ(g_sub_value, 0);
  }
}

TEST_P(VsubSetTest, FailsWithCode5WhenTheCodeCannotBeReadBack) {
  for (const StoreFault& fault : kEmmcReadFaults) {
    SCOPED_TRACE(fault.call);
    next_board(command.family);
    board.fault(fault.on(1));
    set();
    expect_set_reply("Fail", "Read vsub from flash error");
    EXPECT_EQ(console.out(), opening() + "Read vsub from flash error = " + std::to_string(fault.number) +
                                 "\nfail num = 5\n");
    EXPECT_EQ(board->substrate_voltage.code(), 0U);
    EXPECT_EQ(on_flash(), bare_codes()) << "both saves were made";
    EXPECT_EQ(g_sub_value, 0);
  }
}

TEST_P(VsubSetTest, PassesWhenTheCodeCannotBeApplied) {
  board.fault("open /dev/fpga");
  set();
  expect_set_reply("Pass", "设置成功");
  EXPECT_EQ(console.out(), opening() + "您输入的数字为 0xa86 \nOpen /dev/fpga error.\n");
}

// ---- other boards, other models -----------------------------------------------------------

class VsubSetBoardsTest : public VsubRun {
 protected:
  void set(int model, int entry, int code = 0x2600) {
    g_sub_value = entry;
    t1_sdk_vsub_set(model, code);
  }
};

TEST_F(VsubSetBoardsTest, AnUnknownModelFailsWithCode2AndWritesNothing) {
  for (const int model : {2, -1, 0x9603}) {
    set(model, 650);
    expect_reply(0x2600, kSetName, "Fail", "vsub_code_to_regval error");
    EXPECT_EQ(console.out(), "t1_sdk_vsub_set\ng_sub_value = 650\ntemp_sub_value = 65unsupported devType = " +
                                 std::to_string(model) + "\nvsub_code_to_regval error\nfail num = 2\n");
    EXPECT_EQ(board.hardware_trace(), Lines{});
    EXPECT_EQ(g_sub_value, 0);
    forget();
  }
}

TEST_F(VsubSetBoardsTest, TheReplyCarriesTheCodeThatIsHandedIn) {
  set(1, 650, 4711);
  expect_reply(4711, kSetName, "Pass", "设置成功");
}

TEST_F(VsubSetBoardsTest, OnAnMaBoardTheSecondWordCannotBeSavedSoThatCode4IsTheResult) {
  next_board("ma");
  set(1, 650);
  expect_reply(0x2600, kSetName, "Fail", "Save vsub2 to flash error");
  EXPECT_THAT(console.out(), MatchesRegex("t1_sdk_vsub_set\ng_sub_value = 650\ntemp_sub_value = 65"
                                          "Save vsub2 to flash error = [0-9]+\nfail num = 4\n"));
  EXPECT_EQ(console.err(), "blkNum 21 offset : 64516 error\n");
  EXPECT_EQ(board->substrate_voltage.code(), 0U);
}

TEST_F(VsubSetBoardsTest, OnAnMaBoardTheFirstWordIsChangedAllTheSame) {
  next_board("ma");
  set(1, 650);
  Bytes expected = vsub::record(kStored, kStored, "7.6");
  vsub::put_word(expected, 0, 2742);
  EXPECT_EQ(on_emmc(), expected);
  EXPECT_EQ(on_flash(), never_written());
  VsubScript script;
  script.emmc_save(4);
  script.identify();
  EXPECT_EQ(board.timed_hardware_trace(), script.lines());
}

TEST_F(VsubSetBoardsTest, ABareCodeLeavesAChecksumThatNoLongerMatches) {
  next_board("ma");
  set(1, 650);
  VSUB_DATA record{};
  EXPECT_EQ(readVsubData(&record), -13);
}

TEST_F(VsubSetBoardsTest, OnAnMaBoardAnEmmcErrorIsCode3) {
  next_board("ma");
  board.fault("write /dev/mmcblk0p7 ENOSPC");
  set(1, 650);
  expect_reply(0x2600, kSetName, "Fail", "Save vsub to flash error");
  EXPECT_THAT(console.out(), EndsWith("Save vsub to flash error = 28\nfail num = 3\n"));
  EXPECT_EQ(console.err(), "write: /dev/mmcblk0p7 error: 28 \n");
}

TEST_F(VsubSetBoardsTest, A65xxBoardIsGivenTheCodeByItsIoDriver) {
  next_board("65xx");
  set(1, 650);
  expect_reply(0x2600, kSetName, "Pass", "设置成功");
  EXPECT_THAT(console.out(), EndsWith("您输入的数字为 0xa86 \nset vsub = 0xa86\n"));
  EXPECT_EQ(board->substrate_voltage.code(), kStored);
}

TEST_F(VsubSetBoardsTest, EveryOtherBoardStoresOnItsFlashAndAppliesWhatTheEmmcHolds) {
  for (const boardsim::Family& family : boardsim::families()) {
    if (family.name == "ma") continue;
    SCOPED_TRACE(family.name);
    next_board(family.name);
    store(2702, 2694);
    set(0, 950);
    expect_reply(0x2600, kSetName, "Pass", "设置成功");
    EXPECT_EQ(vsub::word_at(on_flash(), 0), 2744U);
    EXPECT_EQ(vsub::word_at(on_flash(), 4), 2744U);
    EXPECT_EQ(board->substrate_voltage.code(), 2702U);
  }
}

TEST_F(VsubSetBoardsTest, AnEntryIsUsedOnce) {
  request(0x2600, "650");
  forget();
  t1_sdk_setVsub6455();
  EXPECT_THAT(console.out(), StartsWith("t1_sdk_vsub_set\ng_sub_value = 0\ng_sub_value error\n"));
  EXPECT_EQ(station.reply().description, "g_sub_value error");
}

TEST_F(VsubSetBoardsTest, TheStoreIsNotCheckedBeforeACodeIsSet) {
  board->emmc.set_bytes(vsub::kEmmcVsub, never_written());
  set(1, 650);
  expect_reply(0x2600, kSetName, "Pass", "设置成功");
  EXPECT_THAT(console.out(), EndsWith("0xffffffff \n"));
}

}  // namespace
