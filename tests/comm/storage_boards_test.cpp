// Which media the USB and the SD test take on each board family, how they are framed, what they ask of the
// hardware, and whose result counts.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "tests/comm/storage_board.h"
#include "tests/peripheral/hardware_script.h"

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

class BoardMediaTest : public StorageRun, public ::testing::WithParamInterface<BoardMedia> {};

TEST_P(BoardMediaTest, TheTestsTakeTheirMediaInOrderAndFrameThem) {
  board.set_type(GetParam().code);
  for (const char* node : storage::kMedia) board.fault(std::string("medium ") + node + " absent");
  board.clear_trace();
  t1_sdk_usb_test();
  EXPECT_EQ(mounted_nodes(), GetParam().usb);
  EXPECT_EQ(console.out(), GetParam().usb_console);
  expect_usb_fail(1, "挂载失败");

  forget();
  board.clear_trace();
  t1_sdk_sd_rw_test();
  const std::string sd = GetParam().sd;
  EXPECT_EQ(mounted_nodes(), Lines{sd});
  EXPECT_EQ(console.out(),
            "sd_rw_test\nSD[" + sd + "]测试开始.\n" + kMissing + "SD[" + sd + "]测试完毕.\n\nfail num = 1\n");
  expect_reply(station, 4352, "测试SD卡", "Fail", "挂载失败");
}

INSTANTIATE_TEST_SUITE_P(AllCodes, BoardMediaTest, ::testing::ValuesIn(boards()));

// ---- healthy media --------------------------------------------------------------------------------

/// A healthy run: how often the board is asked who it is, the media in order, and the whole console.
struct HealthyRun {
  const char* family;
  void (*test)();
  int questions;
  Lines nodes;
  std::string text;
};

/// A stick between its frames; `label` and what follows it close its test.
std::string stick(const std::string& name, const std::string& node, const std::string& label,
                  const std::string& gap = "\n") {
  return usb_begins(name, node) + measured() + finished(label) + "\n" + usb_ends(name, node) + gap;
}

std::string card(const std::string& node, const std::string& label, const std::string& gap) {
  return "sd_rw_test\nSD[" + node + "]测试开始.\n" + measured() + finished(label) + gap + "SD[" + node +
         "]测试完毕.\n\n";
}

std::vector<HealthyRun> healthy_runs() {
  // MA boards name another stick than they test; 65xx boards swap their sticks, whose closing lines keep
  // their numbers.
  const std::string ma = usb_begins("USB", "/dev/sda1") + measured() + finished("sda1") + "\n\n" +
                         usb_ends("USB", "/dev/sda1") + "\n";
  const std::string k = stick("USB1", "/dev/msbd1", "USB1", "\n\n") + stick("USB2", "/dev/msb1", "USB2");
  const std::string level = stick("USB1", "/dev/msb1", "USB2", "\n\n") + stick("USB2", "/dev/msbd1", "USB1");
  const std::string second_slot = card("/dev/mmc11", "mmc11", "\n");
  return {{"normal", t1_sdk_usb_test, 3, {"/dev/msb1"}, stick("USB", "/dev/msb1", "USB2")},
          {"ma", t1_sdk_usb_test, 1, {"/dev/msb1"}, ma},
          {"k", t1_sdk_usb_test, 2, {"/dev/msbd1", "/dev/msb1"}, k},
          {"65xx", t1_sdk_usb_test, 3, {"/dev/msb1", "/dev/msbd1"}, level},
          {"65xx-level", t1_sdk_usb_test, 3, {"/dev/msb1", "/dev/msbd1"}, level},
          {"normal", t1_sdk_sd_rw_test, 2, {"/dev/mmc01"}, card("/dev/mmc01", "SD卡", "\n\n")},
          {"ma", t1_sdk_sd_rw_test, 1, {"/dev/mmc11"}, second_slot},
          {"rkd1", t1_sdk_sd_rw_test, 2, {"/dev/mmc11"}, second_slot},
          {"rkd2", t1_sdk_sd_rw_test, 2, {"/dev/mmc11"}, second_slot}};
}

