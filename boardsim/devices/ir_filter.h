// The IR-cut filter: moved by an electromagnet, by the board's shell commands, or by a stepper motor on GPIO
// lines with a home switch.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "boardsim/kernel/fault_forms.h"

namespace boardsim {

/// What hangs on the lines that move the filter. Line numbers:
///   86 front coil, 88 back coil, 87 enable of both: the electromagnet; front is day, back is night
///   111, 113 coils, 110 enable: the stepper motor of 65xx boards; 26 reads its home switch
/// The stepper motor makes four quarters a step, in the order in which the coils change over; it stands at
/// its home stop after switching on and meets another stop 160 steps away: further steps leave it there. The
/// switch is closed (reads 1) at the home stop.
class IrFilter {
 public:
  /// Where the filter stands.
  enum class Side : std::uint8_t { unset, day, night };
  static constexpr unsigned kHomeSwitchLine = 26;
  static constexpr int kTravel = 160 * 4;  ///< quarters of a step between the stops

  /// The program drives a line to this level.
  void drive(unsigned line, int level);
  /// Whether a shell command of the board moves the filter: "dayICR" or "nightICR".
  static bool is_command(std::string_view text);
  /// Runs one of the two.
  void run(std::string_view command);

  Side side() const { return side_; }
  int position() const { return position_; }  ///< quarters of a step from the home stop
  bool home_switch() const { return position_ == 0 && !switch_never_; }

  FaultForms fault_forms();
  void clear_faults() { switch_never_ = false; }

 private:
  void drive_magnet();
  void drive_stepper();

  int front_ = 0, back_ = 0, magnet_enable_ = 0;
  int coil_111_ = 0, coil_113_ = 0, stepper_enable_ = 0;
  std::optional<int> phase_{};  ///< of the coils when they last held the rotor, 0 to 3
  int position_ = 0;
  bool switch_never_ = false;
  Side side_ = Side::unset;
};

}  // namespace boardsim
