// Calls on paths and on what stands there.
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include "boardrec/recorder/entry.h"
#include "boardrec/recorder/next.h"
#include "boardrec/recorder/times.h"

using boardrec::Call;
using boardrec::Entry;

extern "C" {
int __xstat(int version, const char* path, struct stat* status);
int __lxstat(int version, const char* path, struct stat* status);
int __fxstat(int version, int fd, struct stat* status);
int __xstat64(int version, const char* path, struct stat64* status);
int __lxstat64(int version, const char* path, struct stat64* status);
int __fxstat64(int version, int fd, struct stat64* status);
int __stat64_time64(const char* path, boardrec::WideStat* status);
int __lstat64_time64(const char* path, boardrec::WideStat* status);
int __fstat64_time64(int fd, boardrec::WideStat* status);
int __fstatat64_time64(int directory, const char* path, boardrec::WideStat* status, int flags);
}

BOARDREC_NEXT(stat);
BOARDREC_NEXT(stat64);
BOARDREC_NEXT(lstat);
BOARDREC_NEXT(lstat64);
BOARDREC_NEXT(fstat);
BOARDREC_NEXT(fstat64);
BOARDREC_NEXT(fstatat);
BOARDREC_NEXT(fstatat64);
BOARDREC_NEXT(__xstat);
BOARDREC_NEXT(__lxstat);
BOARDREC_NEXT(__fxstat);
BOARDREC_NEXT(__xstat64);
BOARDREC_NEXT(__lxstat64);
BOARDREC_NEXT(__fxstat64);
BOARDREC_NEXT(__stat64_time64);
BOARDREC_NEXT(__lstat64_time64);
BOARDREC_NEXT(__fstat64_time64);
BOARDREC_NEXT(__fstatat64_time64);
BOARDREC_NEXT(access);
BOARDREC_NEXT(statfs);
BOARDREC_NEXT(statfs64);
BOARDREC_NEXT(mkdir);
BOARDREC_NEXT(rmdir);
BOARDREC_NEXT(unlink);
BOARDREC_NEXT(mount);
BOARDREC_NEXT(umount);
BOARDREC_NEXT(umount2);

