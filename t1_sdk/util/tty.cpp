#include "t1_sdk/util/tty.h"

#include <termios.h>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

bool read_attributes(int fd, termios& attributes) {
  if (tcgetattr(fd, &attributes) == 0) return true;
  std::printf("tcgetattr %s\n", std::strerror(errno));
  return false;
}

}  // namespace

int tty_speed_set(int tty_fd, int speed) {
  termios attributes{};
  if (!read_attributes(tty_fd, attributes)) return -10;
  tcflush(tty_fd, TCIOFLUSH);
  cfsetispeed(&attributes, static_cast<speed_t>(speed));
  cfsetospeed(&attributes, static_cast<speed_t>(speed));
  tcsetattr(tty_fd, TCSANOW, &attributes);
  tcflush(tty_fd, TCIOFLUSH);
  return 0;
}

int tty_parity_set(int tty_fd, int /*databits*/, int /*stopbits*/, int /*parity*/) {
  termios attributes{};
  if (!read_attributes(tty_fd, attributes)) return -1;
  attributes.c_cflag &= static_cast<tcflag_t>(~(CSIZE | CSTOPB | PARENB));
  attributes.c_cflag |= CS8;
  attributes.c_lflag &= static_cast<tcflag_t>(~(ICANON | ECHO | ECHOE | ISIG));
  attributes.c_oflag &= static_cast<tcflag_t>(~OPOST);
  attributes.c_iflag &= static_cast<tcflag_t>(~(INPCK | INLCR | IGNCR | ICRNL | IXON | IXOFF));
  attributes.c_cc[VTIME] = 50;  // tenths of a second
  attributes.c_cc[VMIN] = 0;
  tcflush(tty_fd, TCIFLUSH);
  tcsetattr(tty_fd, TCSANOW, &attributes);
  return 0;
}
