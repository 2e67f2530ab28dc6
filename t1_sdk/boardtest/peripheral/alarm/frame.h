// The frame of every alarm variant: nodes, test control, cycles, count and reply. A variant is one row.
#pragma once

#include <unistd.h>

#include "t1_sdk/boardtest/protocol/report.h"

namespace boardtest {

/// What a variant's functions work on.
struct AlarmRun {
  int mode;                               ///< mode or type
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

/// One row: what a variant says, sets up, repeats and counts. Codes are result codes of the reply; beside
/// them there is 1 for a wrong mode and 10 when ports or steps failed.
struct AlarmVariant {
  const char* banner;              ///< printed first
  int last_mode;                   ///< highest accepted mode; -1: any
  bool mode_error_replies;         ///< false: a wrong mode ends the test without a reply
  const char* mode_error_extra;    ///< a second line on the console after a mode error, or null
  int qznio_code;                  ///< when /dev/qznio cannot be opened
  int control_code;                ///< when /dev/qznitc, the test control, cannot be opened
  const char* device;              ///< the node that the variant drives: kFpgaNode or kAlarmNode
  int device_code;                 ///< when it cannot be opened
  const char* device_console;      ///< a second line on the console then, or null
  const char* device_reply;        ///< Description then
  bool closes_wrong_node;          ///< closes a descriptor that was never opened, so that `device` stays open
  int cycles;                      ///< how many
  useconds_t pause;                ///< after each cycle, in microseconds
  Counting counting;               ///< what the cycles' errors count up to
  const char* failure;             ///< Description of a failed test; null: the last port text
  void (*prepare)(AlarmRun& run);  ///< before test control is switched on, or null
  int (*cycle)(AlarmRun& run);     ///< returns its errors
  void (*finish)(const AlarmRun& run);  ///< the end state of the outputs, or null
};

/// Runs a variant and sends its reply with the test code `code`.
void run_alarm_variant(const AlarmVariant& variant, int mode, int code);

/// The registers that every FPGA variant but the ten-in ten-out test sets up.
void set_up_alarm_fpga(int fpga);

/// Nodes that a row may name as its device.
inline constexpr char kFpgaNode[] = "/dev/fpga";
inline constexpr char kAlarmNode[] = "/dev/alarm";

}  // namespace boardtest
