// The sensor's correction records: dead pixels and flat field.
#include "t1_sdk/boardtest/sensor/correction.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "tests/sensor/sensor_run.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kDeadPixels = 0;
constexpr std::size_t kFlatField = 0x10000;
constexpr std::uint32_t kMagic = 0x565A514E;

void put(Bytes& record, std::size_t offset, std::uint32_t value) {
  for (std::size_t i = 0; i < 4; ++i) record.at(offset + i) = static_cast<std::uint8_t>(value >> (8 * i));
}

std::uint32_t sum(const Bytes& record) {
  std::uint32_t total = 0;
  for (std::size_t i = 16; i < 200; ++i) total += record.at(i);
  return total;
}

std::string hex_of(std::uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "%#x", value);
  return text;
}

/// A flat-field record of version 7.8.9 of 99-01-02, made on 2031-12-09 at 23:05, its reserved words all
/// ones.
Bytes flat_field() {
  Bytes record(200, 0xFF);
  put(record, 0, kMagic);
  put(record, 8, 0xDEADBEEF);
  put(record, 12, 0xFFFFFFFF);
  const Bytes version = {7, 8, 9, 99, 1, 2, 0xAA, 0xBB};
  std::copy(version.begin(), version.end(), record.begin() + 16);
  const std::uint32_t time[] = {59, 5, 23, 9, 11, 131, 2, 342, 0, 0, 0};
  for (std::size_t i = 0; i < std::size(time); ++i) put(record, 24 + 4 * i, time[i]);
  put(record, 4, sum(record));
  return record;
}

/// The same with another word at an offset.
Bytes flat_field_with(std::size_t offset, std::uint32_t word) {
  Bytes record = flat_field();
  put(record, offset, word);
  return record;
}

// ---- flat field -------------------------------------------------------------------------------

class FlatFieldTest : public SensorRun {
 protected:
  /// Runs the test. The description is that of success whatever comes of it.
  void expect_check(const std::string& value, const std::string& line) {
    forget();
    t1_sdk_check_ff_corr();
    expect_reply(station, 13824, "平场校正", value, "测试成功");
    EXPECT_EQ(console.out(), "t1_sdk_check_ff_corr\n" + line + (value == "Fail" ? "fail num = 1\n" : ""));
  }
  /// The record on the eMMC is valid, or is not, and says so in this line.
  void expect_record(const Bytes& record, int result, const std::string& line) {
    board->emmc.set_bytes(kFlatField, record);
    console.clear();
    EXPECT_EQ(reaf_ff_corr_info(), result);
    expect_console(line);
  }
};

const char* const kFlatFieldLine = "ff_ver: V7.8.9 99-01-02, build at 2031-12-09 23:05, used state: unkown\n";

TEST_F(FlatFieldTest, TheFactorysRecordPassesOnEveryFamily) {
  for (const boardsim::Family& family : boardsim::families()) {
    SCOPED_TRACE(family.name);
    next_board(family.name);
    expect_check("Pass", "ff_ver: V1.2.3 24-05-17, build at 2024-05-17 08:30, used state: unkown\n");
  }
}

TEST_F(FlatFieldTest, ARecordIsReadFromTheEmmcAndShownWithVersionDateAndTimeOfMaking) {
  board->emmc.set_bytes(kFlatField, flat_field());
  expect_check("Pass", kFlatFieldLine);
  EXPECT_EQ(calls_on("/dev/mmcblk0p7"),
            (Lines{"open /dev/mmcblk0p7 = ok", "lseek /dev/mmcblk0p7 65536 = 65536",
                   "read /dev/mmcblk0p7 200 = 200", "close /dev/mmcblk0p7 = 0"}));
}

TEST_F(FlatFieldTest, VersionBytesCountUpTo255) {
  Bytes record = flat_field();
  std::fill(record.begin() + 16, record.begin() + 24, std::uint8_t{0xFF});
  put(record, 4, sum(record));
  expect_record(record, 0,
                "ff_ver: V255.255.255 255-255-255, build at 2031-12-09 23:05, used state: unkown\n");
}

TEST_F(FlatFieldTest, ATimeThatIsNoneIsShownAsItStandsAndWhatIsTooLargeWrapsAround) {
  for (const auto& [word, shown] :
       {std::pair{0x80000000U, "-2147481748--2147483647--2147483648 -2147483648:-2147483648"},
        {0x7FFFFFFFU, "-2147481749--2147483648-2147483647 2147483647:2147483647"},
        {0xFFFFFFFFU, "1899-00--1 -1:-1"},
        {0U, "1900-01-00 00:00"},
        {100U, "2000-101-100 100:100"}}) {
    SCOPED_TRACE(word);
    Bytes record = flat_field();
    for (std::size_t i = 0; i < 11; ++i) put(record, 24 + 4 * i, word);
    put(record, 4, sum(record));
    expect_record(record, 0,
                  "ff_ver: V7.8.9 99-01-02, build at " + std::string(shown) + ", used state: unkown\n");
  }
}

