// Ports of the board with their RS485 lines, as a program uses them.
#pragma once

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace boardsim::test {

/// An open port, configured for a speed; one of 0 leaves it as it is.
class Port {
 public:
  explicit Port(unsigned number, int rate = 38400)
      : fd_(open(("/dev/uart" + std::to_string(number)).c_str(), O_RDWR | O_NONBLOCK)) {
    if (rate != 0) configure(rate);
  }
  ~Port() { close(fd_); }
  Port(const Port&) = delete;
  Port& operator=(const Port&) = delete;

  void configure(int rate) const {
    std::array<std::int32_t, 5> record{rate, 3, 0, 0, 0};
    ioctl(fd_, 0x40045501UL, record.data());
  }
  void send(std::string_view bytes) const {
    [[maybe_unused]] const ssize_t written = write(fd_, bytes.data(), bytes.size());
  }
  /// What waits; nothing when nothing does.
  std::string receive() const {
    std::array<char, 4096> bytes{};
    const ssize_t size = read(fd_, bytes.data(), bytes.size());
    return std::string(bytes.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
  }
  int empty() const { return ioctl(fd_, 0x5503UL, nullptr); }
  int fd() const { return fd_; }

 private:
  int fd_;
};

}  // namespace boardsim::test
