// Media that are missing, break or vanish while they are tested: the reply comes, and nothing is left behind.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <chrono>
#include <ostream>
#include <string>
#include <vector>

#include "tests/comm/storage_board.h"
#include "tests/harness/gbk.h"

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
class StorageFaultsTest : public UsbRun {
 protected:
  void expect_wrong_bytes(std::size_t number) {
    t1_sdk_usb_test();
    expect_pass();
    EXPECT_EQ(console.out(), kBegins + measured() + finished("USB2", number) + "\n" + kEnds);
  }
  void expect_console(const std::string& text, int number) {
    EXPECT_EQ(console.out(), kBegins + text + kEnds + "fail num = " + std::to_string(number) + "\n");
  }
  /// Virtual times of the calls of one name.
  std::vector<boardsim::Time> times_of(const std::string& name) const {
    std::vector<boardsim::Time> times;
    for (const boardsim::Call& call : board.trace()) {
      const bool of_file = name != "open" || call.node == "/mnt/test/usbtest.dat";
      if (call.name == name && of_file) times.push_back(call.at);
    }
    return times;
  }
};

// ---- mounting ---------------------------------------------------------------------------------

TEST_F(StorageFaultsTest, AMissingStickFailsWithCode1) {
  board.fault("medium /dev/msb1 absent");
  t1_sdk_usb_test();
  expect_fail(1, "挂载失败");
  expect_console("挂载失败\n", 1);
  EXPECT_EQ(board.now(), 0s);
}

TEST_F(StorageFaultsTest, AMountThatFailsIsNotTriedAgain) {
  board.fault("mount #1 EBUSY");
  t1_sdk_usb_test();
  expect_fail(1, "挂载失败");
  EXPECT_EQ(calls("mount"), 1U);
  EXPECT_EQ(calls("umount"), 0U);
}

TEST_F(StorageFaultsTest, TheFolderIsRemovedAfterAMountThatFailed) {
  board.fault("medium /dev/msb1 absent");
  t1_sdk_usb_test();
  EXPECT_EQ(calls_named({"mkdir", "mount", "rmdir"}),
            (Lines{"mkdir /mnt/test 0777 = 0", "mount /dev/msb1 /mnt/test vfat 0 = -1 ENXIO",
                   "rmdir /mnt/test = 0"}));
}

TEST_F(StorageFaultsTest, AStickIsFoundByTheNextTest) {
  board.fault("medium /dev/msb1 absent");
  t1_sdk_usb_test();
  expect_fail(1, "挂载失败");
  board.clear_faults();
  station.forget();
  console.clear();
  t1_sdk_usb_test();
  expect_pass();
}

TEST_F(StorageFaultsTest, AStickThatCannotBeUnmountedMakesTheRemovalOfTheFolderFail) {
  board.fault("umount EBUSY");
  expect_left({"/dev/msb1 on /mnt/test"}, {"/mnt/test"});
  t1_sdk_usb_test();
  expect_fail(5, "删除test测试目录失败");
  EXPECT_EQ(calls("umount"), 1U);
}

// ---- space ------------------------------------------------------------------------------------

TEST_F(StorageFaultsTest, AFullStickFailsWithCode2) {
  board.fault("medium /dev/msb1 full 24");
  t1_sdk_usb_test();
  expect_fail(2, "空间不足");
  expect_console(
      "磁盘分区大小:4.00(G)\n磁盘剩余空间:0.02(G)\n磁盘空间不足,请释放磁盘空间,测试需要25(M)磁盘空间\n"
      "挂载失败\n",
      2);
}

TEST_F(StorageFaultsTest, AStickThatCannotBeAskedForItsSpaceFailsWithCode2) {
  board.fault("statfs");
  t1_sdk_usb_test();
  expect_fail(2, "空间不足");
  expect_console("获取硬盘信息失败,Input/output error\n挂载失败\n", 2);
}

// ---- creating the test file ---------------------------------------------------------------------

TEST_F(StorageFaultsTest, AReadOnlyStickFailsWithCode3AfterSixAttempts) {
  board.fault("medium /dev/msb1 read-only");
  t1_sdk_usb_test();
  expect_fail(3, "创建测试文件失败");
  std::string text;
  for (int number = 1; number <= 5; ++number) text += kSpace + remount(number);
  expect_console(text + kSpace + "创建测试文件失败\n创建测试文件失败\n", 3);
}

