#include "boardrec/memory/copies.h"

#include <fcntl.h>
#include <sys/uio.h>

#include <algorithm>
#include <cstring>

#include "boardrec/memory/kernel.h"

namespace boardrec {
namespace {

// The kernel says of each byte whether it can be read, through a pipe: that needs no /proc, and an emulator
// of another processor knows it too.
constexpr std::size_t kRoom = 4096;
constexpr std::size_t kMostParts = 8;

int ends[2] = {-1, -1};

}  // namespace

bool prepare_copies() {
  if (kernel::call(SYS_pipe2, kernel::word(ends), O_CLOEXEC | O_NONBLOCK) != 0) return false;
  for (int& end : ends) end = kernel::out_of_the_way(end);
  return true;
}

void end_copies() {
  for (int& end : ends) {
    kernel::close(end);
    end = -1;
  }
}

bool is_for_copies(int fd) {
  return fd >= 0 && (fd == ends[0] || fd == ends[1]);
}

bool copy_parts(const Part* parts, std::size_t count) {
  iovec from[kMostParts];
  iovec to[kMostParts];
  std::size_t size = 0;
  if (count > kMostParts) return false;
  for (std::size_t i = 0; i < count; ++i) {
    from[i] = {const_cast<void*>(parts[i].from), parts[i].size};
    to[i] = {parts[i].to, parts[i].size};
    size += parts[i].size;
  }
  if (size == 0) return true;
  if (size > kRoom) return false;
  const long written = kernel::call(SYS_writev, ends[1], kernel::word(from), static_cast<long>(count));
  if (written <= 0) return false;
  return kernel::call(SYS_readv, ends[0], kernel::word(to), static_cast<long>(count)) == written &&
         static_cast<std::size_t>(written) == size;
}

bool copy_block(const void* from, void* to, std::size_t size) {
  const char* its = static_cast<const char*>(from);
  char* copy = static_cast<char*>(to);
  while (size > 0) {
    const Part part{its, copy, std::min(size, kRoom)};
    if (!copy_parts(&part, 1)) return false;
    its += part.size;
    copy += part.size;
    size -= part.size;
  }
  return true;
}

// Page by page: the one behind a text's end may be none.
long copy_text(const char* from, char* to, std::size_t room) {
  constexpr std::size_t kPage = 4096;
  std::size_t size = 0;
  while (size < room) {
    const std::size_t in_page = kPage - reinterpret_cast<std::uintptr_t>(from + size) % kPage;
    const Part part{from + size, to + size, std::min(in_page, room - size)};
    if (!copy_parts(&part, 1)) return -1;
    const void* const zero = std::memchr(part.to, 0, part.size);
    if (zero != nullptr) return static_cast<const char*>(zero) - to;
    size += part.size;
  }
  return static_cast<long>(size);
}

}  // namespace boardrec
