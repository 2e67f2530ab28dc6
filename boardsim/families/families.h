// The families of boards that can be simulated, and the boot block that tells a program which one it runs on.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace boardsim {

/// One board family that can be simulated.
struct Family {
  std::string_view name;                   ///< one of those in families(), "normal" for one
  std::uint32_t type;                      ///< device type code the boot block carries
  std::uint8_t alarm_outputs;              ///< number of alarm outputs in the boot block
  std::string_view description;            ///< one line for `boardsim --board list`
  bool level_inputs = false;               ///< 65xx boards: eight of the ten alarm inputs are level inputs
  std::span<const std::uint32_t> types{};  ///< all device type codes of the family, where it has several
};

/// All families, in the order in which `boardsim --board list` names them.
std::span<const Family> families();

/// What the general I/O driver copies out as boot parameters: little-endian, packed.
using BootBlock = std::array<std::uint8_t, 256>;

/// The family of that name, or null.
const Family* find_family(std::string_view name);
/// The first family whose own device type code this is, else the one that has it among its others, or null.
const Family* find_family(std::uint32_t type);

/// A boot block as the factory leaves it on a board of this family: type code and number of alarm outputs
/// as the family has them, locally administered MAC addresses, invented serial number and dates.
BootBlock make_boot_block(const Family& family);

/// Writes a composite device type code: the high half at offset 28, the low half at offset 100.
void set_boot_type(BootBlock& block, std::uint32_t code);
/// The composite device type code of a boot block.
std::uint32_t boot_type(const BootBlock& block);
/// The number of alarm outputs of a boot block (offset 90).
unsigned boot_alarm_outputs(const BootBlock& block);
/// Writes it.
void set_boot_alarm_outputs(BootBlock& block, std::uint8_t count);

}  // namespace boardsim
