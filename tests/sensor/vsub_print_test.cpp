// Showing the stored substrate voltage and the pairs of the last sweep.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <cstdint>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/sensor/vsub/trim.h"
#include "t1_sdk/boardtest/sensor/vsub/vsub.h"
#include "tests/sensor/vsub_board.h"

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using vsub::Bytes;

constexpr const char* kLumaFailed = "read vsub luma from flash error ret = -1\nfail num = 2\n";

class VsubPrintTest : public VsubRun {
 protected:
  void expect_print_fails(const std::string& description) {
    expect_reply(0x2F00, kTrimName, "Fail", description);
  }
  /// The record cannot be read, with this code.
  void expect_no_record(int code) {
    expect_print_fails("Read vsub from flash error");
    EXPECT_EQ(console.out(), "t1_sdk_printVsub\nRead vsub from flash error ret = " + std::to_string(code) +
                                 "\nfail num = 2\n");
  }
};

TEST_F(VsubPrintTest, TheRecordIsShownAndThenTheLumaRecordIsMissing) {
  t1_sdk_printVsub();
  expect_print_fails("read vsub luma from flash error");
  EXPECT_EQ(console.out(), std::string("t1_sdk_printVsub\n"
                                       "real vsub: 0xa86, original vsub: 0xa86, original voltage: 7.6\n\n") +
                               kLumaFailed);
  EXPECT_EQ(console.err(), "blkNum 21 offset : 64576 error\n");
}

TEST_F(VsubPrintTest, TheRecordIsReadOnceAndNothingIsApplied) {
  t1_sdk_printVsub();
  VsubScript expected;
  expected.emmc_read(64);
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
  EXPECT_EQ(board->substrate_voltage.code(), 0U);
}

TEST_F(VsubPrintTest, PrintingFailsOnEveryBoardForWantOfTheLumaRecord) {
  for (const boardsim::Family& family : boardsim::families()) {
    SCOPED_TRACE(family.name);
    next_board(family.name);
    t1_sdk_printVsub();
    expect_print_fails("read vsub luma from flash error");
    EXPECT_THAT(console.out(), EndsWith(kLumaFailed));
  }
}

TEST_F(VsubPrintTest, PairsThatWereStoredAreNotShown) {
  for (const std::string_view family : {"6455", "ma"}) {
    next_board(family);
    const Bytes pairs = vsub::luma_record({{2676, 300}, {2678, 299}});
    board->flash.set_bytes(vsub::kFlashLuma, pairs);
    board->emmc.set_bytes(vsub::kEmmcVsub + 0x40, pairs);
    t1_sdk_printVsub();
    expect_print_fails("read vsub luma from flash error");
    EXPECT_THAT(console.out(), Not(HasSubstr("luma:")));
    EXPECT_THAT(console.out(), Not(HasSubstr("vsub group num")));
  }
}

TEST_F(VsubPrintTest, AHostilePairCountIsNeverFollowed) {
  for (const std::uint32_t number : {40U, 41U, 0x80000000U, 0xFFFFFFFFU}) {
    Bytes pairs = vsub::luma_record({});
    vsub::put_word(pairs, 4, number);
    vsub::put_word(pairs, 340, vsub::byte_sum(pairs, 340));
    board->flash.set_bytes(vsub::kFlashLuma, pairs);
    board->emmc.set_bytes(vsub::kEmmcVsub + 0x40, pairs);
    t1_sdk_printVsub();
    expect_print_fails("read vsub luma from flash error");
    forget();
  }
}

TEST_F(VsubPrintTest, TheStationsRequestLeadsHere) {
  request(12032);
  expect_print_fails("read vsub luma from flash error");
  EXPECT_THAT(console.out(), ::testing::StartsWith("T1_TESTCODE_PRINT_SUB\nt1_sdk_printVsub\nreal vsub: "));
}

TEST_F(VsubPrintTest, BothCodesAndTheVoltageAreThoseOfTheRecord) {
  store(0x12, 0xFFFFFFFF, "10.25");
  t1_sdk_printVsub();
  EXPECT_THAT(console.out(),
              HasSubstr("real vsub: 0x12, original vsub: 0xffffffff, original voltage: 10.25\n\n"));
}

TEST_F(VsubPrintTest, AVoltageMayBeEmpty) {
  store(2694, 2695, "");
  t1_sdk_printVsub();
  EXPECT_THAT(console.out(), HasSubstr("real vsub: 0xa86, original vsub: 0xa87, original voltage: \n\n"));
}

TEST_F(VsubPrintTest, AVoltageThatFillsItsFieldEndsWithTheField) {
  store(2694, 2694, "12345678");
  t1_sdk_printVsub();
  EXPECT_THAT(console.out(),
              HasSubstr("real vsub: 0xa86, original vsub: 0xa86, original voltage: 12345678\n\n"));
}

TEST_F(VsubPrintTest, TheDescriptionHoldsOnlyTheLastLine) {
  t1_sdk_printVsub();
  EXPECT_EQ(station.reply().description, "read vsub luma from flash error");
}

TEST_F(VsubPrintTest, ARecordWithAWrongChecksumFailsWithCode2) {
  board.fault("record vsub checksum");
  t1_sdk_printVsub();
  expect_no_record(-13);
}

TEST_F(VsubPrintTest, ARecordWithAWrongMagicFailsWithCode2) {
  board.fault("record vsub magic");
  t1_sdk_printVsub();
  expect_no_record(-11);
}

TEST_F(VsubPrintTest, ABoardWithoutARecordFailsWithCode2) {
  board.fault("record vsub none");
  t1_sdk_printVsub();
  expect_no_record(-11);
}

TEST_F(VsubPrintTest, AStoreThatCannotBeReadFailsWithCode2) {
  struct {
    const char* fault;
    const char* text;
  } const cases[] = {{"open /dev/mmcblk0p7", "open: /dev/mmcblk0p7 error: 19 \n"},
                     {"lseek /dev/mmcblk0p7", "lseek: /dev/mmcblk0p7 error: 5 \n"},
                     {"read /dev/mmcblk0p7", "read: /dev/mmcblk0p7 error: 5 \n"}};
  for (const auto& [fault, text] : cases) {
    SCOPED_TRACE(fault);
    next_board("6455");
    board.fault(fault);
    t1_sdk_printVsub();
    expect_no_record(-1);
    EXPECT_EQ(console.err(), text) << "the luma record is not asked for";
  }
}

TEST_F(VsubPrintTest, ASetCodeIsNotShownOnABoardWithFlash) {
  request(9728, "650");
  forget();
  t1_sdk_printVsub();
  EXPECT_THAT(console.out(), HasSubstr("real vsub: 0xa86, original vsub: 0xa86, original voltage: 7.6\n"));
}

TEST_F(VsubPrintTest, ASetCodeSpoilsTheRecordOfAnMaBoard) {
  next_board("ma");
  request(9728, "650");
  forget();
  t1_sdk_printVsub();
  expect_no_record(-13);
}

TEST_F(VsubPrintTest, PrintingWritesNothing) {
  const Bytes before = on_emmc();
  t1_sdk_printVsub();
  EXPECT_EQ(on_emmc(), before);
  EXPECT_EQ(flash_saves(), 0U);
}

TEST_F(VsubPrintTest, PrintingDiscardsAnUnfinishedTrim) {
  request(11009);
  EXPECT_EQ(g_base_vsub[0], 2694);
  request(12032);
  EXPECT_EQ(g_base_vsub[0], 0);
  EXPECT_EQ(g_trim_vsub[0], 0);
}

}  // namespace
