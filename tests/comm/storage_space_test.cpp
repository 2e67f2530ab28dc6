// The check that a medium has space for the test.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <string>
#include <utility>

#include "tests/comm/storage_board.h"
#include "tests/harness/gbk.h"

namespace {

std::string sizes(const std::string& size, const std::string& free) {
  return "磁盘分区大小:" + size + "(G)\n磁盘剩余空间:" + free + "(G)\n";
}

std::string too_little(const std::string& megabytes) {
  return "磁盘空间不足,请释放磁盘空间,测试需要" + megabytes + "(M)磁盘空间\n";
}

class StorageSpaceTest : public StorageRun {
 protected:
  StorageSpaceTest() { make_folder(); }
};

TEST_F(StorageSpaceTest, WhatIsFreeIsComparedWithWhatIsNeededAndBothSizesShownInGigabytes) {
  struct {
    double size, free;  ///< in MB, as `needed`
    u_int needed;
    const char *size_shown, *free_shown;
    bool enough;
  } const rows[] = {
      {1536, 1024, 25, "1.50", "1.00", true},
      {7680, 128, 25, "7.50", "0.12", true},  // 0.125 lies in the middle and goes to the even digit
      {100, 60, 25, "0.10", "0.06", true},
      {2097152, 1048576, 25, "2048.00", "1024.00", true},
      {4096, 25, 25, "4.00", "0.02", true},
      {4096, 4096, 4096, "4.00", "4.00", true},
      {4096, 4095, 4096, "4.00", "4.00", false},
      {4096, 24.5, 25, "4.00", "0.02", false},  // parts of a megabyte count
      {4096, 25.5, 25, "4.00", "0.02", true},
      {4096, 25.5, 26, "4.00", "0.02", false},
      {4096, 100, 512, "4.00", "0.10", false},
      {4096, 0, 1, "4.00", "0.00", false},
      {4096, 0, 0, "4.00", "0.00", true},
  };
  ASSERT_EQ(::mount(kStickNode, "/mnt/test", "vfat", 0, nullptr), 0);
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.free) + " of " + std::to_string(row.size));
    console.clear();
    board.clear_trace();
    board->mounts.at(kStickNode).set_space(row.size, row.free);
    const int status = check_disksize("/mnt/test", row.needed);
    EXPECT_EQ(status, row.enough ? 0 : -1);
    EXPECT_EQ(console.out(), sizes(row.size_shown, row.free_shown) +
                                 (row.enough ? "" : too_little(std::to_string(row.needed))));
    EXPECT_EQ(board.hardware_trace(), Lines{"statfs /mnt/test = 0"});
  }
  for (u_int megabytes = 1; megabytes <= 40; ++megabytes) {
    board->mounts.at(kStickNode).set_space(4096, megabytes);
    EXPECT_EQ(check_disksize("/mnt/test", megabytes), 0)
        << megabytes << ": nothing is lost in the arithmetic";
  }
  EXPECT_EQ(::umount("/mnt/test"), 0);
}

TEST_F(StorageSpaceTest, AFileSystemThatCannotBeAskedGivesMinus10AndTheReason) {
  EXPECT_EQ(check_disksize("/mnt/none", 25), -10);
  EXPECT_EQ(console.out(), "获取硬盘信息失败,No such file or directory\n");
}

// ---- in the test of a medium --------------------------------------------------------------------

TEST_F(StorageSpaceTest, AMediumWithout25MegabytesFailsWithCode2AndIsUnmountedAgain) {
  const std::pair<const char*, std::string> rows[] = {
      {"medium /dev/msb1 full", sizes("4.00", "0.00") + too_little("25")},
      {"medium /dev/msb1 full 24", sizes("4.00", "0.02") + too_little("25")},
      {"statfs EIO", "获取硬盘信息失败,Input/output error\n"}};
  for (const auto& [fault, text] : rows) {
    SCOPED_TRACE(fault);
    console.clear();
    board.clear_faults();
    board.fault(fault);
    run_medium();
    EXPECT_EQ(result, 2);
    EXPECT_EQ(utf8(verdict), "空间不足");
    EXPECT_EQ(console.out(), text + "挂载失败\n") << "the console says that mounting failed";
    EXPECT_EQ(board->mounts.mounted(), Lines{});
    EXPECT_EQ(calls("open") + calls("write") + calls("usleep"), 0U);
  }
}

TEST_F(StorageSpaceTest, AMediumWith25MegabytesFreePasses) {
  board.fault("medium /dev/msb1 full 25");
  run_medium();
  EXPECT_EQ(result, 0);
  EXPECT_EQ(console.out(),
            storage::measured("25.00", "25.00", "4.00", "0.02") + storage::finished("USB2") + "\n");
}

}  // namespace
