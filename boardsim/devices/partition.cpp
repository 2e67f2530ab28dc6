// A partition's bytes lie in memory; a file that keeps them is mapped there, so that nothing can be
// forgotten.
#include "boardsim/devices/partition.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include "boardsim/kernel/real.h"

namespace boardsim {
namespace {

/// A descriptor of the PC for as long as it is needed.
class File {
 public:
  explicit File(const std::string& path)
      : path_(path), fd_(real::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666)) {
    if (fd_ < 0) fail();
  }
  ~File() { real::close(fd_); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  std::size_t size() const {
    struct stat64 status {};
    if (real::fstat64(fd_, &status) != 0) fail();
    return static_cast<std::size_t>(status.st_size);
  }

  void write(std::span<const std::uint8_t> bytes) const {
    while (!bytes.empty()) {
      const ssize_t written = real::write(fd_, bytes.data(), bytes.size());
      if (written < 0 && errno != EINTR) fail();
      if (written > 0) bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
  }

  std::span<std::uint8_t> map(std::size_t size) const {
    void* const bytes = real::mmap64(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd_, off64_t{0});
    if (bytes == MAP_FAILED) fail();
    return {static_cast<std::uint8_t*>(bytes), size};
  }

 private:
  [[noreturn]] void fail() const { throw std::system_error(errno, std::generic_category(), path_); }

  const std::string& path_;
  int fd_;
};

}  // namespace

Partition::Partition(std::string_view name, std::size_t size, StoragePower& power)
    : name_(name), power_(power), own_(size, 0xFF), stored_(own_) {}

Partition::~Partition() {
  unmap();
}

Answer Partition::read(void* buffer, std::size_t size, off64_t& position) {
  if (buffer == nullptr && size > 0) return Answer::fails(EFAULT);
  const std::size_t start = within(position, stored_.size());
  const auto bytes = stored_.subspan(start, std::min(size, stored_.size() - start));
  if (!bytes.empty()) std::memcpy(buffer, bytes.data(), bytes.size());
  position += static_cast<off64_t>(bytes.size());
  return Answer::ok(static_cast<long>(bytes.size()));
}

Answer Partition::write(const void* buffer, std::size_t size, off64_t& position) {
  if (buffer == nullptr && size > 0) return Answer::fails(EFAULT);
  const std::size_t start = within(position, stored_.size());
  std::size_t count = std::min(size, stored_.size() - start);
  if (count == 0 && size > 0) return Answer::fails(ENOSPC);
  const bool cut = cut_ && count >= *cut_;
  if (cut) count = *cut_;
  const std::span written(static_cast<const std::uint8_t*>(buffer), count);
  std::ranges::transform(stored_.subspan(start, count), written, stored_.subspan(start, count).begin(),
                         [this](std::uint8_t old, std::uint8_t byte) { return after_writing(old, byte); });
  position += static_cast<off64_t>(count);
  if (!cut) return Answer::ok(static_cast<long>(count));
  cut_power();
  return Answer::fails(EIO);
}

int Partition::dead() const {
  return power_.failed ? EIO : 0;
}

FaultForms Partition::fault_forms() {
  return {{std::string(name_) + " cut BYTES",
           "power fails in the next write of at least so many bytes: so many are stored, and the write fails "
           "with EIO",
           {number("BYTES")},
           [this](const FaultArguments& given) { cut_ = given.number(0); }}};
}

void Partition::clear_faults() {
  cut_.reset();
  power_.failed = false;
}

std::vector<std::uint8_t> Partition::bytes(std::size_t offset, std::size_t size) const {
  const auto found = part(offset, size);
  return {found.begin(), found.end()};
}

void Partition::set_bytes(std::size_t offset, std::span<const std::uint8_t> bytes) {
  std::ranges::copy(bytes, part(offset, bytes.size()).begin());
}

void Partition::keep_in(const std::string& path) {
  const File file(path);
  const std::size_t size = file.size();
  if (size == 0) {
    file.write(stored_);
  } else if (size != stored_.size()) {
    throw std::runtime_error(path + " has " + std::to_string(size) + " bytes; the partition has " +
                             std::to_string(stored_.size()));
  }
  const auto mapped = file.map(stored_.size());
  unmap();
  stored_ = mapped;
  in_file_ = true;
}

std::span<std::uint8_t> Partition::part(std::size_t offset, std::size_t size) const {
  if (offset > stored_.size() || size > stored_.size() - offset) {
    throw std::out_of_range(std::string(name_) + ": the partition has only " +
                            std::to_string(stored_.size()) + " bytes");
  }
  return stored_.subspan(offset, size);
}

void Partition::unmap() {
  if (in_file_) munmap(stored_.data(), stored_.size());
}

}  // namespace boardsim
