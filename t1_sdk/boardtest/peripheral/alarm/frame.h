// The frame of every alarm variant: nodes, test control, cycles, count and reply. A variant is one row.
#pragma once

#include <unistd.h>

#include "t1_sdk/boardtest/protocol/report.h"

namespace boardtest {

/// Nodes that a row may name as its device.
inline constexpr char kFpgaNode[] = "/dev/fpga";
inline constexpr char kAlarmNode[] = "/dev/alarm";

/// What a variant's functions work on.
struct AlarmRun {
  int mode;                               ///< mode or type
  int io;                                 ///< descriptor of /dev/qznio, which `gpiofd` holds too
  int device;                             ///< descriptor of the row's device
  int dev_type = 0;                       ///< device type code, where the row's `prepare` asks for it
  char port_text[kDescriptionSize] = {};  ///< what the last failing port says to the station
};

/// What makes a cycle, and with it the test, fail.
enum class Counting {
  failed_cycles,       ///< cycles with an error
  failed_cycles_kept,  ///< the same, but the errors of earlier cycles still count in later ones
  step_errors,         ///< every error by itself
};

/// What a wrong mode is answered with.
enum class WrongMode {
  fails,     ///< a reply with code 1
  no_reply,  ///< nothing: the test ends without a reply
};

/// One row: what a variant says, sets up, repeats and counts; what it does not name is as below. Codes are
/// result codes of the reply; beside them there is 1 for a wrong mode and 10 when ports or steps failed.
struct AlarmVariant {
  static constexpr int kAnyMode = -1;

  const char* banner;                             ///< printed first
  int last_mode = kAnyMode;                       ///< highest accepted mode
  WrongMode wrong_mode = WrongMode::fails;        ///< what a higher one is answered with
  const char* wrong_mode_line = nullptr;          ///< a second line on the console then
  int io_code = 2;                                ///< when /dev/qznio cannot be opened
  int control_code = 3;                           ///< when /dev/qznitc, the test control, cannot be opened
  const char* device = kFpgaNode;                 ///< the node that the variant drives
  int device_code = 4;                            ///< when it cannot be opened
  bool device_line = true;                        ///< whether a second line on the console says so
  const char* device_reply = nullptr;             ///< Description then; null: that line
  bool leaves_device_open = false;                ///< closes a descriptor that was never opened in its place
  int cycles = 2;                                 ///< how many
  useconds_t pause = 500000;                      ///< after each cycle, in microseconds
  Counting counting = Counting::failed_cycles;    ///< what the cycles' errors count up to
  const char* failure = nullptr;                  ///< Description of a failed test; null: the last port text
  void (*prepare)(AlarmRun& run) = nullptr;       ///< before test control is switched on
  int (*cycle)(AlarmRun& run);                    ///< returns its errors
  void (*finish)(const AlarmRun& run) = nullptr;  ///< the end state of the outputs
};

/// Runs a variant and sends its reply with the test code `code`.
void run_alarm_variant(const AlarmVariant& variant, int mode, int code);

/// The registers that every FPGA variant but the ten-in ten-out test sets up.
void set_up_alarm_fpga(int fpga);

}  // namespace boardtest
