// The tests that store the timing generator's parameters and show them.
#include "t1_sdk/boardtest/sensor/timing_generator/timing_generator.h"

#include <cstdio>
#include <cstring>

#include "t1_sdk/boardtest/platform/factory_store.h"
#include "t1_sdk/boardtest/protocol/report.h"
#include "t1_sdk/boardtest/sensor/timing_generator/file.h"
#include "t1_sdk/boardtest/sensor/timing_generator/record.h"

using namespace boardtest;

namespace {

/// The listing in the description: whole lines only, with room kept for the line feed that ends it.
class Listing {
 public:
  /// Adds a line when it fits and no line before it was left out.
  void add(const char* line) {
    const std::size_t length = std::strlen(line);
    full_ = full_ || used_ + length + std::strlen("\n") >= sizeof text_;
    if (full_) return;
    std::memcpy(text_ + used_, line, length);
    used_ += length;
  }
  const char* end() {
    text_[used_] = '\n';
    return text_;
  }

 private:
  char text_[kDescriptionSize] = {};
  std::size_t used_ = 0;
  bool full_ = false;
};

void list_pairs(const tg_data_cen& record, TestReport& report) {
  Listing listing;
  char line[128];
  const int count = static_cast<int>(record.tgNum);
  std::printf("TG param OK. num = [%d] TGVer[%x]\n", count, record.fpgaTgVer);
  std::snprintf(line, sizeof line, "\nTG param OK. num = [%d] TGVer[%x]\n\n", count, record.fpgaTgVer);
  listing.add(line);
  for (int i = 0; i < count; ++i) {
    const reg_pair_time& pair = record.tgPairs[i];
    std::snprintf(line, sizeof line, "{0x%08x, 0x%08x} [%dus]\n", pair.addr, pair.value,
                  static_cast<int>(pair.delay_time));
    std::fputs(line, stdout);
    listing.add(line);
  }
  report.describe(listing.end());
}

void store_file(TestReport& report) {
  tg_data_cen record{};
  int result = getTgFromFile(&record);
  if (result < 0) {
    std::printf("读取文件失败.ret=%d\n", result);
    return report.fail(result, "读取TG文件失败");
  }
  std::printf("读取文件成功.ret=%d\n", result);
  result = flash_save_dev_info(kTgBlock, kTgOffset, reinterpret_cast<char*>(&record), sizeof record);
  if (result < 0) {
    std::printf("保存失败.ret=%d\n", result);
    return report.fail(result, "保存TG文件失败");
  }
  std::puts("保存成功.");
}

void show_record(TestReport& report) {
  tg_data_cen record{};
  const int result = read_tg_data(&record);
  if (result < 1) {
    std::printf("TG param ERROR. ret = %d\n", result);
    return report.fail(1, "TG param ERROR");
  }
  list_pairs(record, report);
}

}  // namespace

void t1_sdk_setTGParam() {
  std::puts("setTGParam");
  TestReport report(0x2900, "设置TG参数");
  store_file(report);
  report.send();
}

void t1_sdk_printTGParam() {
  std::puts("printTGParam");
  TestReport report(0x2A00, "显示TG参数");
  show_record(report);
  report.send();
}
