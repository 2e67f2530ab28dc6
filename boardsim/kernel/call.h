// A system call that the board answered, and its text.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "boardsim/kernel/time.h"

namespace boardsim {

/// One system call that the board answered.
struct Call {
  Time at{};           ///< virtual time at which the call was made
  std::string name{};  ///< "open", "close", "ioctl", "read", "stat", "sleep", "usleep", "select", "recv",
                       ///< "send", "reboot" ...
  std::string node{};  ///< device node or path, "station" for the station's socket, empty for sleeps; of a
                       ///< mount node, folder and type
  std::uint32_t request = 0;            ///< ioctl request number, else 0
  std::vector<std::uint32_t> record{};  ///< what the program handed in: the record's 32-bit words, or a
                                        ///< sleep's length in its own unit; an open's flags, which
                                        ///< texts do not show
  long result = 0;                      ///< what the call returned
  int error = 0;                        ///< errno when it failed, else 0

  /// The call without its time, as it stands in a trace file, for example
  /// "open /dev/rtc = ok", "open /dev/rtc = -1 ENODEV", "ioctl /dev/qznio 0x40044d02 {0, 10000, 5000} = 0",
  /// "ioctl /dev/qznio 0x80044801 {} = 0", "close /dev/qznio = 0", "sleep 10", "usleep 500000",
  /// "close -1 = -1 EBADF", "reboot 0x1234567 = 0", "system dayICR = 0", "stat /proc/debug/temp1 = 0",
  /// "read /proc/debug/temp1 32 = 6".
  /// A request that only reads shows {} unless the device says which words of its record go in.
  std::string text() const;
  /// text() behind the virtual time in seconds: "0.200000 open /dev/rtc = ok".
  std::string timed_text() const;
};

}  // namespace boardsim
