// The sensor's correction records: dead pixels and flat field.
#include "t1_sdk/boardtest/sensor/correction.h"

#include <gtest/gtest.h>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>
#include "tests/harness/station_run.h"

namespace {

using Lines = std::vector<std::string>;
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

const char* const kFlatFieldLine = "ff_ver: V7.8.9 99-01-02, build at 2031-12-09 23:05, used state: unkown\n";

class CorrectionTest : public StationRun {
 protected:
  void expect_reply(int code, const std::string& name, const std::string& value) {
    ::expect_reply(station, code, name, value, "测试成功");
  }
  void expect_flat_field(const std::string& value) { expect_reply(13824, "平场校正", value); }
  void expect_dead_pixels(const std::string& value) { expect_reply(13568, "坏点校正", value); }
};

// ---- flat field ------------------------------------------------------------------------------------

class FlatFieldTest : public CorrectionTest {};

TEST_F(FlatFieldTest, TheFactorysRecordIsValid) {
  EXPECT_EQ(reaf_ff_corr_info(), 0);
  EXPECT_EQ(console.out(), "ff_ver: V1.2.3 24-05-17, build at 2024-05-17 08:30, used state: unkown\n");
  EXPECT_EQ(console.err(), "");
}

TEST_F(FlatFieldTest, ARecordIsShownWithVersionDateAndTimeOfMaking) {
  board->emmc.set_bytes(kFlatField, flat_field());
  EXPECT_EQ(reaf_ff_corr_info(), 0);
  EXPECT_EQ(console.out(), kFlatFieldLine);
}

TEST_F(FlatFieldTest, VersionBytesCountUpTo255) {
  Bytes record = flat_field();
  for (std::size_t i = 16; i < 24; ++i) record[i] = 0xFF;
  put(record, 4, sum(record));
  board->emmc.set_bytes(kFlatField, record);
  EXPECT_EQ(reaf_ff_corr_info(), 0);
  EXPECT_EQ(console.out(),
            "ff_ver: V255.255.255 255-255-255, build at 2031-12-09 23:05, used state: unkown\n");
}

TEST_F(FlatFieldTest, ATimeThatIsNoneIsShownWithoutHarm) {
  for (const std::uint32_t word : {0x80000000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    SCOPED_TRACE(word);
    Bytes record = flat_field();
    for (std::size_t i = 0; i < 11; ++i) put(record, 24 + 4 * i, word);
    put(record, 4, sum(record));
    board->emmc.set_bytes(kFlatField, record);
    console.clear();
    EXPECT_EQ(reaf_ff_corr_info(), 0);
    EXPECT_EQ(console.lines().size(), 1U);
  }
}

TEST_F(FlatFieldTest, ItsBytesAreReadFromTheEmmcAndTheNodeIsClosed) {
  board.clear_trace();
  reaf_ff_corr_info();
  Lines calls;
  for (const boardsim::Call& call : board.trace()) {
    if (call.node == "/dev/mmcblk0p7" && call.name != "lseek") calls.push_back(call.text());
  }
  EXPECT_EQ(calls,
            (Lines{"open /dev/mmcblk0p7 = ok", "read /dev/mmcblk0p7 200 = 200", "close /dev/mmcblk0p7 = 0"}));
}

TEST_F(FlatFieldTest, TheSecondChecksumDoesNotMatter) {
  Bytes record = flat_field();
  put(record, 8, 0x12345678);
  board->emmc.set_bytes(kFlatField, record);
  EXPECT_EQ(reaf_ff_corr_info(), 0);
}

TEST_F(FlatFieldTest, TheLengthDoesNotMatter) {
  for (const std::uint32_t length : {0U, 1U, 0x80000000U}) {
    Bytes record = flat_field();
    put(record, 12, length);
    board->emmc.set_bytes(kFlatField, record);
    EXPECT_EQ(reaf_ff_corr_info(), 0) << length;
  }
}

TEST_F(FlatFieldTest, ARecordWithAnotherMagicIsInvalid) {
  Bytes record = flat_field();
  put(record, 0, 0x12345678);
  board->emmc.set_bytes(kFlatField, record);
  EXPECT_EQ(reaf_ff_corr_info(), -1);
  EXPECT_EQ(console.out(), "magic_num[0x12345678] of ff corr info is invalid\n");
}

TEST_F(FlatFieldTest, AMagicInTheOtherByteOrderIsInvalid) {
  Bytes record = flat_field();
  put(record, 0, 0x4E515A56);
  board->emmc.set_bytes(kFlatField, record);
  EXPECT_EQ(reaf_ff_corr_info(), -1);
  EXPECT_EQ(console.out(), "magic_num[0x4e515a56] of ff corr info is invalid\n");
}

TEST_F(FlatFieldTest, ARecordThatWasNeverWrittenIsInvalid) {
  board.fault("record flat-field none");
  EXPECT_EQ(reaf_ff_corr_info(), -1);
  EXPECT_EQ(console.out(), "magic_num[0xffffffff] of ff corr info is invalid\n");
}

TEST_F(FlatFieldTest, ARecordThatCannotBeReadCountsAsZeros) {
  board.fault("read /dev/mmcblk0p7");
  EXPECT_EQ(reaf_ff_corr_info(), -1);
  EXPECT_EQ(console.out(), "magic_num[0] of ff corr info is invalid\n");
  EXPECT_EQ(console.err(), "read: /dev/mmcblk0p7 error: 5 \n");
}

TEST_F(FlatFieldTest, APartitionThatCannotBeOpenedCountsAsZeros) {
  board.fault("open /dev/mmcblk0p7 ENODEV");
  EXPECT_EQ(reaf_ff_corr_info(), -1);
  EXPECT_EQ(console.out(), "magic_num[0] of ff corr info is invalid\n");
  EXPECT_EQ(console.err(), "open: /dev/mmcblk0p7 error: 19 \n");
}

TEST_F(FlatFieldTest, ARecordWhoseReadIsCutShortIsJudgedByWhatCame) {
  board->emmc.set_bytes(kFlatField, flat_field());
  board.fault("read /dev/mmcblk0p7 short 199");
  EXPECT_EQ(reaf_ff_corr_info(), -1) << "its last byte is 0";
  const std::uint32_t whole = sum(flat_field());
  EXPECT_EQ(console.out(),
            "check_sum_1 on flash is " + hex_of(whole) + ", actual is " + hex_of(whole - 0xFF) + "\n");
}

TEST_F(FlatFieldTest, AWrongChecksumIsShownBesideTheRightOne) {
  Bytes record = flat_field();
  put(record, 4, 0xCAFE);
  board->emmc.set_bytes(kFlatField, record);
  EXPECT_EQ(reaf_ff_corr_info(), -1);
  EXPECT_EQ(console.out(), "check_sum_1 on flash is 0xcafe, actual is " + hex_of(sum(record)) + "\n");
}

TEST_F(FlatFieldTest, AChecksumOf0IsShownWithoutItsPrefix) {
  Bytes record(200);
  put(record, 0, kMagic);
  put(record, 4, 1);
  board->emmc.set_bytes(kFlatField, record);
  EXPECT_EQ(reaf_ff_corr_info(), -1);
  EXPECT_EQ(console.out(), "check_sum_1 on flash is 0x1, actual is 0\n");
}

TEST_F(FlatFieldTest, EachByteFrom16To199IsGuardedByTheChecksum) {
  const Bytes valid = flat_field();
  const std::string stored = hex_of(sum(valid));
  for (std::size_t byte = 16; byte < 200; ++byte) {
    SCOPED_TRACE(byte);
    Bytes record = valid;
    record[byte] ^= 0x10;
    board->emmc.set_bytes(kFlatField, record);
    console.clear();
    EXPECT_EQ(reaf_ff_corr_info(), -1);
    EXPECT_EQ(console.out(),
              "check_sum_1 on flash is " + stored + ", actual is " + hex_of(sum(record)) + "\n");
  }
}

TEST_F(FlatFieldTest, BytesBehindTheRecordDoNotMatter) {
  board->emmc.set_bytes(kFlatField, flat_field());
  board->emmc.set_bytes(kFlatField + 200, Bytes(100, 0x55));
  EXPECT_EQ(reaf_ff_corr_info(), 0);
}

TEST_F(FlatFieldTest, ARecordOnTheFlashIsNotLookedFor) {
  board->flash.set_bytes(19 * 0x10000, flat_field());
  board.fault("record flat-field none");
  EXPECT_EQ(reaf_ff_corr_info(), -1) << "records are read from the eMMC on every board";
}

TEST_F(FlatFieldTest, AValidRecordPasses) {
  board->emmc.set_bytes(kFlatField, flat_field());
  t1_sdk_check_ff_corr();
  EXPECT_EQ(console.out(), std::string("t1_sdk_check_ff_corr\n") + kFlatFieldLine);
  EXPECT_EQ(console.err(), "");
  expect_flat_field("Pass");
}

TEST_F(FlatFieldTest, AnInvalidMagicFailsAndTheDescriptionStillSaysSuccess) {
  board.fault("record flat-field none");
  t1_sdk_check_ff_corr();
  EXPECT_EQ(console.out(),
            "t1_sdk_check_ff_corr\nmagic_num[0xffffffff] of ff corr info is invalid\nfail num = 1\n");
  expect_flat_field("Fail");
}

TEST_F(FlatFieldTest, AWrongChecksumFailsAndTheDescriptionStillSaysSuccess) {
  Bytes record = flat_field();
  put(record, 4, 0xCAFE);
  board->emmc.set_bytes(kFlatField, record);
  t1_sdk_check_ff_corr();
  EXPECT_EQ(console.out(), "t1_sdk_check_ff_corr\ncheck_sum_1 on flash is 0xcafe, actual is " +
                               hex_of(sum(record)) + "\nfail num = 1\n");
  expect_flat_field("Fail");
}

TEST_F(FlatFieldTest, ARecordThatCannotBeReadFails) {
  board.fault("read /dev/mmcblk0p7");
  t1_sdk_check_ff_corr();
  expect_flat_field("Fail");
}

TEST_F(FlatFieldTest, TheFactorysRecordPassesOnEveryFamily) {
  for (const boardsim::Family& family : boardsim::families()) {
    SCOPED_TRACE(std::string(family.name));
    with_family(family.name);
    station.forget();
    t1_sdk_check_ff_corr();
    expect_flat_field("Pass");
  }
}

// ---- dead pixels -----------------------------------------------------------------------------------

class DeadPixelTest : public CorrectionTest {};

TEST_F(DeadPixelTest, TheFactorysRecordIsValid) {
  EXPECT_EQ(check_camera_dpi(), 0);
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(console.err(), "");
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

TEST_F(DeadPixelTest, AWrongChecksumDoesNotMatter) {
  board.fault("record dead-pixels checksum");
  EXPECT_EQ(check_camera_dpi(), 0);
}

TEST_F(DeadPixelTest, ItsBytesAreReadFromTheEmmcAndTheNodeIsClosed) {
  board.clear_trace();
  check_camera_dpi();
  Lines calls;
  for (const boardsim::Call& call : board.trace()) {
    if (call.node == "/dev/mmcblk0p7" && call.name != "lseek") calls.push_back(call.text());
  }
  EXPECT_EQ(calls, (Lines{"open /dev/mmcblk0p7 = ok", "read /dev/mmcblk0p7 4112 = 4112",
                          "close /dev/mmcblk0p7 = 0"}));
}

TEST_F(DeadPixelTest, ARecordWithAnotherMagicIsInvalid) {
  Bytes record(4112);
  put(record, 0, 0x12ABCDEF);
  board->emmc.set_bytes(kDeadPixels, record);
  EXPECT_EQ(check_camera_dpi(), -1);
  EXPECT_EQ(console.out(), "dpi magic = 12abcdef error\n");
}

TEST_F(DeadPixelTest, ARecordThatWasNeverWrittenIsInvalid) {
  board.fault("record dead-pixels none");
  EXPECT_EQ(check_camera_dpi(), -1);
  EXPECT_EQ(console.out(), "dpi magic = ffffffff error\n");
}

TEST_F(DeadPixelTest, AMagicOf0IsInvalid) {
  board->emmc.set_bytes(kDeadPixels, Bytes(4112));
  EXPECT_EQ(check_camera_dpi(), -1);
  EXPECT_EQ(console.out(), "dpi magic = 0 error\n");
}

TEST_F(DeadPixelTest, AFailedReadIsReportedWithItsResult) {
  board.fault("read /dev/mmcblk0p7");
  EXPECT_EQ(check_camera_dpi(), -1);
  EXPECT_EQ(console.out(), "read dpi error = -1\n");
  EXPECT_EQ(console.err(), "read: /dev/mmcblk0p7 error: 5 \n");
}

TEST_F(DeadPixelTest, AReadThatIsCutShortIsReported) {
  board.fault("read /dev/mmcblk0p7 short 4111");
  EXPECT_EQ(check_camera_dpi(), -1);
  EXPECT_EQ(console.out(), "read dpi error = -1\n");
}

TEST_F(DeadPixelTest, APartitionThatCannotBeOpenedIsReported) {
  board.fault("open /dev/mmcblk0p7 ENODEV");
  EXPECT_EQ(check_camera_dpi(), -1);
  EXPECT_EQ(console.out(), "read dpi error = -1\n");
  EXPECT_EQ(console.err(), "open: /dev/mmcblk0p7 error: 19 \n");
}

TEST_F(DeadPixelTest, ARecordOnTheFlashIsNotLookedFor) {
  Bytes record(4112);
  put(record, 0, kMagic);
  board->flash.set_bytes(21 * 0x10000 + 0x8000, record);
  board.fault("record dead-pixels none");
  EXPECT_EQ(check_camera_dpi(), -1) << "records are read from the eMMC on every board";
}

TEST_F(DeadPixelTest, AValidRecordPasses) {
  t1_sdk_check_camera_dpi();
  EXPECT_EQ(console.out(), "t1_sdk_check_camera_dpi\n");
  EXPECT_EQ(console.err(), "");
  expect_dead_pixels("Pass");
}

TEST_F(DeadPixelTest, AnInvalidRecordFailsAndTheDescriptionStillSaysSuccess) {
  board.fault("record dead-pixels magic");
  t1_sdk_check_camera_dpi();
  const Lines lines = console.lines();
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[0], "t1_sdk_check_camera_dpi");
  EXPECT_EQ(lines[1].substr(0, 12), "dpi magic = ");
  EXPECT_EQ(lines[2], "fail num = 1");
  expect_dead_pixels("Fail");
}

TEST_F(DeadPixelTest, AFailedReadFailsAndTheDescriptionStillSaysSuccess) {
  board.fault("read /dev/mmcblk0p7");
  t1_sdk_check_camera_dpi();
  EXPECT_EQ(console.out(), "t1_sdk_check_camera_dpi\nread dpi error = -1\nfail num = 1\n");
  expect_dead_pixels("Fail");
}

TEST_F(DeadPixelTest, TheFactorysRecordPassesOnEveryFamily) {
  for (const boardsim::Family& family : boardsim::families()) {
    SCOPED_TRACE(std::string(family.name));
    with_family(family.name);
    station.forget();
    t1_sdk_check_camera_dpi();
    expect_dead_pixels("Pass");
  }
}

// ---- the records ---------------------------------------------------------------------------------------

TEST(CorrectionRecordTest, TheFlatFieldRecordHas200BytesInTheirOrder) {
  static_assert(sizeof(FF_CORR_INFO) == 200 && sizeof(VER_CTRL) == 8);
  static_assert(offsetof(FF_CORR_INFO, magic_num) == 0 && offsetof(FF_CORR_INFO, check_sum_1) == 4);
  static_assert(offsetof(FF_CORR_INFO, check_sum_2) == 8 && offsetof(FF_CORR_INFO, length) == 12);
  static_assert(offsetof(FF_CORR_INFO, ff_ver) == 16 && offsetof(FF_CORR_INFO, ff_time) == 24);
  static_assert(sizeof(FF_CORR_INFO::ff_time) == 44 && offsetof(FF_CORR_INFO, ff_feature) == 68);
  static_assert(offsetof(FF_CORR_INFO, ff_flat_amp) == 72 && offsetof(FF_CORR_INFO, res2) == 76);
  static_assert(offsetof(VER_CTRL, main_ver) == 0 && offsetof(VER_CTRL, sub_ver) == 1);
  static_assert(offsetof(VER_CTRL, mod_ver) == 2 && offsetof(VER_CTRL, year) == 3);
  static_assert(offsetof(VER_CTRL, month) == 4 && offsetof(VER_CTRL, day) == 5);
}

TEST(CorrectionRecordTest, TheDeadPixelRecordHas4112BytesInTheirOrder) {
  static_assert(sizeof(PIXEL_SAVE_CFG) == 4112 && sizeof(DEAD_PIXEL_CFG) == 4100 && sizeof(DEAD_PIXEL) == 8);
  static_assert(offsetof(PIXEL_SAVE_CFG, magicNumber) == 0 && offsetof(PIXEL_SAVE_CFG, Checksum) == 4);
  static_assert(offsetof(PIXEL_SAVE_CFG, Length) == 8 && offsetof(PIXEL_SAVE_CFG, dead_fixels) == 12);
  static_assert(offsetof(DEAD_PIXEL_CFG, dpi_num) == 0 && offsetof(DEAD_PIXEL_CFG, dpi_info) == 4);
  static_assert(offsetof(DEAD_PIXEL, x_co) == 0 && offsetof(DEAD_PIXEL, y_co) == 4);
}

}  // namespace