/// What the hardware is asked on media that take no time, with their files new.
HardwareScript script_of(const HealthyRun& run) {
  HardwareScript script;
  script.call("mkdir /mnt/test 0777 = 0");
  for (int question = 0; question < run.questions; ++question) script.query();
  for (const std::string& node : run.nodes) {
    script.call("mount " + node + " /mnt/test vfat 0 = 0").call("unlink /mnt/test/usbtest.dat = -1 ENOENT");
    script.call("statfs /mnt/test = 0").open("/mnt/test/usbtest.dat");
    for (int i = 0; i < 25; ++i) script.call("write /mnt/test/usbtest.dat 1048576 = 1048576");
    script.call("lseek /mnt/test/usbtest.dat 0 = 0");
    for (int i = 0; i < 25; ++i) script.call("read /mnt/test/usbtest.dat 1048576 = 1048576");
    script.close("/mnt/test/usbtest.dat").call("umount /mnt/test = 0").wait(500ms);
  }
  return script.call("rmdir /mnt/test = 0");
}

class StorageBoardsTest : public StorageRun {};

TEST_F(StorageBoardsTest, AHealthyRunOfEachFamilyFromTheFirstCallToTheLast) {
  for (const HealthyRun& run : healthy_runs()) {
    SCOPED_TRACE(run.family);
    next_board(run.family);
    run.test();
    EXPECT_EQ(board.timed_hardware_trace(), script_of(run).lines());
    EXPECT_EQ(console.out(), run.text);
    EXPECT_EQ(console.err(), "");
    const bool usb = run.test == t1_sdk_usb_test;
    expect_reply(station, usb ? 4608 : 4352, usb ? "测试USB" : "测试SD卡", "Pass", "测试成功");
  }
}

TEST_F(StorageBoardsTest, TheReplyComesWhenEverythingIsTidy) {
  t1_sdk_usb_test();
  const std::vector<boardsim::Call> trace = board.trace();
  const auto sent = std::ranges::find(trace, "send", &boardsim::Call::name);
  const auto removed = std::ranges::find(trace, "rmdir", &boardsim::Call::name);
  ASSERT_NE(sent, trace.end());
  EXPECT_LT(removed - trace.begin(), sent - trace.begin());
}

TEST_F(StorageBoardsTest, ABoardThatCannotBeIdentifiedTestsOneStickAndMmc01) {
  next_board("k", "open /dev/qznio");
  t1_sdk_usb_test();
  expect_usb_pass();
  const std::string unknown = "open /dev/qznio error.\n";
  EXPECT_EQ(console.out(), unknown + unknown + unknown + stick("USB", "/dev/msb1", "USB2"));
  next_board("ma", "ioctl /dev/qznio");
  t1_sdk_sd_rw_test();
  EXPECT_EQ(station.reply().value, "Pass");
  EXPECT_EQ(mounted_nodes(), Lines{"/dev/mmc01"});
}

TEST_F(StorageBoardsTest, EachQuestionReadsTheBoardAnew) {
  next_board("k", "ioctl /dev/qznio #2");  // whether it is a K board
  t1_sdk_usb_test();
  expect_usb_pass();
  EXPECT_EQ(mounted_nodes(), Lines{"/dev/msb1"});
  EXPECT_TRUE(console.out().starts_with("ioctl error,ret = -1\n" + usb_begins("USB", "/dev/msb1")));
}

// ---- whose result counts --------------------------------------------------------------------------

TEST_F(StorageBoardsTest, TheLastFailingStickGivesTheCodeAndTheText) {
  struct {
    const char *first, *second;  ///< what is wrong with the sticks
    int code;
    const char* description;
    std::size_t mounts;
  } const rows[] = {{"", "", 0, "", 2},
                    {"absent", "", 1, "挂载失败", 2},
                    {"", "absent", 1, "挂载失败", 2},
                    {"full", "", 2, "空间不足", 2},
                    {"read-only", "", 3, "创建测试文件失败", 7},
                    {"absent", "full", 2, "空间不足", 2},
                    {"full", "absent", 1, "挂载失败", 2},
                    {"absent", "read-only", 3, "创建测试文件失败", 7},
                    {"read-only", "read-only", 3, "创建测试文件失败", 12},  // counted anew for the second
                    {"wrong 1", "wrong 1", 0, "", 2}};
  for (const std::string family : {"k", "65xx"}) {
    const std::string nodes[] = {family == "k" ? "/dev/msbd1" : "/dev/msb1",
                                 family == "k" ? "/dev/msb1" : "/dev/msbd1"};
    for (const auto& row : rows) {
      SCOPED_TRACE(family + ": first " + row.first + ", second " + row.second);
      next_board(family);
      if (*row.first != '\0') board.fault("medium " + nodes[0] + " " + row.first);
      if (*row.second != '\0') board.fault("medium " + nodes[1] + " " + row.second);
      t1_sdk_usb_test();
      row.code == 0 ? expect_usb_pass() : expect_usb_fail(row.code, row.description);
      EXPECT_EQ(calls("mount"), row.mounts) << "both sticks are tested";
    }
  }
}

