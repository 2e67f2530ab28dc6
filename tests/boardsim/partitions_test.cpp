// The flash partition, zeros by writing and ones by erasing, and the eMMC partition with its records: what is
// stored, power that fails in between, records that go bad, and the files that keep both.
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
#include <stdexcept>
#include <string>
#include <vector>

#include "boardsim/board.h"
#include "tests/harness/own_directory.h"

namespace {

using boardsim::Board;
using Bytes = std::vector<std::uint8_t>;
using Lines = std::vector<std::string>;

constexpr std::size_t kBlock = 0x10000;
constexpr std::size_t kFlashSize = 0x160000;
constexpr std::size_t kEmmcSize = 0x40000;

/// Result of a call, or minus its errno.
long outcome(long result) {
  return result < 0 ? -errno : result;
}

long write_at(int fd, off_t position, const Bytes& bytes) {
  EXPECT_EQ(lseek(fd, position, SEEK_SET), position);
  return outcome(write(fd, bytes.data(), bytes.size()));
}

Bytes read_at(int fd, off_t position, std::size_t size) {
  EXPECT_EQ(lseek(fd, position, SEEK_SET), position);
  Bytes bytes(size);
  const ssize_t count = read(fd, bytes.data(), size);
  bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  return bytes;
}

long erase(int fd, std::uint32_t start, std::uint32_t length) {
  std::uint32_t span[2] = {start, length};
  return outcome(ioctl(fd, 0x40084D02, span));
}

class PartitionsTest : public testing::Test {
 protected:
  ~PartitionsTest() override {
    EXPECT_EQ(board_.violations(), Lines{});
    close(flash_);
    close(emmc_);
  }

