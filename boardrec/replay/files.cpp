// Files, nodes and paths, as they were recorded.
#include <fcntl.h>
#include <stdarg.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include "boardrec/replay/next.h"
#include "boardrec/replay/turns.h"

using boardrec::Call;
using boardrec::Handed;
using boardrec::is_replayed;
using boardrec::next_answer;
using boardrec::Record;
using boardrec::returned;
using boardrec::returned_int;

extern "C" {
ssize_t __read_chk(int fd, void* buffer, size_t size, size_t buffer_size);
int __open_2(const char* path, int flags);
int __open64_2(const char* path, int flags);
}

namespace {

constexpr int kWide = 0100000 | 0400000;  // O_LARGEFILE, of a PC and of an ARM board

int open_recorded(const char* path, int flags, mode_t mode) {
  const bool has_mode = (flags & O_CREAT) != 0;
  return returned_int(next_answer(
      Call::open, {Handed::text(path), Handed::of(flags & ~kWide), Handed::of(has_mode ? mode : 0)}));
}

/// A recorded number, in the size that this machine has for it.
template <typename Number, typename Recorded>
void set(Number& to, Recorded from) {
  to = static_cast<Number>(from);
}

template <typename Status>
int fill(const Record& record, Status* to) {
  boardrec::Status from{};
  if (record.result == 0 && to != nullptr) {
    give(record.out.front(), &from, sizeof from);
    *to = {};
    set(to->st_size, from.size);
    set(to->st_blocks, from.blocks);
    set(to->st_blksize, from.block_size);
    set(to->st_mtim.tv_sec, from.modified / 1'000'000'000);
    set(to->st_mtim.tv_nsec, from.modified % 1'000'000'000);
    set(to->st_dev, from.device);
    set(to->st_ino, from.inode);
    set(to->st_rdev, from.special_device);
    set(to->st_mode, from.mode);
    set(to->st_nlink, from.links);
    set(to->st_uid, from.user);
    set(to->st_gid, from.group);
  }
  return returned_int(record);
}

template <typename FileSystem>
int fill_statfs(const Record& record, FileSystem* to) {
  boardrec::FileSystem from{};
  if (record.result == 0 && to != nullptr) {
    give(record.out.front(), &from, sizeof from);
    *to = {};
    set(to->f_type, from.type);
    set(to->f_bsize, from.block_size);
    set(to->f_frsize, from.fragment_size);
    set(to->f_blocks, from.blocks);
    set(to->f_bfree, from.free);
    set(to->f_bavail, from.available);
    set(to->f_files, from.files);
    set(to->f_ffree, from.free_files);
    set(to->f_namelen, from.name_length);
    set(to->f_flags, from.flags);
  }
  return returned_int(record);
}

/// A position has 64 bits on every machine.
std::int64_t seek_recorded(int fd, std::int64_t offset, int whence) {
  const Record& record = next_answer(Call::lseek, {Handed::of(fd), Handed::of(offset), Handed::of(whence)});
  returned(record);
  return record.result;
}

int one_path(Call call, const char* path) {
  return returned_int(next_answer(call, {Handed::text(path)}));
}

}  // namespace

#define BOARDREC_OPEN(name)                                     \
  int name(const char* path, int flags, ...) {                  \
    mode_t mode = 0;                                            \
    if ((flags & (O_CREAT | O_TMPFILE)) != 0) {                 \
      va_list arguments;                                        \
      va_start(arguments, flags);                               \
      mode = static_cast<mode_t>(va_arg(arguments, unsigned));  \
      va_end(arguments);                                        \
    }                                                           \
    if (is_replayed()) return open_recorded(path, flags, mode); \
    BOARDREC_PASS_ON(name, path, flags, mode);                  \
  }

#define BOARDREC_STAT(name, call, type)                                              \
  int name(const char* path, struct type* status) noexcept {                         \
    if (is_replayed()) return fill(next_answer(call, {Handed::text(path)}), status); \
    BOARDREC_PASS_ON(name, path, status);                                            \
  }

#define BOARDREC_FSTAT(name, type)                                                      \
  int name(int fd, struct type* status) noexcept {                                      \
    if (is_replayed()) return fill(next_answer(Call::fstat, {Handed::of(fd)}), status); \
    BOARDREC_PASS_ON(name, fd, status);                                                 \
  }

#define BOARDREC_STATFS(name, type)                                                                 \
  int name(const char* path, struct type* status) noexcept {                                        \
    if (is_replayed()) return fill_statfs(next_answer(Call::statfs, {Handed::text(path)}), status); \
    BOARDREC_PASS_ON(name, path, status);                                                           \
  }

extern "C" {

BOARDREC_OPEN(open)
BOARDREC_OPEN(open64)

int __open_2(const char* path, int flags) {
  if (is_replayed()) return open_recorded(path, flags, 0);
  BOARDREC_PASS_ON(__open_2, path, flags);
}
int __open64_2(const char* path, int flags) {
  if (is_replayed()) return open_recorded(path, flags, 0);
  BOARDREC_PASS_ON(__open64_2, path, flags);
}

int close(int fd) {
  if (is_replayed()) return returned_int(next_answer(Call::close, {Handed::of(fd)}));
  BOARDREC_PASS_ON(close, fd);
}

ssize_t read(int fd, void* buffer, size_t size) {
  if (!is_replayed()) BOARDREC_PASS_ON(read, fd, buffer, size);
  const Record& record =
      next_answer(Call::read, {Handed::of(fd), Handed::of(static_cast<std::int64_t>(size))});
  give(record.out.front(), buffer, size);
  return returned(record);
}
ssize_t __read_chk(int fd, void* buffer, size_t size, size_t buffer_size) {
  if (!is_replayed()) BOARDREC_PASS_ON(__read_chk, fd, buffer, size, buffer_size);
  return read(fd, buffer, size);
}

ssize_t write(int fd, const void* buffer, size_t size) {
  if (!is_replayed()) BOARDREC_PASS_ON(write, fd, buffer, size);
  return returned(next_answer(
      Call::write, {Handed::of(fd), Handed::of(static_cast<std::int64_t>(size)), Handed::record(buffer)}));
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
  if (!is_replayed()) BOARDREC_PASS_ON(lseek, fd, offset, whence);
  return static_cast<off_t>(seek_recorded(fd, offset, whence));
}
off64_t lseek64(int fd, off64_t offset, int whence) noexcept {
  if (!is_replayed()) BOARDREC_PASS_ON(lseek64, fd, offset, whence);
  return seek_recorded(fd, offset, whence);
}

int ioctl(int fd, unsigned long request, ...) noexcept {
  va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (!is_replayed()) BOARDREC_PASS_ON(ioctl, fd, request, argument);
  const auto number = static_cast<std::uint32_t>(request);
  const Record& record =
      next_answer(Call::ioctl, {Handed::of(fd), Handed::of(std::int64_t{number}), Handed::record(argument)});
  // As much as the program handed in, whatever a damaged recording says.
  give(record.out.front(), argument, record.in.back().size);
  return returned_int(record);
}

int access(const char* path, int mode) noexcept {
  if (!is_replayed()) BOARDREC_PASS_ON(access, path, mode);
  return returned_int(next_answer(Call::access, {Handed::text(path), Handed::of(mode)}));
}

BOARDREC_STAT(stat, Call::stat, stat)
BOARDREC_STAT(stat64, Call::stat, stat64)
BOARDREC_STAT(lstat, Call::lstat, stat)
BOARDREC_STAT(lstat64, Call::lstat, stat64)
BOARDREC_FSTAT(fstat, stat)
BOARDREC_FSTAT(fstat64, stat64)
BOARDREC_STATFS(statfs, statfs)
BOARDREC_STATFS(statfs64, statfs64)

int mkdir(const char* path, mode_t mode) noexcept {
  if (!is_replayed()) BOARDREC_PASS_ON(mkdir, path, mode);
  return returned_int(next_answer(Call::mkdir, {Handed::text(path), Handed::of(std::int64_t{mode})}));
}
int rmdir(const char* path) noexcept {
  if (is_replayed()) return one_path(Call::rmdir, path);
  BOARDREC_PASS_ON(rmdir, path);
}
int unlink(const char* path) noexcept {
  if (is_replayed()) return one_path(Call::unlink, path);
  BOARDREC_PASS_ON(unlink, path);
}

int mount(const char* source, const char* target, const char* type, unsigned long flags,
          const void* data) noexcept {
  if (!is_replayed()) BOARDREC_PASS_ON(mount, source, target, type, flags, data);
  return returned_int(next_answer(
      Call::mount,
      {Handed::text(source), Handed::text(target), Handed::text(type),
       Handed::of(static_cast<std::int64_t>(flags)), Handed::text(static_cast<const char*>(data))}));
}
int umount(const char* target) noexcept {
  if (!is_replayed()) BOARDREC_PASS_ON(umount, target);
  return returned_int(next_answer(Call::umount, {Handed::text(target), Handed::of(0)}));
}
int umount2(const char* target, int flags) noexcept {
  if (!is_replayed()) BOARDREC_PASS_ON(umount2, target, flags);
  return returned_int(next_answer(Call::umount, {Handed::text(target), Handed::of(flags)}));
}

}  // extern "C"
