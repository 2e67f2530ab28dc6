// What the numbers of descriptors and streams stand for while a session goes on.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "boardrec/session/recording.h"

namespace boardrec {

/// What a number stands for from its opening to its closing.
struct Opened {
  /// The path of a node or file; "station" for a connection to the test station, "listener", "application",
  /// and "socket" for one of which nothing is known yet.
  std::string name{};
  bool is_socket = false;
  std::uint64_t since = 0;             ///< when it was there, nanoseconds since recording began
  std::vector<std::size_t> records{};  ///< the calls that made it what it is, the first opened it
};

/// The descriptors and streams of a program, followed call by call. Those that were open when recording began
/// are not known.
class Descriptors {
 public:
  /// Enters what a call has opened, closed or made of a descriptor.
  void follow(const Record& record);
  /// What a descriptor was for a call that began then; null when nothing is known about the number.
  const Opened* find(std::int64_t fd, std::uint64_t began) const;
  const Opened* find_stream(std::int64_t stream) const;
  /// The records that opened what is open now, in their order.
  std::vector<std::size_t> openings() const;

 private:
  void open(std::int64_t fd, std::string name, bool is_socket, const Record& record);
  void close(std::int64_t fd, std::uint64_t began);

  /// A number is free for others before the call that closed it has returned: then it stands for two.
  std::map<std::int64_t, std::vector<Opened>> descriptors_;
  std::map<std::int64_t, Opened> streams_;
};

/// Whether a path is the board's own, as against those of any Linux system: below /dev (but for what every
/// system has there), /proc/debug, /devinfo or /mnt.
bool is_board_path(std::string_view path);

/// Where the camera's main application listens on a board.
inline constexpr std::string_view kApplicationAddress = "127.0.0.1:7001";

}  // namespace boardrec
