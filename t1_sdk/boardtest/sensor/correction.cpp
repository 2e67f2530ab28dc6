#include "t1_sdk/boardtest/sensor/correction.h"

#include <cstdio>

#include "t1_sdk/boardtest/platform/factory_store.h"
#include "t1_sdk/boardtest/protocol/report.h"
#include "t1_sdk/util/checksum.h"

using namespace boardtest;

namespace {

/// What is too large wraps around.
int wrapping_sum(std::int32_t a, std::int32_t b) {
  return static_cast<int>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
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
  const VER_CTRL& version = info.ff_ver;
  const StoredTime& built = info.ff_time;  // what no clock shows is printed as it stands
  std::printf("ff_ver: V%d.%d.%d %02d-%02d-%02d, build at %d-%02d-%02d %02d:%02d, used state: unkown\n",
              version.main_ver, version.sub_ver, version.mod_ver, version.year, version.month, version.day,
              wrapping_sum(built.year, 1900), wrapping_sum(built.mon, 1), built.mday, built.hour, built.min);
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
