// Calls on open descriptors, and on paths without opening them.
#include <fcntl.h>
#include <net/if.h>
#include <stdarg.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <type_traits>

#include "boardsim/board/state.h"
#include "boardsim/calls/calls.h"
#include "boardsim/kernel/real.h"

using boardsim::Entered;
namespace calls = boardsim::calls;
namespace real = boardsim::real;

extern "C" {
ssize_t __read_chk(int fd, void* buffer, size_t size, size_t buffer_size);
int __xstat(int version, const char* path, struct stat* status);
int __lxstat(int version, const char* path, struct stat* status);
int __fxstat(int version, int fd, struct stat* status);
int __fxstatat(int version, int directory, const char* path, struct stat* status, int flags);
int __xstat64(int version, const char* path, struct stat64* status);
int __lxstat64(int version, const char* path, struct stat64* status);
int __fxstat64(int version, int fd, struct stat64* status);
int __fxstatat64(int version, int directory, const char* path, struct stat64* status, int flags);
[[noreturn]] void __chk_fail();
}

namespace {

/// Copies a status to where the caller wants it in its older layout, whose numbers are smaller on 32-bit
/// machines. `result` is what the call returned; -1 with EOVERFLOW when a number does not fit.
int narrowed(int result, const struct stat64& from, struct stat* to) {
  const bool answered = result == 0 && from.st_mode != 0;  // a fault may return 0 without doing anything
  if (!answered) return result;
  *to = {};
  bool fits = true;
  const auto copy = [&fits](auto& narrow, auto wide) {
    narrow = static_cast<std::remove_reference_t<decltype(narrow)>>(wide);
    fits = fits && static_cast<decltype(wide)>(narrow) == wide;
  };
  copy(to->st_dev, from.st_dev);
  copy(to->st_ino, from.st_ino);
  copy(to->st_size, from.st_size);
  copy(to->st_blocks, from.st_blocks);
  to->st_mode = from.st_mode;
  to->st_nlink = from.st_nlink;
  to->st_uid = from.st_uid;
  to->st_gid = from.st_gid;
  to->st_rdev = from.st_rdev;
  to->st_blksize = from.st_blksize;
  to->st_atim = from.st_atim;
  to->st_mtim = from.st_mtim;
  to->st_ctim = from.st_ctim;
  return fits ? 0 : (errno = EOVERFLOW, -1);
}

bool is_socket(int fd) {
  struct stat64 status {};
  return real::fstat64(fd, &status) == 0 && S_ISSOCK(status.st_mode);
}

/// Reads a pipe or terminal of the PC: time goes on while its bytes are waited for.
ssize_t read_of_pc(boardsim::BoardState& board, int fd, void* buffer, std::size_t size) {
  if ((fcntl(fd, F_GETFL) & O_NONBLOCK) != 0) return real::read(fd, buffer, size);
  std::optional<boardsim::Time> deadline;
  if (const auto limit = boardsim::terminal_read_limit(fd)) deadline = board.clock.now() + *limit;
  const int error = calls::wait_readable(board, fd, deadline);
  if (error == EAGAIN) return 0;
  return error == 0 ? real::read(fd, buffer, size) : -1;
}

int stat_descriptor(int fd, struct stat64* status) {
  const Entered board;
  if (board) {
    if (const auto result = calls::fstat(*board, fd, status)) return *result;
  }
  return real::fstat64(fd, status);
}

int stat_path(const char* name, int directory, const char* path, struct stat64* status, int flags) {
  const Entered board;
  if (board) {
    if ((flags & AT_EMPTY_PATH) != 0 && path != nullptr && *path == '\0') {
      if (const auto result = calls::fstat(*board, directory, status)) return *result;
    }
    if (const auto its_path = boardsim::board_path(directory, path))
      return calls::stat(*board, name, *its_path, status);
  }
  return real::fstatat64(directory, path, status, flags);
}

off64_t seek(int fd, off64_t offset, int whence) {
  const Entered board;
  if (board) {
    if (const auto result = calls::lseek(*board, fd, offset, whence)) return *result;
  }
  return real::lseek64(fd, offset, whence);
}

int narrow_stat_path(const char* name, int directory, const char* path, struct stat* status, int flags) {
  struct stat64 wide {};
  return narrowed(stat_path(name, directory, path, status != nullptr ? &wide : nullptr, flags), wide, status);
}

}  // namespace

