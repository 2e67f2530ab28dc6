// The second form of the medium's test, for a card mounted on /mnt.
#include <gtest/gtest.h>
#include <sys/stat.h>
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
  int run(std::string node = "/dev/mmc01") { return sd_test_rw(node.data(), description); }
  std::string described() const { return utf8(description); }
  void expect_failure(const std::string& text) {
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(console.out(), text);
    EXPECT_EQ(console.err(), "");
    EXPECT_EQ(station.bytes(), "");
  }

  char description[512] = "untouched";
};

TEST_F(StorageCardTest, AHealthyCardIsSummedUp) {
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(described(), summary("4.00", "4.00", 0, "25.00", "25.00"));
  EXPECT_TRUE(console.out().ends_with("\n" + finished_card(0)));
  EXPECT_EQ(station.bytes(), "") << "the station hears nothing";
}

TEST_F(StorageCardTest, TheCardIsMountedOnMntAsVfat) {
  run();
  EXPECT_EQ(calls_named({"mount", "open", "close", "umount"}),
            (Lines{"mount /dev/mmc01 /mnt vfat 0 = 0", "open /mnt/usbtest.dat = ok",
                   "close /mnt/usbtest.dat = 0", "umount /mnt = 0"}));
}

TEST_F(StorageCardTest, AnyNodeIsTested) {
  for (const std::string node : storage::kMedia) {
    EXPECT_EQ(run(node), 0);
    EXPECT_EQ(mounted_nodes().back(), node);
    EXPECT_EQ(board->mounts.at(node).content("usbtest.dat").size(), kBlocks * kBlock);
  }
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

TEST_F(StorageCardTest, ThePatternHasAPeriodOf256) {
  run();
  const std::string content = board->mounts.at("/dev/mmc01").content("usbtest.dat");
  ASSERT_EQ(content.size(), kBlocks * kBlock);
  for (std::size_t j = 1; j < 256; ++j) {
    ASSERT_EQ(static_cast<unsigned char>(content[j] - content[j - 1]), 1U) << j;
  }
  EXPECT_TRUE(content.compare(256, std::string::npos, content, 0, content.size() - 256) == 0);
}

TEST_F(StorageCardTest, ACardPulledOutIsUnmountedAndItsBytesAreWrong) {
  board.fault("medium /dev/mmc01 pulled write 5");
  EXPECT_EQ(run(), 0);
  EXPECT_TRUE(console.out().ends_with("\n" + finished_card(kBlocks * kLostBlock)));
}

TEST_F(StorageCardTest, AMissingCardFails) {
  board.fault("medium /dev/mmc01 absent");
  expect_failure("挂载SD盘失败\n");
  EXPECT_EQ(calls("umount"), 0U);
}

TEST_F(StorageCardTest, ACardThatCannotBeAskedForItsSpaceFails) {
  board.fault("statfs EIO");
  expect_failure("检查硬盘容量失败 Input/output error\n");
  EXPECT_EQ(calls("umount"), 1U);
}

TEST_F(StorageCardTest, AFullCardFailsAndIsUnmounted) {
  board.fault("medium /dev/mmc01 full 24");
  expect_failure("检查硬盘容量失败 No space left on device\n");
  EXPECT_EQ(described(), "untouched");
  EXPECT_EQ(calls("umount"), 1U);
  EXPECT_EQ(calls("write"), 0U);
}

TEST_F(StorageCardTest, ACardWith25MegabytesFreePasses) {
  board.fault("medium /dev/mmc01 full 25");
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(described(), summary("4.00", "0.02", 0, "25.00", "25.00"));
}

TEST_F(StorageCardTest, AReadOnlyCardFails) {
  board.fault("medium /dev/mmc01 read-only");
  expect_failure("创建SD盘测试文件失败\n");
  EXPECT_EQ(calls("umount"), calls("mount"));
}

TEST_F(StorageCardTest, WithoutANodeNothingIsTested) {
  EXPECT_EQ(sd_test_rw(nullptr, description), -1);
  EXPECT_EQ(console.out(), "参数错误\n");
  EXPECT_EQ(board.hardware_trace(), Lines{});
}

TEST_F(StorageCardTest, WithoutADescriptionNothingIsTested) {
  std::string node = "/dev/mmc01";
  EXPECT_EQ(sd_test_rw(node.data(), nullptr), -1);
  EXPECT_EQ(console.out(), "参数错误\n");
  EXPECT_EQ(board.hardware_trace(), Lines{});
}

TEST_F(StorageCardTest, WithNothingAtAllNothingIsTested) {
  EXPECT_EQ(sd_test_rw(nullptr, nullptr), -1);
  EXPECT_EQ(console.out(), "参数错误\n");
}

TEST_F(StorageCardTest, AFolderForTheCardIsNeitherMadeNorRemoved) {
  run();
  EXPECT_EQ(calls("mkdir") + calls("rmdir"), 0U);
}

}  // namespace
