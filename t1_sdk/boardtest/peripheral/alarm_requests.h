// Request numbers of the alarm tests.
#pragma once

inline constexpr unsigned kAlarmSet = 0x40044101;  ///< _IOW('A', 1, 4) on /dev/alarm
inline constexpr unsigned kAlarmGet = 0x80044102;  ///< _IOR('A', 2, 4) on /dev/alarm
inline constexpr unsigned kTestControl =
    0x888B;  ///< on /dev/qznitc: an int, 1 while the outputs reach the inputs
