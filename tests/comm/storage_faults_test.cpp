// Sticks that break or vanish while they are tested: the reply comes, and nothing is left behind.
#include <gtest/gtest.h>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "tests/comm/storage_board.h"
#include "tests/peripheral/hardware_script.h"

namespace {

using namespace std::chrono_literals;
using storage::finished;
using storage::kBlocks;
using storage::kLostBlock;
using storage::measured;

const std::string kSpace = "磁盘分区大小:4.00(G)\n磁盘剩余空间:4.00(G)\n";
const std::string kBegins = storage::usb_begins("USB", "/dev/msb1");
const std::string kEnds = storage::usb_ends("USB", "/dev/msb1") + "\n";

std::string remount(int number) {
  return "goto remount the " + std::to_string(number) + " time\n";
}

/// The USB test of a board with one stick.
class StorageFaultsTest : public StorageRun {
 protected:
  void expect_fail_with(int number, const std::string& description, const std::string& text) {
    expect_usb_fail(number, description);
    EXPECT_EQ(console.out(), kBegins + text + kEnds + "fail num = " + std::to_string(number) + "\n");
  }
};

TEST_F(StorageFaultsTest, AFullStickIsPrintedAsNotMountedAndReportedAsFull) {
  board.fault("medium /dev/msb1 full 24");
  t1_sdk_usb_test();
  expect_fail_with(2, "空间不足",
                   "磁盘分区大小:4.00(G)\n磁盘剩余空间:0.02(G)\n"
                   "磁盘空间不足,请释放磁盘空间,测试需要25(M)磁盘空间\n挂载失败\n");
}

// ---- creating the test file ---------------------------------------------------------------------

TEST_F(StorageFaultsTest, AReadOnlyStickFailsWithCode3AfterSixAttemptsZeroToFiveSecondsApart) {
  HardwareScript script;
  script.call("mkdir /mnt/test 0777 = 0").query().query().query();
  std::string text;
  for (int attempt = 0; attempt < 6; ++attempt) {
    script.call("mount /dev/msb1 /mnt/test vfat 0 = 0").call("unlink /mnt/test/usbtest.dat = -1 EROFS");
    script.call("statfs /mnt/test = 0").call("open /mnt/test/usbtest.dat = -1 EROFS");
    script.wait(attempt * 1000ms).call("umount /mnt/test = 0");  // the pause comes first
    text += kSpace + (attempt < 5 ? remount(attempt + 1) : "");
  }
  script.call("rmdir /mnt/test = 0");

  board.fault("medium /dev/msb1 read-only");
  t1_sdk_usb_test();
  expect_fail_with(3, "创建测试文件失败", text + "创建测试文件失败\n创建测试文件失败\n");
  EXPECT_EQ(board.timed_hardware_trace(), script.lines());
}

TEST_F(StorageFaultsTest, AFileThatCannotBeCreatedIsSaidBeforeUnmountingAndAfterIt) {
  board.fault("medium /dev/msb1 read-only");
  board.fault("umount #6");
  expect_left({"/dev/msb1 on /mnt/test"}, {"/mnt/test"});
  t1_sdk_usb_test();
  expect_usb_fail(5, "删除test测试目录失败");
  EXPECT_NE(console.out().find("\n创建测试文件失败\n创建测试文件失败\n"), std::string::npos);
}

TEST_F(StorageFaultsTest, AFileThatIsCreatedInTheEndPasses) {
  for (int failures = 1; failures <= 5; ++failures) {
    SCOPED_TRACE(failures);
    next_board("normal");
    std::string text;
    boardsim::Time waited = 0s;
    for (int number = 1; number <= failures; ++number) {
      board.fault("open /mnt/test/usbtest.dat #" + std::to_string(number) + " EIO");
      text += kSpace + remount(number);
      waited += std::chrono::seconds(number - 1);
    }
    t1_sdk_usb_test();
    expect_usb_pass();
    EXPECT_EQ(console.out(), kBegins + text + measured() + finished("USB2") + "\n" + kEnds);
    EXPECT_EQ(board.now(), waited + 500ms);
  }
}

TEST_F(StorageFaultsTest, AStickMayVanishOrFillUpBetweenAttempts) {
  board.fault("medium /dev/msb1 read-only");
  board.at(2s, [this] { board.fault("medium /dev/msb1 absent"); });
  t1_sdk_usb_test();
  expect_fail_with(1, "挂载失败",
                   kSpace + remount(1) + kSpace + remount(2) + kSpace + remount(3) + "挂载失败\n");
  next_board("normal", "open /mnt/test/usbtest.dat #1");
  board.fault("statfs #2");
  t1_sdk_usb_test();
  expect_fail_with(2, "空间不足", kSpace + remount(1) + "获取硬盘信息失败,Input/output error\n挂载失败\n");
}

// ---- what does not reach the stick, or does not come back ------------------------------------------

TEST_F(StorageFaultsTest, AStickPulledOutOrBrokenPassesWithWhatIsMissingWrong) {
  const std::string file = " /mnt/test/usbtest.dat ";
  std::vector<std::pair<std::string, std::size_t>> rows = {
      {"write" + file + "#11+ EROFS", 15 * kLostBlock},
      {"write" + file + "#25 result 4096", kLostBlock},
      {"write" + file + "#25", kLostBlock},
      {"read" + file + "#25", kLostBlock},
      {"read" + file + "#25 EINTR", kLostBlock},
      {"medium /dev/msb1 short 524288", kBlocks * kLostBlock / 2},
      {"lseek" + file, kBlocks * kLostBlock},
      {"close" + file, 0},
      {"unlink EACCES", 0},
  };
  for (const std::size_t block : {1U, 2U, 13U, 25U}) {
    rows.emplace_back("medium /dev/msb1 pulled write " + std::to_string(block), kBlocks * kLostBlock);
    rows.emplace_back("medium /dev/msb1 pulled read " + std::to_string(block),
                      (kBlocks + 1 - block) * kLostBlock);
  }
  for (const auto& [fault, wrong] : rows) {
    SCOPED_TRACE(fault);
    next_board("normal", fault);
    t1_sdk_usb_test();
    expect_usb_pass();
    EXPECT_EQ(console.out(), kBegins + measured() + finished("USB2", wrong) + "\n" + kEnds);
    EXPECT_EQ(calls("write"), 25U) << "every block is tried, none again";
    EXPECT_EQ(calls("read"), 25U);
  }
}

}  // namespace
