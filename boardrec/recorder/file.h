// The recording's file: room for one record, a limit, an end without harm to the program.
#pragma once

#include <cstddef>
#include <cstdint>

#include "boardrec/format/calls.h"
#include "boardrec/format/layout.h"
#include "boardrec/memory/kernel.h"

namespace boardrec {

/// Guards everything that threads share in here, the file included. Taken by threads that are inside a
/// recorded call only.
extern kernel::Lock shared;

/// A value on its way into a record.
struct Item {
  enum class Kind {
    absent,
    number,
    own,     ///< bytes of the recorder's
    handed,  ///< bytes of the program's, which may be none
    text,    ///< the same up to a zero
    digest,
  } kind = Kind::absent;
  std::int64_t number = 0;
  const void* pointer = nullptr;
  std::uint32_t size = 0;
  std::uint64_t digest = 0;
};

/// A record's values.
struct Items {
  static constexpr std::size_t kMost = 6;
  Item items[kMost]{};
  std::uint16_t count = 0;

  void add(const Item& item) {
    if (count < kMost) items[count++] = item;
  }
};

/// One line on standard error, with an errno (negative) unless it is 0.
void tell(const char* name, const char* what, long error);

/// Begins a recording. False when it cannot be: one line on standard error says why.
bool begin_file(const char* name, std::uint64_t limit, std::uint64_t real_time, std::uint64_t monotonic);
/// Whether records are written. False for good once the limit is reached or the file takes no more, which
/// one line on standard error says.
bool recording();
/// Ends the recording without a word.
void end_recording();
/// Writes a record; the lock is held. Numbers of values are set here. The program's bytes are read without
/// care where `safe` says that the kernel has just used them.
void write_record(Body body, const Items& in, const Items& out, bool safe);
/// Writes a note; the lock is held.
void write_note(const char* text, std::uint64_t time);
/// Whether the descriptor is one of the recorder's.
bool is_own(int fd);

}  // namespace boardrec