TEST_F(FlatFieldTest, TheSecondChecksumAndTheLengthDoNotMatter) {
  expect_record(flat_field_with(8, 0x12345678), 0, kFlatFieldLine);
  for (const std::uint32_t length : {0U, 1U, 0x80000000U}) {
    expect_record(flat_field_with(12, length), 0, kFlatFieldLine);
  }
}

TEST_F(FlatFieldTest, ARecordWithAnotherMagicIsInvalid) {
  expect_record(flat_field_with(0, 0x12345678), -1, "magic_num[0x12345678] of ff corr info is invalid\n");
  board.fault("record flat-field none");
  expect_check("Fail", "magic_num[0xffffffff] of ff corr info is invalid\n");
}

TEST_F(FlatFieldTest, ARecordThatCannotBeReadCountsAsZeros) {
  for (const auto& [fault, err] : {std::pair{"read /dev/mmcblk0p7", "read: /dev/mmcblk0p7 error: 5 \n"},
                                   {"open /dev/mmcblk0p7", "open: /dev/mmcblk0p7 error: 19 \n"}}) {
    board.clear_faults();
    board.fault(fault);
    expect_check("Fail", "magic_num[0] of ff corr info is invalid\n");
    EXPECT_EQ(console.err(), err);
  }
}

TEST_F(FlatFieldTest, ARecordWhoseReadIsCutShortIsJudgedByWhatCame) {
  board->emmc.set_bytes(kFlatField, flat_field());
  board.fault("read /dev/mmcblk0p7 short 199");  // its last byte is 0
  const std::uint32_t whole = sum(flat_field());
  expect_check("Fail",
               "check_sum_1 on flash is " + hex_of(whole) + ", actual is " + hex_of(whole - 0xFF) + "\n");
}

TEST_F(FlatFieldTest, AWrongChecksumFailsAndTheDescriptionStillSaysSuccess) {
  board->emmc.set_bytes(kFlatField, flat_field_with(4, 0xCAFE));
  expect_check("Fail", "check_sum_1 on flash is 0xcafe, actual is " + hex_of(sum(flat_field())) + "\n");
}

TEST_F(FlatFieldTest, EachByteFrom16To199IsGuardedByTheChecksum) {
  const std::string stored = hex_of(sum(flat_field()));
  for (std::size_t byte = 16; byte < 200; ++byte) {
    SCOPED_TRACE(byte);
    Bytes record = flat_field();
    record[byte] ^= 0x10;
    expect_record(record, -1,
                  "check_sum_1 on flash is " + stored + ", actual is " + hex_of(sum(record)) + "\n");
  }
}

// ---- dead pixels ------------------------------------------------------------------------------

class DeadPixelTest : public SensorRun {
 protected:
  /// Runs the test. The description is that of success whatever comes of it.
  void expect_check(const std::string& value, const std::string& line = "") {
    forget();
    t1_sdk_check_camera_dpi();
    expect_reply(station, 13568, "坏点校正", value, "测试成功");
    EXPECT_EQ(console.out(), "t1_sdk_check_camera_dpi\n" + line + (value == "Fail" ? "fail num = 1\n" : ""));
  }
};

TEST_F(DeadPixelTest, TheFactorysRecordPassesOnEveryFamily) {
  for (const boardsim::Family& family : boardsim::families()) {
    SCOPED_TRACE(family.name);
    next_board(family.name);
    expect_check("Pass");
    EXPECT_EQ(console.err(), "");
    EXPECT_EQ(calls_on("/dev/mmcblk0p7"),
              (Lines{"open /dev/mmcblk0p7 = ok", "lseek /dev/mmcblk0p7 0 = 0",
                     "read /dev/mmcblk0p7 4112 = 4112", "close /dev/mmcblk0p7 = 0"}));
  }
}

TEST_F(DeadPixelTest, AnyContentBehindTheRightMagicIsValid) {
  for (const int fill : {0x00, 0x5A, 0xFF}) {
    Bytes record(4112, static_cast<std::uint8_t>(fill));
    put(record, 0, kMagic);
    board->emmc.set_bytes(kDeadPixels, record);
    EXPECT_EQ(check_camera_dpi(), 0) << fill;
  }
  EXPECT_EQ(console.out(), "");
}

TEST_F(DeadPixelTest, ARecordWithAnotherMagicFails) {
  for (const auto& [magic, shown] :
       {std::pair{0x12ABCDEFU, "12abcdef"}, {0xFFFFFFFFU, "ffffffff"}, {0U, "0"}}) {
    Bytes record(4112);
    put(record, 0, magic);
    board->emmc.set_bytes(kDeadPixels, record);
    EXPECT_EQ(check_camera_dpi(), -1);
    expect_check("Fail", std::string("dpi magic = ") + shown + " error\n");
  }
}

TEST_F(DeadPixelTest, AFailedReadFailsAndTheDescriptionStillSaysSuccess) {
  for (const char* fault :
       {"read /dev/mmcblk0p7", "read /dev/mmcblk0p7 short 4111", "open /dev/mmcblk0p7 ENODEV"}) {
    SCOPED_TRACE(fault);
    board.clear_faults();
    board.fault(fault);
    EXPECT_EQ(check_camera_dpi(), -1);
    expect_check("Fail", "read dpi error = -1\n");
  }
}

}  // namespace
