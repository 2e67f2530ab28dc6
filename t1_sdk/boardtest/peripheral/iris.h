// The auto-iris: closed and opened twice, for an operator to watch.
#pragma once

/// Test 9472, by board family.
void t1_sdk_auto_iris_test();

/// The iris behind an FPGA register.
void auto_iris_test();
/// Shell commands. Always passes.
void auto_iris_test_63xx();
/// The motor driver chip behind /dev/motor.
void auto_iris_test_65xx();
/// The iris driver behind /dev/motor1.
void auto_iris_test_68xx();

/// Configures the driver behind `fd`. The request's result; a negative one prints one line.
int AA83477_init(int fd);
int GPIO_IRIS_init(int fd);
/// Set the iris. The request's result; a negative one prints one line.
int set_AA83477_val(int fd, unsigned value);
int set_GPIO_IRIS_close(int fd, unsigned value);
int set_GPIO_IRIS_open(int fd, unsigned value);
int set_GPIO_IRIS_speed(int fd, unsigned value);
