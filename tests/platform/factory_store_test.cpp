// The factory store on flash: checks, read-erase-rewrite of whole blocks, codes and texts.
#include "t1_sdk/boardtest/platform/factory_store.h"

#include <gtest/gtest.h>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "tests/harness/console.h"
#include "tests/harness/on_board.h"
#include "tests/platform/factory_media.h"
#include "tests/platform/tight_memory.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using Lines = std::vector<std::string>;

class FlashStoreTest : public OnBoard {
 protected:
  FlashStoreTest() {
    board->flash.set_bytes(0, before);
    board.clear_trace();
  }

  Console console;
  Bytes before = pattern(kFlashSize, 1);
  Bytes info = pattern(0x400, 2);

  int save(unsigned block, unsigned offset, Bytes& bytes) {
    return flash_save_dev_info(block, offset, as_info(bytes), static_cast<unsigned>(bytes.size()));
  }
  int read(unsigned block, unsigned offset, Bytes& bytes) {
    return flash_read_dev_info(block, offset, as_info(bytes), static_cast<unsigned>(bytes.size()));
  }
  Bytes all() const { return board->flash.bytes(0, kFlashSize); }
  unsigned erasures() const {
    unsigned sum = 0;
    for (std::size_t block = 0; block < 22; ++block) sum += board->flash.erasures(block);
    return sum;
  }
  void expect_silence() {
    EXPECT_EQ(console.out(), "");
    EXPECT_EQ(console.err(), "");
  }
  void expect_untouched() {
    EXPECT_EQ(calls_on(board, kFlashNode), Lines{});
    EXPECT_EQ(calls_on(board, kEmmcNode), Lines{});
  }
};

// ---- saving ----

TEST_F(FlashStoreTest, ARecordAtTheEndOfBlock21TouchesExactlyThatBlock) {
  EXPECT_EQ(save(21, 0xFC00, info), 0x10000) << "the bytes written, not the bytes of the record";
  EXPECT_EQ(
      board.hardware_trace(),
      (Lines{"open /dev/qznio = ok", "ioctl /dev/qznio 0x80044801 {} = 0", "close /dev/qznio = 0",
             "open /dev/mtd4 = ok", "lseek /dev/mtd4 1376256 = 1376256", "read /dev/mtd4 65536 = 65536",
             "ioctl /dev/mtd4 0x40084d02 {0x00150000, 0x00010000} = 0", "lseek /dev/mtd4 1376256 = 1376256",
             "write /dev/mtd4 65536 = 65536", "close /dev/mtd4 = 0"}));
  EXPECT_TRUE(all() == with(before, 0x15FC00, info));
  for (std::size_t block = 0; block < 22; ++block) {
    EXPECT_EQ(board->flash.erasures(block), block == 21 ? 1U : 0U) << "block " << block;
  }
  expect_silence();
  EXPECT_EQ(board.now(), boardsim::Time{0});
}

TEST_F(FlashStoreTest, TheBlocksThatARecordTouchesAreRewrittenWholeAndNoOthers) {
  struct {
    unsigned block, offset;
    std::size_t size;
    unsigned blocks;
  } const rows[] = {{3, 0xFFFF, 0x400, 2},    // across two blocks
                    {0, 0, 0x10000, 1},       // ends with its block
                    {7, 0xFFFF, 1, 1},        // one byte
                    {21, 0xFFFF, 1, 1},       // the last of the partition
                    {0, 0, kFlashSize, 22}};  // all
  for (const auto& row : rows) {
    SCOPED_TRACE(row.size);
    board->flash.set_bytes(0, before);
    const unsigned erased_before = erasures();
    Bytes record = pattern(row.size, 9);
    EXPECT_EQ(save(row.block, row.offset, record), static_cast<int>(row.blocks * kEraseBlock));
    EXPECT_TRUE(all() == with(before, row.block * kEraseBlock + row.offset, record));
    EXPECT_EQ(erasures() - erased_before, row.blocks);
    Bytes back(row.size);
    EXPECT_EQ(read(row.block, row.offset, back), static_cast<int>(row.size));
    EXPECT_TRUE(back == record);
  }
}

