#include "station/link/serial_line.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include "station/link/wait.h"
#include "station/text/errors.h"

namespace t1station {
namespace {

constexpr double kLongestWrite = 10;  // seconds

struct Speed {
  int speed;
  speed_t code;
};
constexpr std::array<Speed, 13> kSpeeds{{{300, B300},
                                         {600, B600},
                                         {1200, B1200},
                                         {2400, B2400},
                                         {4800, B4800},
                                         {9600, B9600},
                                         {19200, B19200},
                                         {38400, B38400},
                                         {57600, B57600},
                                         {115200, B115200},
                                         {230400, B230400},
                                         {460800, B460800},
                                         {921600, B921600}}};

termios raw_settings(const termios& before, speed_t speed) {
  termios settings = before;
  cfmakeraw(&settings);
  settings.c_cflag &= ~static_cast<tcflag_t>(CSTOPB | CRTSCTS);
  settings.c_cflag |= CLOCAL | CREAD;
  settings.c_iflag &= ~static_cast<tcflag_t>(IXOFF | IXANY | INPCK);
  settings.c_cc[VMIN] = 0;
  settings.c_cc[VTIME] = 0;
  cfsetispeed(&settings, speed);
  cfsetospeed(&settings, speed);
  return settings;
}

}  // namespace

speed_t speed_code(int speed) {
  const auto found =
      std::find_if(kSpeeds.begin(), kSpeeds.end(), [&](const Speed& row) { return row.speed == speed; });
  if (found != kSpeeds.end()) return found->code;
  std::string text = std::to_string(speed) + " bits per second is no speed of serial lines; those are";
  for (const Speed& row : kSpeeds) text += " " + std::to_string(row.speed);
  throw UsageError(text);
}

SerialLine::SerialLine(const std::string& device, int speed, const Interrupt& interrupt)
    : device_(device), interrupt_(interrupt) {
  const speed_t code = speed_code(speed);
  // Not blocking: some devices wait for a carrier otherwise.
  fd_ = open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (fd_ < 0) fail("cannot be opened");
  try {
    configure(code);
  } catch (...) {
    close(fd_);
    throw;
  }
}

SerialLine::~SerialLine() {
  tcsetattr(fd_, TCSADRAIN, &before_);
  ioctl(fd_, TIOCNXCL);
  close(fd_);
}

void SerialLine::configure(speed_t speed) {
  if (tcgetattr(fd_, &before_) != 0) fail("is no serial device");
  const termios wanted = raw_settings(before_, speed);
  if (tcsetattr(fd_, TCSANOW, &wanted) != 0) fail("does not take the settings");
  // The call succeeds when the device has taken any of them.
  termios now{};
  if (tcgetattr(fd_, &now) != 0 || cfgetospeed(&now) != speed || cfgetispeed(&now) != speed ||
      (now.c_cflag & CSIZE) != CS8) {
    tcsetattr(fd_, TCSANOW, &before_);
    throw LinkError(device_ + " does not take the settings: raw, 8 bits, the speed asked for");
  }
  if (ioctl(fd_, TIOCEXCL) != 0) fail("cannot be had alone");
  tcflush(fd_, TCIOFLUSH);
}

void SerialLine::fail(const std::string& what) const {
  throw LinkError(device_ + " " + what + ": " + std::generic_category().message(errno));
}

// False when the time is over or the operator interrupts.
bool SerialLine::is_ready(short events, double seconds) const {
  return wait_for(fd_, events, seconds, interrupt_) == Waited::ready;
}

void SerialLine::send(std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t sent = write(fd_, bytes.data(), bytes.size());
    if (sent > 0) {
      bytes.remove_prefix(static_cast<std::size_t>(sent));
    } else if (sent == 0 || errno == EAGAIN) {
      if (!is_ready(POLLOUT, kLongestWrite)) throw LinkError(device_ + " takes no more bytes");
    } else if (errno != EINTR) {
      fail("cannot be written");
    }
  }
}

std::string SerialLine::receive(std::size_t size, double seconds) const {
  std::string received;
  std::array<char, 256> bytes{};
  while (received.size() < size && is_ready(POLLIN, seconds)) {
    const ssize_t count = read(fd_, bytes.data(), std::min(bytes.size(), size - received.size()));
    if (count > 0) {
      received.append(bytes.data(), static_cast<std::size_t>(count));
    } else if (count == 0) {
      throw LinkError(device_ + " is gone");
    } else if (errno != EAGAIN && errno != EINTR) {
      fail("cannot be read");
    }
  }
  return received;
}

}  // namespace t1station
