// A serial device of the PC with a test at its other end.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>
#include <string_view>

/// A pseudo-terminal as the PC has them: with line editing and echo until somebody changes it.
class SerialDevice {
 public:
  SerialDevice() : far_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    std::array<char, 64> name{};
    EXPECT_EQ(grantpt(far_), 0);
    EXPECT_EQ(unlockpt(far_), 0);
    EXPECT_EQ(ptsname_r(far_, name.data(), name.size()), 0);
    path_ = name.data();
    // The line stays up before and after the station has it open.
    near_ = open(path_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  }
  ~SerialDevice() {
    hang_up();
    close(near_);
  }
  SerialDevice(const SerialDevice&) = delete;
  SerialDevice& operator=(const SerialDevice&) = delete;

  /// At which the station opens it.
  const std::string& path() const { return path_; }
  /// What the station sends, up to `size` bytes.
  std::string heard(std::size_t size) const {
    std::string bytes(size, '\0');
    std::size_t count = 0;
    pollfd look{far_, POLLIN, 0};
    while (count < size && poll(&look, 1, kPatience) > 0) {
      const ssize_t part = read(far_, bytes.data() + count, size - count);
      if (part <= 0) break;
      count += static_cast<std::size_t>(part);
    }
    bytes.resize(count);
    return bytes;
  }
  void say(std::string_view bytes) const {
    EXPECT_EQ(write(far_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  /// The device is gone.
  void hang_up() {
    if (far_ >= 0) close(far_);
    far_ = -1;
  }
  termios settings() const {
    termios now{};
    EXPECT_EQ(tcgetattr(near_, &now), 0);
    return now;
  }
  /// Old bytes stand in the device when somebody opens it.
  void say_before_it_is_opened(std::string_view bytes) const {
    termios raw = settings();
    cfmakeraw(&raw);
    tcsetattr(near_, TCSANOW, &raw);
    say(bytes);
    pollfd arrived{near_, POLLIN, 0};
    EXPECT_EQ(poll(&arrived, 1, kPatience), 1);
  }

 private:
  static constexpr int kPatience = 20'000;  ///< ms until a test has gone wrong

  int far_, near_ = -1;
  std::string path_;
};
