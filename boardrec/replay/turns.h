// A recorded session, played to the program that asks: each thread's calls in their recorded order, and all
// answers in the order in which they were given.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "boardrec/replay/handed.h"
#include "boardrec/session/recording.h"

namespace boardrec {

/// Reads the recording; `speed`: so many times as fast as it was recorded, 0 for no waiting at all. Throws
/// Unreadable, and std::runtime_error when the program has no two descriptors to spare.
void load_replay(const std::string& file, double speed);
/// The calling thread is the recorded program's first from now on.
void begin_replay();
/// The program has ended by itself with this status, at its turn or too early.
void finish_replay(int status);

/// Whether the recording's format has this version or a later one: older ones lack some calls.
bool is_of_version(std::uint16_t oldest);

/// Whether the calling thread's calls are answered: it is the program's, and this is no call within another.
bool is_replayed();

/// While one lives, the thread's calls go past the replay.
class Within {
 public:
  Within();
  ~Within();
  Within(const Within&) = delete;
  Within& operator=(const Within&) = delete;
};

/// What was answered to the thread's next call, which must be this one with these values: waits for its turn.
/// A call that differs ends the process, with both versions on standard error; so does the recording's end. A
/// call in which the thread was cancelled waits until it is.
const Record& next_answer(Call call, In in);
/// The same; `then` runs at its turn, before anybody else's.
const Record& next_answer(Call call, In in, const std::function<void(const Record&)>& then);

/// What came back, at most `size` bytes. A block that stands as digest is taken from where its bytes are.
void give(const Value& value, void* to, std::size_t size);

/// errno is set when the call failed.
inline long returned(const Record& record) {
  if (record.error != 0) errno = record.error;
  return static_cast<long>(record.result);
}
inline int returned_int(const Record& record) {
  return static_cast<int>(returned(record));
}

/// The calling thread is the program's `thread`-th from now on, and until it ends.
void begin_thread(std::uint16_t thread);
void end_thread();
/// The calling thread's calls are answered no more.
void leave_replay();

/// Mutexes by the order in which they were first locked: 1, 2, 3 ... For `then` of next_answer only.
std::int64_t number_of_mutex(const void* mutex);

/// Ends the process with both versions said in `text`: the program differs in what is known at its turn only.
/// For `then` of next_answer only.
[[noreturn]] void end_replay_at(const Record& recorded, const std::string& text);

/// Ends the process: the replay cannot begin or go on, whatever the program does.
[[noreturn]] void fail_replay(const std::string& text);

}  // namespace boardrec