extern "C" {

int close(int fd) {
  const Entered board;
  return board ? calls::close(*board, fd) : real::close(fd);
}

ssize_t read(int fd, void* buffer, size_t size) {
  const Entered board;
  if (!board) return real::read(fd, buffer, size);
  if (const auto result = calls::read(*board, fd, buffer, size)) return *result;
  if (is_socket(fd)) return calls::recv(*board, "read", fd, buffer, size, 0);
  return read_of_pc(*board, fd, buffer, size);
}

ssize_t __read_chk(int fd, void* buffer, size_t size, size_t buffer_size) {
  if (size > buffer_size) __chk_fail();
  return read(fd, buffer, size);
}

ssize_t write(int fd, const void* buffer, size_t size) {
  const Entered board;
  if (!board) return real::write(fd, buffer, size);
  if (const auto result = calls::write(*board, fd, buffer, size)) return *result;
  return is_socket(fd) ? calls::send(*board, "write", fd, buffer, size, 0) : real::write(fd, buffer, size);
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
  const off64_t position = seek(fd, offset, whence);
  const auto narrow = static_cast<off_t>(position);
  return narrow == position ? narrow : (errno = EOVERFLOW, -1);
}
off64_t lseek64(int fd, off64_t offset, int whence) noexcept {
  return seek(fd, offset, whence);
}

int ioctl(int fd, unsigned long request, ...) noexcept {
  va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  const Entered board;
  if (!board) return real::ioctl(fd, request, argument);
  const auto number = static_cast<std::uint32_t>(request);
  if (const auto result = calls::ioctl(*board, fd, number, argument)) return *result;
  if (is_socket(fd)) {
    return number == SIOCGIFADDR ? calls::interface_address(*board, argument)
                                 : calls::refuse_request(*board, fd, number);
  }
  // A terminal that takes the console would take the PC's.
  return number == TIOCCONS ? calls::refuse(*board, "TIOCCONS on a file of the PC")
                            : real::ioctl(fd, request, argument);
}

int access(const char* path, int mode) noexcept {
  const Entered board;
  if (board) {
    if (const auto its_path = boardsim::board_path(AT_FDCWD, path))
      return calls::access(*board, *its_path, mode);
  }
  return real::access(path, mode);
}

int stat(const char* path, struct stat* status) noexcept {
  return narrow_stat_path("stat", AT_FDCWD, path, status, 0);
}
int stat64(const char* path, struct stat64* status) noexcept {
  return stat_path("stat", AT_FDCWD, path, status, 0);
}
int lstat(const char* path, struct stat* status) noexcept {
  return narrow_stat_path("lstat", AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW);
}
int lstat64(const char* path, struct stat64* status) noexcept {
  return stat_path("lstat", AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW);
}
int fstatat(int directory, const char* path, struct stat* status, int flags) noexcept {
  return narrow_stat_path("stat", directory, path, status, flags);
}
int fstatat64(int directory, const char* path, struct stat64* status, int flags) noexcept {
  return stat_path("stat", directory, path, status, flags);
}
int fstat(int fd, struct stat* status) noexcept {
  struct stat64 wide {};
  return narrowed(stat_descriptor(fd, status != nullptr ? &wide : nullptr), wide, status);
}
int fstat64(int fd, struct stat64* status) noexcept {
  return stat_descriptor(fd, status);
}

// The names under which older programs reach the same calls.
int __xstat(int, const char* path, struct stat* status) {
  return stat(path, status);
}
int __lxstat(int, const char* path, struct stat* status) {
  return lstat(path, status);
}
int __fxstat(int, int fd, struct stat* status) {
  return fstat(fd, status);
}
int __fxstatat(int, int directory, const char* path, struct stat* status, int flags) {
  return fstatat(directory, path, status, flags);
}
int __xstat64(int, const char* path, struct stat64* status) {
  return stat64(path, status);
}
int __lxstat64(int, const char* path, struct stat64* status) {
  return lstat64(path, status);
}
int __fxstat64(int, int fd, struct stat64* status) {
  return fstat64(fd, status);
}
int __fxstatat64(int, int directory, const char* path, struct stat64* status, int flags) {
  return fstatat64(directory, path, status, flags);
}

}  // extern "C"
