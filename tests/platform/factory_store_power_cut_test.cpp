// Power that fails at every step of a save, and what is left on the medium each time.
#include <gtest/gtest.h>
#include <array>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/platform/factory_store.h"
#include "tests/harness/console.h"
#include "tests/harness/on_board.h"
#include "tests/platform/factory_media.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr unsigned kBlock = 19;
constexpr unsigned kOffset = 0xF800;
constexpr std::size_t kStart = kBlock * kEraseBlock;
constexpr std::size_t kRecord = 1580;

class FlashPowerCutTest : public OnBoard {
 protected:
  FlashPowerCutTest() { board->flash.set_bytes(0, before); }

  Console console;
  Bytes before = pattern(kFlashSize, 1);
  Bytes info = pattern(kRecord, 2);

  /// What stands on the flash when the save goes well.
  Bytes image(unsigned offset = kOffset) const { return with(before, kStart + offset, info); }
  /// The same when only the first `written` of the erased bytes were written again.
  Bytes image_up_to(std::size_t written, unsigned offset = kOffset, std::size_t blocks = 1) const {
    const Bytes whole = image(offset);
    return with(with(before, kStart, ones(blocks * kEraseBlock)), kStart,
                std::span(whole).subspan(kStart, written));
  }
  int save(unsigned offset = kOffset) {
    return flash_save_dev_info(kBlock, offset, as_info(info), static_cast<unsigned>(info.size()));
  }
  /// Saves on a board whose power fails so, and switches it on again.
  int save_with(const std::string& fault, unsigned offset = kOffset) {
    board->flash.set_bytes(0, before);
    board.fault(fault);
    const int result = save(offset);
    board.clear_faults();
    return result;
  }
  Bytes left() const { return board->flash.bytes(0, kFlashSize); }
};

TEST_F(FlashPowerCutTest, BeforeTheEraseEverythingIsAsItWas) {
  EXPECT_EQ(save_with("open /dev/mtd4"), -5);
  EXPECT_TRUE(left() == before);
  EXPECT_EQ(save_with("lseek /dev/mtd4"), -6);
  EXPECT_TRUE(left() == before);
  EXPECT_EQ(save_with("read /dev/mtd4"), -6);
  EXPECT_TRUE(left() == before);
}

TEST_F(FlashPowerCutTest, AtTheEraseEverythingIsAsItWas) {
  EXPECT_EQ(save_with("flash cut erase"), -7);
  EXPECT_TRUE(left() == before);
  EXPECT_EQ(console.out(), "mtd erase error\n");
}

TEST_F(FlashPowerCutTest, AmidTheEraseOfTwoBlocksTheFirstIsEmptyAndTheSecondAsItWas) {
  EXPECT_EQ(save_with("flash cut erase 1", 0xFFFF), -7);
  EXPECT_TRUE(left() == with(before, kStart, ones(kEraseBlock)));
}

TEST_F(FlashPowerCutTest, BetweenEraseAndWriteTheBlockIsEmptyWithAllThatStoodAroundTheRecord) {
  EXPECT_EQ(save_with("flash cut 0"), -8);
  EXPECT_TRUE(left() == with(before, kStart, ones(kEraseBlock)));
  EXPECT_EQ(console.out(), "write error!\n");
}

TEST_F(FlashPowerCutTest, BetweenEraseAndWriteBothBlocksOfALongRecordAreEmpty) {
  EXPECT_EQ(save_with("flash cut 0", 0xFFFF), -8);
  EXPECT_TRUE(left() == with(before, kStart, ones(2 * kEraseBlock)));
}

class FlashPowerCutAtTest : public FlashPowerCutTest, public ::testing::WithParamInterface<std::size_t> {};

TEST_P(FlashPowerCutAtTest, WhatWasWrittenIsNewAndTheRestOfTheBlockIsEmpty) {
  const std::size_t written = GetParam();
  EXPECT_EQ(save_with("flash cut " + std::to_string(written)), -8);
  EXPECT_TRUE(left() == image_up_to(written));
}

// Before the record, at its first bytes, in it, at its last bytes, behind it.
INSTANTIATE_TEST_SUITE_P(Bytes, FlashPowerCutAtTest,
                         ::testing::Values(1, 2, 0x8000, kOffset - 1, kOffset, kOffset + 1, kOffset + 4,
                                           kOffset + 700, kOffset + kRecord - 1, kOffset + kRecord,
                                           kOffset + kRecord + 1, kEraseBlock - 1));

