// The flash partition: zeros by writing, ones by erasing, and power that fails in between.
#include "boardsim/devices/flash.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

#include "boardsim/board.h"
#include "tests/harness/own_directory.h"

namespace {

using boardsim::Board;
using boardsim::Flash;
using Bytes = std::vector<std::uint8_t>;
using Lines = std::vector<std::string>;

constexpr unsigned kErase = 0x40084D02;
constexpr std::size_t kBlock = 0x10000;
constexpr std::size_t kSize = 0x160000;

struct Span {
  std::uint32_t start;
  std::uint32_t length;
};

class FlashTest : public testing::Test {
 protected:
  ~FlashTest() override {
    EXPECT_EQ(board_.violations(), Lines{});
    close(fd_);
  }

  /// Result of a call, or minus its errno.
  static long outcome(long result) { return result < 0 ? -errno : result; }
  long write_at(off_t position, const Bytes& bytes) const {
    EXPECT_EQ(lseek(fd_, position, SEEK_SET), position);
    return outcome(write(fd_, bytes.data(), bytes.size()));
  }
  Bytes read_at(off_t position, std::size_t size) const {
    EXPECT_EQ(lseek(fd_, position, SEEK_SET), position);
    Bytes bytes(size);
    const ssize_t count = read(fd_, bytes.data(), size);
    bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    return bytes;
  }
  long erase(std::uint32_t start, std::uint32_t length) const {
    Span span{start, length};
    return outcome(ioctl(fd_, kErase, &span));
  }

