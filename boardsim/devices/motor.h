// /dev/motor: the driver of the IR-cut filter's motor, of a motor chip that moves the iris, and of the focus
// motor.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "boardsim/devices/device.h"
#include "boardsim/devices/focus_motor.h"
#include "boardsim/devices/rejections.h"

namespace boardsim {

/// A configuration is a count, then 16 entries of 40 bytes each. The filter's motor is count 0 and chip 7 in
/// entry 0 (word 6), the iris count 3 and chip 3 in entry 3 (word 36); all other words are 0. Anything else
/// fails with EINVAL, and so do moves and iris values without a configuration of their own since the node was
/// opened, and steps of the focus motor with another argument than 10.
class Motor : public Device {
 public:
  Answer open(int flags) override;
  std::span<const Request> requests() const override;
  FaultForms fault_forms() override;
  void clear_faults() override;

  /// Called with every value that the iris is given.
  void on_iris(std::function<void(std::uint32_t value)> watcher) { watcher_ = std::move(watcher); }
  FocusMotor& focus() { return focus_; }
  const FocusMotor& focus() const { return focus_; }

  unsigned moves() const { return moves_; }         ///< number of moves carried out
  std::uint32_t travel() const { return travel_; }  ///< argument of the last of them

 private:
  Answer answer(const Request& request, void* argument) override;
  Answer configure(const void* record);
  Answer move(std::uint32_t travel);
  Answer set_iris(std::uint32_t value);

  bool filter_configured_ = false;
  bool iris_configured_ = false;
  Rejections rejected_{};
  unsigned moves_ = 0;
  std::uint32_t travel_ = 0;
  FocusMotor focus_{};
  std::function<void(std::uint32_t)> watcher_{};
};

}  // namespace boardsim
