// The auto-iris: closed and opened twice, for an operator to watch.
#pragma once

/// Test 9472, by board family.
void t1_sdk_auto_iris_test();

/// The iris behind an FPGA register. Code 1 when /dev/fpga cannot be opened.
void auto_iris_test();
/// Shell commands. Always passes.
void auto_iris_test_63xx();
/// The motor driver chip behind /dev/motor. Codes: 1 the node cannot be opened, 2 the chip cannot be
/// configured.
void auto_iris_test_65xx();
/// The iris driver behind /dev/motor1. Codes as those of auto_iris_test_65xx(), but the description goes on
/// saying that the test succeeded.
void auto_iris_test_68xx();

// Requests of the motor drivers. Each returns its result; a negative one prints one line.

/// Configures the chip behind /dev/motor.
int AA83477_init(int fd);
/// Configures the iris driver behind /dev/motor1.
int GPIO_IRIS_init(int fd);
/// Sets the iris behind /dev/motor: 0xCFF closes it, 0xC00 opens it, 0x27F is where the test starts.
int set_AA83477_val(int fd, unsigned value);
/// Sets the iris behind /dev/motor1: 512 closes it, 767 opens it.
int set_GPIO_IRIS_close(int fd, unsigned value);
/// The driver's own request for opening. No test calls it.
int set_GPIO_IRIS_open(int fd, unsigned value);
/// The driver's request for the speed. No test calls it.
int set_GPIO_IRIS_speed(int fd, unsigned value);
