// /dev/qznio: the general I/O driver with the boot block, both generations of GPIO calls, the IR-cut drive
// and PWM.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "boardsim/devices/device.h"
#include "boardsim/devices/ir_filter.h"
#include "boardsim/families/boot_block.h"

namespace boardsim {

/// What a GPIO line is set up as.
enum class Direction : std::uint8_t { unset, input, output };

/// What a PWM channel was last set to; all 0 before.
struct Pwm {
  std::int32_t period = 0, duty = 0;
};

/// Two generations of requests move the same lines. What the requests of an IR-cut drive say is noted only:
/// the filter itself does not hang on them.
class GeneralIo : public Device {
 public:
  static constexpr unsigned kLines = 256;  ///< GPIO lines 0 to 255

  std::span<const Request> requests() const override;
  FaultForms fault_forms() override;
  void clear_faults() override { stuck_.clear(); }

  BootBlock& boot_block() { return boot_block_; }
  const BootBlock& boot_block() const { return boot_block_; }

  /// Level of a line, 0 or 1: that of a stuck line whatever happens, that of the outside on an input, what
  /// the program drives on an output. On a line without a direction the last one who set it wins. Throws
  /// std::out_of_range for a line that the board lacks, as the next three do.
  int level(unsigned line) const;
  /// Drives a line from outside, 0 or 1. Against an output it has no effect until the line becomes an input;
  /// against what hangs on the line it wins from then on.
  void set_level(unsigned line, int level);
  Direction direction(unsigned line) const;
  /// Level to which the program drives a line, 0 for an input; that of a stuck line whatever happens.
  int driven(unsigned line) const;

  /// Asked for the level of every line that is no output: what hangs on it, or nothing where nothing does.
  void on_read(std::function<std::optional<int>(unsigned line)> outside) { outside_ = std::move(outside); }
  /// Called whenever the program has set the level of a line, or made it an output.
  void on_drive(std::function<void(unsigned line)> watcher) { watcher_ = std::move(watcher); }

  /// Called with the code of every substrate voltage that the program sets here.
  void on_vsub(std::function<void(std::uint32_t code)> watcher) { vsub_watcher_ = std::move(watcher); }

  /// What a PWM channel was last set to; zeros before that.
  Pwm pwm(std::int32_t channel) const;

  /// Where the last request of an IR-cut drive would have driven the filter.
  IrFilter::Side ir_cut() const { return ir_cut_; }
  std::uint32_t ir_cut_steps() const { return ir_cut_steps_; }  ///< step count of the last IR-cut drive

 private:
  Answer answer(const Request& request, void* argument) override;
  struct Line {
    Direction direction = Direction::unset;
    int outside = 0;    ///< level applied from outside
    int driven = 0;     ///< level the board drives, or would drive were it an output
    bool held = false;  ///< driven from outside by hand, whatever hangs on it
  };

  Answer gpio(std::uint32_t request, void* record);
  Answer drive_ir_cut(IrFilter::Side side, std::uint32_t steps);
  Answer set_pwm(const void* record);

  BootBlock boot_block_{};
  std::array<Line, kLines> lines_{};
  std::map<unsigned, int> stuck_;
  std::map<std::int32_t, Pwm> pwm_;
  IrFilter::Side ir_cut_ = IrFilter::Side::unset;
  std::uint32_t ir_cut_steps_ = 0;
  std::function<std::optional<int>(unsigned)> outside_{};
  std::function<void(unsigned)> watcher_{};
  std::function<void(std::uint32_t)> vsub_watcher_{};
};

}  // namespace boardsim
