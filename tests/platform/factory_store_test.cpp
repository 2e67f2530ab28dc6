// The factory store on flash: checks, read-erase-rewrite of whole blocks, codes and texts.
#include "t1_sdk/boardtest/platform/factory_store.h"

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/resource.h>
#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/harness/console.h"
#include "tests/harness/on_board.h"
#include "tests/platform/factory_media.h"

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
  EXPECT_TRUE(all() == with(before, 0x15FC00, info));
  for (std::size_t block = 0; block < 22; ++block) {
    EXPECT_EQ(board->flash.erasures(block), block == 21 ? 1U : 0U) << "block " << block;
  }
  expect_silence();
}

TEST_F(FlashStoreTest, ABlockIsReadErasedAndRewrittenWhole) {
  save(21, 0xFC00, info);
  EXPECT_EQ(
      board.hardware_trace(),
      (Lines{"open /dev/qznio = ok", "ioctl /dev/qznio 0x80044801 {} = 0", "close /dev/qznio = 0",
             "open /dev/mtd4 = ok", "lseek /dev/mtd4 1376256 = 1376256", "read /dev/mtd4 65536 = 65536",
             "ioctl /dev/mtd4 0x40084d02 {0x00150000, 0x00010000} = 0", "lseek /dev/mtd4 1376256 = 1376256",
             "write /dev/mtd4 65536 = 65536", "close /dev/mtd4 = 0"}));
  EXPECT_EQ(board.now(), boardsim::Time{0});
}

TEST_F(FlashStoreTest, ARecordAcrossTwoBlocksRewritesBoth) {
  EXPECT_EQ(save(3, 0xFFFF, info), 0x20000);
  EXPECT_TRUE(all() == with(before, 0x3FFFF, info));
  EXPECT_EQ(board->flash.erasures(3), 1U);
  EXPECT_EQ(board->flash.erasures(4), 1U);
  EXPECT_EQ(erasures(), 2U);
  EXPECT_EQ(calls_on(board, kFlashNode).at(3), "ioctl /dev/mtd4 0x40084d02 {0x00030000, 0x00020000} = 0");
}

TEST_F(FlashStoreTest, ARecordThatEndsWithItsBlockLeavesTheNextOneAlone) {
  Bytes whole = pattern(0x10000, 5);
  EXPECT_EQ(save(0, 0, whole), 0x10000);
  EXPECT_TRUE(all() == with(before, 0, whole));
  EXPECT_EQ(erasures(), 1U);
}

TEST_F(FlashStoreTest, OneByteIsSavedWithItsWholeBlock) {
  Bytes one = {0xFF};
  EXPECT_EQ(save(7, 0xFFFF, one), 0x10000);
  EXPECT_TRUE(all() == with(before, 0x7FFFF, one));
}

TEST_F(FlashStoreTest, TheWholePartitionIsSavedInOneCall) {
  Bytes whole = pattern(kFlashSize, 9);
  EXPECT_EQ(save(0, 0, whole), 0x160000);
  EXPECT_TRUE(all() == whole);
  EXPECT_EQ(erasures(), 22U);
}

TEST_F(FlashStoreTest, ZerosBecomeOnesAgainWhenARecordIsReplaced) {
  Bytes zeros(0x400, 0);
  save(19, 0xF800, zeros);
  Bytes erased = ones(0x400);
  EXPECT_EQ(save(19, 0xF800, erased), 0x10000);
  EXPECT_TRUE(all() == with(before, 0x13F800, erased));
}

TEST_F(FlashStoreTest, WhatWasSavedIsReadBack) {
  save(19, 0xF800, info);
  Bytes back(info.size());
  EXPECT_EQ(read(19, 0xF800, back), 0x400);
  EXPECT_TRUE(back == info);
}

// ---- what is refused, for saving and reading alike ----

