// The infrared-cut filter: moved between its day and night positions, in the way of each board family.
#pragma once

#include <cstdint>

/// Who drives a motor.
enum motor_chip_type : std::uint32_t {
  GPIO = 0,
  BU24025MWV = 1,
  AN41908A = 2,
  AA88347 = 3,
  DRV8835 = 4,
  GPIO_IRIS = 5,
};

/// Records of the motor driver.
struct hw_motor {
  std::uint32_t step_angle;
  std::uint32_t pps;
};

struct motor_config {
  std::uint32_t chip_no;
  std::uint32_t type;  ///< a motor_chip_type
  std::uint32_t pa_channel;
  std::uint32_t pb_channel;
  std::int32_t reverse;
};

struct motor_conf {
  std::uint32_t desc;
  std::uint32_t speed;
  std::uint32_t speed_unit;
  hw_motor hwm;
  motor_config config;
};

struct motor_confs {
  std::uint32_t confs_num;
  motor_conf conf[16];
};
static_assert(sizeof(motor_conf) == 40 && sizeof(motor_confs) == 644);

/// Test 1792, by board family.
void t1_sdk_icrcut_test();

/// The motor driver's filter; `travel` is the argument of the moves towards the filter position.
void ircut_test(int travel);
/// The motor driver's filter of the RKD boards.
void ircut_test_rkd();
/// A motor stepped through GPIO lines, with a home switch. Always passes once the node is open.
void ircut_test_65xx();
/// Shell commands. Always passes.
void ircut_test_63xx();
/// The electromagnetic filter, day first.
void ircut_test_loop();
/// The electromagnetic filter, night first.
void ircut_test_loop_c();

/// Switches the electromagnetic filter. The last GPIO result, negative on failure; -1 without the node.
int loop_ircut_test(int night);
