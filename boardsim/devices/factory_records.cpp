// The records byte by byte.
#include "boardsim/devices/factory_records.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace boardsim {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kRecordMagic = 0x565A514E;

constexpr std::size_t kVsubSize = 64;
constexpr std::size_t kTimingSize = 1580;
constexpr std::size_t kFlatFieldSize = 200;
constexpr std::size_t kDeadPixelsSize = 4112;

void put(std::span<std::uint8_t> record, std::size_t offset, std::uint32_t value) {
  for (std::size_t i = 0; i < 4; ++i) record[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
}

/// Words one after the other.
void put(std::span<std::uint8_t> record, std::size_t offset, std::initializer_list<std::uint32_t> values) {
  for (const std::uint32_t value : values) {
    put(record, offset, value);
    offset += 4;
  }
}

std::uint32_t sum(const Bytes& record, std::size_t begin, std::size_t end) {
  std::uint32_t total = 0;
  for (std::size_t i = begin; i < end; ++i) total += record[i];
  return total;
}

/// A table of two dead pixels: magic, checksum, length of the table, then the table.
Bytes dead_pixels(const Hardware& /*hardware*/) {
  Bytes record(kDeadPixelsSize);
  put(record, 0, {kRecordMagic, 0, kDeadPixelsSize - 12});
  put(record, 12, {2, 100, 200, 300, 400});
  put(record, 4, sum(record, 12, kDeadPixelsSize));
  return record;
}

/// A header: magic, two checksums, length, version, time of making, two features and 31 reserved words.
Bytes flat_field(const Hardware& /*hardware*/) {
  Bytes record(kFlatFieldSize);
  put(record, 0, {kRecordMagic, 0, 0, 0x1000});
  constexpr std::array<std::uint8_t, 8> kVersion{1, 2, 3, 24, 5, 17, 0, 0};  // V1.2.3 of 24-05-17
  std::ranges::copy(kVersion, record.begin() + 16);
  // 2024-05-17 08:30:00, a Friday, day 137 of its year counted from 0.
  put(record, 24, {0, 30, 8, 17, 4, 124, 5, 137, 0, 0, 0});
  for (std::uint32_t i = 0; i < 31; ++i) put(record, 76 + 4 * i, 3 * i);
  put(record, 4, sum(record, 16, kFlatFieldSize));
  return record;
}

/// Three register writes of address, value and delay: magic, count, version 1.2, 7 reserved words, the
/// writes.
Bytes timing(const Hardware& /*hardware*/) {
  Bytes record(kTimingSize);
  put(record, 0, {kRecordMagic, 3, 0x10002});
  put(record, 40, {0x10, 0x1, 0, 0x11, 0x22, 100, 0x2F, 0xABCD, 5000});
  put(record, 1576, sum(record, 4, 76));
  return record;
}

/// A substrate voltage: code in use, code before trimming, text of the voltage, magic, 5 reserved words,
/// checksum, 5 reserved words.
Bytes vsub(const Hardware& hardware) {
  Bytes record(kVsubSize);
  const bool is_6484 = hardware.vsub_of_6484;
  const std::uint32_t code = is_6484 ? 0xAB8 : 0xA86;
  put(record, 0, {code, code});
  std::memcpy(&record[8], is_6484 ? "9.5" : "7.6", 3);
  put(record, 16, kRecordMagic);
  put(record, 40, sum(record, 0, 40));
  return record;
}

// clang-format off
constexpr std::array<FactoryRecord, 4> kRecords{{
    // name        position size             magic checksum
    {"dead-pixels", 0x00000, kDeadPixelsSize, 0,    4,    dead_pixels},
    {"flat-field",  0x10000, kFlatFieldSize,  0,    4,    flat_field},
    {"timing",      0x20000, kTimingSize,     0,    1576, timing},
    {"vsub",        0x30000, kVsubSize,       16,   40,   vsub},
}};
// clang-format on

}  // namespace

std::span<const FactoryRecord> factory_records() {
  return kRecords;
}

const FactoryRecord* find_factory_record(std::string_view name) {
  const auto* found = std::ranges::find(kRecords, name, &FactoryRecord::name);
  return found == kRecords.end() ? nullptr : found;
}

void take_away(std::span<std::uint8_t> record) {
  std::ranges::fill(record, std::uint8_t{0xFF});
}

void spoil_magic(const FactoryRecord& kind, std::span<std::uint8_t> record) {
  put(record, kind.magic, ~kRecordMagic);
}

void spoil_checksum(const FactoryRecord& kind, std::span<std::uint8_t> record) {
  // No record has so many bytes that their sum could get there.
  put(record, kind.checksum, 0xFFFFFFFF);
}

}  // namespace boardsim
