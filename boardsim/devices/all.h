// Every device of the board, and the paths at which a program finds them.
#pragma once

#include <sys/types.h>
#include <array>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/board.h"
#include "boardsim/core/device.h"
#include "boardsim/devices/alarm.h"
#include "boardsim/devices/fpga.h"
#include "boardsim/devices/general_io.h"
#include "boardsim/devices/ir_filter.h"
#include "boardsim/devices/led.h"
#include "boardsim/devices/motor.h"
#include "boardsim/devices/rtc.h"
#include "boardsim/devices/stm8.h"
#include "boardsim/devices/temperature.h"
#include "boardsim/devices/test_control.h"
#include "boardsim/devices/timing_generator.h"
#include "boardsim/jigs/bench.h"

namespace boardsim {

/// The devices of one board, healthy as after switching on.
struct Devices {
  /// `now` tells the virtual time since the board was switched on; called with the board's lock held.
  explicit Devices(std::function<Time()> now);

  GeneralIo general_io;
  Fpga fpga;
  TimingGenerator timing_generator;
  Stm8 stm8;
  Led led;
  Rtc rtc;
  Alarm alarm;
  TestControl test_control;
  Motor motor;
  IrFilter ir_filter;
  Bench bench;
  TemperatureSensors sensors;

  /// The device at a path, or null: "/dev/qznio", "/proc/debug/temp1" ...
  Device* find(std::string_view path);
  /// Whether something is or can be put at a path: every node, and every sensor that a board may have.
  bool can_have(std::string_view path) const;
  /// All paths that can_have() accepts, for a message: "/dev/qznio, /dev/fpga ...".
  std::string paths() const;
  /// File type and permissions of what is at a path, as stat(2) tells them; 0 when nothing is there.
  mode_t mode(std::string_view path);

  /// Offers the words of a fault to each device in turn. False when none takes them; throws
  /// std::invalid_argument when one knows the first word but not the rest.
  bool fault(const std::vector<std::string_view>& words);
  /// Takes every device's faults away.
  void clear_faults();
  /// The faults that fault() takes, one line for a message: "rtc stopped, rtc seconds N..., ...".
  static std::string_view fault_help();

 private:
  /// What hangs on a GPIO line, if anything.
  std::optional<int> hanging_on(unsigned line) const;
  std::uint32_t driven(Driver driver, std::uint32_t number) const;
  std::uint32_t type() const;
  void connect();

  struct Node {
    std::string_view path;
    Device* device;
  };
  std::array<Node, 9> nodes_;
};

}  // namespace boardsim
