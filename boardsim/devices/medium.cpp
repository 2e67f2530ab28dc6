// A removable storage medium: its files, its space, its faults.
#include "boardsim/devices/medium.h"

#include <sys/stat.h>
#include <algorithm>
#include <cerrno>
#include <stdexcept>

#include "boardsim/devices/fault_words.h"

namespace boardsim {
namespace {

constexpr std::int64_t kClustersPerMegabyte = 0x100000 / Medium::kCluster;
constexpr double kMostMegabytes = 1e9;
constexpr std::string_view kUsage =
    "medium NODE absent, read-only, full [MEGABYTES], wrong OFFSET..., slow MILLISECONDS, "
    "pulled write|read N, or short BYTES";

}  // namespace

Answer Medium::open(int /*flags*/) {
  return mount_error() != 0 ? Answer::fails(ENXIO) : Answer::ok();
}

Answer Medium::ioctl(std::uint32_t /*request*/, void* /*argument*/) {
  return Answer::unknown();
}

std::vector<std::uint32_t> Medium::words_in(std::uint32_t /*request*/, const void* /*argument*/) const {
  return {};
}

mode_t Medium::mode() const {
  return S_IFBLK | 0660;
}

int Medium::mount_error() const {
  if (faults_.absent) return ENXIO;
  return faults_.pulled ? ENODEV : 0;
}

bool Medium::is_busy() const {
  return std::ranges::any_of(files_, &MediumFile::is_open);
}

MediumFile* Medium::find(std::string_view name) {
  for (const auto& file : files_) {
    if (file->exists() && file->name() == name) return file.get();
  }
  return nullptr;
}

MediumFile* Medium::find_or_make(std::string_view name) {
  if (MediumFile* const file = find(name)) return file;
  std::erase_if(files_, [](const auto& file) { return !file->exists() && !file->is_open(); });
  return files_.emplace_back(std::make_unique<MediumFile>(*this, name)).get();
}

Answer Medium::unlink(std::string_view name) {
  if (mount_error() != 0) return Answer::fails(EIO);
  if (is_read_only()) return Answer::fails(EROFS);  // whether the file is there or not, as on Linux
  MediumFile* const file = find(name);
  if (file == nullptr) return Answer::fails(ENOENT);
  file->unlink();
  return Answer::ok();
}

std::int64_t Medium::used() const {
  std::int64_t clusters = 0;
  for (const auto& file : files_) clusters += file->clusters();
  return clusters;
}

Medium::Space Medium::space() const {
  const std::int64_t room = std::min(size_ - occupied_, faults_.room.value_or(size_));
  return {size_, std::max<std::int64_t>(room - used(), 0)};
}

void Medium::set_space(double size_mb, double free_mb) {
  const bool makes_sense = size_mb >= 0 && free_mb >= 0 && free_mb <= size_mb && size_mb <= kMostMegabytes;
  const auto size = static_cast<std::int64_t>(makes_sense ? size_mb * kClustersPerMegabyte : 0);
  const auto free = static_cast<std::int64_t>(makes_sense ? free_mb * kClustersPerMegabyte : 0);
  if (!makes_sense || free + used() > size) {
    throw std::invalid_argument("boardsim: no medium of " + std::to_string(size_mb) + " MB has " +
                                std::to_string(free_mb) + " MB free beside its files");
  }
  size_ = size;
  occupied_ = size - free - used();
}

int Medium::count_block(std::uint32_t& blocks_left) {
  if (blocks_left == 0) return 0;
  faults_.pulled = --blocks_left == 0;
  return faults_.pulled ? EIO : 0;
}

bool Medium::fault(const std::vector<std::string_view>& words) {
  if (words.size() < 2 || words[0] != "medium" || words[1] != node_) return false;
  const std::string_view what = words.size() > 2 ? words[2] : "";
  const bool alone = words.size() == 3;
  const bool with_number = words.size() == 4;
  if (what == "absent" && alone) {
    faults_.absent = true;
  } else if (what == "read-only" && alone) {
    faults_.read_only = true;
  } else if (what == "full" && (alone || with_number)) {
    faults_.room = used() + (with_number ? fault_number(words[3]) : 0) * kClustersPerMegabyte;
  } else if (what == "wrong" && words.size() > 3) {
    std::vector<off64_t> offsets;
    for (auto word = words.begin() + 3; word != words.end(); ++word) offsets.push_back(fault_number(*word));
    std::ranges::sort(offsets);
    offsets.erase(std::unique(offsets.begin(), offsets.end()), offsets.end());
    faults_.wrong = std::move(offsets);
  } else if (what == "slow" && with_number) {
    faults_.slow = std::chrono::milliseconds(fault_number(words[3]));
  } else if (what == "short" && with_number) {
    faults_.at_most = fault_number(words[3]);
  } else if (what == "pulled" && words.size() == 5 && (words[3] == "write" || words[3] == "read")) {
    const std::uint32_t block = fault_number(words[4]);
    if (block == 0) refuse_fault(words, "blocks are counted from 1");
    (words[3] == "write" ? faults_.writes_left : faults_.reads_left) = block;
  } else {
    refuse_fault(words, kUsage);
  }
  return true;
}

}  // namespace boardsim
