// GPIO lines through the 'G' requests of the general I/O driver (/dev/qznio). Nothing here prints.
// util/gpio_ctl.h has another gpio_get_value(), with three arguments, for the driver's 'h' requests.
#pragma once

/// The driver's record of a GPIO line.
struct gpio_ctrl {
  unsigned gpio;   ///< pin number
  unsigned param;  ///< level or direction; receives the level on a read
};
static_assert(sizeof(gpio_ctrl) == 8);

/// The descriptor of /dev/qznio that an alarm or RS485 test holds while it runs; -1 between tests. An alarm
/// test that cannot open its other nodes leaves this one open, and its number here.
extern int gpiofd;

/// Makes a line an input. The request's result.
int gpio_direction_input(int fd, unsigned gpio);
/// Makes a line an output that starts at `value`. The request's result.
int gpio_direction_output(int fd, unsigned gpio, int value);
/// The level of a line, or the request's negative result.
int gpio_get_value(int fd, unsigned gpio);
/// Drives a line to `value`. The request's result.
int gpio_set_value(int fd, unsigned gpio, int value);
