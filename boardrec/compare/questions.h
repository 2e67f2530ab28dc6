// A session as questions of the program and the answers that it got, request by request of the station.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "boardrec/session/named_calls.h"
#include "boardrec/session/recording.h"

namespace boardrec {

/// The rows of what is no node.
inline constexpr std::string_view kStation = "station";  ///< what the program sent there
inline constexpr std::string_view kNetwork = "network";
inline constexpr std::string_view kSleeps = "sleeps";

/// A question of the program. What it told the station counts as one, too: a document is its answer.
struct Question {
  const NamedCall* call = nullptr;  ///< of the session; the one that sent a document's end
  std::string device{};             ///< node, file, or one of the rows above
  std::string kind{};               ///< "ioctl 0x80044703", "read"
  std::string asked{};              ///< everything that was asked, but for the bytes of a write
  std::string document{};           ///< what was sent to the station
  bool has_duration = true;         ///< the board decides how long it takes
  /// Of a reading of the real-time clock: how far it was ahead of the session's first one by then, seconds,
  /// less what had passed.
  std::optional<double> clock_drift{};
};

/// Whether two programs asked the same. Of a write that fell short a recording has only the bytes that it
/// moved: the others are taken for the same.
bool is_same_question(const Question& one, const Question& other);

/// The questions behind one request of the station, up to the next.
struct Segment {
  std::string
      name{};  ///< "the start", "connection 1", "request 3 (TestCode 1536)", of other threads "thread 1"
  std::vector<Question> questions{};
};

struct SessionThread {
  std::uint16_t number = 0;  ///< 0 is the main one
  std::vector<Segment> segments{};
};

/// A session, which refers to its recording.
struct Session {
  std::vector<NamedCall> calls{};
  std::vector<SessionThread> threads{};  ///< in the order of their numbers
  std::size_t requests = 0;
  std::uint64_t main_ended = 0;  ///< when the main thread's last recorded call ended, nanoseconds
  bool ended =
      false;  ///< the program ended by itself, or restarted the board; else the recording stops somewhere
};

/// The number of an ioctl's request, "0x40044603".
std::string request_text(std::uint32_t request);

/// Left out are the program's own affairs, which no board answers (locks, threads that end), clocks, and what
/// the station does: waiting for it and receiving from it.
Session session_of(const Recording& recording);

}  // namespace boardrec
