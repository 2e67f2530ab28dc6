// /mnt: the folders that a program makes there, the storage media that it mounts on them, and their files.
#pragma once

#include <sys/types.h>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/devices/device.h"
#include "boardsim/devices/medium.h"

namespace boardsim {

/// What stat(2) and open(2) find where a folder is: EISDIR for whoever opens it for writing, or reads it.
class Folder : public Device {
 public:
  Answer open(int flags) override;
  Answer read(void* buffer, std::size_t size, off64_t& position) override;
  mode_t mode() const override;
};

/// The media and what has become of /mnt. A healthy board has a medium in each of its slots, and an empty
/// folder /mnt. Paths are absolute, without ".", ".." and doubled slashes. What no board's program does, such
/// as making a folder on a medium, is answered as unknown.
class Mounts {
 public:
  /// Whether a path is /mnt or below it.
  static bool is_path(std::string_view path);

  /// mount(2) of a node on a folder, type "vfat" (EINVAL for any other), without flags. Several may be
  /// mounted on one folder, the last one is seen there; the one that is seen already cannot be mounted there
  /// again (EBUSY). ENOENT for a folder that is not there, ENOTDIR for a file, and what Medium::mount_error
  /// tells.
  Answer mount(std::string_view node, std::string_view place, std::string_view type);
  /// umount(2): EINVAL where nothing is mounted, EBUSY while a file of the medium is open.
  Answer umount(std::string_view place);
  /// mkdir(2), on the board itself: EEXIST, ENOENT.
  Answer make_folder(std::string_view path);
  /// rmdir(2): EBUSY for one on which something is mounted, ENOTEMPTY, ENOTDIR, ENOENT.
  Answer remove_folder(std::string_view path);
  /// unlink(2) of a medium's file: EISDIR for a folder, and what Medium::unlink tells.
  Answer unlink(std::string_view path);
  /// statfs(2): what is free on the medium, in clusters. ENOENT for a path that is not there, EIO when the
  /// medium is gone.
  Answer space(std::string_view path, Medium::Space& space);

  /// The folder or file at a path, or null.
  Device* find(std::string_view path);
  /// The same; on a medium also a file that is not there yet.
  Device* find_or_make(std::string_view path);
  /// Whether a path is below the folder of a mounted medium.
  bool is_on_medium(std::string_view path);

  /// The medium behind a node, or null.
  Medium* medium(std::string_view node);
  /// The same; throws std::invalid_argument for another node.
  Medium& at(std::string_view node);
  /// "/dev/msb1 on /mnt/test", in the order of mounting.
  std::vector<std::string> mounted() const;
  /// The folders that the program has made, in that order.
  const std::vector<std::string>& folders() const { return folders_; }

  std::array<Medium, 4> media{Medium{"/dev/mmc01"}, Medium{"/dev/mmc11"}, Medium{"/dev/msbd1"},
                              Medium{"/dev/msb1"}};

 private:
  struct Mount {
    Medium* medium;
    std::string place;
  };
  /// A path as the mounts show it.
  struct Place {
    Medium* medium = nullptr;  ///< null: on the board itself
    std::string_view name{};   ///< of the file on the medium, empty for its root folder
  };

  Place place_of(std::string_view path);
  bool is_folder(std::string_view path);

  std::vector<std::string> folders_{};
  std::vector<Mount> mounts_{};
  Folder folder_{};
};

}  // namespace boardsim
