// /dev/motor: the driver of the IR-cut filter's motor, of a motor chip that moves the iris, and of the focus
// motor.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>
#include <utility>
#include <vector>

#include "boardsim/devices/device.h"
#include "boardsim/devices/focus_motor.h"
#include "boardsim/devices/rejections.h"

namespace boardsim {

/// Requests: 0x40044301 configures, with a record of 644 bytes: a count, then 16 entries of 40 bytes each.
/// The filter's motor is count 0 and chip 7 in entry 0 (word 6), the iris count 3 and chip 3 in entry 3 (word
/// 36); all other words are 0. Anything else fails with EINVAL. The arguments of the others are numbers
/// themselves. 0x40044901 and 0x40044902 move the filter, 0x40046901 gives the iris a value; without a
/// configuration of their own since the node was opened they fail with EINVAL. 0x40044201 and 0x40044202 step
/// the focus motor towards and away from its limit; their argument is 10, for others they fail with EINVAL.
/// Faults: "motor rejects move N[+]": the N-th move of the filter from now on fails with EIO; with + every
/// later one too; and those of FocusMotor.
class Motor : public Device {
 public:
  Answer open(int flags) override;
  Answer ioctl(std::uint32_t request, void* argument) override;
  /// Of a configuration the count, and chip and type of the entry that it names.
  std::vector<std::uint32_t> words_in(std::uint32_t request, const void* argument) const override;
  FaultForms fault_forms() override;
  void clear_faults() override;

  /// Called with every value that the iris is given.
  void on_iris(std::function<void(std::uint32_t value)> watcher) { watcher_ = std::move(watcher); }
  FocusMotor& focus() { return focus_; }
  const FocusMotor& focus() const { return focus_; }

  unsigned moves() const { return moves_; }         ///< number of moves carried out
  std::uint32_t travel() const { return travel_; }  ///< argument of the last of them

 private:
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