  Board board_{"normal"};
  int fd_ = open("/dev/mtd4", O_RDWR);
};

TEST_F(FlashTest, ANewPartitionIsAllOnes) {
  EXPECT_EQ(read_at(0, kSize), Bytes(kSize, 0xFF));
  EXPECT_EQ(board_->flash.bytes(0, kSize), Bytes(kSize, 0xFF));
}

TEST_F(FlashTest, ItIsACharacterDevice) {
  struct stat status {};
  ASSERT_EQ(stat("/dev/mtd4", &status), 0);
  EXPECT_TRUE(S_ISCHR(status.st_mode));
}

TEST_F(FlashTest, WrittenBytesAreReadBackWhereTheyWereWritten) {
  EXPECT_EQ(write_at(0x1234, {1, 2, 3}), 3);
  EXPECT_EQ(read_at(0x1233, 5), (Bytes{0xFF, 1, 2, 3, 0xFF}));
  EXPECT_EQ(board_->flash.bytes(0x1234, 3), (Bytes{1, 2, 3}));
}

TEST_F(FlashTest, ReadingAndWritingMoveThePosition) {
  EXPECT_EQ(write(fd_, "ab", 2), 2);
  EXPECT_EQ(write(fd_, "cd", 2), 2);
  EXPECT_EQ(lseek(fd_, 0, SEEK_CUR), 4);
  EXPECT_EQ(read_at(0, 3), (Bytes{'a', 'b', 'c'}));
  EXPECT_EQ(lseek(fd_, 0, SEEK_CUR), 3);
}

TEST_F(FlashTest, WritingWithoutErasingOnlyMakesZerosOfOnes) {
  write_at(0, {0xF0, 0x0F, 0x00});
  EXPECT_EQ(write_at(0, {0x3C, 0xFF, 0xFF}), 3) << "the write itself reports no error";
  EXPECT_EQ(read_at(0, 3), (Bytes{0x30, 0x0F, 0x00}));
}

TEST_F(FlashTest, ErasingMakesOnesOfWholeBlocksAndOfNothingElse) {
  board_->flash.set_bytes(0, Bytes(4 * kBlock, 0));
  EXPECT_EQ(erase(kBlock, 2 * kBlock), 0);
  EXPECT_EQ(board_->flash.bytes(0, kBlock), Bytes(kBlock, 0));
  EXPECT_EQ(board_->flash.bytes(kBlock, 2 * kBlock), Bytes(2 * kBlock, 0xFF));
  EXPECT_EQ(board_->flash.bytes(3 * kBlock, kBlock), Bytes(kBlock, 0));
}

TEST_F(FlashTest, EachBlockCountsItsErasures) {
  erase(kBlock, 2 * kBlock);
  erase(2 * kBlock, kBlock);
  std::vector<unsigned> counts;
  for (std::size_t block = 0; block < 22; ++block) counts.push_back(board_->flash.erasures(block));
  std::vector<unsigned> expected(22, 0);
  expected[1] = 1;
  expected[2] = 2;
  EXPECT_EQ(counts, expected);
  EXPECT_THROW(board_->flash.erasures(22), std::out_of_range);
}

TEST_F(FlashTest, OnlyWholeAlignedBlocksOfThePartitionAreErased) {
  board_->flash.set_bytes(0, Bytes(kSize, 0));
  EXPECT_EQ(erase(1, kBlock), -EINVAL);
  EXPECT_EQ(erase(0, kBlock - 1), -EINVAL);
  EXPECT_EQ(erase(0, 0), -EINVAL);
  EXPECT_EQ(erase(kSize, kBlock), -EINVAL);
  EXPECT_EQ(erase(kSize - kBlock, 2 * kBlock), -EINVAL);
  EXPECT_EQ(erase(0xFFFF0000, 2 * kBlock), -EINVAL) << "the end does not wrap around";
  EXPECT_EQ(board_->flash.bytes(0, kSize), Bytes(kSize, 0));
  EXPECT_EQ(erase(0, kSize), 0);
  EXPECT_EQ(board_->flash.bytes(0, kSize), Bytes(kSize, 0xFF));
}

TEST_F(FlashTest, ReadsEndAtTheEndOfThePartition) {
  EXPECT_EQ(read_at(kSize - 3, 10).size(), 3U);
  EXPECT_EQ(read_at(kSize, 10).size(), 0U);
  EXPECT_EQ(read_at(2 * kSize, 10).size(), 0U);
}

TEST_F(FlashTest, AWriteBeyondTheEndIsShortAndThenThereIsNoSpace) {
  EXPECT_EQ(write_at(kSize - 2, {1, 2, 3, 4}), 2);
  EXPECT_EQ(outcome(write(fd_, "x", 1)), -ENOSPC);
  EXPECT_EQ(write_at(2 * kSize, {1}), -ENOSPC);
  EXPECT_EQ(write_at(kSize, {}), 0);
  EXPECT_EQ(board_->flash.bytes(kSize - 2, 2), (Bytes{1, 2}));
}

TEST_F(FlashTest, NullPointersAreBadAddresses) {
  void* volatile nothing = nullptr;  // the compiler must not see it
  EXPECT_EQ(outcome(read(fd_, nothing, 1)), -EFAULT);
  EXPECT_EQ(outcome(write(fd_, nothing, 1)), -EFAULT);
  EXPECT_EQ(outcome(ioctl(fd_, kErase, nullptr)), -EFAULT);
}

TEST_F(FlashTest, ADescriptorForReadingOnlyNeitherWritesNorErases) {
  const int reader = open("/dev/mtd4", O_RDONLY);
  Span span{0, kBlock};
  board_->flash.set_bytes(0, Bytes(2, 7));
  EXPECT_EQ(outcome(write(reader, "x", 1)), -EBADF);
  EXPECT_EQ(outcome(ioctl(reader, kErase, &span)), -EPERM);
  EXPECT_EQ(board_->flash.bytes(0, 2), Bytes(2, 7));
  EXPECT_EQ(board_->flash.erasures(0), 0U);
  close(reader);
}

TEST_F(FlashTest, ADescriptorForWritingOnlyDoesNotRead) {
  const int writer = open("/dev/mtd4", O_WRONLY);
  char byte = 0;
  EXPECT_EQ(outcome(read(writer, &byte, 1)), -EBADF);
  EXPECT_EQ(write(writer, "x", 1), 1);
  close(writer);
}

TEST_F(FlashTest, TheTraceShowsPositionsCountsAndErasedSpans) {
  board_.clear_trace();
  lseek(fd_, 0x150000, SEEK_SET);
  Bytes bytes(kBlock);
  EXPECT_EQ(read(fd_, bytes.data(), bytes.size()), static_cast<ssize_t>(kBlock));
  erase(0x150000, 0x10000);
  lseek(fd_, 0x150000, SEEK_SET);
  EXPECT_EQ(write(fd_, bytes.data(), bytes.size()), static_cast<ssize_t>(kBlock));
  EXPECT_EQ(board_.hardware_trace(),
            (Lines{"lseek /dev/mtd4 1376256 = 1376256", "read /dev/mtd4 65536 = 65536",
                   "ioctl /dev/mtd4 0x40084d02 {0x00150000, 0x00010000} = 0",
                   "lseek /dev/mtd4 1376256 = 1376256", "write /dev/mtd4 65536 = 65536"}));
}

TEST_F(FlashTest, PowerThatIsCutInAWriteLeavesTheBytesBefore) {
  for (const std::size_t kept : {0U, 1U, 5U, 8U}) {
    board_->flash.set_bytes(0, Bytes(8, 0xFF));
    board_.fault("flash cut " + std::to_string(kept));
    EXPECT_EQ(write_at(0, Bytes(8, 0)), -EIO);
    Bytes expected(8, 0xFF);
    std::fill_n(expected.begin(), kept, std::uint8_t{0});
    EXPECT_EQ(board_->flash.bytes(0, 8), expected) << kept;
    board_.clear_faults();
  }
}

TEST_F(FlashTest, AShorterWriteDoesNotReachTheCut) {
  board_.fault("flash cut 5");
  EXPECT_EQ(write_at(0, Bytes(4, 0)), 4);
  EXPECT_EQ(write_at(4, Bytes(6, 0)), -EIO);
  EXPECT_EQ(board_->flash.bytes(0, 10), (Bytes{0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF}));
}

TEST_F(FlashTest, WithoutPowerEveryCallOnAStorageNodeFailsUntilTheFaultsAreTakenAway) {
  board_.fault("flash cut 0");
  EXPECT_EQ(write_at(0, {0}), -EIO);
  char byte = 0;
  struct stat status {};
  EXPECT_EQ(outcome(lseek(fd_, 0, SEEK_SET)), -EIO);
  EXPECT_EQ(outcome(read(fd_, &byte, 1)), -EIO);
  EXPECT_EQ(outcome(write(fd_, &byte, 1)), -EIO);
  EXPECT_EQ(erase(0, kBlock), -EIO);
  EXPECT_EQ(outcome(stat("/dev/mtd4", &status)), -EIO);
  EXPECT_EQ(outcome(access("/dev/mtd4", F_OK)), -EIO);
  EXPECT_EQ(outcome(open("/dev/mtd4", O_RDONLY)), -EIO);
  EXPECT_EQ(outcome(open("/dev/mmcblk0p7", O_RDONLY)), -EIO);
  EXPECT_EQ(outcome(close(fd_)), -EIO);
  EXPECT_EQ(board_.open_nodes(), Lines{}) << "the descriptor is gone all the same";
  EXPECT_EQ(close(open("/dev/rtc", O_RDONLY)), 0) << "other nodes are alive";
  board_.clear_faults();
  fd_ = open("/dev/mtd4", O_RDWR);
  EXPECT_EQ(write_at(0, {0}), 1);
}

TEST_F(FlashTest, PowerCanBeCutAtTheEraseRequestBeforeAnythingIsErased) {
  board_->flash.set_bytes(0, Bytes(2 * kBlock, 0));
  board_.fault("flash cut erase");
  EXPECT_EQ(write_at(2 * kBlock, {1}), 1) << "writes are not meant";
  EXPECT_EQ(erase(0, 2 * kBlock), -EIO);
  EXPECT_EQ(board_->flash.bytes(0, 2 * kBlock), Bytes(2 * kBlock, 0));
  EXPECT_EQ(board_->flash.erasures(0), 0U);
  EXPECT_EQ(outcome(write(fd_, "x", 1)), -EIO);
}

TEST_F(FlashTest, PowerCanBeCutBetweenTwoErasedBlocks) {
  board_->flash.set_bytes(0, Bytes(2 * kBlock, 0));
  board_.fault("flash cut erase 1");
  EXPECT_EQ(erase(0, 2 * kBlock), -EIO);
  EXPECT_EQ(board_->flash.bytes(0, kBlock), Bytes(kBlock, 0xFF));
  EXPECT_EQ(board_->flash.bytes(kBlock, kBlock), Bytes(kBlock, 0));
  EXPECT_EQ(board_->flash.erasures(0), 1U);
  EXPECT_EQ(board_->flash.erasures(1), 0U);
}

TEST_F(FlashTest, ACutThatNeverCameIsTakenAwayWithTheFaults) {
  board_.fault("flash cut 0");
  board_.fault("flash cut erase");
  board_.clear_faults();
  EXPECT_EQ(erase(0, kBlock), 0);
  EXPECT_EQ(write_at(0, {0}), 1);
}

TEST_F(FlashTest, FaultsThatMakeNoSenseAreRefused) {
  for (const char* text : {"flash", "flash cut", "flash cut x", "flash cut 1 2", "flash dead",
                           "flash cut erase x", "flash cut erase 1 2"}) {
    EXPECT_THROW(board_.fault(text), std::invalid_argument) << text;
  }
}

TEST_F(FlashTest, CallFaultsLieOverItAsOverEveryNode) {
  board_.fault("read /dev/mtd4 #2");
  board_.fault("write /dev/mtd4 short 2");
  board_.fault("ioctl /dev/mtd4 0x40084d02 ENODEV");
  EXPECT_EQ(read_at(0, 4).size(), 4U);
  EXPECT_EQ(read_at(0, 4).size(), 0U);
  EXPECT_EQ(write_at(0, {1, 2, 3}), 2);
  EXPECT_EQ(erase(0, kBlock), -ENODEV);
}

TEST_F(FlashTest, ATestCannotReachBeyondTheEnd) {
  EXPECT_THROW(board_->flash.bytes(kSize, 1), std::out_of_range);
  EXPECT_THROW(board_->flash.bytes(kSize - 1, 2), std::out_of_range);
  EXPECT_THROW(board_->flash.bytes(1, SIZE_MAX), std::out_of_range);
  EXPECT_THROW(board_->flash.set_bytes(kSize - 1, Bytes(2)), std::out_of_range);
  EXPECT_EQ(board_->flash.bytes(kSize, 0), Bytes{});
}

/// A folder of the PC that is not there yet, and is gone after the test.
class KeptMediaTest : public testing::Test {
 protected:
  const OwnDirectory directory_;
  const std::string folder_ = directory_.file("media");
};

TEST_F(KeptMediaTest, AnotherBoardFindsWhatTheFirstOneStored) {
  {
    Board board;
    board->flash.set_bytes(0, Bytes{1});
    board->keep_media_in(folder_);
    board->flash.set_bytes(1, Bytes{2});
    const int fd = open("/dev/mmcblk0p7", O_WRONLY);
    EXPECT_EQ(write(fd, "three", 5), 5);
    close(fd);
  }
  Board board;
  EXPECT_EQ(board->flash.bytes(0, 2), Bytes(2, 0xFF)) << "a board of its own until it is given the folder";
  board->keep_media_in(folder_);
  EXPECT_EQ(board->flash.bytes(0, 3), (Bytes{1, 2, 0xFF}));
  EXPECT_EQ(board->emmc.bytes(0, 5), (Bytes{'t', 'h', 'r', 'e', 'e'}));
  EXPECT_EQ(board.violations(), Lines{});
}

TEST_F(KeptMediaTest, EveryByteIsInTheFileAtOnce) {
  Board board;
  board->keep_media_in(folder_);
  const int fd = open("/dev/mtd4", O_RDWR);
  EXPECT_EQ(write(fd, "now", 3), 3);
  std::string text(3, '\0');
  std::ifstream(folder_ + "/mtd4").read(text.data(), 3);
  EXPECT_EQ(text, "now");
  close(fd);
}

TEST_F(KeptMediaTest, AFileOfAnotherSizeIsRefused) {
  std::filesystem::create_directories(folder_);
  std::ofstream(folder_ + "/mmcblk0p7") << "short";
  Board board;
  EXPECT_THROW(board->keep_media_in(folder_), std::runtime_error);
}

TEST_F(KeptMediaTest, AFolderThatCannotBeUsedIsRefused) {
  Board board;
  EXPECT_THROW(board->keep_media_in("/proc/self/none"), std::runtime_error);
  std::ofstream(folder_) << "a file";
  EXPECT_THROW(board->keep_media_in(folder_), std::runtime_error);
}

}  // namespace
