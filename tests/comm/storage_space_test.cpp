// The check that a medium has space for the test.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <chrono>
#include <string>

#include "tests/comm/storage_board.h"
#include "tests/harness/gbk.h"

namespace {

using namespace std::chrono_literals;
using storage::finished;
using storage::measured;

std::string sizes(const std::string& size, const std::string& free) {
  return "磁盘分区大小:" + size + "(G)\n磁盘剩余空间:" + free + "(G)\n";
}

std::string too_little(const std::string& megabytes) {
  return "磁盘空间不足,请释放磁盘空间,测试需要" + megabytes + "(M)磁盘空间\n";
}

/// A stick that stands mounted on /mnt/test.
class DiskSizeTest : public MediumRun {
 protected:
  DiskSizeTest() {
    EXPECT_EQ(::mount(kStickNode, "/mnt/test", "vfat", 0, nullptr), 0);
    board.clear_trace();
  }
  void TearDown() override {
    EXPECT_EQ(::umount("/mnt/test"), 0);
    MediumRun::TearDown();
  }
  void expect_enough(double size_mb, double free_mb, u_int needed, const std::string& text) {
    console.clear();
    board->mounts.at(kStickNode).set_space(size_mb, free_mb);
    EXPECT_EQ(check_disksize("/mnt/test", needed), 0);
    EXPECT_EQ(console.out(), text);
  }
  void expect_too_little(double size_mb, double free_mb, u_int needed, const std::string& text) {
    console.clear();
    board->mounts.at(kStickNode).set_space(size_mb, free_mb);
    EXPECT_LT(check_disksize("/mnt/test", needed), 0);
    EXPECT_EQ(console.out(), text + too_little(std::to_string(needed)));
  }
  void expect_failure(const std::string& fault, const std::string& reason) {
    console.clear();
    board.clear_faults();
    board.fault(fault);
    EXPECT_EQ(check_disksize("/mnt/test", 25), -10);
    EXPECT_EQ(console.out(), "获取硬盘信息失败," + reason + "\n");
  }
};

TEST_F(DiskSizeTest, AHealthyMediumHas4GigabytesAndIsEmpty) {
  EXPECT_EQ(check_disksize("/mnt/test", 25), 0);
  EXPECT_EQ(console.out(), sizes("4.00", "4.00"));
  EXPECT_EQ(console.err(), "");
}

TEST_F(DiskSizeTest, NothingButTheFileSystemIsAsked) {
  check_disksize("/mnt/test", 25);
  EXPECT_EQ(board.hardware_trace(), Lines{"statfs /mnt/test = 0"});
  EXPECT_EQ(board.now(), 0s);
}

TEST_F(DiskSizeTest, SizesAreInGigabytesWithTwoDigits) {
  expect_enough(1536, 1024, 25, sizes("1.50", "1.00"));
  expect_enough(7680, 128, 25, sizes("7.50", "0.12"));  // 0.125 lies in the middle and goes to the even digit
  expect_enough(512, 512, 25, sizes("0.50", "0.50"));
}

TEST_F(DiskSizeTest, ASmallMediumIsNotRoundedToNothing) {
  expect_enough(100, 60, 25, sizes("0.10", "0.06"));
}

TEST_F(DiskSizeTest, ADiskOfTwoTerabytesIsMeasured) {
  expect_enough(2097152, 1048576, 25, sizes("2048.00", "1024.00"));
}

TEST_F(DiskSizeTest, ExactlyWhatIsNeededIsEnough) {
  expect_enough(4096, 25, 25, sizes("4.00", "0.02"));
  expect_enough(4096, 4096, 4096, sizes("4.00", "4.00"));
}

TEST_F(DiskSizeTest, AMegabyteLessIsTooLittle) {
  expect_too_little(4096, 24, 25, sizes("4.00", "0.02"));
  expect_too_little(4096, 4095, 4096, sizes("4.00", "4.00"));
}

TEST_F(DiskSizeTest, PartsOfAMegabyteCount) {
  expect_too_little(4096, 24.5, 25, sizes("4.00", "0.02"));
  expect_enough(4096, 25.5, 25, sizes("4.00", "0.02"));
  expect_too_little(4096, 25.5, 26, sizes("4.00", "0.02"));
}

TEST_F(DiskSizeTest, NoSpaceIsLostInTheArithmetic) {
  for (u_int megabytes = 1; megabytes <= 40; ++megabytes) {
    board->mounts.at(kStickNode).set_space(4096, megabytes);
    EXPECT_EQ(check_disksize("/mnt/test", megabytes), 0) << megabytes;
  }
}

TEST_F(DiskSizeTest, AFullMediumIsTooSmall) {
  expect_too_little(4096, 0, 25, sizes("4.00", "0.00"));
  expect_too_little(4096, 0, 1, sizes("4.00", "0.00"));
}

TEST_F(DiskSizeTest, ATestThatNeedsNothingFitsOnAFullMedium) {
  expect_enough(4096, 0, 0, sizes("4.00", "0.00"));
}

TEST_F(DiskSizeTest, TheTextTellsHowMuchIsNeeded) {
  expect_too_little(4096, 100, 512, sizes("4.00", "0.10"));
}

TEST_F(DiskSizeTest, AFileSystemThatCannotBeAskedGivesMinus10AndTheReason) {
  expect_failure("statfs", "Input/output error");
  expect_failure("statfs EACCES", "Permission denied");
  expect_failure("statfs ENODEV", "No such device");
}

TEST_F(DiskSizeTest, AFailureIsForgottenByTheNextCheck) {
  expect_failure("statfs #1", "Input/output error");
  console.clear();
  EXPECT_EQ(check_disksize("/mnt/test", 25), 0);
  EXPECT_EQ(console.out(), sizes("4.00", "4.00"));
}

TEST_F(MediumRun, AFolderThatIsNotThereCannotBeAsked) {
  EXPECT_EQ(check_disksize("/mnt/none", 25), -10);
  EXPECT_EQ(console.out(), "获取硬盘信息失败,No such file or directory\n");
}

// ---- in the test of a medium --------------------------------------------------------------------

class StorageSpaceTest : public MediumRun {
 protected:
  void expect_no_space(const std::string& text) {
    EXPECT_EQ(result, 2);
    EXPECT_EQ(utf8(description), "空间不足");
    EXPECT_EQ(console.out(), text + "挂载失败\n") << "the console says that mounting failed";
    EXPECT_EQ(board->mounts.mounted(), Lines{});
    EXPECT_EQ(board.now(), 0s);
  }
};

TEST_F(StorageSpaceTest, AFullMediumFailsWithCode2AndIsUnmountedAgain) {
  board.fault("medium /dev/msb1 full");
  run();
  expect_no_space(sizes("4.00", "0.00") + too_little("25"));
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"mount /dev/msb1 /mnt/test vfat 0 = 0", "unlink /mnt/test/usbtest.dat = -1 ENOENT",
                   "statfs /mnt/test = 0", "umount /mnt/test = 0"}));
}

