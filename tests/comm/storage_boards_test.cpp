// Which media the USB and the SD test take on each board family, how they are framed, and whose result
// counts.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <chrono>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "tests/comm/storage_board.h"

namespace {

using namespace std::chrono_literals;
using storage::finished;
using storage::measured;
using storage::usb_begins;
using storage::usb_ends;
using Lines = std::vector<std::string>;

constexpr const char* kMissing = "挂载失败\n";

/// A device type code, which media its tests take, and how the console frames them when all are missing.
struct BoardMedia {
  std::uint32_t code;
  Lines usb;
  std::string usb_console;
  std::string sd;
};

void PrintTo(const BoardMedia& board, std::ostream* out) {
  *out << std::hex << board.code;
}

std::string missing_stick(const std::string& name, const std::string& node, const std::string& gap = "\n") {
  return usb_begins(name, node) + kMissing + usb_ends(name, node) + gap;
}

std::vector<BoardMedia> boards() {
  const std::string k =
      missing_stick("USB1", "/dev/msbd1", "\n\n") + missing_stick("USB2", "/dev/msb1") + "fail num = 1\n";
  const std::string level =
      missing_stick("USB1", "/dev/msb1", "\n\n") + missing_stick("USB2", "/dev/msbd1") + "fail num = 1\n";
  const std::string ma = missing_stick("USB", "/dev/sda1") + "fail num = 1\n";
  const std::string other = missing_stick("USB", "/dev/msb1") + "fail num = 1\n";
  std::vector<BoardMedia> boards;
  for (const std::uint32_t code : {0x960BU, 0x9B05U, 0x960FU, 0x960EU, 0x9B08U, 0x9B09U, 0x9B0AU, 0x970FU,
                                   0x9715U, 0x9713U, 0x9614U, 0x9615U, 0x9716U, 0x9725U, 0x9726U}) {
    boards.push_back({code, {"/dev/msbd1", "/dev/msb1"}, k, "/dev/mmc01"});
  }
  for (const std::uint32_t code : {0xA6001U, 0xA6002U, 0xA6003U, 0xA6004U}) {
    boards.push_back({code, {"/dev/msb1"}, ma, "/dev/mmc11"});
  }
  boards.push_back({0x9C0A, {"/dev/msb1", "/dev/msbd1"}, level, "/dev/mmc01"});
  for (const std::uint32_t code : {0xA6005U, 0xA6006U, 0xA60A0U, 0xA60A3U}) {
    boards.push_back({code, {"/dev/msb1"}, other, "/dev/mmc11"});
  }
  for (const std::uint32_t code : {0x9601U, 0x27201U, 0x97C0U, 0x27251U, 0x27252U, 0x27254U, 0x9A01U, 0x9A03U,
                                   0x96C0U, 0x96C1U, 0x96C3U, 0x96C4U, 0x96C5U, 0x9603U, 0xA6007U}) {
    boards.push_back({code, {"/dev/msb1"}, other, "/dev/mmc01"});
  }
  return boards;
}

class BoardMediaTest : public UsbRun, public ::testing::WithParamInterface<BoardMedia> {
 protected:
  BoardMediaTest() {
    board.set_type(GetParam().code);
    lose_all_media();
  }
};

TEST_P(BoardMediaTest, TheUsbTestTakesItsSticksInOrderAndFramesThem) {
  t1_sdk_usb_test();
  EXPECT_EQ(mounted_nodes(), GetParam().usb);
  EXPECT_EQ(console.out(), GetParam().usb_console);
  expect_fail(1, "挂载失败");
}

TEST_P(BoardMediaTest, TheSdTestTakesItsCard) {
  t1_sdk_sd_rw_test();
  const std::string sd = GetParam().sd;
  EXPECT_EQ(mounted_nodes(), Lines{sd});
  EXPECT_EQ(console.out(),
            "sd_rw_test\nSD[" + sd + "]测试开始.\n" + kMissing + "SD[" + sd + "]测试完毕.\n\nfail num = 1\n");
}

INSTANTIATE_TEST_SUITE_P(AllCodes, BoardMediaTest, ::testing::ValuesIn(boards()));

// ---- USB: whole consoles ------------------------------------------------------------------------

class UsbTest : public UsbRun {};

TEST_F(UsbTest, ABoardOfNoFamilyTestsOneStick) {
  t1_sdk_usb_test();
  expect_pass();
  EXPECT_EQ(console.out(), usb_begins("USB", "/dev/msb1") + measured() + finished("USB2") + "\n" +
                               usb_ends("USB", "/dev/msb1") + "\n");
}

TEST_F(UsbTest, AnMaBoardNamesAnotherStickThanItTests) {
  next_board("ma");
  t1_sdk_usb_test();
  expect_pass();
  EXPECT_EQ(mounted_nodes(), Lines{"/dev/msb1"});
  EXPECT_EQ(console.out(), usb_begins("USB", "/dev/sda1") + measured() + finished("sda1") + "\n\n" +
                               usb_ends("USB", "/dev/sda1") + "\n");
}

TEST_F(UsbTest, AKBoardTestsTwoSticks) {
  next_board("k");
  t1_sdk_usb_test();
  expect_pass();
  EXPECT_EQ(console.out(), usb_begins("USB1", "/dev/msbd1") + measured() + finished("USB1") + "\n" +
                               usb_ends("USB1", "/dev/msbd1") + "\n\n" + usb_begins("USB2", "/dev/msb1") +
                               measured() + finished("USB2") + "\n" + usb_ends("USB2", "/dev/msb1") + "\n");
  EXPECT_EQ(board.now(), 1s);
}

TEST_F(UsbTest, A65xxBoardSwapsItsSticksAndTheirClosingLinesKeepTheirNumbers) {
  for (const char* family : {"65xx", "65xx-level"}) {
    next_board(family);
    t1_sdk_usb_test();
    expect_pass();
    EXPECT_EQ(console.out(), usb_begins("USB1", "/dev/msb1") + measured() + finished("USB2") + "\n" +
                                 usb_ends("USB1", "/dev/msb1") + "\n\n" + usb_begins("USB2", "/dev/msbd1") +
                                 measured() + finished("USB1") + "\n" + usb_ends("USB2", "/dev/msbd1") +
                                 "\n");
  }
}

TEST_F(UsbTest, ABoardThatCannotBeIdentifiedTestsOneStick) {
  next_board("k");
  board.fault("open /dev/qznio");
  t1_sdk_usb_test();
  expect_pass();
  const std::string unknown = "open /dev/qznio error.\n";
  EXPECT_EQ(console.out(), unknown + unknown + unknown + usb_begins("USB", "/dev/msb1") + measured() +
                               finished("USB2") + "\n" + usb_ends("USB", "/dev/msb1") + "\n");
}

TEST_F(UsbTest, EachQuestionReadsTheBoardAnew) {
  next_board("k");
  board.fault("ioctl /dev/qznio #2");  // whether it is a K board
  t1_sdk_usb_test();
  expect_pass();
  EXPECT_EQ(mounted_nodes(), Lines{"/dev/msb1"});
  EXPECT_TRUE(console.out().starts_with("ioctl error,ret = -1\n" + usb_begins("USB", "/dev/msb1")));
}

// ---- USB: whose result counts -------------------------------------------------------------------

struct TwoSticks {
  const char* name;
  std::vector<std::string> faults;
  int code;
  const char* description;
};

void PrintTo(const TwoSticks& sticks, std::ostream* out) {
  *out << sticks.name;
}

/// On K boards msbd1 comes first, on 65xx boards msb1.
class TwoSticksTest : public UsbRun, public ::testing::WithParamInterface<TwoSticks> {
 protected:
  void expect_on(std::string_view family) {
    next_board(family);
    for (const std::string& fault : GetParam().faults) board.fault(fault);
    t1_sdk_usb_test();
    GetParam().code == 0 ? expect_pass() : expect_fail(GetParam().code, GetParam().description);
    EXPECT_EQ(calls("mount"), GetParam().code == 3 ? 7U : 2U) << "both sticks are tested";
  }
};

class KSticksTest : public TwoSticksTest {};
class LevelSticksTest : public TwoSticksTest {};

TEST_P(KSticksTest, TheLastFailingStickGivesTheCodeAndTheText) {
  expect_on("k");
}

TEST_P(LevelSticksTest, TheLastFailingStickGivesTheCodeAndTheText) {
  expect_on("65xx");
}

const auto name_of_sticks = [](const auto& sticks) { return std::string(sticks.param.name); };

INSTANTIATE_TEST_SUITE_P(
    Msbd1First, KSticksTest,
    ::testing::Values(
        TwoSticks{"BothHealthy", {}, 0, "测试成功"},
        TwoSticks{"FirstMissing", {"medium /dev/msbd1 absent"}, 1, "挂载失败"},
        TwoSticks{"SecondMissing", {"medium /dev/msb1 absent"}, 1, "挂载失败"},
        TwoSticks{"FirstFull", {"medium /dev/msbd1 full"}, 2, "空间不足"},
        TwoSticks{"FirstReadOnly", {"medium /dev/msbd1 read-only"}, 3, "创建测试文件失败"},
        TwoSticks{
            "FirstMissingSecondFull", {"medium /dev/msbd1 absent", "medium /dev/msb1 full"}, 2, "空间不足"},
        TwoSticks{
            "FirstFullSecondMissing", {"medium /dev/msbd1 full", "medium /dev/msb1 absent"}, 1, "挂载失败"},
        TwoSticks{"FirstMissingSecondReadOnly",
                  {"medium /dev/msbd1 absent", "medium /dev/msb1 read-only"},
                  3,
                  "创建测试文件失败"},
        TwoSticks{"BothWrong", {"medium /dev/msbd1 wrong 1", "medium /dev/msb1 wrong 1"}, 0, "测试成功"}),
    name_of_sticks);

INSTANTIATE_TEST_SUITE_P(
    Msb1First, LevelSticksTest,
    ::testing::Values(
        TwoSticks{"BothHealthy", {}, 0, "测试成功"},
        TwoSticks{"FirstMissing", {"medium /dev/msb1 absent"}, 1, "挂载失败"},
        TwoSticks{"SecondFull", {"medium /dev/msbd1 full"}, 2, "空间不足"},
        TwoSticks{
            "FirstMissingSecondFull", {"medium /dev/msb1 absent", "medium /dev/msbd1 full"}, 2, "空间不足"},
        TwoSticks{
            "FirstFullSecondMissing", {"medium /dev/msb1 full", "medium /dev/msbd1 absent"}, 1, "挂载失败"}),
    name_of_sticks);

TEST_F(UsbTest, TheSecondStickCountsItsAttemptsAnew) {
  next_board("k");
  board.fault("medium /dev/msbd1 read-only");
  board.fault("medium /dev/msb1 read-only");
  t1_sdk_usb_test();
  expect_fail(3, "创建测试文件失败");
  EXPECT_EQ(calls("mount"), 12U);
  EXPECT_EQ(board.now(), 30s);
  const std::string out = console.out();
  EXPECT_NE(out.find("goto remount the 1 time"), out.rfind("goto remount the 1 time"));
  EXPECT_EQ(out.find("goto remount the 6 time"), std::string::npos);
}

// ---- USB: the folder ----------------------------------------------------------------------------

TEST_F(UsbTest, AFolderThatCannotBeMadeFailsWithCode4) {
  board.fault("mkdir EROFS");
  board.clear_trace();
  t1_sdk_usb_test();
  expect_fail(4, "创建test测试目录失败");
  EXPECT_EQ(console.out(), "创建test测试目录失败\nfail num = 4\n");
  EXPECT_EQ(board.hardware_trace(), Lines{"mkdir /mnt/test 0777 = -1 EROFS"}) << "nothing else is touched";
}

TEST_F(UsbTest, AFolderThatIsThereAlreadyFailsWithCode4AndStays) {
  ASSERT_EQ(::mkdir("/mnt/test", 0777), 0);
  expect_left({}, {"/mnt/test"});
  t1_sdk_usb_test();
  expect_fail(4, "创建test测试目录失败");
  EXPECT_EQ(calls("mount"), 0U);
}

TEST_F(UsbTest, AFolderThatCannotBeRemovedFailsWithCode5) {
  board.fault("rmdir EBUSY");
  expect_left({}, {"/mnt/test"});
  t1_sdk_usb_test();
  expect_fail(5, "删除test测试目录失败");
  EXPECT_EQ(console.out(), usb_begins("USB", "/dev/msb1") + measured() + finished("USB2") + "\n" +
                               usb_ends("USB", "/dev/msb1") + "\n删除test测试目录失败\nfail num = 5\n");
}

TEST_F(UsbTest, TheFailingRemovalReplacesTheCodeOfTheStick) {
  board.fault("medium /dev/msb1 absent");
  board.fault("rmdir EBUSY");
  expect_left({}, {"/mnt/test"});
  t1_sdk_usb_test();
  expect_fail(5, "删除test测试目录失败");
}

// ---- SD -----------------------------------------------------------------------------------------

class SdTest : public StorageRun {
 protected:
  void expect_reply(const std::string& value, const std::string& description) {
    ::expect_reply(station, 4352, "测试SD卡", value, description);
  }
  static std::string framed(const std::string& node, const std::string& text) {
    return "sd_rw_test\nSD[" + node + "]测试开始.\n" + text + "SD[" + node + "]测试完毕.\n\n";
  }
  /// A fault, and how the test of /dev/mmc01 fails with it.
  void expect_failure(const std::string& fault, int code, const std::string& description) {
    next_board("normal");
    board.fault(fault);
    t1_sdk_sd_rw_test();
    expect_reply("Fail", description);
    EXPECT_TRUE(console.out().ends_with("fail num = " + std::to_string(code) + "\n")) << fault;
  }
};

TEST_F(SdTest, TheCardOfMostBoardsIsMmc01) {
  t1_sdk_sd_rw_test();
  expect_reply("Pass", "测试成功");
  EXPECT_EQ(console.out(), framed("/dev/mmc01", measured() + finished("SD卡") + "\n\n"));
}

TEST_F(SdTest, TheCardOfMaAndRkdBoardsIsMmc11) {
  for (const char* family : {"ma", "rkd1", "rkd2"}) {
    next_board(family);
    t1_sdk_sd_rw_test();
    expect_reply("Pass", "测试成功");
    EXPECT_EQ(console.out(), framed("/dev/mmc11", measured() + finished("mmc11") + "\n"));
  }
}

TEST_F(SdTest, ABoardThatCannotBeIdentifiedTestsMmc01) {
  next_board("ma");
  board.fault("ioctl /dev/qznio");
  t1_sdk_sd_rw_test();
  expect_reply("Pass", "测试成功");
  EXPECT_EQ(mounted_nodes(), Lines{"/dev/mmc01"});
}

TEST_F(SdTest, EachFailureOfTheCardIsReported) {
  expect_failure("medium /dev/mmc01 absent", 1, "挂载失败");
  expect_failure("medium /dev/mmc01 full", 2, "空间不足");
  expect_failure("medium /dev/mmc01 read-only", 3, "创建测试文件失败");
}

TEST_F(SdTest, WrongBytesPass) {
  board.fault("medium /dev/mmc01 wrong 1 2 3");
  t1_sdk_sd_rw_test();
  expect_reply("Pass", "测试成功");
  EXPECT_TRUE(console_has(finished("SD卡", 3)));
}

TEST_F(SdTest, AFolderThatCannotBeMadeFailsWithCode1) {
  expect_failure("mkdir EROFS", 1, "创建test测试目录失败");
  EXPECT_EQ(console.out(), "sd_rw_test\n创建test测试目录失败\nfail num = 1\n");
  EXPECT_EQ(calls("mount") + calls("rmdir"), 0U);
}

TEST_F(SdTest, AFolderThatCannotBeRemovedFailsWithCode5) {
  expect_left({}, {"/mnt/test"});
  board.fault("rmdir EBUSY");
  t1_sdk_sd_rw_test();
  expect_reply("Fail", "删除test测试目录失败");
  EXPECT_EQ(console.out(), framed("/dev/mmc01", measured() + finished("SD卡") + "\n\n") +
                               "删除test测试目录失败\nfail num = 5\n");
}

TEST_F(SdTest, TheFailingRemovalReplacesTheCodeOfTheCard) {
  expect_left({}, {"/mnt/test"});
  board.fault("medium /dev/mmc01 absent");
  board.fault("rmdir EBUSY");
  t1_sdk_sd_rw_test();
  expect_reply("Fail", "删除test测试目录失败");
}

}  // namespace
