// The timing generator's stored record, and the tests that write and show it.
#include "t1_sdk/boardtest/sensor/tg_param.h"

#include <cstdio>
#include <cstring>

#include "t1_sdk/boardtest/platform/factory_store.h"
#include "t1_sdk/boardtest/protocol/report.h"
#include "t1_sdk/boardtest/sensor/tg_file.h"
#include "t1_sdk/util/checksum.h"

namespace {

constexpr unsigned kBlock = 19;
constexpr unsigned kOffset = 0xF800;

char* bytes_of(tg_data_cen& record) {
  return reinterpret_cast<char*>(&record);
}

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

}  // namespace

unsigned tg_checksum(tg_data_cen& record) {
  const auto pairs = static_cast<int>(record.tgNum * sizeof(reg_pair_time));
  constexpr int kHead = offsetof(tg_data_cen, tgPairs) - offsetof(tg_data_cen, tgNum);
  return static_cast<unsigned>(checkSum(bytes_of(record) + offsetof(tg_data_cen, tgNum), kHead + pairs));
}

int read_tg_data(tg_data_cen* tg) {
  if (tg == nullptr) return -10;
  const int result = emmc_read_dev_info(kBlock, kOffset, bytes_of(*tg), sizeof *tg);
  if (result < 0) return result;
  if (tg->magic != kRecordMagic) return -11;
  if (tg->tgNum > kMostTgPairs) return -12;
  if (tg->cs != tg_checksum(*tg)) return -13;
  return result;
}

void t1_sdk_setTGParam() {
  std::puts("setTGParam");
  TestReport report(0x2900, "设置TG参数");
  tg_data_cen record{};
  int result = getTgFromFile(&record);
  if (result < 0) {
    std::printf("读取文件失败.ret=%d\n", result);
    report.fail(result, "读取TG文件失败");
  } else {
    std::printf("读取文件成功.ret=%d\n", result);
    result = flash_save_dev_info(kBlock, kOffset, bytes_of(record), sizeof record);
    if (result < 0) {
      std::printf("保存失败.ret=%d\n", result);
      report.fail(result, "保存TG文件失败");
    } else {
      std::puts("保存成功.");
    }
  }
  report.send();
}

void t1_sdk_printTGParam() {
  std::puts("printTGParam");
  TestReport report(0x2A00, "显示TG参数");
  tg_data_cen record{};
  const int result = read_tg_data(&record);
  if (result < 1) {
    std::printf("TG param ERROR. ret = %d\n", result);
    report.fail(1, "TG param ERROR");
  } else {
    list_pairs(record, report);
  }
  report.send();
}
