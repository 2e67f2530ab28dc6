// Every device of the board, and the paths at which a program finds them.
#pragma once

#include <sys/types.h>
#include <array>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "boardsim/devices/alarm.h"
#include "boardsim/devices/application.h"
#include "boardsim/devices/board_files.h"
#include "boardsim/devices/device.h"
#include "boardsim/devices/emmc.h"
#include "boardsim/devices/flash.h"
#include "boardsim/devices/fpga.h"
#include "boardsim/devices/general_io.h"
#include "boardsim/devices/ir_filter.h"
#include "boardsim/devices/iris.h"
#include "boardsim/devices/led.h"
#include "boardsim/devices/motor.h"
#include "boardsim/devices/mounts.h"
#include "boardsim/devices/rtc.h"
#include "boardsim/devices/stm8.h"
#include "boardsim/devices/substrate_voltage.h"
#include "boardsim/devices/temperature.h"
#include "boardsim/devices/terminal.h"
#include "boardsim/devices/test_control.h"
#include "boardsim/devices/timing_generator.h"
#include "boardsim/devices/uart.h"
#include "boardsim/jigs/bench.h"
#include "boardsim/jigs/rs485_lines.h"

namespace boardsim {

/// The devices of one board, healthy as after switching on.
struct Devices {
  /// `now` tells the virtual time since the board was switched on; `after` runs an event, with the board's
  /// lock held, when some of it has passed; `violation` reports what no program may do. All are called with
  /// the board's lock held.
  Devices(std::function<Time()> now, Application::After after, Application::Violation violation);

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
  Iris iris;
  IrisMotor iris_motor;
  SubstrateVoltage substrate_voltage;
  std::array<Uart, 5> uarts{Uart{1}, Uart{2}, Uart{3}, Uart{4}, Uart{5}};
  Terminal terminal;
  Application application;
  Bench bench;
  Rs485Lines rs485;
  TemperatureSensors sensors;
  StoragePower storage_power;
  Flash flash{storage_power};
  Emmc emmc{storage_power};
  BoardFiles files;
  Mounts mounts;

  /// The device at a path, or null: "/dev/qznio", "/proc/debug/temp1" ...
  Device* find(std::string_view path);
  /// The same, for an opening that creates what is not there: on a mounted medium that is a new file.
  Device* find_or_make(std::string_view path);
  /// Whether a file that is missing there is nothing unusual: sensors, files of the factory, files on a
  /// medium.
  bool may_be_missing(std::string_view path);
  /// Whether something is or can be put at a path: every node, and every sensor or file that a board may
  /// have.
  bool can_have(std::string_view path) const;
  /// All paths that can_have() accepts, for a message: "/dev/qznio, /dev/fpga ...".
  std::string paths() const;

  /// A node and what stands there.
  struct Node {
    std::string_view path;
    Device* device;
  };
  std::span<const Node> nodes() const { return nodes_; }

  /// Whether the board has this shell command.
  static bool is_command(std::string_view text);
  /// Runs one that it has.
  void run(std::string_view command);
  /// Port "/dev/uartN". Throws std::out_of_range.
  Uart& uart(unsigned number) { return uarts.at(number - 1U); }
  /// What the board has, by its boot block.
  const Hardware& hardware() const;

  /// The faults of all devices and of what hangs on them.
  FaultForms fault_forms();
  /// Keeps the flash and the eMMC partition in the files "mtd4" and "mmcblk0p7" of a folder: takes over what
  /// is there, and writes through from now on. Throws std::runtime_error when the folder cannot be used.
  void keep_media_in(const std::string& folder);
  /// Takes every device's faults away.
  void clear_faults();

 private:
  /// What hangs on a GPIO line, if anything.
  std::optional<int> hanging_on(unsigned line) const;
  std::uint32_t driven(Driver driver, std::uint32_t number) const;
  void connect();
  void register_written(std::uint32_t address, std::uint32_t value);

  using Identity = std::pair<std::uint32_t, unsigned>;  ///< type code, number of alarm outputs

  std::vector<Node> nodes_;
  mutable Identity identity_{};
  mutable const Hardware* hardware_ = nullptr;  ///< of that identity
};

}  // namespace boardsim
