// Descriptors of the simulator's own, out of the program's way.
#pragma once

namespace boardsim {

/// Moves a descriptor of the simulator's above those that a program gets, so that the program's numbers are
/// as on the board. Closes `fd` and returns the new number, closed on exec; `fd` itself where the PC allows
/// none that high, or when it is -1.
int out_of_the_way(int fd);

/// Owns such a descriptor: -1 when there is none, with the errno of the call that failed to make it.
class OwnDescriptor {
 public:
  explicit OwnDescriptor(int fd = -1) : fd_(out_of_the_way(fd)) {}
  ~OwnDescriptor();
  OwnDescriptor(const OwnDescriptor&) = delete;
  OwnDescriptor& operator=(const OwnDescriptor&) = delete;

  int get() const { return fd_; }
  /// Closes it before its time.
  void reset();

 private:
  int fd_;
};

}  // namespace boardsim
