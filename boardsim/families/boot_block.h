// The boot block: by it a program learns which board it runs on.
#pragma once

#include <array>
#include <cstdint>

#include "boardsim/families/families.h"

namespace boardsim {

/// What the general I/O driver copies out as boot parameters: little-endian, packed.
using BootBlock = std::array<std::uint8_t, 256>;

/// A boot block as the factory leaves it on a board of this family: type code and number of alarm outputs
/// as the family has them, locally administered MAC addresses, invented serial number and dates.
BootBlock make_boot_block(const Family& family);

/// Writes a composite device type code: the high half at offset 28, the low half at offset 100.
void set_boot_type(BootBlock& block, std::uint32_t code);
/// The composite device type code of a boot block.
std::uint32_t boot_type(const BootBlock& block);
/// The number of alarm outputs of a boot block (offset 90).
unsigned boot_alarm_outputs(const BootBlock& block);
/// Writes the number of alarm outputs (offset 90).
void set_boot_alarm_outputs(BootBlock& block, std::uint8_t count);

}  // namespace boardsim