TEST_F(StorageFaultsTest, TheSixAttemptsAreZeroToFiveSecondsApart) {
  board.fault("medium /dev/msb1 read-only");
  t1_sdk_usb_test();
  const std::vector<boardsim::Time> attempts = {0s, 0s, 1s, 3s, 6s, 10s};
  EXPECT_EQ(times_of("open"), attempts);
  EXPECT_EQ(times_of("mount"), attempts);
  const std::vector<boardsim::Time> given_up = {0s, 1s, 3s, 6s, 10s, 15s};
  EXPECT_EQ(times_of("umount"), given_up) << "the pause comes before the stick is unmounted";
  EXPECT_EQ(board.now(), 15s);
}

TEST_F(StorageFaultsTest, AReadOnlyStickIsUnmountedAfterEachAttempt) {
  board.fault("medium /dev/msb1 read-only");
  t1_sdk_usb_test();
  Lines expected;
  for (int number = 0; number < 6; ++number) {
    expected.push_back("mount /dev/msb1 /mnt/test vfat 0 = 0");
    expected.push_back("umount /mnt/test = 0");
  }
  EXPECT_EQ(calls_named({"mount", "umount"}), expected);
}

TEST_F(StorageFaultsTest, AFileThatCannotBeCreatedIsSaidBeforeUnmountingAndAfterIt) {
  board.fault("medium /dev/msb1 read-only");
  board.fault("umount #6");
  expect_left({"/dev/msb1 on /mnt/test"}, {"/mnt/test"});
  t1_sdk_usb_test();
  expect_fail(5, "删除test测试目录失败");
  EXPECT_TRUE(console_has("创建测试文件失败\n创建测试文件失败"));
}

class StorageAttemptsTest : public StorageFaultsTest, public ::testing::WithParamInterface<int> {};

TEST_P(StorageAttemptsTest, AFileThatIsCreatedInTheEndPasses) {
  const int failures = GetParam();
  std::string text;
  boardsim::Time waited = 0s;
  for (int number = 1; number <= failures; ++number) {
    board.fault("open /mnt/test/usbtest.dat #" + std::to_string(number) + " EIO");
    text += kSpace + remount(number);
    waited += std::chrono::seconds(number - 1);
  }
  t1_sdk_usb_test();
  expect_pass();
  EXPECT_EQ(console.out(), kBegins + text + measured() + finished("USB2") + "\n" + kEnds);
  EXPECT_EQ(board.now(), waited + 500ms);
}

INSTANTIATE_TEST_SUITE_P(OneToFiveFailures, StorageAttemptsTest, ::testing::Range(1, 6));

TEST_F(StorageFaultsTest, TheOldFileIsRemovedAndTheSpaceCheckedInEachAttempt) {
  board.fault("open /mnt/test/usbtest.dat #1");
  t1_sdk_usb_test();
  EXPECT_EQ(
      calls_named({"mount", "unlink", "statfs", "umount"}),
      (Lines{"mount /dev/msb1 /mnt/test vfat 0 = 0", "unlink /mnt/test/usbtest.dat = -1 ENOENT",
             "statfs /mnt/test = 0", "umount /mnt/test = 0", "mount /dev/msb1 /mnt/test vfat 0 = 0",
             "unlink /mnt/test/usbtest.dat = -1 ENOENT", "statfs /mnt/test = 0", "umount /mnt/test = 0"}));
}

TEST_F(StorageFaultsTest, AStickThatVanishesBetweenAttemptsFailsWithCode1) {
  board.fault("medium /dev/msb1 read-only");
  board.at(2s, [this] { board.fault("medium /dev/msb1 absent"); });
  t1_sdk_usb_test();
  expect_fail(1, "挂载失败");
  expect_console(kSpace + remount(1) + kSpace + remount(2) + kSpace + remount(3) + "挂载失败\n", 1);
}

TEST_F(StorageFaultsTest, AStickThatIsFullInALaterAttemptFailsWithCode2) {
  board.fault("open /mnt/test/usbtest.dat #1");
  board.fault("statfs #2");
  t1_sdk_usb_test();
  expect_fail(2, "空间不足");
  expect_console(kSpace + remount(1) + "获取硬盘信息失败,Input/output error\n挂载失败\n", 2);
}

