// The simulator's own end of what a program has open.
#pragma once

namespace boardsim {

/// Moves a descriptor of the simulator's above those that a program gets, so that the program's numbers are
/// as on the board. Closes `fd` and returns the new number, closed on exec; `fd` itself where the PC allows
/// none that high, or when it is -1.
int out_of_the_way(int fd);

/// Owns such a descriptor: -1 when there is none.
class FarEnd {
 public:
  explicit FarEnd(int fd = -1) : fd_(out_of_the_way(fd)) {}
  ~FarEnd();
  FarEnd(const FarEnd&) = delete;
  FarEnd& operator=(const FarEnd&) = delete;

  int get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace boardsim
