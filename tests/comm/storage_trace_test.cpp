// Healthy tests of the storage media as the hardware sees them, to the last call, and what reaches the
// station.
#include <gtest/gtest.h>
#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "tests/comm/storage_board.h"

namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

void add(Lines& lines, const std::string& time, const Lines& calls) {
  for (const std::string& call : calls) lines.push_back(time + " " + call);
}

/// One question who the board is.
void add_question(Lines& lines, const std::string& time) {
  add(lines, time, {"open /dev/qznio = ok", "ioctl /dev/qznio 0x80044801 {} = 0", "close /dev/qznio = 0"});
}

/// A medium that takes no time, with its file new.
void add_medium(Lines& lines, const std::string& time, const std::string& node) {
  add(lines, time,
      {"mount " + node + " /mnt/test vfat 0 = 0", "unlink /mnt/test/usbtest.dat = -1 ENOENT",
       "statfs /mnt/test = 0", "open /mnt/test/usbtest.dat = ok"});
  add(lines, time, {"write /mnt/test/usbtest.dat 1048576 = 1048576 (25 times)"});
  add(lines, time, {"lseek /mnt/test/usbtest.dat 0 = 0"});
  add(lines, time, {"read /mnt/test/usbtest.dat 1048576 = 1048576 (25 times)"});
  add(lines, time, {"close /mnt/test/usbtest.dat = 0", "umount /mnt/test = 0"});
}

/// Lines that follow one another and are the same, as one.
Lines folded(const Lines& lines) {
  Lines result;
  for (auto line = lines.begin(); line != lines.end();) {
    const auto end = std::find_if(line, lines.end(), [&](const auto& other) { return other != *line; });
    const auto times = end - line;
    result.push_back(times == 1 ? *line : *line + " (" + std::to_string(times) + " times)");
    line = end;
  }
  return result;
}

class StorageTraceTest : public StorageRun {
 protected:
  /// The folded trace of a test on a board of this family.
  Lines trace_of(std::string_view family, void (*test)()) {
    next_board(family);
    board.clear_trace();
    test();
    EXPECT_EQ(station.reply().value, "Pass");
    EXPECT_EQ(console.err(), "");
    return folded(board.timed_hardware_trace());
  }
};

TEST_F(StorageTraceTest, OneStick) {
  Lines expected = {"0.000000 mkdir /mnt/test 0777 = 0"};
  for (int question = 0; question < 3; ++question) add_question(expected, "0.000000");
  add_medium(expected, "0.000000", "/dev/msb1");
  add(expected, "0.500000", {"rmdir /mnt/test = 0"});
  EXPECT_EQ(trace_of("normal", t1_sdk_usb_test), expected);
  EXPECT_EQ(board.now(), 500ms);
}

TEST_F(StorageTraceTest, TheStickOfAnMaBoard) {
  Lines expected = {"0.000000 mkdir /mnt/test 0777 = 0"};
  add_question(expected, "0.000000");
  add_medium(expected, "0.000000", "/dev/msb1");
  add(expected, "0.500000", {"rmdir /mnt/test = 0"});
  EXPECT_EQ(trace_of("ma", t1_sdk_usb_test), expected);
}

TEST_F(StorageTraceTest, TwoSticksOfAKBoard) {
  Lines expected = {"0.000000 mkdir /mnt/test 0777 = 0"};
  for (int question = 0; question < 2; ++question) add_question(expected, "0.000000");
  add_medium(expected, "0.000000", "/dev/msbd1");
  add_medium(expected, "0.500000", "/dev/msb1");
  add(expected, "1.000000", {"rmdir /mnt/test = 0"});
  EXPECT_EQ(trace_of("k", t1_sdk_usb_test), expected);
  EXPECT_EQ(board.now(), 1s);
}

TEST_F(StorageTraceTest, TwoSticksOfA65xxBoard) {
  Lines expected = {"0.000000 mkdir /mnt/test 0777 = 0"};
  for (int question = 0; question < 3; ++question) add_question(expected, "0.000000");
  add_medium(expected, "0.000000", "/dev/msb1");
  add_medium(expected, "0.500000", "/dev/msbd1");
  add(expected, "1.000000", {"rmdir /mnt/test = 0"});
  EXPECT_EQ(trace_of("65xx", t1_sdk_usb_test), expected);
}

