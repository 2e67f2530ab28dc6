// A loopback address of its own for each simulated board.
#pragma once

#include <string>

namespace boardsim {

/// TCP port on which the program on a board serves stations.
inline constexpr int kServicePort = 36001;

/// Holds one address of 127.0.0.0/8 for as long as it lives: no other launcher of this PC takes it, and the
/// service port could be bound there when it was chosen.
class OwnAddress {
 public:
  /// Takes `wanted`, or the first free address when that is empty. Throws std::runtime_error when `wanted` is
  /// taken or no loopback address.
  explicit OwnAddress(const std::string& wanted);
  ~OwnAddress();
  OwnAddress(const OwnAddress&) = delete;
  OwnAddress& operator=(const OwnAddress&) = delete;

  const std::string& text() const { return text_; }

 private:
  bool take(const std::string& address);

  std::string text_;
  int lock_ = -1;
};

}  // namespace boardsim
