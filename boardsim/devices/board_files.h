// /devinfo: files that the factory installs in the board's own file system.
#pragma once

#include <sys/types.h>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/devices/device.h"

namespace boardsim {

/// A regular file that is read from a position. A program can only open it for reading: anything else fails
/// with EROFS.
class BoardFile : public Device {
 public:
  Answer open(int flags) override;
  Answer read(void* buffer, std::size_t size, off64_t& position) override;
  mode_t mode() const override;
  off64_t size() const override { return static_cast<off64_t>(content_.size()); }

 private:
  friend class BoardFiles;
  std::string content_{};
  bool exists_ = false;
};

/// All files below /devinfo. A healthy board has TG.bin, the register writes of the timing generator for
/// several camera models.
class BoardFiles {
 public:
  BoardFiles();

  /// Whether a file may be at a path: anything below /devinfo.
  static bool is_path(std::string_view path);
  /// The file at a path; null when none is there.
  BoardFile* find(std::string_view path);
  /// Puts a file with this very content in place. Throws std::invalid_argument outside of /devinfo.
  void set(std::string_view path, std::string content);
  /// Takes a file away; one that is open can still be read. Nothing happens when there is none.
  void remove(std::string_view path);

 private:
  // A file that was taken away stays here, since a descriptor may still be open.
  std::map<std::string, std::unique_ptr<BoardFile>, std::less<>> files_;
};

}  // namespace boardsim
