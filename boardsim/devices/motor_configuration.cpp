#include "boardsim/devices/motor_configuration.h"

#include "boardsim/devices/records.h"

namespace boardsim {
namespace {

constexpr std::size_t kEntries = 16;
constexpr std::size_t kEntryWords = 10;
constexpr std::size_t kWords = 1 + kEntries * kEntryWords;
static_assert(kWords * sizeof(std::uint32_t) == 644);

/// Word of the chip in an entry: behind description, speed, unit of speed, step angle and pulses a second.
std::size_t chip_word(std::size_t entry) {
  return 1 + entry * kEntryWords + 5;
}

}  // namespace

bool is_motor_configuration(const void* record, std::size_t entry, MotorChip chip) {
  for (std::size_t i = 0; i < kWords; ++i) {
    std::size_t expected = 0;
    if (i == 0) expected = entry;
    if (i == chip_word(entry)) expected = static_cast<std::size_t>(chip);
    if (word(record, i) != expected) return false;
  }
  return true;
}

std::vector<std::uint32_t> motor_configuration_words(const void* record) {
  if (record == nullptr) return {};
  const std::uint32_t count = word(record, 0);
  const std::size_t chip = chip_word(count < kEntries ? count : 0);
  return {count, word(record, chip), word(record, chip + 1)};
}

}  // namespace boardsim