TEST_F(StorageFaultsTest, TheAttemptsAreCountedAnewByTheNextTest) {
  for (int run = 0; run < 2; ++run) {
    board.clear_faults();
    board.fault("medium /dev/msb1 read-only");
    station.forget();
    console.clear();
    t1_sdk_usb_test();
    expect_fail(3, "创建测试文件失败");
    EXPECT_TRUE(console_has("goto remount the 1 time"));
    EXPECT_FALSE(console_has("goto remount the 6 time"));
  }
  EXPECT_EQ(board.now(), 30s);
}

// ---- pulled out, short, full --------------------------------------------------------------------

struct Pulled {
  int block;
};

void PrintTo(const Pulled& pulled, std::ostream* out) {
  *out << "block " << pulled.block;
}

class PulledOutTest : public StorageFaultsTest, public ::testing::WithParamInterface<Pulled> {};

TEST_P(PulledOutTest, AStickPulledOutWhileWritingPassesWithAllItsBytesWrong) {
  board.fault("medium /dev/msb1 pulled write " + std::to_string(GetParam().block));
  expect_wrong_bytes(kBlocks * kLostBlock);
}

TEST_P(PulledOutTest, AStickPulledOutWhileReadingPassesWithTheRestOfItsBytesWrong) {
  board.fault("medium /dev/msb1 pulled read " + std::to_string(GetParam().block));
  expect_wrong_bytes(static_cast<std::size_t>(kBlocks + 1 - GetParam().block) * kLostBlock);
}

TEST_P(PulledOutTest, EveryBlockIsTriedAfterAStickIsPulledOut) {
  board.fault("medium /dev/msb1 pulled write " + std::to_string(GetParam().block));
  t1_sdk_usb_test();
  EXPECT_EQ(calls("write"), 25U);
  EXPECT_EQ(calls("read"), 25U);
}

INSTANTIATE_TEST_SUITE_P(SomeBlocks, PulledOutTest,
                         ::testing::Values(Pulled{1}, Pulled{2}, Pulled{13}, Pulled{25}));

TEST_F(StorageFaultsTest, AStickThatWasPulledOutIsMissingInTheNextTest) {
  board.fault("medium /dev/msb1 pulled write 3");
  t1_sdk_usb_test();
  expect_pass();
  station.forget();
  console.clear();
  t1_sdk_usb_test();
  expect_fail(1, "挂载失败");
  EXPECT_EQ(calls_named({"mount"}).back(), "mount /dev/msb1 /mnt/test vfat 0 = -1 ENODEV");
}

TEST_F(StorageFaultsTest, ShortReadsPassWithTheMissingBytesWrong) {
  board.fault("medium /dev/msb1 short 4096");
  expect_wrong_bytes(kBlocks * (kLostBlock - 4096 / 256 * 255));
}

TEST_F(StorageFaultsTest, AStickThatFillsUpWhileWritingPassesWithTheRestWrong) {
  board.fault("medium /dev/msb1 slow 40");
  board.at(410ms, [this] { board->mounts.at("/dev/msb1").set_space(4096, 2.5); });
  expect_wrong_bytes(kBlocks * kLostBlock / 2);  // ten blocks and the two and a half behind them are there
}

TEST_F(StorageFaultsTest, AStickThatTurnsReadOnlyWhileWritingPassesWithTheRestWrong) {
  board.fault("write /mnt/test/usbtest.dat #11+ EROFS");
  expect_wrong_bytes(15 * kLostBlock);
}

TEST_F(StorageFaultsTest, AStickThatVanishesWhileReadingPassesWithTheRestWrong) {
  board.fault("medium /dev/msb1 slow 40");
  board.at(1410ms, [this] { board.fault("medium /dev/msb1 absent"); });
  t1_sdk_usb_test();
  expect_pass();
  EXPECT_EQ(calls("read"), 25U);
  EXPECT_FALSE(console_has(finished("USB2")));
}

TEST_F(StorageFaultsTest, APartlyWrittenBlockIsNotWrittenOn) {
  board.fault("write /mnt/test/usbtest.dat #25 result 4096");
  expect_wrong_bytes(kLostBlock);
  EXPECT_EQ(calls("write"), 25U);
}

TEST_F(StorageFaultsTest, ABlockThatIsNotWrittenIsNotWrittenAgain) {
  board.fault("write /mnt/test/usbtest.dat #25");
  expect_wrong_bytes(kLostBlock);
  EXPECT_EQ(calls("write"), 25U);
}

TEST_F(StorageFaultsTest, ABlockThatCannotBeReadIsWrongButForTheZerosOfThePattern) {
  board.fault("read /mnt/test/usbtest.dat #25");
  expect_wrong_bytes(kLostBlock);
}

