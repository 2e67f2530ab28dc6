// The frame of every alarm variant: nodes, test control, cycles, count and reply. A variant is one row.
#pragma once

#include <unistd.h>

#include "t1_sdk/boardtest/protocol/report.h"

/// What a variant's functions work on.
struct AlarmRun {
  int mode;                               ///< mode or type
  int device;                             ///< /dev/fpga or /dev/alarm, -1 for the relay variants
  int dev_type = 0;                       ///< device type code, where the row asks for it
  char port_text[kDescriptionSize] = {};  ///< what the last failing port says to the station
};

/// What makes a cycle, and with it the test, fail.
enum class Counting {
  failed_cycles,       ///< cycles with an error
  failed_cycles_kept,  ///< the same, but the errors of earlier cycles still count in later ones
  step_errors,         ///< every error by itself
};

/// One row: what a variant says, sets up, repeats and counts. Codes are result codes of the reply.
struct AlarmVariant {
  const char* banner;            ///< printed first
  int last_mode;                 ///< highest accepted mode; -1: any
  bool mode_error_replies;       ///< false: a wrong mode ends the test without a reply
  const char* mode_error_extra;  ///< printed behind the mode error, or null
  int qznio_code;
  int control_code;
  const char* device;
  int device_code;
  const char* device_console;  ///< printed when `device` cannot be opened, or null
  const char* device_reply;
  bool closes_wrong_node;  ///< closes a descriptor that was never opened, so that `device` stays open
  int cycles;
  useconds_t pause;  ///< behind each cycle, in microseconds
  Counting counting;
  const char* failure;                  ///< Description of a failed test; null: the last port text
  void (*prepare)(AlarmRun& run);       ///< before test control is switched on
  int (*cycle)(AlarmRun& run);          ///< returns its errors
  void (*finish)(const AlarmRun& run);  ///< the end state of the outputs, or null
};

/// Runs a variant and sends its reply with the test code `code`.
void run_alarm_variant(const AlarmVariant& variant, int mode, int code);

/// The registers that every FPGA variant but the ten-in ten-out test sets up.
void set_up_alarm_fpga(int fpga);

/// Nodes that a row may name as its device.
inline constexpr char kFpgaNode[] = "/dev/fpga";
inline constexpr char kAlarmNode[] = "/dev/alarm";