TEST_F(FlashStoreTest, ZerosBecomeOnesAgainWhenARecordIsReplaced) {
  Bytes zeros(0x400, 0);
  save(19, 0xF800, zeros);
  Bytes erased = ones(0x400);
  EXPECT_EQ(save(19, 0xF800, erased), 0x10000);
  EXPECT_TRUE(all() == with(before, 0x13F800, erased));
}

// ---- what is refused, for saving and reading alike ----

struct Refused {
  const char* what;
  unsigned block, offset, length;
  int code;
};
constexpr std::array kRefused = {
    Refused{"Block22", 22, 0, 4, -2},
    Refused{"TheLargestBlockNumber", 0xFFFFFFFF, 0, 4, -2},
    Refused{"ABlockWhosePositionWrapsToZero", 0x10000, 0, 4, -2},
    Refused{"AnOffsetOfAWholeBlock", 0, 0x10000, 4, -2},
    Refused{"TheLargestOffset", 21, 0xFFFFFFFF, 1, -2},
    Refused{"NoBytes", 21, 0xFC00, 0, -2},
    Refused{"NoBytesOfABlockThatIsNotThere", 22, 0x10000, 0, -2},
    Refused{"BothOutOfRangeAndTooLong", 22, 0, 0xFFFFFFFF, -2},
    Refused{"OneByteBeyondTheEnd", 21, 0xFC01, 0x400, -3},
    Refused{"OneByteBeyondTheEndFromTheStart", 0, 0, 0x160001, -3},
    Refused{"TheLargestLength", 0, 0, 0xFFFFFFFF, -3},
    Refused{"ALengthThatWrapsToZero", 1, 0, 0xFFFF0000, -3},
    Refused{"ALengthThatWrapsIntoThePartition", 21, 0xFFFF, 0xFFFFFFF0, -3},
    Refused{"ALengthThatWrapsWhenRoundedUp", 0, 0xFFFF, 0xFFFF0002, -3},
};

TEST_F(FlashStoreTest, ARecordThatThePartitionLacksIsRefusedBeforeAnyMediumIsOpened) {
  for (const Refused& row : kRefused) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(flash_save_dev_info(row.block, row.offset, as_info(info), row.length), row.code);
    EXPECT_EQ(flash_read_dev_info(row.block, row.offset, as_info(info), row.length), row.code);
  }
  expect_untouched();
  expect_silence();
  EXPECT_TRUE(all() == before);
  EXPECT_TRUE(info == pattern(0x400, 2));
}

TEST_F(FlashStoreTest, NoBufferIsRefusedWithMinus1BeforeAnythingElse) {
  EXPECT_EQ(flash_save_dev_info(21, 0xFC00, nullptr, 4), -1);
  EXPECT_EQ(flash_read_dev_info(21, 0xFC00, nullptr, 4), -1);
  EXPECT_EQ(flash_save_dev_info(22, 0x10000, nullptr, 0), -1);
  EXPECT_EQ(flash_read_dev_info(22, 0x10000, nullptr, 0), -1);
  expect_untouched();
  expect_silence();
}

// ---- saving that fails ----

TEST_F(FlashStoreTest, WithoutMemoryForTheBlocksNothingIsOpenedAndTheCodeIsMinus4) {
  if (!kMemoryCanBeRefused) GTEST_SKIP() << "memory cannot be refused here";
  Bytes whole = pattern(kFlashSize, 9);
  save(0, 0, info);  // whatever is set up once is set up now
  board.clear_trace();
  int result = 0;
  {
    const TightMemory memory;
    result = save(0, 0, whole);
  }
  EXPECT_EQ(result, -4);
  expect_untouched();
  expect_silence();
}

TEST_F(FlashStoreTest, AFlashThatCannotBeOpenedGivesMinus5OrMinus4AndALineOnStandardError) {
  board.fault("open /dev/mtd4 #1");
  board.fault("open /dev/mtd4 #2 EACCES");
  EXPECT_EQ(save(21, 0xFC00, info), -5);
  EXPECT_EQ(read(21, 0xFC00, info), -4);
  EXPECT_EQ(
      console.err(),
      "open device[/dev/mtd4] error: No such device\nopen device[/dev/mtd4] error: Permission denied\n");
  EXPECT_EQ(console.out(), "");
}

