// The second form of the medium's test, for a card mounted on /mnt.
#include <gtest/gtest.h>
#include <chrono>
#include <string>

#include "tests/comm/storage_board.h"
#include "tests/harness/gbk.h"

namespace {

using namespace std::chrono_literals;
using storage::kBlock;
using storage::kBlocks;
using storage::kLostBlock;

std::string finished_card(std::size_t wrong_bytes) {
  return "SD盘完成25(M)读写数据测试,错误数据" + std::to_string(wrong_bytes) + "(8bit)\n\n";
}

/// What the description says of a card.
std::string summary(const std::string& size, const std::string& free, std::size_t wrong_bytes,
                    const std::string& write_speed, const std::string& read_speed) {
  return "SD盘:" + size + "(G)剩余:" + free + "(G)完成25(M)读写测试,错误" + std::to_string(wrong_bytes) +
         "(8bit),写速度:" + write_speed + "(M/S),读速度:" + read_speed + "(M/S)\n";
}

class StorageCardTest : public StorageRun {
 protected:
  int run(std::string node = "/dev/mmc01") { return sd_test_rw(node.data(), verdict); }
  std::string described() const { return utf8(verdict); }
};

TEST_F(StorageCardTest, AHealthyCardIsMountedOnMntAndSummedUp) {
  for (const std::string node : storage::kMedia) {
    board.clear_trace();
    EXPECT_EQ(run(node), 0);
    EXPECT_EQ(described(), summary("4.00", "4.00", 0, "25.00", "25.00"));
    EXPECT_TRUE(console.out().ends_with("\n" + finished_card(0)));
    EXPECT_EQ(
        calls_named({"mkdir", "mount", "unlink", "statfs", "open", "lseek", "close", "umount", "rmdir"}),
        (Lines{"mount " + node + " /mnt vfat 0 = 0", "unlink /mnt/usbtest.dat = -1 ENOENT", "statfs /mnt = 0",
               "open /mnt/usbtest.dat = ok", "lseek /mnt/usbtest.dat 0 = 0", "close /mnt/usbtest.dat = 0",
               "umount /mnt = 0"}));
    EXPECT_EQ(file(node).size(), kBlocks * kBlock);
  }
  EXPECT_EQ(station.bytes(), "") << "the station hears nothing";
}

TEST_F(StorageCardTest, TheSummaryTellsSizeSpaceWrongBytesAndSpeeds) {
  board->mounts.at("/dev/mmc01").set_space(7680, 1536);
  board.fault("medium /dev/mmc01 slow 100");
  board.fault("medium /dev/mmc01 wrong 5 6 7");
  board.at(2450ms, [this] { board.fault("medium /dev/mmc01 slow 200"); });  // within the last block written
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(described(), summary("7.50", "1.50", 3, "10.00", "5.00"));
  EXPECT_TRUE(console.out().ends_with("\n" + finished_card(3)));
}

TEST_F(StorageCardTest, ACardPulledOutIsUnmountedAndItsBytesAreWrong) {
  board.fault("medium /dev/mmc01 pulled write 5");
  EXPECT_EQ(run(), 0);
  EXPECT_TRUE(console.out().ends_with("\n" + finished_card(kBlocks * kLostBlock)));
}

TEST_F(StorageCardTest, ACardWith25MegabytesFreePasses) {
  board.fault("medium /dev/mmc01 full 25");
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(described(), summary("4.00", "0.02", 0, "25.00", "25.00"));
}

TEST_F(StorageCardTest, ACardThatCannotBeTestedFailsInItsWordsAndIsUnmounted) {
  struct {
    const char *fault, *text;
    std::size_t umounts;
  } const rows[] = {
      {"medium /dev/mmc01 absent", "挂载SD盘失败\n", 0},
      {"statfs EIO", "检查硬盘容量失败 Input/output error\n", 1},
      {"medium /dev/mmc01 full 24", "检查硬盘容量失败 No space left on device\n", 1},
      {"medium /dev/mmc01 read-only", "创建SD盘测试文件失败\n", 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.fault);
    next_board("normal", row.fault);
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(console.out(), row.text);
    EXPECT_EQ(console.err(), "");
    EXPECT_EQ(described(), "untouched");
    EXPECT_EQ(calls("umount"), row.umounts);
    EXPECT_EQ(calls("write"), 0U);
    EXPECT_EQ(station.bytes(), "");
  }
}

TEST_F(StorageCardTest, WithoutANodeOrADescriptionNothingIsTested) {
  std::string node = "/dev/mmc01";
  EXPECT_EQ(sd_test_rw(nullptr, verdict), -1);
  EXPECT_EQ(sd_test_rw(node.data(), nullptr), -1);
  EXPECT_EQ(console.out(), "参数错误\n参数错误\n");
  EXPECT_EQ(board.hardware_trace(), Lines{});
}

}  // namespace