TEST_F(StorageFaultsTest, ABlockThatIsInterruptedIsNotReadAgain) {
  board.fault("read /mnt/test/usbtest.dat #25 EINTR");
  expect_wrong_bytes(kLostBlock);
  EXPECT_EQ(calls("read"), 25U);
}

TEST_F(StorageFaultsTest, AFileThatCannotBeRewoundIsReadBehindItsEnd) {
  board.fault("lseek /mnt/test/usbtest.dat");
  expect_wrong_bytes(kBlocks * kLostBlock);
}

TEST_F(StorageFaultsTest, ACloseThatFailsDoesNotFailTheTest) {
  board.fault("close /mnt/test/usbtest.dat");
  expect_wrong_bytes(0);
}

TEST_F(StorageFaultsTest, AnOldFileThatCannotBeRemovedDoesNotFailTheTest) {
  board.fault("unlink EACCES");
  expect_wrong_bytes(0);
}

// ---- each call failing at its n-th time on a board with two sticks ----------------------------------

/// A call fault, and what becomes of the test.
struct CallFault {
  const char* fault;
  int code;
  const char* description;
  bool mounted = false;  ///< a stick stays mounted, and with it the folder
};

void PrintTo(const CallFault& fault, std::ostream* out) {
  *out << fault.fault;
}

constexpr const char* kPassed = "测试成功";
constexpr const char* kNoFolder = "创建test测试目录失败";
constexpr const char* kFolderStays = "删除test测试目录失败";

class CallFaultsTest : public UsbRun, public ::testing::WithParamInterface<CallFault> {
 protected:
  CallFaultsTest() : UsbRun("k") {}
};

TEST_P(CallFaultsTest, TheReplyComesAndNothingIsLeftBehind) {
  const CallFault& fault = GetParam();
  board.fault(fault.fault);
  t1_sdk_usb_test();
  fault.code == 0 ? expect_pass() : expect_fail(fault.code, fault.description);
  if (fault.code == 5) expect_left(fault.mounted ? board->mounts.mounted() : Lines{}, {"/mnt/test"});
  EXPECT_EQ(board->mounts.mounted().size(), fault.mounted ? 1U : 0U);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(
    EachCall, CallFaultsTest,
    ::testing::Values(
        CallFault{"mkdir #1", 4, kNoFolder}, CallFault{"mkdir #2", 0, kPassed},
        CallFault{"mount #1", 1, "挂载失败"}, CallFault{"mount #2", 1, "挂载失败"},
        CallFault{"mount #3", 0, kPassed}, CallFault{"mount", 1, "挂载失败"},
        CallFault{"unlink #1", 0, kPassed}, CallFault{"unlink #2", 0, kPassed},
        CallFault{"statfs #1", 2, "空间不足"}, CallFault{"statfs #2", 2, "空间不足"},
        CallFault{"statfs", 2, "空间不足"},
        CallFault{"open /mnt/test/usbtest.dat #1", 0, kPassed},
        CallFault{"open /mnt/test/usbtest.dat #2", 0, kPassed},
        CallFault{"open /mnt/test/usbtest.dat #7+", 0, kPassed},
        CallFault{"open /mnt/test/usbtest.dat #2+", 3, "创建测试文件失败"},
        CallFault{"open /mnt/test/usbtest.dat", 3, "创建测试文件失败"},
        CallFault{"write /mnt/test/usbtest.dat #1", 0, kPassed},
        CallFault{"write /mnt/test/usbtest.dat #26", 0, kPassed},
        CallFault{"write /mnt/test/usbtest.dat", 0, kPassed},
        CallFault{"read /mnt/test/usbtest.dat #1", 0, kPassed},
        CallFault{"read /mnt/test/usbtest.dat #50", 0, kPassed},
        CallFault{"read /mnt/test/usbtest.dat", 0, kPassed},
        CallFault{"lseek /mnt/test/usbtest.dat #1", 0, kPassed},
        CallFault{"lseek /mnt/test/usbtest.dat #2", 0, kPassed},
        CallFault{"close /mnt/test/usbtest.dat #1", 0, kPassed},
        CallFault{"close /mnt/test/usbtest.dat #2", 0, kPassed},
        CallFault{"umount #1", 5, kFolderStays, true}, CallFault{"umount #2", 5, kFolderStays, true},
        CallFault{"rmdir #1", 5, kFolderStays}, CallFault{"rmdir #2", 0, kPassed}));
// clang-format on

}  // namespace
