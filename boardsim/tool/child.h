// Starting the program with the board in front of it.
#pragma once

#include <sys/types.h>

#include "boardsim/tool/options.h"

namespace boardsim {

/// A program that runs on its board; killed and waited for when this goes away.
class Child {
 public:
  /// Starts the program and waits until the board is in place in it. Throws std::runtime_error with a clear
  /// text when the program cannot be started, or would run without the board.
  explicit Child(const Options& options);
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  pid_t pid() const { return pid_; }
  int pid_fd() const { return pid_fd_; }  ///< readable when the program has ended
  int output() const { return output_; }  ///< what it prints
  int errors() const { return errors_; }  ///< what it prints on standard error
  /// Waits for the end of the program; its exit status, 128 and the signal's number when one ended it.
  int wait();

 private:
  void await_board(int report);

  pid_t pid_ = -1;
  int pid_fd_ = -1;
  int output_ = -1;
  int errors_ = -1;
};

}  // namespace boardsim
