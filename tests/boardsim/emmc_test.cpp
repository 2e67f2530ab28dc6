// The eMMC partition: bytes that are written over, and records that go bad.
#include "boardsim/devices/emmc.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "boardsim/board.h"

namespace {

using boardsim::Board;
using Bytes = std::vector<std::uint8_t>;
using Lines = std::vector<std::string>;

constexpr std::size_t kSize = 0x40000;

class EmmcTest : public testing::Test {
 protected:
  ~EmmcTest() override { close(fd_); }

  static long outcome(long result) { return result < 0 ? -errno : result; }
  long write_at(off_t position, const Bytes& bytes) const {
    EXPECT_EQ(lseek(fd_, position, SEEK_SET), position);
    return outcome(write(fd_, bytes.data(), bytes.size()));
  }

  Board board_{"ma"};
  int fd_ = open("/dev/mmcblk0p7", O_RDWR);
};

TEST_F(EmmcTest, ItIsABlockDevice) {
  struct stat status {};
  ASSERT_EQ(stat("/dev/mmcblk0p7", &status), 0);
  EXPECT_TRUE(S_ISBLK(status.st_mode));
}

TEST_F(EmmcTest, BytesAreWrittenOver) {
  EXPECT_EQ(write_at(0x100, {0x00, 0xF0}), 2);
  EXPECT_EQ(write_at(0x100, {0xFF, 0x0F}), 2);
  EXPECT_EQ(board_->emmc.bytes(0x100, 2), (Bytes{0xFF, 0x0F}));
  Bytes read_back(2);
  lseek(fd_, 0x100, SEEK_SET);
  EXPECT_EQ(read(fd_, read_back.data(), 2), 2);
  EXPECT_EQ(read_back, (Bytes{0xFF, 0x0F}));
}

TEST_F(EmmcTest, ItEndsAfter0x40000Bytes) {
  Bytes bytes(8);
  EXPECT_EQ(write_at(kSize - 2, {1, 2, 3}), 2);
  EXPECT_EQ(outcome(write(fd_, "x", 1)), -ENOSPC);
  lseek(fd_, kSize - 3, SEEK_SET);
  EXPECT_EQ(read(fd_, bytes.data(), bytes.size()), 3);
  EXPECT_EQ(read(fd_, bytes.data(), bytes.size()), 0);
  EXPECT_THROW(board_->emmc.bytes(kSize - 1, 2), std::out_of_range);
  EXPECT_THROW(board_->emmc.set_bytes(kSize, Bytes(1)), std::out_of_range);
}

TEST_F(EmmcTest, WhatTheFactoryDidNotWriteIsAllOnes) {
  EXPECT_EQ(board_->emmc.bytes(0x5000, 0x1000), Bytes(0x1000, 0xFF));
  EXPECT_EQ(board_->emmc.bytes(kSize - 0x1000, 0x1000), Bytes(0x1000, 0xFF));
}

TEST_F(EmmcTest, ADescriptorRefusesTheDirectionThatItWasNotOpenedFor) {
  const int reader = open("/dev/mmcblk0p7", O_RDONLY);
  const int writer = open("/dev/mmcblk0p7", O_WRONLY);
  char byte = 0;
  EXPECT_EQ(outcome(write(reader, &byte, 1)), -EBADF);
  EXPECT_EQ(outcome(read(writer, &byte, 1)), -EBADF);
  EXPECT_EQ(read(reader, &byte, 1), 1);
  EXPECT_EQ(write(writer, &byte, 1), 1);
  close(reader);
  close(writer);
}

TEST_F(EmmcTest, ItKnowsNoRequests) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(ioctl(fd_, 0x40084D02U, nullptr), -1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "boardsim: unknown request 0x40084d02 on /dev/mmcblk0p7 (ioctl)\n");
  EXPECT_EQ(board_.hardware_trace().back(), "ioctl /dev/mmcblk0p7 0x40084d02 {} = -1 ENOTTY");
}

