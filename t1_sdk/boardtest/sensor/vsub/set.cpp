#include "t1_sdk/boardtest/sensor/vsub/set.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iterator>

#include "t1_sdk/boardtest/platform/factory_store.h"
#include "t1_sdk/boardtest/protocol/report.h"
#include "t1_sdk/boardtest/sensor/vsub/models.h"
#include "t1_sdk/boardtest/sensor/vsub/output.h"
#include "t1_sdk/boardtest/sensor/vsub/records.h"
#include "t1_sdk/boardtest/sensor/vsub/vsub.h"

using namespace boardtest;

int g_sub_value = 0;

namespace {

// The first two words of the record.
constexpr unsigned kRealVsub = kVsubOffset;
constexpr unsigned kOriginalVsub = kVsubOffset + 4;

bool store(unsigned offset, int code) {
  return flash_save_dev_info(kVsubBlock, offset, reinterpret_cast<char*>(&code), sizeof code) >= 0;
}

void set_vsub(int devType, TestReport& report) {
  if (g_sub_value == 0) return report.fail_aloud(1, "g_sub_value error");
  int code = t1_sdk_vsub_code_to_regval(devType, g_sub_value);
  if (code == -1) return report.fail_aloud(2, "vsub_code_to_regval error");
  if (!store(kRealVsub, code)) {
    std::printf("Save vsub to flash error = %d\n", errno);
    return report.fail(3, "Save vsub to flash error");
  }
  if (!store(kOriginalVsub, code)) {
    std::printf("Save vsub2 to flash error = %d\n", errno);
    return report.fail(4, "Save vsub2 to flash error");
  }
  if (emmc_read_dev_info(kVsubBlock, kRealVsub, reinterpret_cast<char*>(&code), sizeof code) < 0) {
    std::printf("Read vsub from flash error = %d\n", errno);
    return report.fail(5, "Read vsub from flash error");
  }
  std::printf("您输入的数字为 0x%0x \n", static_cast<unsigned>(code));
  setVsubToFpga(code);
}

/// Each line goes to the console and into the description, where it takes the place of the one before.
void show_pairs(const VSUB_LUMA_DATA& luma, TestReport& report) {
  std::printf("vsub group num: %d\n", static_cast<int>(luma.vsubNumber));
  const std::size_t pairs = std::min<std::size_t>(luma.vsubNumber, std::size(luma.vsubGroup));
  for (std::size_t i = 0; i < pairs; ++i) {
    char line[64];
    std::snprintf(line, sizeof line, "sub: 0x%x, luma: %d\n", luma.vsubGroup[i].vsubValue,
                  static_cast<int>(luma.vsubGroup[i].luma));
    std::fputs(line, stdout);
    report.describe(line);
  }
}

void show_vsub(TestReport& report) {
  VSUB_DATA data{};
  int result = readVsubData(&data);
  if (result < 0) {
    std::printf("Read vsub from flash error ret = %d\n", result);
    return report.fail(2, "Read vsub from flash error");
  }
  char line[128];
  std::snprintf(line, sizeof line, "real vsub: 0x%x, original vsub: 0x%x, original voltage: %.8s\n",
                data.realVsub, data.originalVsub, data.voltage);
  std::puts(line);  // an empty line follows
  report.describe(line);

  VSUB_LUMA_DATA luma{};
  result = readVsubLumaData(&luma);
  if (result < 0) {
    std::printf("read vsub luma from flash error ret = %d\n", result);
    return report.fail(2, "read vsub luma from flash error");
  }
  show_pairs(luma, report);
}

}  // namespace

void t1_sdk_vsub_set(int devType, int iTestCode) {
  std::puts("t1_sdk_vsub_set");
  TestReport report(iTestCode, "设置vsub电压值", "设置成功");
  std::printf("g_sub_value = %d\n", g_sub_value);
  set_vsub(devType, report);
  g_sub_value = 0;
  report.send();
}

void t1_sdk_printVsub() {
  std::puts("t1_sdk_printVsub");
  TestReport report(0x2F00, "微调sub电压");
  show_vsub(report);
  report.send();
}