TEST_F(StorageTraceTest, TheCard) {
  Lines expected = {"0.000000 mkdir /mnt/test 0777 = 0"};
  for (int question = 0; question < 2; ++question) add_question(expected, "0.000000");
  add_medium(expected, "0.000000", "/dev/mmc01");
  add(expected, "0.500000", {"rmdir /mnt/test = 0"});
  EXPECT_EQ(trace_of("normal", t1_sdk_sd_rw_test), expected);
  EXPECT_EQ(board.now(), 500ms);
}

TEST_F(StorageTraceTest, TheCardOfAnMaBoard) {
  Lines expected = {"0.000000 mkdir /mnt/test 0777 = 0"};
  add_question(expected, "0.000000");
  add_medium(expected, "0.000000", "/dev/mmc11");
  add(expected, "0.500000", {"rmdir /mnt/test = 0"});
  EXPECT_EQ(trace_of("ma", t1_sdk_sd_rw_test), expected);
}

TEST_F(StorageTraceTest, ASlowStickMovesTheEndOnly) {
  next_board("normal");
  board.fault("medium /dev/msb1 slow 20");
  t1_sdk_usb_test();
  const Lines trace = board.timed_hardware_trace();
  ASSERT_GE(trace.size(), 3U);
  EXPECT_EQ(Lines(trace.end() - 3, trace.end()),
            (Lines{"1.000000 close /mnt/test/usbtest.dat = 0", "1.000000 umount /mnt/test = 0",
                   "1.500000 rmdir /mnt/test = 0"}));
}

TEST_F(StorageTraceTest, TheReplyComesWhenEverythingIsTidy) {
  board.at(499ms, [this] { EXPECT_EQ(station.bytes(), ""); });
  t1_sdk_usb_test();
  const std::vector<boardsim::Call> trace = board.trace();
  ASSERT_GE(trace.size(), 2U);
  const auto sent = std::ranges::find(trace, "send", &boardsim::Call::name);
  const auto removed = std::ranges::find(trace, "rmdir", &boardsim::Call::name);
  ASSERT_NE(sent, trace.end());
  EXPECT_LT(removed - trace.begin(), sent - trace.begin());
}

// ---- the documents as they go over the wire -------------------------------------------------------

TEST_F(StorageTraceTest, TheReplyOfAHealthyStickInBytes) {
  t1_sdk_usb_test();
  // "测试USB", "测试结果" and "测试成功" in GBK.
  EXPECT_EQ(station.reply().raw,
            "<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n"
            "<TestItem>\r\n<TestCode>4608</TestCode>\r\n<TestName>\xB2\xE2\xCA\xD4\x55\x53\x42</TestName>\r\n"
            "<Result>\r\n<ResultItem>\r\n<Name>\xB2\xE2\xCA\xD4\xBD\xE1\xB9\xFB</Name>\r\n"
            "<Value>Pass</Value>\r\n<Description>\xB2\xE2\xCA\xD4\xB3\xC9\xB9\xA6</Description>\r\n"
            "</ResultItem>\r\n</Result>\r\n</TestItem>\r\n");
}

TEST_F(StorageTraceTest, TheReplyOfAFullCardInBytes) {
  board.fault("medium /dev/mmc01 full");
  t1_sdk_sd_rw_test();
  // "测试SD卡", "测试结果" and "空间不足" in GBK.
  EXPECT_EQ(
      station.reply().raw,
      "<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n"
      "<TestItem>\r\n<TestCode>4352</TestCode>\r\n<TestName>\xB2\xE2\xCA\xD4\x53\x44\xBF\xA8</TestName>\r\n"
      "<Result>\r\n<ResultItem>\r\n<Name>\xB2\xE2\xCA\xD4\xBD\xE1\xB9\xFB</Name>\r\n"
      "<Value>Fail</Value>\r\n<Description>\xBF\xD5\xBC\xE4\xB2\xBB\xD7\xE3</Description>\r\n"
      "</ResultItem>\r\n</Result>\r\n</TestItem>\r\n");
}

TEST_F(StorageTraceTest, TestsFollowOneAnother) {
  for (int round = 0; round < 3; ++round) {
    for (void (*test)() : {t1_sdk_usb_test, t1_sdk_sd_rw_test}) {
      station.forget();
      test();
      EXPECT_EQ(station.reply().value, "Pass");
      expect_nothing_left();
    }
  }
}

}  // namespace
