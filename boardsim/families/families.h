// The families of boards that can be simulated: their names and type codes, and what their hardware has.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace boardsim {

/// What moves the lens iris of a board.
enum class IrisDrive : std::uint8_t {
  fpga,   ///< register 0x2001
  shell,  ///< the commands "closeIRIS" and "openIRIS"
  chip,   ///< the motor chip behind /dev/motor
  gpio,   ///< /dev/motor1
};

/// How the alarm terminals of a board are driven, which decides what jigs there are for it.
enum class Alarms : std::uint8_t {
  usual,
  short_five,   ///< five inputs; outputs in the lowest bits of the FPGA's registers
  short_eight,  ///< eight inputs; the same
  ma,
  ten,     ///< ten inputs, those of 65xx boards
  driver,  ///< through the alarm driver
  loop,    ///< through the alarm driver, four inputs
  rkd,     ///< through the alarm driver, and two inputs on GPIO lines
};

/// What a board of one type code has, as far as boards differ.
struct Hardware {
  IrisDrive iris = IrisDrive::fpga;
  Alarms alarms = Alarms::usual;
  bool other_input_lines = false;              ///< T1 to T4 and SYNC on GPIO lines 25 to 29
  std::string_view rs485_fixture = "partner";  ///< that its RS485 test needs
  bool stepped_filter = false;                 ///< an IR-cut filter with a home switch on line 26
  bool vsub_by_io = false;    ///< the general I/O driver sets the substrate voltage instead of the FPGA
  bool vsub_of_6484 = false;  ///< the factory's record has the voltage of a 6484
};

/// One board family that can be simulated.
struct Family {
  std::string_view name;                   ///< one of those in families(), "normal" for one
  std::uint32_t type;                      ///< device type code the boot block carries
  std::uint8_t alarm_outputs;              ///< number of alarm outputs in the boot block
  std::string_view description;            ///< one line for `boardsim --board list`
  std::span<const std::uint32_t> types{};  ///< all its type codes, where it has several
  Hardware hardware{};                     ///< of its boards, but for those that variants() names
  bool level_inputs = false;  ///< 65xx boards: eight of the ten alarm inputs are level inputs; no code tells
};

/// A type code whose boards differ from their family, or that belongs to none.
struct Variant {
  std::uint32_t type;
  Hardware hardware;
};

/// All families, in the order in which `boardsim --board list` names them.
std::span<const Family> families();

/// The family of that name, or null.
const Family* find_family(std::string_view name);
/// The first family whose own device type code this is, else the one that has it among its others, or null.
const Family* find_family(std::uint32_t type);

/// All variants.
std::span<const Variant> variants();

/// What a board with this type code has. Where families share the code the number of alarm outputs decides:
/// the first with that number, else the last of them. A code that is nowhere has what a normal board has.
const Hardware& hardware_of(std::uint32_t type, unsigned alarm_outputs = 2);

}  // namespace boardsim