TEST_F(StorageSpaceTest, AMediumWith24MegabytesFreeFails) {
  board.fault("medium /dev/msb1 full 24");
  run();
  expect_no_space(sizes("4.00", "0.02") + too_little("25"));
}

TEST_F(StorageSpaceTest, AMediumWith25MegabytesFreePassesAndIsFullAfterwards) {
  board.fault("medium /dev/msb1 full 25");
  run();
  EXPECT_EQ(result, 0);
  EXPECT_EQ(console.out(), measured("25.00", "25.00", "4.00", "0.02") + finished("USB2") + "\n");
}

TEST_F(StorageSpaceTest, AMediumOf20MegabytesIsTooSmall) {
  board->mounts.at(kStickNode).set_space(20, 20);
  run();
  expect_no_space(sizes("0.02", "0.02") + too_little("25"));
}

TEST_F(StorageSpaceTest, SpaceThatCannotBeAskedCountsAsNone) {
  board.fault("statfs EIO");
  run();
  expect_no_space("获取硬盘信息失败,Input/output error\n");
}

TEST_F(StorageSpaceTest, NothingIsWrittenToAMediumWithoutSpace) {
  board.fault("medium /dev/msb1 full 24");
  run();
  EXPECT_EQ(calls("open") + calls("write") + calls("read"), 0U);
  expect_no_file(kStickNode);
}

TEST_F(StorageSpaceTest, AnotherMediumIsNoSubstitute) {
  board.fault("medium /dev/msb1 full");
  run();
  EXPECT_EQ(mounted_nodes(), Lines{kStickNode});
}

}  // namespace