  Board board_;
  int flash_ = open("/dev/mtd4", O_RDWR);
  int emmc_ = open("/dev/mmcblk0p7", O_RDWR);
};

TEST_F(PartitionsTest, WhatWasNeverWrittenIsAllOnes) {
  EXPECT_EQ(read_at(flash_, 0, kFlashSize), Bytes(kFlashSize, 0xFF));
  EXPECT_EQ(board_->flash.bytes(0, kFlashSize), Bytes(kFlashSize, 0xFF));
  EXPECT_EQ(board_->emmc.bytes(0x5000, 0x1000), Bytes(0x1000, 0xFF));
  EXPECT_EQ(board_->emmc.bytes(kEmmcSize - 0x1000, 0x1000), Bytes(0x1000, 0xFF));
  struct stat status {};
  ASSERT_EQ(stat("/dev/mtd4", &status), 0);
  EXPECT_TRUE(S_ISCHR(status.st_mode));
  ASSERT_EQ(stat("/dev/mmcblk0p7", &status), 0);
  EXPECT_TRUE(S_ISBLK(status.st_mode));
}

TEST_F(PartitionsTest, ReadingAndWritingMoveThePosition) {
  EXPECT_EQ(write(flash_, "ab", 2), 2);
  EXPECT_EQ(write(flash_, "cd", 2), 2);
  EXPECT_EQ(lseek(flash_, 0, SEEK_CUR), 4);
  EXPECT_EQ(read_at(flash_, 1, 4), (Bytes{'b', 'c', 'd', 0xFF}));
  EXPECT_EQ(lseek(flash_, 0, SEEK_CUR), 5);
  void* volatile nothing = nullptr;  // the compiler must not see it
  EXPECT_EQ(outcome(read(flash_, nothing, 1)), -EFAULT);
  EXPECT_EQ(outcome(write(flash_, nothing, 1)), -EFAULT);
  EXPECT_EQ(lseek(flash_, 0, SEEK_CUR), 5);
}

TEST_F(PartitionsTest, WritingOnlyMakesZerosOfTheFlashsOnesAndReplacesTheEmmcsBytes) {
  for (const int fd : {flash_, emmc_}) {
    write_at(fd, 0, {0xF0, 0x0F, 0x00});
    EXPECT_EQ(write_at(fd, 0, {0x3C, 0xFF, 0xFF}), 3) << "the write itself reports no error";
  }
  EXPECT_EQ(read_at(flash_, 0, 3), (Bytes{0x30, 0x0F, 0x00}));
  EXPECT_EQ(read_at(emmc_, 0, 3), (Bytes{0x3C, 0xFF, 0xFF}));
}

TEST_F(PartitionsTest, OnlyWholeAlignedBlocksOfTheFlashAreErased) {
  board_->flash.set_bytes(0, Bytes(kFlashSize, 0));
  EXPECT_EQ(erase(flash_, 1, kBlock), -EINVAL);
  EXPECT_EQ(erase(flash_, 0, kBlock - 1), -EINVAL);
  EXPECT_EQ(erase(flash_, 0, 0), -EINVAL);
  EXPECT_EQ(erase(flash_, kFlashSize, kBlock), -EINVAL);
  EXPECT_EQ(erase(flash_, kFlashSize - kBlock, 2 * kBlock), -EINVAL);
  EXPECT_EQ(erase(flash_, 0xFFFF0000, 2 * kBlock), -EINVAL) << "the end does not wrap around";
  EXPECT_EQ(board_->flash.bytes(0, kFlashSize), Bytes(kFlashSize, 0));
  EXPECT_EQ(erase(flash_, kBlock, 2 * kBlock), 0);
  EXPECT_EQ(board_->flash.bytes(0, kBlock), Bytes(kBlock, 0));
  EXPECT_EQ(board_->flash.bytes(kBlock, 2 * kBlock), Bytes(2 * kBlock, 0xFF));
  EXPECT_EQ(board_->flash.bytes(3 * kBlock, kBlock), Bytes(kBlock, 0));
  EXPECT_EQ(erase(flash_, 0, kFlashSize), 0);
  EXPECT_EQ(board_->flash.bytes(0, kFlashSize), Bytes(kFlashSize, 0xFF));
}

TEST_F(PartitionsTest, BehindTheEndThereIsNothingToReadAndNoSpace) {
  for (const auto& [fd, size] : {std::pair{flash_, kFlashSize}, std::pair{emmc_, kEmmcSize}}) {
    const auto end = static_cast<off_t>(size);
    EXPECT_EQ(write_at(fd, end - 2, {1, 2, 3, 4}), 2);
    EXPECT_EQ(outcome(write(fd, "x", 1)), -ENOSPC);
    EXPECT_EQ(write_at(fd, 2 * end, {1}), -ENOSPC);
    EXPECT_EQ(write_at(fd, end, {}), 0);
    EXPECT_EQ(read_at(fd, end - 3, 10), (Bytes{0xFF, 1, 2}));
    EXPECT_EQ(read_at(fd, end, 10), Bytes{});
    EXPECT_EQ(read_at(fd, 2 * end, 10), Bytes{});
  }
}

TEST_F(PartitionsTest, ATestCannotReachBeyondTheEnd) {
  EXPECT_THROW(board_->flash.bytes(kFlashSize, 1), std::out_of_range);
  EXPECT_THROW(board_->flash.bytes(kFlashSize - 1, 2), std::out_of_range);
  EXPECT_THROW(board_->flash.bytes(1, SIZE_MAX), std::out_of_range);
  EXPECT_THROW(board_->flash.set_bytes(kFlashSize - 1, Bytes(2)), std::out_of_range);
  EXPECT_EQ(board_->flash.bytes(kFlashSize, 0), Bytes{});
  EXPECT_THROW(board_->emmc.bytes(kEmmcSize - 1, 2), std::out_of_range);
  EXPECT_THROW(board_->emmc.set_bytes(kEmmcSize, Bytes(1)), std::out_of_range);
  EXPECT_THROW(board_->flash.erasures(22), std::out_of_range);
}

TEST_F(PartitionsTest, ADescriptorRefusesWhatItWasNotOpenedFor) {
  board_->flash.set_bytes(0, Bytes(2, 7));
  char byte = 0;
  for (const char* node : {"/dev/mtd4", "/dev/mmcblk0p7"}) {
    const int reader = open(node, O_RDONLY);
    const int writer = open(node, O_WRONLY);
    EXPECT_EQ(outcome(write(reader, &byte, 1)), -EBADF);
    EXPECT_EQ(outcome(read(writer, &byte, 1)), -EBADF);
    EXPECT_EQ(read(reader, &byte, 1), 1);
    EXPECT_EQ(write(writer, &byte, 1), 1);
    close(reader);
    close(writer);
  }
  const int reader = open("/dev/mtd4", O_RDONLY);
  EXPECT_EQ(erase(reader, 0, kBlock), -EPERM);
  EXPECT_EQ(board_->flash.erasures(0), 0U);
  close(reader);
}

// ---- power that fails -------------------------------------------------------------------------------------

TEST_F(PartitionsTest, NeitherAShorterWriteNorTheOtherPartitionsReachesTheCut) {
  board_.fault("emmc cut 5");
  EXPECT_EQ(write_at(flash_, 0, Bytes(6, 0)), 6);
  EXPECT_EQ(write_at(emmc_, 0, Bytes(4, 0)), 4);
  EXPECT_EQ(write_at(emmc_, 4, Bytes(5, 0xEE)), -EIO) << "one that just reaches it fails though it is stored";
  EXPECT_EQ(board_->emmc.bytes(4, 5), Bytes(5, 0xEE));
}

TEST_F(PartitionsTest, WithoutPowerEveryCallOnAStorageNodeFailsUntilTheFaultsAreTakenAway) {
  board_.fault("flash cut 0");
  EXPECT_EQ(write_at(flash_, 0, {0}), -EIO);
  char byte = 0;
  struct stat status {};
  EXPECT_EQ(outcome(lseek(flash_, 0, SEEK_SET)), -EIO);
  EXPECT_EQ(outcome(read(flash_, &byte, 1)), -EIO);
  EXPECT_EQ(outcome(write(flash_, &byte, 1)), -EIO);
  EXPECT_EQ(erase(flash_, 0, kBlock), -EIO);
  EXPECT_EQ(outcome(stat("/dev/mtd4", &status)), -EIO);
  EXPECT_EQ(outcome(access("/dev/mtd4", F_OK)), -EIO);
  EXPECT_EQ(outcome(open("/dev/mtd4", O_RDONLY)), -EIO);
  EXPECT_EQ(outcome(open("/dev/mmcblk0p7", O_RDONLY)), -EIO) << "both partitions have one power";
  EXPECT_EQ(outcome(close(flash_)), -EIO);
  EXPECT_EQ(board_.open_nodes(), Lines{"/dev/mmcblk0p7"}) << "the descriptor is gone all the same";
  EXPECT_EQ(close(open("/dev/rtc", O_RDONLY)), 0) << "other nodes are alive";
  board_.clear_faults();
  flash_ = open("/dev/mtd4", O_RDWR);
  EXPECT_EQ(write_at(flash_, 0, {0}), 1);
}

TEST_F(PartitionsTest, ACutThatNeverCameIsTakenAwayWithTheFaults) {
  board_.fault("flash cut 0");
  board_.fault("flash cut erase");
  board_.clear_faults();
  EXPECT_EQ(erase(flash_, 0, kBlock), 0);
  EXPECT_EQ(write_at(flash_, 0, {0}), 1);
}

// ---- records that go bad --------------------------------------------------------------------------------

struct Record {
  std::string name;
  std::size_t position, size, magic, checksum;
};

const Record kRecords[] = {{"dead-pixels", 0, 4112, 0, 4},
                           {"flat-field", 0x10000, 200, 0, 4},
                           {"timing", 0x20000, 1580, 0, 1576},
                           {"vsub", 0x30000, 64, 16, 40}};

TEST_F(PartitionsTest, ADamagedRecordDiffersInTheDamagedWordOnlyAndCanBeWrittenAnew) {
  for (const Record& record : kRecords) {
    const Bytes before = board_->emmc.bytes(record.position, record.size);
    for (const auto& [word, offset] :
         {std::pair{" magic", record.magic}, std::pair{" checksum", record.checksum}}) {
      board_.fault("record " + record.name + word);
      const Bytes after = board_->emmc.bytes(record.position, record.size);
      board_.fault("record " + record.name + word);
      EXPECT_EQ(board_->emmc.bytes(record.position, record.size), after) << "twice is no repair";
      Bytes expected = before;
      std::copy_n(after.begin() + static_cast<long>(offset), 4, expected.begin() + static_cast<long>(offset));
      EXPECT_EQ(after, expected) << record.name << word;
      EXPECT_NE(after, before) << record.name << word;
      EXPECT_EQ(write_at(emmc_, static_cast<off_t>(record.position), before), static_cast<long>(record.size));
      EXPECT_EQ(board_->emmc.bytes(record.position, record.size), before) << "the fault lay on the record";
    }
  }
}

// ---- the files that keep them ---------------------------------------------------------------------------

/// A folder of the PC that is not there yet, and is gone after the test.
class KeptPartitionsTest : public PartitionsTest {
 protected:
  const OwnDirectory directory_;
  const std::string folder_ = directory_.file("media");
};

TEST_F(KeptPartitionsTest, EveryByteIsInTheFileAtOnce) {
  board_->flash.set_bytes(0, Bytes{1});
  board_->keep_media_in(folder_);
  EXPECT_EQ(write_at(flash_, 1, {'n', 'o', 'w'}), 3);
  std::string text(4, '\0');
  std::ifstream(folder_ + "/mtd4").read(text.data(), 4);
  EXPECT_EQ(text, "\1now");
}

TEST_F(KeptPartitionsTest, AFolderThatCannotBeUsedIsRefused) {
  EXPECT_THROW(board_->keep_media_in("/proc/self/none"), std::runtime_error);
  std::ofstream(folder_) << "a file";
  EXPECT_THROW(board_->keep_media_in(folder_), std::runtime_error);
}

}  // namespace