TEST_F(FlashPowerCutTest, AnywhereInTheWriteNoOtherBlockIsTouched) {
  for (std::size_t written = 0; written < kEraseBlock; written += 1009) {
    SCOPED_TRACE(written);
    EXPECT_EQ(save_with("flash cut " + std::to_string(written)), -8);
    EXPECT_TRUE(left() == image_up_to(written));
  }
}

TEST_F(FlashPowerCutTest, BetweenTheTwoBlocksOfALongRecordTheFirstIsNewAndTheSecondEmpty) {
  EXPECT_EQ(save_with("flash cut 65536", 0xFFFF), -8);
  EXPECT_TRUE(left() == image_up_to(kEraseBlock, 0xFFFF, 2));
}

TEST_F(FlashPowerCutTest, InTheSecondBlockOfALongRecordTheFirstIsWhole) {
  EXPECT_EQ(save_with("flash cut 66000", 0xFFFF), -8);
  EXPECT_TRUE(left() == image_up_to(66000, 0xFFFF, 2));
}

TEST_F(FlashPowerCutTest, ARecordThatWasLostReadsAsOnesWithoutAnError) {
  save_with("flash cut 100");
  Bytes back(kRecord);
  EXPECT_EQ(flash_read_dev_info(kBlock, kOffset, as_info(back), kRecord), static_cast<int>(kRecord));
  EXPECT_EQ(back, ones(kRecord));
}

TEST_F(FlashPowerCutTest, AHalfWrittenRecordReadsWithoutAnError) {
  save_with("flash cut " + std::to_string(kOffset + 700));
  Bytes back(kRecord);
  EXPECT_EQ(flash_read_dev_info(kBlock, kOffset, as_info(back), kRecord), static_cast<int>(kRecord));
  EXPECT_EQ(back, with(ones(kRecord), 0, std::span(info).first(700)));
}

TEST_F(FlashPowerCutTest, SavingAgainMakesTheRecordWholeButNotWhatStoodAroundIt) {
  save_with("flash cut 100");
  EXPECT_EQ(save(), 0x10000);
  EXPECT_TRUE(left() == with(image_up_to(100), kStart + kOffset, info));
}

TEST_F(FlashPowerCutTest, TheBoardSavesAsEverWhenThePowerIsBack) {
  save_with("flash cut erase");
  EXPECT_EQ(save(), 0x10000);
  EXPECT_TRUE(left() == image());
}

TEST_F(FlashPowerCutTest, AfterTheLastByteTheRecordAndItsSurroundingsAreWhole) {
  save_with("flash cut 65536");
  EXPECT_TRUE(left() == image());
}

class EmmcPowerCutTest : public OnBoard {
 protected:
  EmmcPowerCutTest() : OnBoard("ma") { board->emmc.set_bytes(0, before); }

  Console console;
  Bytes before = pattern(0x40000, 1);
  Bytes info = pattern(kRecord, 2);
};

TEST_F(EmmcPowerCutTest, TheBytesBeforeTheCutAreNewAndTheOthersAsTheyWere) {
  for (const std::size_t written : std::array<std::size_t, 6>{0, 1, 4, 40, 790, kRecord - 1}) {
    SCOPED_TRACE(written);
    board->emmc.set_bytes(0, before);
    board.fault("emmc cut " + std::to_string(written));
    EXPECT_EQ(flash_save_dev_info(kBlock, kOffset, as_info(info), kRecord), -1);
    board.clear_faults();
    EXPECT_TRUE(board->emmc.bytes(0, 0x40000) == with(before, 0x20000, std::span(info).first(written)));
  }
}

TEST_F(EmmcPowerCutTest, SavingAgainMakesTheRecordWhole) {
  board.fault("emmc cut 100");
  EXPECT_EQ(flash_save_dev_info(kBlock, kOffset, as_info(info), kRecord), -1);
  board.clear_faults();
  EXPECT_EQ(flash_save_dev_info(kBlock, kOffset, as_info(info), kRecord), static_cast<int>(kRecord));
  EXPECT_TRUE(board->emmc.bytes(0, 0x40000) == with(before, 0x20000, info));
}

}  // namespace
