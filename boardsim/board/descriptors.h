// The program's descriptors that the board knows something about.
#pragma once

#include <fcntl.h>
#include <sys/types.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/devices/device.h"

namespace boardsim {

/// One descriptor. A node's is a real descriptor of the PC that leads nowhere, so that numbers, leaks and
/// select are as on the board.
struct Descriptor {
  std::string name;          ///< node, or "station", "application", "listener", "socket"
  Device* device = nullptr;  ///< null for sockets
  off64_t position = 0;
  std::uint64_t order = 0;  ///< of opening
  int flags = 0;            ///< as given to open(2); 0 for sockets

  bool can_read() const { return (flags & O_ACCMODE) != O_WRONLY; }
  bool can_write() const { return (flags & O_ACCMODE) != O_RDONLY; }
};

/// The descriptors by number. Guarded by the board's lock.
class Descriptors {
 public:
  /// `flags`: as given to open(2).
  void add(int fd, std::string name, Device* device = nullptr, int flags = 0);
  /// The descriptor, or null when nothing is known about that number.
  Descriptor* find(int fd);
  /// The same for nodes only.
  Descriptor* find_node(int fd);
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
/// Whether a file that is missing there is nothing unusual: below /proc/debug and /devinfo.
bool may_be_missing(std::string_view path);
/// The board's own path that a program means by `path`, seen from the folder open as `directory` (AT_FDCWD:
/// the one that it works in); without ".", ".." and doubled slashes. Nothing for null and for paths of the
/// PC. Symbolic links of the PC are not followed.
std::optional<std::string> board_path(int directory, const char* path);
/// The same, and /dev itself: what is in that folder, or becomes of it, is the board's too.
std::optional<std::string> board_folder(int directory, const char* path);

}  // namespace boardsim
