// Records and requests of the motor drivers, /dev/motor and /dev/motor1.
#pragma once

#include <cstdint>

namespace boardtest {

/// Configures a driver with a motor_confs.
inline constexpr unsigned kMotorConfigure = 0x40044301;  // _IOW('C', 1, 4)

}  // namespace boardtest

/// Who drives a motor.
enum motor_chip_type : std::uint32_t {
  GPIO = 0,
  BU24025MWV = 1,
  AN41908A = 2,
  AA88347 = 3,
  DRV8835 = 4,
  GPIO_IRIS = 5,
};

/// How a motor turns.
struct hw_motor {
  std::uint32_t step_angle;
  std::uint32_t pps;
};

/// Who drives a motor, and through what.
struct motor_config {
  std::uint32_t chip_no;
  std::uint32_t type;  ///< a motor_chip_type
  std::uint32_t pa_channel;
  std::uint32_t pb_channel;
  std::int32_t reverse;
};

/// One motor.
struct motor_conf {
  std::uint32_t desc;
  std::uint32_t speed;
  std::uint32_t speed_unit;
  hw_motor hwm;
  motor_config config;
};

/// The record of kMotorConfigure.
struct motor_confs {
  std::uint32_t confs_num;
  motor_conf conf[16];
};
static_assert(sizeof(motor_conf) == 40 && sizeof(motor_confs) == 644);
