// open and its relatives.
#include <fcntl.h>
#include <stdarg.h>

#include <cerrno>

#include "boardsim/board/state.h"
#include "boardsim/calls/calls.h"
#include "boardsim/kernel/real.h"

using boardsim::Entered;
namespace calls = boardsim::calls;
namespace real = boardsim::real;

extern "C" {
int __open_2(const char* path, int flags);
int __open64_2(const char* path, int flags);
int __openat_2(int directory, const char* path, int flags);
int __openat64_2(int directory, const char* path, int flags);
}

namespace {

bool takes_mode(int flags) {
  return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

/// `name` is the call as the trace shows it.
int open_any(const char* name, int directory, const char* path, int flags, mode_t mode) {
  const Entered board;
  if (board) {
    if (const auto its_path = boardsim::board_path(directory, path))
      return calls::open(*board, name, *its_path,
                         flags & ~O_LARGEFILE);  // how wide positions are concerns no node
  }
  return real::openat(directory, path, flags, mode);
}

int open_plain(const char* path, int flags, mode_t mode) {
  return open_any("open", AT_FDCWD, path, flags, mode);
}

/// open(2) flags of an fopen mode, -1 when it makes no sense.
int flags_of(const char* mode) {
  const bool update = std::string_view(mode).find('+') != std::string_view::npos;
  switch (*mode) {
    case 'r':
      return update ? O_RDWR : O_RDONLY;
    case 'w':
      return (update ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC;
    case 'a':
      return (update ? O_RDWR : O_WRONLY) | O_CREAT | O_APPEND;
    default:
      return -1;
  }
}

int descriptor_of(void* cookie) {
  return static_cast<int>(reinterpret_cast<std::intptr_t>(cookie));
}

/// A stream on a node: it reads and writes through the calls that the board answers.
FILE* stream_on(int fd, const char* mode) {
  cookie_io_functions_t calls{};
  calls.read = [](void* cookie, char* buffer, std::size_t size) {
    return read(descriptor_of(cookie), buffer, size);
  };
  calls.write = [](void* cookie, const char* buffer, std::size_t size) {
    return write(descriptor_of(cookie), buffer, size);
  };
  calls.seek = [](void* cookie, off64_t* position, int whence) {
    const off64_t moved = lseek64(descriptor_of(cookie), *position, whence);
    if (moved >= 0) *position = moved;
    return moved >= 0 ? 0 : -1;
  };
  calls.close = [](void* cookie) { return close(descriptor_of(cookie)); };
  return fopencookie(reinterpret_cast<void*>(std::intptr_t{fd}), mode, calls);
}

FILE* open_stream(const char* path, const char* mode) {
  const Entered board;
  if (!board || mode == nullptr) return real::fopen(path, mode);
  const auto its_path = boardsim::board_path(AT_FDCWD, path);
  if (!its_path) return real::fopen(path, mode);
  const int flags = flags_of(mode);
  if (flags < 0) return errno = EINVAL, nullptr;
  const int fd = calls::open(*board, "fopen", *its_path, flags);
  return fd < 0 ? nullptr : stream_on(fd, mode);
}

}  // namespace

// The mode is read where the flags say that there is one.
#define BOARDSIM_MODE_ARGUMENT(flags)                        \
  mode_t mode = 0;                                           \
  if (takes_mode(flags)) {                                   \
    va_list arguments;                                       \
    va_start(arguments, flags);                              \
    mode = static_cast<mode_t>(va_arg(arguments, unsigned)); \
    va_end(arguments);                                       \
  }

extern "C" {

int open(const char* path, int flags, ...) {
  BOARDSIM_MODE_ARGUMENT(flags)
  return open_plain(path, flags, mode);
}

int open64(const char* path, int flags, ...) {
  BOARDSIM_MODE_ARGUMENT(flags)
  return open_plain(path, flags | O_LARGEFILE, mode);
}

int openat(int directory, const char* path, int flags, ...) {
  BOARDSIM_MODE_ARGUMENT(flags)
  return open_any("open", directory, path, flags, mode);
}

int openat64(int directory, const char* path, int flags, ...) {
  BOARDSIM_MODE_ARGUMENT(flags)
  return open_any("open", directory, path, flags | O_LARGEFILE, mode);
}

int __open_2(const char* path, int flags) {
  return open_plain(path, flags, 0);
}
int __open64_2(const char* path, int flags) {
  return open_plain(path, flags | O_LARGEFILE, 0);
}
int __openat_2(int directory, const char* path, int flags) {
  return open_any("open", directory, path, flags, 0);
}
int __openat64_2(int directory, const char* path, int flags) {
  return open_any("open", directory, path, flags | O_LARGEFILE, 0);
}

int creat(const char* path, mode_t mode) {
  return open_plain(path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}
int creat64(const char* path, mode_t mode) {
  return open_plain(path, O_CREAT | O_WRONLY | O_TRUNC | O_LARGEFILE, mode);
}

FILE* fopen(const char* path, const char* mode) {
  return open_stream(path, mode);
}
FILE* fopen64(const char* path, const char* mode) {
  return open_stream(path, mode);
}

FILE* fdopen(int fd, const char* mode) noexcept {
  const Entered board;
  return board && calls::is_node(*board, fd) ? stream_on(fd, mode) : real::fdopen(fd, mode);
}

}  // extern "C"
