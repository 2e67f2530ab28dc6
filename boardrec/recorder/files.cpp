// open and its relatives, and calls on what was opened.
#include <fcntl.h>
#include <stdarg.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "boardrec/memory/copies.h"
#include "boardrec/recorder/entry.h"
#include "boardrec/recorder/next.h"
#include "boardrec/recorder/requests.h"
#include "boardrec/recorder/session.h"

using boardrec::Call;
using boardrec::Entry;

extern "C" {
int __open_2(const char* path, int flags);
int __open64_2(const char* path, int flags);
int __openat_2(int directory, const char* path, int flags);
int __openat64_2(int directory, const char* path, int flags);
ssize_t __read_chk(int fd, void* buffer, size_t size, size_t buffer_size);
int __ioctl_time64(int fd, unsigned long request, ...);
}

BOARDREC_NEXT(open);
BOARDREC_NEXT(open64);
BOARDREC_NEXT(openat);
BOARDREC_NEXT(openat64);
BOARDREC_NEXT(__open_2);
BOARDREC_NEXT(__open64_2);
BOARDREC_NEXT(__openat_2);
BOARDREC_NEXT(__openat64_2);
BOARDREC_NEXT(creat);
BOARDREC_NEXT(creat64);
BOARDREC_NEXT(close);
BOARDREC_NEXT(read);
BOARDREC_NEXT(__read_chk);
BOARDREC_NEXT(write);
BOARDREC_NEXT(lseek);
BOARDREC_NEXT(lseek64);
BOARDREC_NEXT(ioctl);
BOARDREC_NEXT(__ioctl_time64);

namespace {

bool takes_mode(int flags) {
  return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

/// Of a path below another folder than the working one the recording has nothing.
template <typename Function>
int open_any(int directory, const char* path, int flags, mode_t mode, Function function) {
  Entry entry(Call::open);
  if (!entry) return function();
  const int fd = entry.make_cancellable(function);
  if (directory == AT_FDCWD || (fd >= 0 && *path == '/')) {
    entry.in_text(path);
  } else {
    entry.in_absent();
    entry.flag(boardrec::kNotRecorded);
  }
  entry.in(flags);
  entry.in(mode);
  if (fd >= 0) boardrec::set_kind(fd, boardrec::node_kind(path));
  return entry.end(fd);
}

template <typename Function>
ssize_t read_any(int fd, void* buffer, size_t size, Function function) {
  Entry entry(Call::read);
  if (!entry) return function();
  entry.in(fd);
  entry.in(static_cast<std::int64_t>(size));
  const ssize_t moved = entry.make_cancellable(function);
  entry.out_moved(buffer, moved);
  return entry.end(moved);
}

template <typename Offset, typename Function>
Offset seek_any(int fd, Offset offset, int whence, Function function) {
  Entry entry(Call::lseek);
  if (!entry) return function();
  entry.in(fd);
  entry.in(offset);
  entry.in(whence);
  return entry.end(entry.make(function));
}

/// An ioctl whose record of `size` bytes is copied to `copy` before it is made.
template <typename Function>
int ioctl_with(Entry& entry, void* argument, char* copy, std::size_t size, Function function) {
  bool there = false;
  {
    const boardrec::kernel::Locked lock(boardrec::shared);
    there = boardrec::copy_block(argument, copy, size);
  }
  if (there) {
    entry.in_own(copy, size);
  } else {
    entry.in_absent();
    entry.flag(boardrec::kNotRecorded);
  }
  const int result = entry.make(function);
  if (there) entry.out_own(argument, size);
  return entry.end(result);
}

/// Records are small; few programs have requests with long ones.
constexpr std::size_t kSmall = 1024;
constexpr std::size_t kLargest = 1 << 14;

template <typename Function>
[[gnu::noinline]] int ioctl_with_large(Entry& entry, void* argument, std::size_t size, Function function) {
  char copy[kLargest];
  return ioctl_with(entry, argument, copy, size, function);
}

template <typename Function>
[[gnu::noinline]] int ioctl_with_small(Entry& entry, void* argument, std::size_t size, Function function) {
  char copy[kSmall];
  return ioctl_with(entry, argument, copy, size, function);
}

template <typename Function>
int ioctl_any(int fd, unsigned long number, void* argument, Function function) {
  Entry entry(Call::ioctl);
  if (!entry) return function();
  using What = boardrec::Handed::What;
  const auto request = static_cast<std::uint32_t>(number);
  const boardrec::Handed handed = boardrec::handed_over(boardrec::kind_of(fd), request);
  entry.in(fd);
  entry.in(request);
  if (handed.what == What::unknown) entry.flag(boardrec::kUnknownSize);
  if (handed.size > 0 && argument != nullptr) {
    return handed.size <= kSmall ? ioctl_with_small(entry, argument, handed.size, function)
                                 : ioctl_with_large(entry, argument, handed.size, function);
  }
  if (argument != nullptr || handed.what == What::number) {
    entry.in(static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(argument)));
  } else {
    entry.in_absent();
  }
  return entry.end(entry.make(function));
}

}  // namespace

