// A file on a storage medium: the file of the PC behind it, and what the medium's faults make of it.
#include "boardsim/devices/medium_file.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "boardsim/devices/medium.h"
#include "boardsim/kernel/real.h"

namespace boardsim {
namespace {

bool has(int flags, int wanted) {
  return (flags & wanted) == wanted;
}

/// A new file of the PC that nothing names; -1 with errno.
int nameless_file() {
  std::error_code error;
  std::string path = (std::filesystem::temp_directory_path(error) / "boardsim-XXXXXX").string();
  const int fd = mkostemp(path.data(), O_CLOEXEC);
  if (fd >= 0) real::unlink(path.c_str());
  return fd;
}

std::int64_t clusters_of(off64_t size) {
  return (size + Medium::kCluster - 1) / Medium::kCluster;
}

}  // namespace

Answer MediumFile::open(int flags) {
  const bool writes = (flags & O_ACCMODE) != O_RDONLY || has(flags, O_TRUNC);
  const bool creates = !exists_ && has(flags, O_CREAT);
  if (!exists_ && !creates) return Answer::fails(ENOENT);
  if (exists_ && has(flags, O_CREAT | O_EXCL)) return Answer::fails(EEXIST);
  if (has(flags, O_DIRECTORY)) return Answer::fails(ENOTDIR);
  if (medium_.is_read_only() && (writes || creates)) return Answer::fails(EROFS);
  if (creates) {
    const int fd = nameless_file();
    if (fd < 0) return Answer::fails(errno);
    backing_.emplace(fd);
    exists_ = true;
  }
  if (has(flags, O_TRUNC)) {
    if (real::ftruncate64(backing_->get(), 0) != 0) return Answer::fails(errno);
    size_ = 0;
  }
  return Answer::ok();
}

int MediumFile::descriptor(int flags) {
  const int fd = Device::descriptor(flags);
  if (fd >= 0) ++openings_;
  return fd;
}

void MediumFile::close() {
  --openings_;
  drop_if_gone();
}

void MediumFile::unlink() {
  exists_ = false;
  drop_if_gone();
}

void MediumFile::drop_if_gone() {
  if (exists_ || openings_ > 0) return;
  backing_.reset();
  size_ = 0;
}

Answer MediumFile::read(void* buffer, std::size_t size, off64_t& position) {
  if (const int error = medium_.count_block(medium_.faults_.reads_left)) return Answer::fails(error);
  size = std::min(size, medium_.faults_.at_most);
  const ssize_t count = real::pread64(backing_->get(), buffer, size, position);
  if (count < 0) return Answer::fails(errno);
  for (const off64_t offset : medium_.faults_.wrong) {
    if (offset < position || offset >= position + count) continue;
    std::uint8_t& byte = static_cast<std::uint8_t*>(buffer)[offset - position];
    byte = static_cast<std::uint8_t>(~byte);
  }
  position += count;
  return Answer::ok(count);
}

Answer MediumFile::write(const void* buffer, std::size_t size, off64_t& position) {
  if (const int error = medium_.count_block(medium_.faults_.writes_left)) return Answer::fails(error);
  const off64_t end = (clusters() + medium_.space().free) * Medium::kCluster;
  if (size > 0 && position >= end) return Answer::fails(ENOSPC);
  const auto room = static_cast<std::uint64_t>(std::max<off64_t>(end - position, 0));
  size = static_cast<std::size_t>(std::min<std::uint64_t>(size, room));
  const ssize_t count = real::pwrite64(backing_->get(), buffer, size, position);
  if (count < 0) return Answer::fails(errno);
  position += count;
  if (count > 0) size_ = std::max(size_, position);
  return Answer::ok(count);
}

Time MediumFile::transfer_time(Transfer direction) const {
  return std::max(medium_.faults_.slow, medium_.block_times_[direction == Transfer::read ? 0 : 1]);
}

mode_t MediumFile::mode() const {
  return S_IFREG | 0755;
}

int MediumFile::dead() const {
  return medium_.mount_error() != 0 ? EIO : 0;
}

std::int64_t MediumFile::clusters() const {
  return clusters_of(size_);
}

std::string MediumFile::content() const {
  std::string bytes(static_cast<std::size_t>(size_), '\0');
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t count =
        real::pread64(backing_->get(), bytes.data() + done, bytes.size() - done, static_cast<off64_t>(done));
    if (count <= 0) throw std::system_error(errno, std::generic_category(), "boardsim: a medium's file");
    done += static_cast<std::size_t>(count);
  }
  return bytes;
}

}  // namespace boardsim
