// The configuration record of the motor drivers: a count and 16 entries of ten words, 644 bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace boardsim {

/// Chips that stand behind the motor drivers.
enum class MotorChip : std::uint32_t { iris = 3, filter = 7 };

/// Whether the record configures `chip` in `entry` as the drivers want it: that entry's number as count, type
/// 0, and 0 in every other word.
bool is_motor_configuration(const void* record, std::size_t entry, MotorChip chip);

/// What the trace shows of a configuration: the count, and chip and type of the entry that it names (of the
/// first when there is none of that number).
std::vector<std::uint32_t> motor_configuration_words(const void* record);

}  // namespace boardsim
