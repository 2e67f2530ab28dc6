#include "station/records/owner.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "station/records/records.h"

namespace t1station {
namespace {

std::string content_of(int file) {
  std::array<char, 512> text{};
  const ssize_t size = pread(file, text.data(), text.size(), 0);
  std::string content(text.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
  while (content.ends_with('\n')) content.pop_back();
  return content;
}

}  // namespace

Owner::Owner(const std::string& file) {
  const std::string name = file + "-owner";
  lock_ = open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666);
  if (lock_ < 0) throw RecordsBroken("cannot make " + name + ": " + std::strerror(errno));
  if (flock(lock_, LOCK_EX | LOCK_NB) != 0) {
    const int reason = errno;
    const std::string owner = content_of(lock_);
    close(lock_);
    if (reason != EWOULDBLOCK) throw RecordsBroken("cannot lock " + name + ": " + std::strerror(reason));
    throw RecordsOwned(
        file + " belongs to another process: " + (owner.empty() ? "it has not said yet who it is" : owner));
  }
  const std::string text =
      "process " + std::to_string(getpid()) + " on " + host_name() + " since " + record_time() + "\n";
  // For people only: the lock counts, whatever the file says.
  if (ftruncate(lock_, 0) != 0 || pwrite(lock_, text.data(), text.size(), 0) < 0) {
    const int reason = errno;
    close(lock_);
    throw RecordsBroken("cannot write " + name + ": " + std::strerror(reason));
  }
}

Owner::~Owner() {
  close(lock_);
}

std::string host_name() {
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "a PC without a name";
}

}  // namespace t1station
