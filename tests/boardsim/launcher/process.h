// A process that a test starts, with what it prints.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

/// Starts a program and collects both of its outputs. Killed at the end of its life.
class Process {
 public:
  explicit Process(std::vector<std::string> command);
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  /// Reads until standard output holds `text`; false when the program ends before.
  bool wait_for(const std::string& text);
  /// Waits for the end; the exit status, 128 and the signal's number when one ended it.
  int wait();
  void signal(int number) const;

  std::string out{};
  std::string err{};

 private:
  bool read_some();

  pid_t pid_ = -1;
  int out_fd_ = -1;
  int err_fd_ = -1;
};
