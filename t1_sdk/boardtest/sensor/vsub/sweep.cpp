#include "t1_sdk/boardtest/sensor/vsub/sweep.h"

#include <unistd.h>
#include <cstdio>
#include <utility>

#include "t1_sdk/boardtest/platform/app_channel.h"
#include "t1_sdk/boardtest/platform/device_type.h"
#include "t1_sdk/boardtest/platform/node.h"
#include "t1_sdk/boardtest/platform/registers.h"
#include "t1_sdk/boardtest/protocol/report.h"
#include "t1_sdk/boardtest/sensor/vsub/models.h"
#include "t1_sdk/boardtest/sensor/vsub/output.h"
#include "t1_sdk/boardtest/sensor/vsub/records.h"
#include "t1_sdk/boardtest/sensor/vsub/vsub.h"
#include "t1_sdk/util/descriptor.h"

using namespace boardtest;

namespace {

constexpr unsigned kReadings = 19;
constexpr unsigned kCodeStep = 2;
constexpr unsigned kBelowStoredCode = 18;
constexpr unsigned kNoCode = 0xFFFF;
constexpr useconds_t kSettle = 200000;

constexpr unsigned kLuma = 0xB0;  // FPGA register

struct Nodes {
  Descriptor fpga;
  Descriptor timing_generator;
};

void prepare_sensor(const Nodes& nodes) {
  enableAPPCMD(kAppSensorUse, 0);
  usleep(50000);
  set_afe(nodes.timing_generator.get(), 4, 2);
  set_afe(nodes.timing_generator.get(), 5, 0);
  set_afe(nodes.timing_generator.get(), 6, 0);
  set_fpga(nodes.fpga.get(), 0x80, 0);
  set_fpga(nodes.fpga.get(), 0x2000, 0);
  set_fpga(nodes.fpga.get(), 0xD0, 1);
}

void release_sensor(const Nodes& nodes) {
  enableAPPCMD(kAppSensorUse, 1);
  set_fpga(nodes.fpga.get(), 0xD0, 0);
  set_afe(nodes.timing_generator.get(), 4, 3);
}

std::uint32_t read_luma(const Nodes& nodes) {
  usleep(kSettle);
  unsigned luma = 0;
  get_fpga(nodes.fpga.get(), kLuma, &luma);
  return luma;
}

bool are_open(const Nodes& nodes) {
  return nodes.fpga.get() >= 0 && nodes.timing_generator.get() >= 0;
}

/// Both nodes, or the first failure printed.
Nodes open_nodes() {
  Descriptor fpga(open_node("/dev/fpga"));
  Descriptor timing_generator(fpga.get() < 0 ? -1 : open_node("/dev/tg"));
  return {std::move(fpga), std::move(timing_generator)};
}

/// Stores the pairs and reads them back, which no eMMC can do. False after telling which of both failed.
bool store(VSUB_LUMA_DATA& pairs, const char* write_failed) {
  int result = writeVsubLumaData(&pairs);
  if (result < 0) {
    std::printf("%s error ret = %d\n", write_failed, result);
    return false;
  }
  result = readVsubLumaData(&pairs);
  if (result < 0) std::printf("read vsub luma from flash error ret = %d\n", result);
  return result >= 0;
}

void sweep_for(int model) {
  if (ccd_model(model) != nullptr) {
    SetVsubGetLuma();
  } else {
    SetNonVsubGetLuma();
  }
}

void level(TestReport& report) {
  const Descriptor node(open_io("open /dev/qznio error."));
  if (node.get() < 0) return report.fail(1, "open /dev/qznio error");
  boot_parms board;
  const int result = request_boot_parms(node.get(), board);
  if (result != 0) {
    std::printf("ioctl error,ret = %d\n", result);
    return report.fail(2, "ioctl error");
  }
  sweep_for(getDevType(board));
}

}  // namespace

void t1_sdk_autoCCDLevel() {
  std::puts("t1_sdk_autoCCDLevel");
  TestReport report(0x2E00, "微调sub电压");
  level(report);
  report.send();
}

void SetVsubGetLuma() {
  const Nodes nodes = open_nodes();
  if (!are_open(nodes)) return;
  VSUB_DATA stored{};
  const int result = readVsubData(&stored);
  if (result < 0) {
    std::printf("Read vsub from flash error ret = %d\n", result);
    return;
  }
  std::printf("flash vsub: 0x%x\n", stored.realVsub);
  VSUB_LUMA_DATA pairs{};
  pairs.vsubNumber = kReadings;
  prepare_sensor(nodes);
  std::uint32_t code = stored.realVsub - kBelowStoredCode;
  for (unsigned i = 0; i < kReadings; ++i) {
    setVsubToFpga(static_cast<int>(code));
    pairs.vsubGroup[i] = {code, read_luma(nodes)};
    code += kCodeStep;
  }
  if (store(pairs, "write vsub luma to flash")) {
    std::printf("vsub_luma pair number: %d\n", static_cast<int>(pairs.vsubNumber));
  }
  release_sensor(nodes);
}

void SetNonVsubGetLuma() {
  const Nodes nodes = open_nodes();
  if (!are_open(nodes)) return;
  VSUB_LUMA_DATA pairs{};
  pairs.vsubNumber = kReadings;
  prepare_sensor(nodes);
  for (unsigned i = 0; i < kReadings; ++i) pairs.vsubGroup[i] = {kNoCode, read_luma(nodes)};
  if (store(pairs, "write luma to flash")) {
    std::printf("luma pair number: %d\n", static_cast<int>(pairs.vsubNumber));
  }
  release_sensor(nodes);
}
