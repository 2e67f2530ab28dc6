// GPIO lines and the IR-cut filter through the 'h' requests of the general I/O driver (/dev/qznio).
// All take the caller's descriptor of that node and print one line when they fail. The tests call only
// gpio_set_dir_output(), through util/rs485_direction.h; they read lines with the other gpio_get_value(),
// which has two arguments and is in boardtest/platform/gpio.h.
#pragma once

/// The driver's record of a GPIO line.
struct gpio_ctl {
  unsigned gpio;  ///< pin number
  int value;      ///< level
};
static_assert(sizeof(gpio_ctl) == 8);

/// Reads a line's level into `*pvalue`. 0, or -1 for a null pointer or a failed request.
int gpio_get_value(int fd, unsigned gpio, int* pvalue);
/// Makes the record's pin an input. 0, or -1 for a null record or a failed request.
int gpio_set_dir_input(int fd, gpio_ctl* data);
/// Makes the record's pin an output that drives `value`. 0, or -1 for a null record or a failed request.
int gpio_set_dir_output(int fd, gpio_ctl* data);
/// Drives the IR-cut filter `step_num` steps towards day. 0 or -1.
int day_icr(int fd, unsigned step_num);
/// Drives the IR-cut filter `step_num` steps towards night. 0 or -1.
int night_icr(int fd, unsigned step_num);
