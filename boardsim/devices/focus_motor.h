// The focus motor behind /dev/motor, and its limit switch on GPIO line 7.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "boardsim/devices/device.h"
#include "boardsim/devices/rejections.h"

namespace boardsim {

/// Stands 40 steps from its limit after switching on. The limit holds it: a step towards it moves nothing
/// there.
class FocusMotor {
 public:
  static constexpr unsigned kSwitchLine = 7;

  enum class Way : signed char { to_limit = -1, from_limit = 1 };
  Answer step(Way way);
  /// The switch: closed (true) at the limit.
  bool limit_switch() const { return stuck_switch_.value_or(position_ == 0); }

  int position() const { return position_; }  ///< steps from the limit
  /// Moves it by hand to a position in steps from the limit; one below 0 is the limit.
  void set_position(int steps);

  FaultForms fault_forms();
  void clear_faults();

 private:
  int position_ = 40;
  bool stuck_ = false;
  std::optional<bool> stuck_switch_{};
  Rejections rejected_{};
};

}  // namespace boardsim