namespace {

/// Of a path below another folder than the working one, or of a descriptor by an empty path, the recording
/// has nothing but that it was asked for.
void in_path(Entry& entry, int directory, const char* path, bool succeeded) {
  if (directory == AT_FDCWD || (succeeded && *path == '/')) return entry.in_text(path);
  entry.in_absent();
  entry.flag(boardrec::kNotRecorded);
}

template <typename Stat>
boardrec::Status status_of(const Stat& stat) {
  boardrec::Status status{};
  status.size = stat.st_size;
  status.blocks = stat.st_blocks;
  status.block_size = stat.st_blksize;
  status.modified = boardrec::nanoseconds(stat.st_mtim);
  status.device = stat.st_dev;
  status.inode = stat.st_ino;
  status.special_device = stat.st_rdev;
  status.mode = stat.st_mode;
  status.links = static_cast<std::uint32_t>(stat.st_nlink);
  status.user = stat.st_uid;
  status.group = stat.st_gid;
  return status;
}

/// What came back of a status, then the record. A call that is said to have gone well may have told nothing.
template <typename Stat>
int end_status(Entry& entry, const Stat* stat, int result) {
  boardrec::Status status{};
  if (result == 0 && stat != nullptr) {
    status = status_of(*stat);
    entry.out_own(&status, sizeof status);
  }
  return entry.end(result);
}

template <typename Stat, typename Function>
int stat_path(Call call, int directory, const char* path, Stat* stat, Function function) {
  Entry entry(call);
  if (!entry) return function();
  const int result = entry.make(function);
  in_path(entry, directory, path, result == 0);
  return end_status(entry, stat, result);
}

template <typename Stat, typename Function>
int stat_fd(int fd, Stat* stat, Function function) {
  Entry entry(Call::fstat);
  if (!entry) return function();
  entry.in(fd);
  return end_status(entry, stat, entry.make(function));
}

Call stat_call(int flags) {
  return (flags & AT_SYMLINK_NOFOLLOW) != 0 ? Call::lstat : Call::stat;
}

template <typename Statfs, typename Function>
int statfs_any(const char* path, Statfs* from, Function function) {
  Entry entry(Call::statfs);
  if (!entry) return function();
  const int result = entry.make(function);
  entry.in_text(path);
  boardrec::FileSystem to{};
  if (result == 0 && from != nullptr) {
    to = {from->f_type,
          static_cast<std::int64_t>(from->f_bsize),
          static_cast<std::int64_t>(from->f_frsize),
          static_cast<std::int64_t>(from->f_blocks),
          static_cast<std::int64_t>(from->f_bfree),
          static_cast<std::int64_t>(from->f_bavail),
          static_cast<std::int64_t>(from->f_files),
          static_cast<std::int64_t>(from->f_ffree),
          static_cast<std::int64_t>(from->f_namelen),
          static_cast<std::int64_t>(from->f_flags)};
    entry.out_own(&to, sizeof to);
  }
  return entry.end(result);
}

/// A call with a path and a number.
template <typename Function>
int on_path(Call call, const char* path, std::int64_t number, Function function) {
  Entry entry(call);
  if (!entry) return function();
  const int result = entry.make(function);
  entry.in_text(path);
  entry.in(number);
  return entry.end(result);
}

template <typename Function>
int remove_path(Call call, const char* path, Function function) {
  Entry entry(call);
  if (!entry) return function();
  const int result = entry.make(function);
  entry.in_text(path);
  return entry.end(result);
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

int stat(const char* path, struct stat* to) noexcept {
  return stat_path(Call::stat, AT_FDCWD, path, to, [=] { return next_stat(path, to); });
}
int stat64(const char* path, struct stat64* to) noexcept {
  return stat_path(Call::stat, AT_FDCWD, path, to, [=] { return next_stat64(path, to); });
}
int lstat(const char* path, struct stat* to) noexcept {
  return stat_path(Call::lstat, AT_FDCWD, path, to, [=] { return next_lstat(path, to); });
}
int lstat64(const char* path, struct stat64* to) noexcept {
  return stat_path(Call::lstat, AT_FDCWD, path, to, [=] { return next_lstat64(path, to); });
}
int fstat(int fd, struct stat* to) noexcept {
  return stat_fd(fd, to, [=] { return next_fstat(fd, to); });
}
int fstat64(int fd, struct stat64* to) noexcept {
  return stat_fd(fd, to, [=] { return next_fstat64(fd, to); });
}
int fstatat(int directory, const char* path, struct stat* to, int flags) noexcept {
  return stat_path(stat_call(flags), directory, path, to,
                   [=] { return next_fstatat(directory, path, to, flags); });
}
int fstatat64(int directory, const char* path, struct stat64* to, int flags) noexcept {
  return stat_path(stat_call(flags), directory, path, to,
                   [=] { return next_fstatat64(directory, path, to, flags); });
}

// The names under which older programs reach the same calls.
int __xstat(int version, const char* path, struct stat* to) {
  return stat_path(Call::stat, AT_FDCWD, path, to, [=] { return next___xstat(version, path, to); });
}
int __lxstat(int version, const char* path, struct stat* to) {
  return stat_path(Call::lstat, AT_FDCWD, path, to, [=] { return next___lxstat(version, path, to); });
}
int __fxstat(int version, int fd, struct stat* to) {
  return stat_fd(fd, to, [=] { return next___fxstat(version, fd, to); });
}
int __xstat64(int version, const char* path, struct stat64* to) {
  return stat_path(Call::stat, AT_FDCWD, path, to, [=] { return next___xstat64(version, path, to); });
}
int __lxstat64(int version, const char* path, struct stat64* to) {
  return stat_path(Call::lstat, AT_FDCWD, path, to, [=] { return next___lxstat64(version, path, to); });
}
int __fxstat64(int version, int fd, struct stat64* to) {
  return stat_fd(fd, to, [=] { return next___fxstat64(version, fd, to); });
}

// The names for programs whose times have 64 bits, on machines where they usually have 32.
int __stat64_time64(const char* path, boardrec::WideStat* to) {
  return stat_path(Call::stat, AT_FDCWD, path, to, [=] { return next___stat64_time64(path, to); });
}
int __lstat64_time64(const char* path, boardrec::WideStat* to) {
  return stat_path(Call::lstat, AT_FDCWD, path, to, [=] { return next___lstat64_time64(path, to); });
}
int __fstat64_time64(int fd, boardrec::WideStat* to) {
  return stat_fd(fd, to, [=] { return next___fstat64_time64(fd, to); });
}
int __fstatat64_time64(int directory, const char* path, boardrec::WideStat* to, int flags) {
  return stat_path(stat_call(flags), directory, path, to,
                   [=] { return next___fstatat64_time64(directory, path, to, flags); });
}

int access(const char* path, int mode) noexcept {
  return on_path(Call::access, path, mode, [=] { return next_access(path, mode); });
}

int statfs(const char* path, struct statfs* to) noexcept {
  return statfs_any(path, to, [=] { return next_statfs(path, to); });
}
int statfs64(const char* path, struct statfs64* to) noexcept {
  return statfs_any(path, to, [=] { return next_statfs64(path, to); });
}

int mkdir(const char* path, mode_t mode) noexcept {
  return on_path(Call::mkdir, path, mode, [=] { return next_mkdir(path, mode); });
}
int rmdir(const char* path) noexcept {
  return remove_path(Call::rmdir, path, [=] { return next_rmdir(path); });
}
int unlink(const char* path) noexcept {
  return remove_path(Call::unlink, path, [=] { return next_unlink(path); });
}

int mount(const char* source, const char* target, const char* type, unsigned long flags,
          const void* data) noexcept {
  Entry entry(Call::mount);
  const auto function = [=] { return next_mount(source, target, type, flags, data); };
  if (!entry) return function();
  const int result = entry.make(function);
  for (const char* text : {source, target, type}) entry.in_text(text);
  entry.in(static_cast<std::int64_t>(flags));
  entry.in_text(static_cast<const char*>(data));
  return entry.end(result);
}
int umount(const char* target) noexcept {
  return on_path(Call::umount, target, 0, [=] { return next_umount(target); });
}
int umount2(const char* target, int flags) noexcept {
  return on_path(Call::umount, target, flags, [=] { return next_umount2(target, flags); });
}

}  // extern "C"
#pragma GCC visibility pop