// ---- the folder -----------------------------------------------------------------------------------

/// The two tests, and their codes for a folder that cannot be made.
struct FolderCase {
  void (*test)();
  int code;
  const char* name;
  int no_folder;
  std::string begins, healthy;
};

class StorageFolderTest : public StorageRun, public ::testing::WithParamInterface<FolderCase> {
 protected:
  void expect_fail(const std::string& description) {
    expect_reply(station, GetParam().code, GetParam().name, "Fail", description);
  }
};

const FolderCase kUsb{t1_sdk_usb_test, 4608, "测试USB", 4, "", stick("USB", "/dev/msb1", "USB2")};
const FolderCase kSd{
    t1_sdk_sd_rw_test, 4352, "测试SD卡", 1, "sd_rw_test\n", card("/dev/mmc01", "SD卡", "\n\n")};
INSTANTIATE_TEST_SUITE_P(UsbAndSd, StorageFolderTest, ::testing::Values(kUsb, kSd));

TEST_P(StorageFolderTest, AFolderThatCannotBeMadeFailsWithCode4OfTheUsbTestAndCode1OfTheSdTest) {
  board.fault("mkdir EROFS");
  GetParam().test();
  expect_fail("创建test测试目录失败");
  EXPECT_EQ(console.out(), GetParam().begins + "创建test测试目录失败\nfail num = " +
                               std::to_string(GetParam().no_folder) + "\n");
  EXPECT_EQ(board.hardware_trace(), Lines{"mkdir /mnt/test 0777 = -1 EROFS"}) << "nothing else is touched";
}

TEST_P(StorageFolderTest, AFolderThatIsThereAlreadyFailsTheTestAndStays) {
  ASSERT_EQ(::mkdir("/mnt/test", 0777), 0);
  expect_left({}, {"/mnt/test"});
  GetParam().test();
  expect_fail("创建test测试目录失败");
  EXPECT_EQ(calls("mount"), 0U);
}

TEST_P(StorageFolderTest, AFolderThatCannotBeRemovedFailsWithCode5) {
  board.fault("rmdir EBUSY");
  expect_left({}, {"/mnt/test"});
  GetParam().test();
  expect_fail("删除test测试目录失败");
  EXPECT_EQ(console.out(), GetParam().healthy + "删除test测试目录失败\nfail num = 5\n");
}

TEST_P(StorageFolderTest, TheFailingRemovalReplacesTheCodeOfTheMedium) {
  for (const char* node : storage::kMedia) board.fault(std::string("medium ") + node + " absent");
  board.fault("rmdir EBUSY");
  expect_left({}, {"/mnt/test"});
  GetParam().test();
  expect_fail("删除test测试目录失败");
  EXPECT_TRUE(console.out().ends_with("\nfail num = 5\n"));
}

TEST_F(StorageBoardsTest, AStickThatCannotBeUnmountedMakesTheRemovalOfTheFolderFail) {
  for (const char* fault : {"umount #1", "umount #2"}) {
    SCOPED_TRACE(fault);
    next_board("k", fault);
    t1_sdk_usb_test();
    expect_usb_fail(5, "删除test测试目录失败");
    EXPECT_EQ(calls("umount"), 2U) << "one a stick";
    EXPECT_EQ(board->mounts.mounted().size(), 1U);
    expect_left(board->mounts.mounted(), {"/mnt/test"});
  }
}

}  // namespace
