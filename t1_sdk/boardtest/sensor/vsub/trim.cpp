#include "t1_sdk/boardtest/sensor/vsub/trim.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "t1_sdk/boardtest/platform/factory_store.h"
#include "t1_sdk/boardtest/platform/node.h"
#include "t1_sdk/boardtest/platform/registers.h"
#include "t1_sdk/boardtest/protocol/report.h"
#include "t1_sdk/boardtest/sensor/vsub/models.h"
#include "t1_sdk/boardtest/sensor/vsub/output.h"
#include "t1_sdk/boardtest/sensor/vsub/records.h"
#include "t1_sdk/boardtest/sensor/vsub/vsub.h"
#include "t1_sdk/util/descriptor.h"

using namespace boardtest;

int g_trim_vsub[3];
int g_base_vsub[3];

namespace {

constexpr unsigned kLowestCode = 0xA00;
constexpr unsigned kHighestCode = 0xAFF;
constexpr unsigned kTrimSwitch = 0xD1;  // FPGA register

constexpr int kFailure = 2;  // every failure of a trim command

int* slot_of(int (&codes)[3], int dev) {
  const CcdModel* const model = ccd_model(dev);
  return model == nullptr || model->slot == CcdModel::kNoSlot ? nullptr : &codes[model->slot];
}

/// What a trim command works on, once it is ready.
struct Trim {
  int dev;
  int range;
  int* current;
  int* base;
  int fpga;
};

/// Loads both slots from the store.
void load_base(const Trim& trim, TestReport& report) {
  const auto read = [](std::uint32_t* words, unsigned size) {
    return emmc_read_dev_info(kVsubBlock, kVsubOffset, reinterpret_cast<char*>(words), size);
  };
  std::uint32_t real = 0;
  int result = read(&real, sizeof real);
  if (result < 0) {
    std::printf("read vsub error = %d\n", result);
    return report.fail(kFailure, "read vsub error");
  }
  // The second word has no address of its own on the eMMC: it is read with the first.
  std::uint32_t words[2] = {};
  result = read(words, sizeof words);
  if (result < 0) {
    std::printf("read vsub2 error = %d\n", result);
    return report.fail(kFailure, "read vsub2 error");
  }
  std::printf("vsub = 0x%x\n", words[1]);
  if (real < kLowestCode || real > kHighestCode) {
    std::printf("vsub value error = 0x%x\n", real);
    return report.fail(kFailure, "vsub value error");
  }
  *trim.base = static_cast<int>(words[1]);
  *trim.current = *trim.base;
}

/// A failure whose line has no end.
void fail_without_line_end(TestReport& report, const char* text) {
  std::fputs(text, stdout);
  report.fail(kFailure, text);
}

/// Stores the trimmed code and reads the record back.
void save(const Trim& trim, VSUB_DATA& record, TestReport& report) {
  record.realVsub = static_cast<std::uint32_t>(*trim.current);
  record.originalVsub = static_cast<std::uint32_t>(*trim.base);
  find_vusb_voltage(&record, trim.dev);
  int result = writeVsubData(&record);
  if (result < 0) {
    std::printf("Save vsub to flash error = %d\n", result);
    return report.fail(kFailure, "Save vsub to flash error");
  }
  record = VSUB_DATA{};
  result = readVsubData(&record);
  if (result < 0) {
    std::printf("Read vsub from flash error = %d\n", result);
    return report.fail(kFailure, "Read vsub from flash error");
  }
}

/// Changes the code by `change`, unless that would pass the limit on that side. The code is shown, applied
/// and stored either way.
void step(const Trim& trim, int change, TestReport& report) {
  std::printf("只能微调上下%d档\n", trim.range);
  const long long next = static_cast<long long>(*trim.current) + change;
  const long long from_base = next - *trim.base;
  if (change < 0 ? from_base >= -trim.range : from_base <= trim.range) *trim.current = static_cast<int>(next);
  set_fpga(trim.fpga, kTrimSwitch, 1);
  std::printf("after trim vsub: 0x%x\n", static_cast<unsigned>(*trim.current));
  setVsubToFpga(*trim.current);
  VSUB_DATA record{};
  save(trim, record, report);
}

void add(const Trim& trim, TestReport& report) {
  step(trim, -1, report);
}

void dec(const Trim& trim, TestReport& report) {
  step(trim, +1, report);
}

void save_trim(const Trim& trim, TestReport& report) {
  VSUB_DATA record{};
  save(trim, record, report);
  if (report.passed()) std::printf("success trim vsub success: 0x%x\n", record.realVsub);
}

using Command = void (*)(const Trim& trim, TestReport& report);

void run_on_board(int dev, Command command, TestReport& report) {
  const CcdModel* const model = ccd_model(dev);
  if (model == nullptr || model->trim_range == 0) {
    std::printf("error type dev: %d\n", dev);
    return report.fail(kFailure, "error type dev");
  }
  int* const current = t1_sdk_get_trim_vsub(dev);
  if (current == nullptr) return fail_without_line_end(report, "t1_sdk_get_trim_vsub error");
  int* const base = t1_sdk_get_base_vsub(dev);
  if (base == nullptr) return fail_without_line_end(report, "t1_sdk_get_base_vsub error");
  const Descriptor fpga(open_node("/dev/fpga"));
  if (fpga.get() < 0) return report.fail(kFailure, "Open fpgaFd error");
  const Trim trim{dev, model->trim_range, current, base, fpga.get()};
  if (*base == 0) load_base(trim, report);
  if (!report.passed()) return;
  command(trim, report);
  set_fpga(fpga.get(), kTrimSwitch, 0);
}

void run(const char* name, int dev, int testCode, Command command) {
  std::puts(name);
  TestReport report(testCode, "微调sub电压");
  run_on_board(dev, command, report);
  report.send();
}

}  // namespace

int* t1_sdk_get_trim_vsub(int dev) {
  return slot_of(g_trim_vsub, dev);
}

int* t1_sdk_get_base_vsub(int dev) {
  return slot_of(g_base_vsub, dev);
}

void t1_sdk_reset_trim_vsub() {
  std::fill(std::begin(g_trim_vsub), std::end(g_trim_vsub), 0);
  std::fill(std::begin(g_base_vsub), std::end(g_base_vsub), 0);
}

void t1_sdk_add_trim_vsub(int dev, int iTestCode) {
  run("t1_sdk_add_trim_vsub", dev, iTestCode, add);
}

void t1_sdk_dec_trim_vsub(int dev, int iTestCode) {
  run("t1_sdk_dec_trim_vsub", dev, iTestCode, dec);
}

void t1_sdk_save_trim_vsub(int dev, int iTestCode) {
  run("t1_sdk_save_trim_vsub", dev, iTestCode, save_trim);
}
