// The program's descriptors that the board knows something about.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/core/device.h"

namespace boardsim {

/// One descriptor. A node's is a real descriptor of the PC that leads nowhere, so that numbers, leaks and
/// select are as on the board.
struct Descriptor {
  std::string name;          ///< node, or "station", "listener", "socket"
  Device* device = nullptr;  ///< null for sockets
  off_t position = 0;
  std::uint64_t order = 0;  ///< of opening
};

/// The descriptors by number. Guarded by the board's lock.
class Descriptors {
 public:
  void add(int fd, std::string name, Device* device = nullptr);
  /// The descriptor, or null when nothing is known about that number.
  Descriptor* find(int fd);
  void remove(int fd) { entries_.erase(fd); }
  /// Names of the open nodes in the order of opening.
  std::vector<std::string> open_nodes() const;

 private:
  std::map<int, Descriptor> entries_;
  std::uint64_t opened_ = 0;
};

/// Whether a path is the board's own: below /dev (but for what every PC has there, like /dev/null),
/// /proc/debug, /devinfo or /mnt.
bool is_board_path(std::string_view path);
/// Whether a file that is missing there is nothing unusual: below /proc/debug.
bool may_be_missing(std::string_view path);
/// The path without ".", ".." and doubled slashes.
std::string plain_path(const char* path);

}  // namespace boardsim