struct Refused {
  const char* name;
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
void PrintTo(const Refused& row, std::ostream* out) {
  *out << row.name;
}

class FlashRefusalTest : public FlashStoreTest, public ::testing::WithParamInterface<Refused> {};

TEST_P(FlashRefusalTest, IsRefusedBeforeAnyMediumIsOpened) {
  const Refused& row = GetParam();
  EXPECT_EQ(flash_save_dev_info(row.block, row.offset, as_info(info), row.length), row.code);
  EXPECT_EQ(flash_read_dev_info(row.block, row.offset, as_info(info), row.length), row.code);
  expect_untouched();
  expect_silence();
  EXPECT_TRUE(all() == before);
  EXPECT_TRUE(info == pattern(0x400, 2));
}

INSTANTIATE_TEST_SUITE_P(Each, FlashRefusalTest, ::testing::ValuesIn(kRefused),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(FlashStoreTest, NoBufferIsRefusedWithMinus1BeforeAnythingElse) {
  EXPECT_EQ(flash_save_dev_info(21, 0xFC00, nullptr, 4), -1);
  EXPECT_EQ(flash_read_dev_info(21, 0xFC00, nullptr, 4), -1);
  EXPECT_EQ(flash_save_dev_info(22, 0x10000, nullptr, 0), -1);
  EXPECT_EQ(flash_read_dev_info(22, 0x10000, nullptr, 0), -1);
  expect_untouched();
  expect_silence();
}

TEST_F(FlashStoreTest, TheLastByteOfThePartitionCanBeSavedAndRead) {
  Bytes one = {0x5A};
  EXPECT_EQ(save(21, 0xFFFF, one), 0x10000);
  Bytes back = {0};
  EXPECT_EQ(read(21, 0xFFFF, back), 1);
  EXPECT_EQ(back, one);
}

// ---- saving that fails ----

TEST_F(FlashStoreTest, WithoutMemoryForTheBlocksNothingIsOpenedAndTheCodeIsMinus4) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "sanitizers end the process when memory is refused";
#endif
  Bytes whole = pattern(kFlashSize, 9);
  save(0, 0, info);  // whatever is set up once is set up now
  board.clear_trace();
  std::FILE* const sizes = std::fopen("/proc/self/statm", "r");
  ASSERT_NE(sizes, nullptr);
  unsigned long pages = 0;
  const int fields = std::fscanf(sizes, "%lu", &pages);
  std::fclose(sizes);
  ASSERT_EQ(fields, 1);

  // What 22 blocks need comes in a mapping of its own, and no more than half a megabyte can be mapped.
  mallopt(M_MMAP_THRESHOLD, 0x40000);
  malloc_trim(0);
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_AS, &limit), 0);
  rlimit tight = limit;
  tight.rlim_cur = pages * 4096 + 0x80000;
  ASSERT_EQ(setrlimit(RLIMIT_AS, &tight), 0);
  rlimit taken{};
  ASSERT_EQ(getrlimit(RLIMIT_AS, &taken), 0);
  if (taken.rlim_cur != tight.rlim_cur) GTEST_SKIP() << "an emulator gives all the memory that there is";
  const int result = save(0, 0, whole);
  ASSERT_EQ(setrlimit(RLIMIT_AS, &limit), 0);

  EXPECT_EQ(result, -4);
  expect_untouched();
  expect_silence();
}

TEST_F(FlashStoreTest, AFlashThatCannotBeOpenedForSavingGivesMinus5AndALineOnStandardError) {
  board.fault("open /dev/mtd4");
  EXPECT_EQ(save(21, 0xFC00, info), -5);
  EXPECT_EQ(console.err(), "open device[/dev/mtd4] error: No such device\n");
  EXPECT_EQ(console.out(), "");
}

TEST_F(FlashStoreTest, TheTextOfTheErrorIsTheSystems) {
  board.fault("open /dev/mtd4 EACCES");
  EXPECT_EQ(save(21, 0xFC00, info), -5);
  EXPECT_EQ(console.err(), "open device[/dev/mtd4] error: Permission denied\n");
}

struct Failing {
  const char* name;
  const char* fault;
  int code;
};
void PrintTo(const Failing& row, std::ostream* out) {
  *out << row.name;
}
const auto row_name = [](const auto& row) { return std::string(row.param.name); };

class FlashUnreadableTest : public FlashStoreTest, public ::testing::WithParamInterface<Failing> {};

