// The lens iris, and the driver that moves it on some boards, /dev/motor1.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "boardsim/devices/device.h"
#include "boardsim/families/families.h"

namespace boardsim {

/// The values 0xCFF and 0xC00 close and open it through the FPGA and the motor chip, 512 and 767 through
/// /dev/motor1; any other value between them moves nothing.
class Iris {
 public:
  /// Where the iris stands, whatever drives it (FPGA 0x2001, /dev/motor, /dev/motor1, shell commands).
  enum class State : std::uint8_t { unset, closed, open };
  static constexpr std::uint32_t kRegister = 0x2001;

  /// `own_drive` tells which drive the board has.
  explicit Iris(std::function<IrisDrive()> own_drive) : own_drive_(std::move(own_drive)) {}

  /// The program gives a drive a value; it has an effect where `drive` is the board's own.
  void set(IrisDrive drive, std::uint32_t value);
  /// Whether a shell command of the board moves the iris.
  static bool is_command(std::string_view text);
  /// Runs one of the two.
  void run(std::string_view command);

  State state() const { return state_; }

 private:
  std::function<IrisDrive()> own_drive_;
  State state_ = State::unset;
};

/// /dev/motor1. Its configuration is a record as on /dev/motor: count 1, chip 3 in entry 1 (word 16), all
/// else 0; others fail with EINVAL, and so do the other requests without one since the node was opened.
class IrisMotor : public Device {
 public:
  Answer open(int flags) override;
  std::span<const Request> requests() const override;

  /// Called with every value that the iris is given; opening it is the value 767.
  void on_value(std::function<void(std::uint32_t value)> watcher) { watcher_ = std::move(watcher); }

 private:
  Answer answer(const Request& request, void* argument) override;
  bool configured_ = false;
  std::function<void(std::uint32_t)> watcher_{};
};

}  // namespace boardsim
