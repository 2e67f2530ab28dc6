// The sensor's correction records in the factory store: dead pixels and flat field.
#pragma once

#include <cstddef>
#include <cstdint>

/// Version and date.
struct VER_CTRL {
  std::uint8_t main_ver;
  std::uint8_t sub_ver;
  std::uint8_t mod_ver;
  std::uint8_t year;
  std::uint8_t month;
  std::uint8_t day;
  std::uint8_t res[2];
};
static_assert(sizeof(VER_CTRL) == 8);

namespace boardtest {

/// A broken-down time as the board's C library stores it; other machines' struct tm has other sizes.
struct StoredTime {
  std::int32_t sec, min, hour, mday, mon, year, wday, yday, isdst;
  std::int32_t gmtoff, zone;
};
static_assert(sizeof(StoredTime) == 44);

}  // namespace boardtest

/// The flat-field header, little-endian as the board is: block 19, offset 0.
struct FF_CORR_INFO {
  std::uint32_t magic_num;
  std::uint32_t check_sum_1;  ///< over offsets 16 to 199
  std::uint32_t check_sum_2;
  std::uint32_t length;
  VER_CTRL ff_ver;
  boardtest::StoredTime ff_time;
  std::uint32_t ff_feature;
  std::uint32_t ff_flat_amp;
  std::uint32_t res2[31];
};
static_assert(sizeof(FF_CORR_INFO) == 200 && offsetof(FF_CORR_INFO, ff_ver) == 16);
static_assert(offsetof(FF_CORR_INFO, ff_time) == 24 && offsetof(FF_CORR_INFO, ff_feature) == 68);
static_assert(offsetof(FF_CORR_INFO, res2) == 76);

/// Where one dead pixel is.
struct DEAD_PIXEL {
  std::uint32_t x_co;
  std::uint32_t y_co;
};

/// How many dead pixels are known, and which.
struct DEAD_PIXEL_CFG {
  std::uint32_t dpi_num;
  DEAD_PIXEL dpi_info[512];
};

/// The dead-pixel table: block 21, offset 0x8000.
struct PIXEL_SAVE_CFG {
  std::uint32_t magicNumber;
  std::uint32_t Checksum;
  std::uint32_t Length;
  DEAD_PIXEL_CFG dead_fixels;
};
static_assert(sizeof(PIXEL_SAVE_CFG) == 4112 && offsetof(PIXEL_SAVE_CFG, dead_fixels) == 12);

/// 0 when the flat-field record has its magic and checksum, -1 otherwise; prints what it found.
int reaf_ff_corr_info();
/// 0 when the dead-pixel record has its magic, -1 otherwise after one line of text.
int check_camera_dpi();

/// Test 13568: check_camera_dpi(). Code 1 when it fails; the description goes on saying that the test
/// succeeded.
void t1_sdk_check_camera_dpi();
/// Test 13824: reaf_ff_corr_info(). Fails in the same way.
void t1_sdk_check_ff_corr();
