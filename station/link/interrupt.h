// An operator's Ctrl-C, as something that a wait can look out for.
#pragma once

#include <atomic>

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
  /// The same, and says why: the first reason stays. It must be a text that outlives this.
  void raise(const char* reason) noexcept;
  /// Asks for the end at once: nothing is put in order any more, and no hold() is respected.
  void raise_at_once() noexcept;
  /// Whether raise_at_once() was called.
  bool is_at_once() const noexcept { return is_at_once_; }
  /// What raise() was called with, or `otherwise` when it said nothing.
  const char* reason(const char* otherwise) const noexcept;

  /// True once raise() was called, unless it is held.
  bool is_raised() const;
  /// Whether accept() was called.
  bool is_accepted() const noexcept { return is_accepted_; }

  /// The first raise() has had its effect: is_raised() is false from now on, so that a board can be left in
  /// order, and the next signal ends the process.
  void accept() noexcept;

  /// For poll(): readable as long as is_raised() is true.
  int descriptor() const { return read_end_; }

  /// From here to release() the first raise() is only noted; the second one counts.
  void hold() noexcept { is_holding_ = true; }
  /// True when a raise() was noted since hold().
  bool is_noted() const noexcept { return is_noted_; }
  /// Ends hold(). What was noted counts from now on.
  void release() noexcept;

  /// Lets SIGINT, SIGTERM and SIGHUP raise this interrupt, which must live until the process ends. A signal
  /// that comes when it is raised already ends the process at once, as it would without us. SIGHUP stays
  /// ignored where it is (nohup), and is one hang-up however often it comes within a second: shell and system
  /// both tell of a terminal that is closed.
  void watch_signals();

 private:
  int read_end_ = -1;
  int write_end_ = -1;
  std::atomic<bool> is_holding_ = false;
  std::atomic<bool> is_noted_ = false;
  std::atomic<bool> is_accepted_ = false;
  std::atomic<bool> is_at_once_ = false;
  std::atomic<const char*> reason_ = nullptr;
};

/// Holds an interrupt as long as it lives.
class HeldInterrupt {
 public:
  explicit HeldInterrupt(Interrupt& interrupt) : interrupt_(interrupt) { interrupt_.hold(); }
  HeldInterrupt(const HeldInterrupt&) = delete;
  HeldInterrupt& operator=(const HeldInterrupt&) = delete;
  ~HeldInterrupt() { interrupt_.release(); }

 private:
  Interrupt& interrupt_;
};

}  // namespace t1station
