// An operator's Ctrl-C, as something that a wait can look out for.
#pragma once

namespace t1station {

/// Remembers that the operator wants to stop. The descriptor becomes readable then and stays so.
class Interrupt {
 public:
  /// Throws std::system_error when the system has no descriptors left.
  Interrupt();
  Interrupt(const Interrupt&) = delete;
  Interrupt& operator=(const Interrupt&) = delete;
  ~Interrupt();

  /// Asks for the end. Safe in signal handlers and from any thread.
  void raise() noexcept;

  /// True once raise() was called.
  bool is_raised() const;

  /// For poll(): readable once raise() was called.
  int descriptor() const { return read_end_; }

  /// Lets SIGINT and SIGTERM raise this interrupt, which must live until the process ends. The second signal
  /// of a kind ends the process at once, as it would without us.
  void watch_signals();

 private:
  int read_end_ = -1;
  int write_end_ = -1;
};

}  // namespace t1station
