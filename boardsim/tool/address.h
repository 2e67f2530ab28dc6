// A loopback address of its own for each simulated board.
#pragma once

#include <cstdint>
#include <string>

namespace boardsim {

/// TCP port on which the program on a board serves stations.
inline constexpr int kServicePort = 36001;

/// Holds one address of 127.0.0.0/8 for as long as it lives: no other launcher of this PC takes it, and the
/// service port could be bound there when it was chosen.
class OwnAddress {
 public:
  /// Takes `wanted`, a loopback address, or the first free one when that is empty. Throws std::runtime_error,
  /// which tells who has it and how long it is to be waited for, when it is taken.
  explicit OwnAddress(const std::string& wanted);
  ~OwnAddress();
  OwnAddress(const OwnAddress&) = delete;
  OwnAddress& operator=(const OwnAddress&) = delete;

  const std::string& text() const { return text_; }

 private:
  enum class Outcome : std::uint8_t { taken, of_another_board, port_in_use };
  Outcome take(const std::string& address);
  void take_this(const std::string& wanted);

  std::string text_;
  int lock_ = -1;
};

/// Whether it is an IPv4 address of 127.0.0.0/8.
bool is_loopback(const std::string& address);

}  // namespace boardsim
