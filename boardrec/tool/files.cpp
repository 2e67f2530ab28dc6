#include "boardrec/tool/files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "boardrec/session/encoding.h"
#include "boardrec/tool/exit_code.h"

namespace boardrec {
namespace {

std::string file_bytes(const Recording& recording) {
  std::string bytes = bytes_of(recording.header);
  for (const Record& record : recording.records) bytes += bytes_of(record);
  return bytes;
}

/// Writes everything and sees it onto the disk; the errno when that fails, else 0.
int write_all(int fd, const std::string& bytes) {
  for (std::size_t written = 0; written < bytes.size();) {
    const ssize_t more = write(fd, bytes.data() + written, bytes.size() - written);
    if (more < 0 && errno == EINTR) continue;
    if (more < 0) return errno;
    written += static_cast<std::size_t>(more);
  }
  return fsync(fd) != 0 && errno != EINVAL ? errno : 0;
}

}  // namespace

void write_recording(const Recording& recording, const std::string& file) {
  const std::string bytes = file_bytes(recording);
  const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd < 0 && errno == EEXIST) throw Unwritable(file + " is there already");
  if (fd < 0) throw Unwritable(file + " cannot be written: " + std::strerror(errno));
  int error = write_all(fd, bytes);
  if (close(fd) != 0 && error == 0) error = errno;
  if (error == 0) return;
  unlink(file.c_str());
  throw Unwritable(file + " cannot be written: " + std::strerror(error));
}

}  // namespace boardrec
