// The alarm lines: outputs and inputs through the alarm driver, and inputs read from GPIO lines.
#pragma once

#include <cstdint>

// ---- the alarm driver, /dev/alarm -------------------------------------------------------------------------

/// Which way an alarm line works.
enum alarm_dir : std::uint32_t { HAL_ALARM_OUT = 0, HAL_ALARM_IN = 1 };

/// The alarm driver's record.
struct alarm_ctrl {
  std::uint32_t idx;        ///< alarm number, or kAllAlarms
  std::uint32_t state;      ///< one bit an alarm when idx is kAllAlarms
  std::uint32_t direction;  ///< an alarm_dir
};
static_assert(sizeof(alarm_ctrl) == 12);

namespace boardtest {

/// The `idx` that addresses all alarms at once.
inline constexpr std::uint32_t kAllAlarms = 0x46554C4C;

// The driver's requests.
inline constexpr unsigned kAlarmSet = 0x40044101;  ///< _IOW('A', 1, 4)
inline constexpr unsigned kAlarmGet = 0x80044102;  ///< _IOR('A', 2, 4)

}  // namespace boardtest

// Each call opens /dev/alarm and closes it again.

/// Sets all outputs, one bit each. The request's result, a negative one after one line of text; 0, too, after
/// one line of text, when the node cannot be opened.
int alarm_all_set(int state);
/// Fills the record. As alarm_all_set(); a record that could not be filled stays as it is.
int alarm_get(alarm_ctrl* alarm);
/// The state of all alarms, one bit each: 0 when the node cannot be opened. The request's negative result,
/// after two lines of text, when it fails.
int alarm_get_all_value();

// ---- input readers ----------------------------------------------------------------------------------------
//
// `fd` is /dev/qznio. Bit n of `*word` is set when input n reads high. No bit is cleared, and none is set for
// an input that cannot be read.

/// T1 to T4 and SYNC.
void getTriggerIn(int fd, std::uint32_t* word);
/// T1 to T7 and SYNC; on a 65xx board its ten inputs.
void getTriggerIn_Ex(int fd, std::uint32_t* word);
/// T1 to T4 of an MA board, and SYNC four times, from bit 4 to bit 7.
void getTriggerIn_6194(int fd, std::uint32_t* word);
/// The two inputs of an RKD board; on another board T1 and T2. No test calls it.
void getTriggerInRkd(int fd, std::uint32_t* word);
