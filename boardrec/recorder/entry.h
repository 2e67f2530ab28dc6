// One call of the program: whether it is recorded, what goes in, what comes back.
#pragma once

#include <pthread.h>
#include <sys/types.h>

#include <cerrno>
#include <cstdint>

#include "boardrec/format/calls.h"
#include "boardrec/format/layout.h"
#include "boardrec/recorder/file.h"

namespace boardrec {

/// What the recorder knows of the calling thread.
struct ThisThread {
  int number;  ///< as in records, -1 for one that is not recorded
  int depth;   ///< above 0 inside a recorded call
};
extern thread_local constinit ThisThread this_thread;

/// Nanoseconds since recording began, on the clock that the program has.
std::uint64_t now();

/// A call of the program's for as long as this lives. Not recorded are calls of other threads, those made
/// within a recorded call, and all once recording has ended: they go straight on, and nothing else may be
/// called of this.
class Entry {
 public:
  explicit Entry(Call call);
  explicit operator bool() const { return recorded_; }
  Entry(const Entry&) = delete;
  Entry& operator=(const Entry&) = delete;

  // What the program hands in, in the order of the call's row. Its bytes are copied behind the call; a null
  // pointer is an absent value.
  void in(std::int64_t number) { in_.add({.kind = Item::Kind::number, .number = number}); }
  void in_text(const char* text) { in_.add({.kind = Item::Kind::text, .pointer = text}); }
  void in_bytes(const void* bytes, std::size_t size) { in_.add(handed(bytes, size)); }
  void in_own(const void* bytes, std::size_t size) { in_.add(own(bytes, size)); }
  void in_absent() { in_.add({}); }
  /// What a call moved, as a digest when it is long; behind the call.
  void in_moved(const void* bytes, ssize_t size);

  // What comes back, behind the call; absent values are added where a call failed.
  void out(std::int64_t number) { out_.add({.kind = Item::Kind::number, .number = number}); }
  void out_own(const void* bytes, std::size_t size) { out_.add(own(bytes, size)); }
  void out_bytes(const void* bytes, std::size_t size) { out_.add(handed(bytes, size)); }
  void out_absent() { out_.add({}); }
  /// What a call moved, as a digest when the recording has had it.
  void out_moved(const void* bytes, ssize_t size);

  void flag(std::uint32_t flags) { body_.flags |= flags; }

  /// Makes the call, with the errno that the program had; its own is kept for end().
  template <typename Function>
  auto make(Function function) {
    errno = error_;
    const auto result = function();
    error_ = errno;
    return result;
  }

  /// The same of a call in which a thread can be cancelled.
  template <typename Function>
  auto make_cancellable(Function function) {
    decltype(function()) result{};
    pthread_cleanup_push(cancelled, this);
    result = make(function);
    pthread_cleanup_pop(0);
    return result;
  }

  /// Writes a record before a call that may never return.
  void announce();
  /// Writes the record of a call that returns -1 and errno when it fails. Gives back its result.
  template <typename Result>
  Result end(Result result) {
    write(result, result == -1 ? error_ : 0);
    return result;
  }
  /// The same of one that returns an error's number.
  int end_with_number(int result) {
    write(result, result);
    return result;
  }
  /// The same of one that returns a pointer.
  template <typename Pointed>
  Pointed* end_with_pointer(Pointed* result, bool failed) {
    write(result != nullptr ? 1 : 0, failed ? error_ : 0);
    return result;
  }
  /// The same of one that returns how much it moved.
  std::size_t end_with_count(std::size_t result, bool failed) {
    write(static_cast<std::int64_t>(result), failed ? error_ : 0);
    return result;
  }
  /// The same, with the lock taken by the caller for what must happen together with it.
  void write_locked(std::int64_t result, std::int32_t error);
  void leave();

  int error() const { return error_; }

 private:
  static Item handed(const void* bytes, std::size_t size) {
    return {.kind = Item::Kind::handed, .pointer = bytes, .size = static_cast<std::uint32_t>(size)};
  }
  static Item own(const void* bytes, std::size_t size) {
    return {.kind = Item::Kind::own, .pointer = bytes, .size = static_cast<std::uint32_t>(size)};
  }
  static void cancelled(void* entry);
  void write(std::int64_t result, std::int32_t error);
  void pad(Items& items, std::uint16_t count) const;

  Body body_{};
  Items in_{};
  Items out_{};
  int error_;  ///< the program's errno
  bool recorded_;
};

}  // namespace boardrec
