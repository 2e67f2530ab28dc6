// mount and its relatives, and what makes or removes something on /mnt: answered there, refused everywhere
// else.
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <optional>
#include <string>

#include "boardsim/board/state.h"
#include "boardsim/calls/calls.h"
#include "boardsim/kernel/real.h"

using boardsim::Entered;
namespace calls = boardsim::calls;
namespace real = boardsim::real;

namespace {

/// The path as the board knows it; nothing when it is not one of /mnt.
std::optional<std::string> mnt_path(const char* path) {
  auto its_path = boardsim::board_path(AT_FDCWD, path);
  return its_path && boardsim::Mounts::is_path(*its_path) ? its_path : std::nullopt;
}

/// Refuses a call on something that is not the board's.
int refuse(const Entered& board, const char* call, const char* what) {
  return calls::refuse(*board, std::string(call) + " of " + (what != nullptr ? what : "nothing"));
}

int statfs_on(const Entered& board, const char* path, struct statfs64* status) {
  const auto its_path = mnt_path(path);
  return its_path ? calls::statfs(*board, *its_path, status) : refuse(board, "statfs", path);
}

}  // namespace

extern "C" {

int mount(const char* source, const char* target, const char* type, unsigned long flags,
          const void* data) noexcept {
  const Entered board;
  if (!board) {
    boardsim::must_be_outside("mount");
    return real::mount(source, target, type, flags, data);
  }
  const auto node = boardsim::board_path(AT_FDCWD, source);
  const auto place = mnt_path(target);
  if (!node || !place || type == nullptr || flags != 0 || data != nullptr) {
    return refuse(board, "mount", target);
  }
  return calls::mount(*board, *node, *place, type);
}

int umount(const char* target) noexcept {
  const Entered board;
  if (!board) {
    boardsim::must_be_outside("umount");
    return real::umount(target);
  }
  const auto place = mnt_path(target);
  return place ? calls::umount(*board, *place) : refuse(board, "umount", target);
}

int umount2(const char* target, int flags) noexcept {
  const Entered board;
  return board ? refuse(board, "umount2", target) : real::umount2(target, flags);
}

int statfs64(const char* path, struct statfs64* status) noexcept {
  const Entered board;
  return board ? statfs_on(board, path, status) : real::statfs64(path, status);
}

int statfs(const char* path, struct statfs* status) noexcept {
  const Entered board;
  if (!board) return real::statfs(path, status);
  struct statfs64 wide {};
  const int result = statfs_on(board, path, status != nullptr ? &wide : nullptr);
  if (result != 0) return result;
  *status = {};
  status->f_type = wide.f_type;
  status->f_bsize = wide.f_bsize;
  status->f_frsize = wide.f_frsize;
  status->f_blocks = static_cast<decltype(status->f_blocks)>(wide.f_blocks);
  status->f_bfree = static_cast<decltype(status->f_bfree)>(wide.f_bfree);
  status->f_bavail = static_cast<decltype(status->f_bavail)>(wide.f_bavail);
  status->f_namelen = wide.f_namelen;
  return 0;
}

int mkdir(const char* path, mode_t mode) noexcept {
  const Entered board;
  if (!board) return real::mkdir(path, mode);
  const auto its_path = mnt_path(path);
  return its_path ? calls::mkdir(*board, *its_path, mode) : refuse(board, "mkdir", path);
}

int rmdir(const char* path) noexcept {
  const Entered board;
  if (!board) return real::rmdir(path);
  const auto its_path = mnt_path(path);
  return its_path ? calls::rmdir(*board, *its_path) : refuse(board, "rmdir", path);
}

int unlink(const char* path) noexcept {
  const Entered board;
  if (!board) return real::unlink(path);
  const auto its_path = mnt_path(path);
  return its_path ? calls::unlink(*board, *its_path) : refuse(board, "unlink", path);
}

}  // extern "C"
