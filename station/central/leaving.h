// Ending a thread while a call in it hangs that nothing can end, for example the look-up of a host's name.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

namespace t1station {

/// The thread has been left behind: nothing but what it holds itself may be touched any more.
class LeftBehind {};

/// Between a detached thread, which keeps this, and the one that began it.
class Leaving {
 public:
  /// In the thread: makes a call that may hang. Throws LeftBehind when nobody waits for the thread any more,
  /// else what `call` throws.
  void may_hang(const std::function<void()>& call) {
    hang(true);
    try {
      call();
    } catch (...) {
      hang(false);
      throw;
    }
    hang(false);
  }
  /// In the thread: it is over.
  void end() {
    const std::lock_guard lock(mutex_);
    has_ended_ = true;
    changed_.notify_all();
  }
  /// Waits until the thread has ended or, once `patience` is over, hangs.
  void leave(std::chrono::milliseconds patience) {
    std::unique_lock lock(mutex_);
    if (changed_.wait_for(lock, patience, [this] { return has_ended_; })) return;
    changed_.wait(lock, [this] { return has_ended_ || hangs_; });
    is_left_ = true;
  }

 private:
  void hang(bool hangs) {
    const std::lock_guard lock(mutex_);
    hangs_ = hangs;
    changed_.notify_all();
    if (is_left_) throw LeftBehind();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  bool has_ended_ = false, hangs_ = false, is_left_ = false;
};

}  // namespace t1station
