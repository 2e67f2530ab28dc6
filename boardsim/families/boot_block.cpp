// The boot block that a factory would leave on a board.
#include "boardsim/families/boot_block.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace boardsim {
namespace {

// clang-format off
enum Offset : std::size_t {
  kMagic = 0, kLength = 8, kLanguage = 16, kDeviceClass = 20, kTypeHigh = 28, kEncodeChannels = 44,
  kIpcChannels = 48, kAlarmInputs = 52, kMacs = 53, kProductionDate = 65, kProductionNumber = 73, kCpuFrequency = 83,
  kAudioIn = 86, kSensorType = 87, kUsbPorts = 88, kReset = 89, kAlarmOutputs = 90, kSensorVersion = 91,
  kAudioOut = 92, kFpgaType = 95, kFpgaVersion = 96, kInfrared = 97, kTypeLow = 100, kIrCut = 102,
  kLoaderAddress = 104, kLoaderSize = 108, kModel = 128, kWriteDate = 192,
};
// clang-format on

void put(BootBlock& block, std::size_t offset, std::size_t size, std::uint32_t value) {
  for (std::size_t i = 0; i < size; ++i) block[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
}

void put(BootBlock& block, std::size_t offset, std::string_view text) {
  std::memcpy(block.data() + offset, text.data(), text.size());
}

}  // namespace

BootBlock make_boot_block(const Family& family) {
  BootBlock block{};
  put(block, kMagic, 4, 0x544F4F42);  // "BOOT"
  put(block, kLength, 4, static_cast<std::uint32_t>(block.size()));
  put(block, kLanguage, 4, 2);
  put(block, kDeviceClass, 4, 1);
  put(block, kEncodeChannels, 2, 1);
  put(block, kIpcChannels, 2, 1);
  put(block, kAlarmInputs, 1, 4);
  for (std::size_t i = 0; i < 2; ++i) {
    // Locally administered, so they can belong to no real device.
    const std::uint8_t mac[6] = {0x02, 0x00, 0x00, 0x5E, 0x10, static_cast<std::uint8_t>(i + 1)};
    std::ranges::copy(mac, block.begin() + kMacs + 6 * static_cast<std::ptrdiff_t>(i));
  }
  put(block, kProductionDate, "20240517");
  put(block, kProductionNumber, "000000042");
  put(block, kCpuFrequency, 1, 60);
  put(block, kAudioIn, 1, 1);
  put(block, kSensorType, 1, 3);
  put(block, kUsbPorts, 1, 1);
  put(block, kReset, 1, 1);
  put(block, kSensorVersion, 1, 1);
  put(block, kAudioOut, 1, 1);
  put(block, kFpgaType, 1, 2);
  put(block, kFpgaVersion, 1, 1);
  put(block, kInfrared, 1, 1);
  put(block, kIrCut, 1, 1);
  put(block, kLoaderAddress, 4, 0x80008000);
  put(block, kLoaderSize, 4, 0x40000);
  put(block, kModel, "SIMULATED-");
  put(block, kModel + std::strlen("SIMULATED-"), family.name);
  put(block, kWriteDate, "20240517");
  set_boot_type(block, family.type);
  set_boot_alarm_outputs(block, family.alarm_outputs);
  return block;
}

void set_boot_type(BootBlock& block, std::uint32_t code) {
  put(block, kTypeHigh, 2, code >> 16);
  put(block, kTypeLow, 2, code & 0xFFFF);
}

std::uint32_t boot_type(const BootBlock& block) {
  const auto half = [&block](std::size_t offset) {
    return std::uint32_t{block[offset]} | std::uint32_t{block[offset + 1]} << 8;
  };
  return half(kTypeHigh) << 16 | half(kTypeLow);
}

unsigned boot_alarm_outputs(const BootBlock& block) {
  return block[kAlarmOutputs];
}

void set_boot_alarm_outputs(BootBlock& block, std::uint8_t count) {
  block[kAlarmOutputs] = count;
}

}  // namespace boardsim