TEST_F(EmmcTest, PowerThatIsCutInAWriteLeavesTheBytesBefore) {
  board_->emmc.set_bytes(0x100, Bytes(8, 0xAA));
  board_.fault("emmc cut 3");
  EXPECT_EQ(write_at(0x100, Bytes(8, 0x55)), -EIO);
  EXPECT_EQ(board_->emmc.bytes(0x100, 8), (Bytes{0x55, 0x55, 0x55, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA}));
  EXPECT_EQ(outcome(open("/dev/mtd4", O_RDWR)), -EIO) << "both partitions have one power";
  board_.clear_faults();
  EXPECT_EQ(write_at(0x100, Bytes(8, 0x55)), 8);
}

TEST_F(EmmcTest, AnEmmcIsNotCutInAWriteOfTheFlash) {
  board_.fault("emmc cut 0");
  const int flash = open("/dev/mtd4", O_RDWR);
  EXPECT_EQ(write(flash, "x", 1), 1);
  EXPECT_EQ(write_at(0, {0}), -EIO);
  close(flash);
}

TEST_F(EmmcTest, ARecordThatWasTakenAwayStaysAway) {
  for (const auto& [name, position, size] :
       {std::tuple{"dead-pixels", 0x0U, 4112U}, std::tuple{"flat-field", 0x10000U, 200U},
        std::tuple{"timing", 0x20000U, 1580U}, std::tuple{"vsub", 0x30000U, 64U}}) {
    EXPECT_NE(board_->emmc.bytes(position, size), Bytes(size, 0xFF)) << name;
    board_.fault(std::string("record ") + name + " none");
    board_.clear_faults();
    EXPECT_EQ(board_->emmc.bytes(position, size), Bytes(size, 0xFF)) << name;
  }
}

TEST_F(EmmcTest, ADamagedRecordDiffersInTheDamagedWordOnly) {
  for (const auto& [name, position, size, magic, checksum] :
       {std::tuple{"dead-pixels", 0x0U, 4112U, 0, 4}, std::tuple{"flat-field", 0x10000U, 200U, 0, 4},
        std::tuple{"timing", 0x20000U, 1580U, 0, 1576}, std::tuple{"vsub", 0x30000U, 64U, 16, 40}}) {
    for (const auto& [word, offset] : {std::pair{" magic", magic}, std::pair{" checksum", checksum}}) {
      Bytes before = board_->emmc.bytes(position, size);
      board_.fault(std::string("record ") + name + word);
      Bytes after = board_->emmc.bytes(position, size);
      const Bytes damaged(after.begin() + offset, after.begin() + offset + 4);
      EXPECT_NE(damaged, Bytes(before.begin() + offset, before.begin() + offset + 4)) << name << word;
      board_.fault(std::string("record ") + name + word);
      EXPECT_EQ(board_->emmc.bytes(position, size), after) << "twice is no repair";
      std::copy_n(before.begin() + offset, 4, after.begin() + offset);
      EXPECT_EQ(after, before) << name << word;
      board_->emmc.set_bytes(position, before);
    }
  }
}

TEST_F(EmmcTest, ADamagedRecordCanBeWrittenAnew) {
  const Bytes good = board_->emmc.bytes(0x30000, 64);
  board_.fault("record vsub magic");
  EXPECT_EQ(write_at(0x30000, good), 64);
  EXPECT_EQ(board_->emmc.bytes(0x30000, 64), good) << "the fault lay on the record, not on the partition";
}

TEST_F(EmmcTest, FaultsThatMakeNoSenseAreRefused) {
  for (const char* text : {"emmc", "emmc cut", "emmc cut x", "emmc cut erase", "record", "record vsub",
                           "record vsub bad", "record nothing none", "record vsub none now"}) {
    EXPECT_THROW(board_.fault(text), std::invalid_argument) << text;
  }
}

}  // namespace
