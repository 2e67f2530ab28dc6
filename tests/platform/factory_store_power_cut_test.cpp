// Power that fails at every step of a save, and what is left on the medium each time.
#include <gtest/gtest.h>
#include <array>
#include <string>
#include <utility>
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

TEST_F(FlashPowerCutTest, UpToTheEraseEverythingIsAsItWas) {
  const std::pair<const char*, int> rows[] = {
      {"open /dev/mtd4", -5}, {"lseek /dev/mtd4", -6}, {"read /dev/mtd4", -6}, {"flash cut erase", -7}};
  for (const auto& [fault, code] : rows) {
    SCOPED_TRACE(fault);
    EXPECT_EQ(save_with(fault), code);
    EXPECT_TRUE(left() == before);
  }
}

TEST_F(FlashPowerCutTest, AmidTheEraseOfTwoBlocksTheFirstIsEmptyAndTheSecondAsItWas) {
  EXPECT_EQ(save_with("flash cut erase 1", 0xFFFF), -7);
  EXPECT_TRUE(left() == with(before, kStart, ones(kEraseBlock)));
}

TEST_F(FlashPowerCutTest, InTheWriteWhatWasWrittenIsNewAndTheRestOfTheBlockIsEmpty) {
  // Before the record, at its first bytes, in it, at its last bytes, behind it, and here and there.
  std::vector<std::size_t> cuts = {0,
                                   1,
                                   2,
                                   kOffset - 1,
                                   kOffset,
                                   kOffset + 1,
                                   kOffset + 4,
                                   kOffset + 700,
                                   kOffset + kRecord - 1,
                                   kOffset + kRecord,
                                   kOffset + kRecord + 1,
                                   kEraseBlock - 1};
  for (std::size_t cut = 1009; cut < kEraseBlock; cut += 1009) cuts.push_back(cut);
  for (const std::size_t cut : cuts) {
    SCOPED_TRACE(cut);
    EXPECT_EQ(save_with("flash cut " + std::to_string(cut)), -8);
    EXPECT_TRUE(left() == image_up_to(cut)) << "and no other block is touched";
  }
}

TEST_F(FlashPowerCutTest, InTheWriteOfTwoBlocksWhatWasWrittenIsNewAndTheRestOfBothIsEmpty) {
  for (const std::size_t cut : {std::size_t{0}, kEraseBlock, std::size_t{66000}}) {
    SCOPED_TRACE(cut);
    EXPECT_EQ(save_with("flash cut " + std::to_string(cut), 0xFFFF), -8);
    EXPECT_TRUE(left() == image_up_to(cut, 0xFFFF, 2));
  }
}

TEST_F(FlashPowerCutTest, ARecordThatWasLostReadsAsOnesWithoutAnError) {
  for (const std::size_t written : {0U, 700U}) {
    save_with("flash cut " + std::to_string(kOffset + written));
    Bytes back(kRecord);
    EXPECT_EQ(flash_read_dev_info(kBlock, kOffset, as_info(back), kRecord), static_cast<int>(kRecord));
    EXPECT_EQ(back, with(ones(kRecord), 0, std::span(info).first(written)));
  }
}

TEST_F(FlashPowerCutTest, SavingAgainMakesTheRecordWholeButNotWhatStoodAroundIt) {
  save_with("flash cut 100");
  EXPECT_EQ(save(), 0x10000);
  EXPECT_TRUE(left() == with(image_up_to(100), kStart + kOffset, info));
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
    EXPECT_EQ(flash_save_dev_info(kBlock, kOffset, as_info(info), kRecord), static_cast<int>(kRecord));
    EXPECT_TRUE(board->emmc.bytes(0, 0x40000) == with(before, 0x20000, info))
        << "saving again makes it whole";
  }
}

}  // namespace
