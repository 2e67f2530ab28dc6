#include "t1_sdk/boardtest/sensor/correction.h"

#include <cstdio>
#include <ctime>

#include "t1_sdk/boardtest/platform/factory_store.h"
#include "t1_sdk/boardtest/protocol/report.h"
#include "t1_sdk/util/checksum.h"

using namespace boardtest;

namespace {

/// The build time as text. What no clock shows is formatted as it stands.
void format_time(const StoredTime& stored, char* text, std::size_t size) {
  std::tm time{};
  time.tm_sec = stored.sec;
  time.tm_min = stored.min;
  time.tm_hour = stored.hour;
  time.tm_mday = stored.mday;
  time.tm_mon = stored.mon;
  time.tm_year = stored.year;
  time.tm_wday = stored.wday;
  time.tm_yday = stored.yday;
  time.tm_isdst = stored.isdst;
  text[std::strftime(text, size, "%F %R", &time)] = '\0';  // nothing when it does not fit
}

/// The description says that the test succeeded whatever the check found: the console tells more.
void report_check(const char* entry, int testCode, const char* name, int (*check)()) {
  std::puts(entry);
  TestReport report(testCode, name);
  if (check() != 0) report.fail(1);
  report.send();
}

}  // namespace

int reaf_ff_corr_info() {
  FF_CORR_INFO info{};
  // A failed read shows in the magic.
  static_cast<void>(emmc_read_dev_info(19, 0, reinterpret_cast<char*>(&info), sizeof info));
  if (info.magic_num != kRecordMagic) {
    std::printf("magic_num[%#x] of ff corr info is invalid\n", info.magic_num);
    return -1;
  }
  constexpr int kSummed = sizeof info - offsetof(FF_CORR_INFO, ff_ver);
  const auto sum = static_cast<std::uint32_t>(checkSum(reinterpret_cast<char*>(&info.ff_ver), kSummed));
  if (sum != info.check_sum_1) {
    std::printf("check_sum_1 on flash is %#x, actual is %#x\n", info.check_sum_1, sum);
    return -1;
  }
  char built[64];
  format_time(info.ff_time, built, sizeof built);
  const VER_CTRL& version = info.ff_ver;
  std::printf("ff_ver: V%d.%d.%d %02d-%02d-%02d, build at %s, used state: unkown\n", version.main_ver,
              version.sub_ver, version.mod_ver, version.year, version.month, version.day, built);
  return 0;
}

int check_camera_dpi() {
  PIXEL_SAVE_CFG table{};
  const int result = emmc_read_dev_info(21, 0x8000, reinterpret_cast<char*>(&table), sizeof table);
  if (result < 0) {
    std::printf("read dpi error = %d\n", result);
    return -1;
  }
  if (table.magicNumber != kRecordMagic) {
    std::printf("dpi magic = %x error\n", table.magicNumber);
    return -1;
  }
  return 0;
}

void t1_sdk_check_camera_dpi() {
  report_check("t1_sdk_check_camera_dpi", 0x3500, "坏点校正", check_camera_dpi);
}

void t1_sdk_check_ff_corr() {
  report_check("t1_sdk_check_ff_corr", 0x3600, "平场校正", reaf_ff_corr_info);
}