// The mode is read where the flags say that there is one.
#define BOARDREC_MODE_ARGUMENT(flags)                        \
  mode_t mode = 0;                                           \
  if (takes_mode(flags)) {                                   \
    va_list arguments;                                       \
    va_start(arguments, flags);                              \
    mode = static_cast<mode_t>(va_arg(arguments, unsigned)); \
    va_end(arguments);                                       \
  }

#pragma GCC visibility push(default)
extern "C" {

int open(const char* path, int flags, ...) {
  BOARDREC_MODE_ARGUMENT(flags)
  return open_any(AT_FDCWD, path, flags, mode, [=] { return next_open(path, flags, mode); });
}
int open64(const char* path, int flags, ...) {
  BOARDREC_MODE_ARGUMENT(flags)
  return open_any(AT_FDCWD, path, flags, mode, [=] { return next_open64(path, flags, mode); });
}
int openat(int directory, const char* path, int flags, ...) {
  BOARDREC_MODE_ARGUMENT(flags)
  return open_any(directory, path, flags, mode, [=] { return next_openat(directory, path, flags, mode); });
}
int openat64(int directory, const char* path, int flags, ...) {
  BOARDREC_MODE_ARGUMENT(flags)
  return open_any(directory, path, flags, mode, [=] { return next_openat64(directory, path, flags, mode); });
}
int __open_2(const char* path, int flags) {
  return open_any(AT_FDCWD, path, flags, 0, [=] { return next___open_2(path, flags); });
}
int __open64_2(const char* path, int flags) {
  return open_any(AT_FDCWD, path, flags, 0, [=] { return next___open64_2(path, flags); });
}
int __openat_2(int directory, const char* path, int flags) {
  return open_any(directory, path, flags, 0, [=] { return next___openat_2(directory, path, flags); });
}
int __openat64_2(int directory, const char* path, int flags) {
  return open_any(directory, path, flags, 0, [=] { return next___openat64_2(directory, path, flags); });
}
int creat(const char* path, mode_t mode) {
  return open_any(AT_FDCWD, path, O_CREAT | O_WRONLY | O_TRUNC, mode, [=] { return next_creat(path, mode); });
}
int creat64(const char* path, mode_t mode) {
  return open_any(AT_FDCWD, path, O_CREAT | O_WRONLY | O_TRUNC, mode,
                  [=] { return next_creat64(path, mode); });
}

int close(int fd) {
  const auto function = [fd] { return boardrec::is_own(fd) ? (errno = EBADF, -1) : next_close(fd); };
  Entry entry(Call::close);
  if (!entry) return function();
  entry.in(fd);
  boardrec::set_kind(fd, 0);
  return entry.end(entry.make_cancellable(function));
}

ssize_t read(int fd, void* buffer, size_t size) {
  return read_any(fd, buffer, size, [=] { return next_read(fd, buffer, size); });
}
ssize_t __read_chk(int fd, void* buffer, size_t size, size_t buffer_size) {
  return read_any(fd, buffer, size, [=] { return next___read_chk(fd, buffer, size, buffer_size); });
}

ssize_t write(int fd, const void* buffer, size_t size) {
  Entry entry(Call::write);
  if (!entry) return next_write(fd, buffer, size);
  entry.in(fd);
  entry.in(static_cast<std::int64_t>(size));
  const ssize_t moved = entry.make_cancellable([=] { return next_write(fd, buffer, size); });
  entry.in_moved(buffer, moved);
  return entry.end(moved);
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
  return seek_any(fd, offset, whence, [=] { return next_lseek(fd, offset, whence); });
}
off64_t lseek64(int fd, off64_t offset, int whence) noexcept {
  return seek_any(fd, offset, whence, [=] { return next_lseek64(fd, offset, whence); });
}

int ioctl(int fd, unsigned long request, ...) noexcept {
  va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  return ioctl_any(fd, request, argument, [=] { return next_ioctl(fd, request, argument); });
}
// The name for programs whose times have 64 bits on 32-bit machines.
int __ioctl_time64(int fd, unsigned long request, ...) {
  va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  return ioctl_any(fd, request, argument, [=] { return next___ioctl_time64(fd, request, argument); });
}

}  // extern "C"
#pragma GCC visibility pop