TEST_F(FlashStoreTest, AFlashThatCannotBeReadGivesMinus6OrMinus5WithoutATextAndErasesNothing) {
  for (const char* fault :
       {"lseek /dev/mtd4 #1", "read /dev/mtd4", "read /dev/mtd4 short 100", "read /dev/mtd4 short 0"}) {
    SCOPED_TRACE(fault);
    board.fault(fault);
    EXPECT_EQ(save(21, 0xFC00, info), -6);
    board.clear_faults();
    board.fault(fault);
    EXPECT_EQ(read(21, 0xFC00, info), -5);
    board.clear_faults();
  }
  expect_silence();
  EXPECT_EQ(erasures(), 0U);
  EXPECT_TRUE(all() == before);
}

TEST_F(FlashStoreTest, AnEraseThatFailsGivesMinus7AndALineOnStandardOutput) {
  board.fault("ioctl /dev/mtd4 0x40084d02");
  EXPECT_EQ(save(21, 0xFC00, info), -7);
  EXPECT_EQ(console.out(), "mtd erase error\n");
  EXPECT_EQ(console.err(), "");
  EXPECT_TRUE(all() == before);
}

TEST_F(FlashStoreTest, AWriteThatFailsGivesMinus8AndALineOnStandardOutputAndTheBlockIsLost) {
  const std::pair<const char*, std::size_t> rows[] = {
      {"lseek /dev/mtd4 #2", 0}, {"write /dev/mtd4", 0}, {"write /dev/mtd4 short 1000", 1000}};
  for (const auto& [fault, written] : rows) {
    SCOPED_TRACE(fault);
    board->flash.set_bytes(0, before);
    console.clear();
    board.fault(fault);
    EXPECT_EQ(save(21, 0xFC00, info), -8);
    board.clear_faults();
    EXPECT_EQ(console.out(), "write error!\n");
    EXPECT_EQ(console.err(), "");
    const Bytes image = with(before, 0x15FC00, info);
    const Bytes lost = with(before, 0x150000, ones(kEraseBlock));
    EXPECT_TRUE(all() == with(lost, 0x150000, std::span(image).subspan(0x150000, written)))
        << "nothing restores what was erased";
  }
}

// ---- reading ----

TEST_F(FlashStoreTest, ReadingTakesJustTheBytesAskedFor) {
  Bytes back(0x400);
  EXPECT_EQ(read(21, 0xFC00, back), 0x400);
  EXPECT_TRUE(back == board->flash.bytes(0x15FC00, 0x400));
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"open /dev/qznio = ok", "ioctl /dev/qznio 0x80044801 {} = 0", "close /dev/qznio = 0",
                   "open /dev/mtd4 = ok", "lseek /dev/mtd4 1440768 = 1440768", "read /dev/mtd4 1024 = 1024",
                   "close /dev/mtd4 = 0"}));
  expect_silence();
}

// ---- which medium ----

TEST_F(FlashStoreTest, ABoardThatCannotTellItsTypeSavesToTheFlash) {
  board.fault("open /dev/qznio");
  EXPECT_EQ(save(21, 0xFC00, info), 0x10000);
  EXPECT_EQ(console.out(), "open /dev/qznio error.\n");
  Bytes back(info.size());
  EXPECT_EQ(read(21, 0xFC00, back), 0x400);
  EXPECT_TRUE(back == info);
}

TEST_F(FlashStoreTest, OnlyMaBoardsHaveTheirStoreOnTheEmmc) {
  for (const boardsim::Family& family : boardsim::families()) {
    SCOPED_TRACE(family.name);
    with_family(family.name);
    board.clear_trace();
    save(19, 0xF800, info);
    read(19, 0xF800, info);
    const bool on_emmc = family.name == "ma";
    EXPECT_EQ(calls_on(board, kFlashNode).empty(), on_emmc);
    EXPECT_EQ(calls_on(board, kEmmcNode).empty(), !on_emmc);
  }
}

}  // namespace