TEST_P(FlashUnreadableTest, SavingGivesMinus6WithoutATextAndErasesNothing) {
  board.fault(GetParam().fault);
  EXPECT_EQ(save(21, 0xFC00, info), -6);
  expect_silence();
  EXPECT_EQ(erasures(), 0U);
  EXPECT_TRUE(all() == before);
}

TEST_P(FlashUnreadableTest, ReadingGivesMinus5WithoutAText) {
  board.fault(GetParam().fault);
  EXPECT_EQ(read(21, 0xFC00, info), -5);
  expect_silence();
}

INSTANTIATE_TEST_SUITE_P(Each, FlashUnreadableTest,
                         ::testing::Values(Failing{"Seek", "lseek /dev/mtd4 #1", 0},
                                           Failing{"Read", "read /dev/mtd4", 0},
                                           Failing{"ShortRead", "read /dev/mtd4 short 100", 0},
                                           Failing{"NothingRead", "read /dev/mtd4 short 0", 0}),
                         row_name);

TEST_F(FlashStoreTest, AnEraseThatFailsGivesMinus7AndALineOnStandardOutput) {
  board.fault("ioctl /dev/mtd4 0x40084d02");
  EXPECT_EQ(save(21, 0xFC00, info), -7);
  EXPECT_EQ(console.out(), "mtd erase error\n");
  EXPECT_EQ(console.err(), "");
  EXPECT_TRUE(all() == before);
}

class FlashUnwritableTest : public FlashStoreTest, public ::testing::WithParamInterface<Failing> {};

TEST_P(FlashUnwritableTest, GivesMinus8AndALineOnStandardOutputAndTheBlockIsLost) {
  board.fault(GetParam().fault);
  EXPECT_EQ(save(21, 0xFC00, info), -8);
  EXPECT_EQ(console.out(), "write error!\n");
  EXPECT_EQ(console.err(), "");
  const auto written = static_cast<std::size_t>(GetParam().code);
  const Bytes image = with(before, 0x15FC00, info);
  Bytes left = with(before, 0x150000, ones(kEraseBlock));
  left = with(left, 0x150000, std::span(image).subspan(0x150000, written));
  EXPECT_TRUE(all() == left) << "nothing restores what was erased";
}

// The last column is what reaches the flash.
INSTANTIATE_TEST_SUITE_P(Each, FlashUnwritableTest,
                         ::testing::Values(Failing{"SeekBack", "lseek /dev/mtd4 #2", 0},
                                           Failing{"Write", "write /dev/mtd4", 0},
                                           Failing{"ShortWrite", "write /dev/mtd4 short 1000", 1000}),
                         row_name);

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

TEST_F(FlashStoreTest, ReadingRunsAcrossBlocks) {
  Bytes back(0x20000);
  EXPECT_EQ(read(4, 0x8000, back), 0x20000);
  EXPECT_TRUE(back == board->flash.bytes(0x48000, 0x20000));
}

TEST_F(FlashStoreTest, AnErasedFlashReadsAsOnes) {
  board->flash.set_bytes(0, ones(kFlashSize));
  Bytes back(64);
  EXPECT_EQ(read(21, 0xFC00, back), 64);
  EXPECT_EQ(back, ones(64));
}

TEST_F(FlashStoreTest, AFlashThatCannotBeOpenedForReadingGivesMinus4AndALineOnStandardError) {
  board.fault("open /dev/mtd4");
  EXPECT_EQ(read(21, 0xFC00, info), -4);
  EXPECT_EQ(console.err(), "open device[/dev/mtd4] error: No such device\n");
  EXPECT_EQ(console.out(), "");
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

TEST_F(FlashStoreTest, WhatIsSavedOnTheFlashIsNotWhatTheEmmcReaderReads) {
  const Bytes factory = board->emmc.bytes(0x20000, info.size());
  save(19, 0xF800, info);
  Bytes back(info.size());
  EXPECT_EQ(emmc_read_dev_info(19, 0xF800, as_info(back), 0x400), 0x400);
  EXPECT_TRUE(back == factory);
  EXPECT_FALSE(back == info);
}

}  // namespace
