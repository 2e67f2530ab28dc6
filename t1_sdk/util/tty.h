// Line settings of terminal devices (/dev/ttyS1), through termios(3).
#pragma once

/// Sets input and output speed to a termios code such as B9600, with both directions flushed before and
/// after. 0, or -10 after "tcgetattr %s\n" when the attributes cannot be read.
int tty_speed_set(int tty_fd, int speed);
/// Makes the line raw with 8 data bits, no parity, 1 stop bit; a read waits 5 s at most. The three numbers
/// are ignored. 0, or -1 after "tcgetattr %s\n" when the attributes cannot be read.
int tty_parity_set(int tty_fd, int databits, int stopbits, int parity);
