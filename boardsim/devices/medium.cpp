// A removable storage medium: its files, its space, its faults.
#include "boardsim/devices/medium.h"

#include <sys/stat.h>
#include <algorithm>
#include <cerrno>
#include <stdexcept>

namespace boardsim {
namespace {

constexpr std::int64_t kClustersPerMegabyte = 0x100000 / Medium::kCluster;
constexpr double kMostMegabytes = 1e9;

}  // namespace

Answer Medium::open(int /*flags*/) {
  return mount_error() != 0 ? Answer::fails(ENXIO) : Answer::ok();
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

std::string Medium::content(std::string_view name) {
  if (const MediumFile* const file = find(name)) return file->content();
  throw std::invalid_argument("boardsim: there is no file \"" + std::string(name) + "\" on " +
                              std::string(node_));
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

FaultForms medium_fault_forms(std::span<Medium> media) {
  std::vector<std::string> nodes;
  for (const Medium& medium : media) nodes.emplace_back(medium.node());
  const FaultValue node = one_of("NODE", nodes);
  // A handler is given the medium that the fault names, and the other words.
  const auto of = [media](void (*lay)(Medium & medium, const FaultArguments& given)) {
    return [media, lay](const FaultArguments& given) {
      lay(*std::ranges::find(media, given.word(0), &Medium::node), given);
    };
  };
  return {
      {"medium NODE absent",
       "nothing is in the slot: mounting and opening the node fail with ENXIO",
       {node},
       of([](Medium& medium, const FaultArguments&) { medium.faults_.absent = true; })},
      {"medium NODE read-only",
       "creating, opening for writing and unlinking a file fail with EROFS",
       {node},
       of([](Medium& medium, const FaultArguments&) { medium.faults_.read_only = true; })},
      {"medium NODE full [MB]",
       "so many megabytes are free from now on, beside the files that are there; without a number none",
       {node, number("MB")},
       of([](Medium& medium, const FaultArguments& given) {
         medium.faults_.room = medium.used() + (given.given(1) ? given.number(1) : 0) * kClustersPerMegabyte;
       })},
      {"medium NODE wrong OFFSET...",
       "the bytes at these offsets of every file read back inverted",
       {node, number("OFFSET")},
       of([](Medium& medium, const FaultArguments& given) {
         auto numbers = given.numbers(1);
         std::ranges::sort(numbers);
         numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
         medium.faults_.wrong.assign(numbers.begin(), numbers.end());
       })},
      {"medium NODE slow MILLISECONDS",
       "every read and write of a file takes so long",
       {node, number("MILLISECONDS")},
       of([](Medium& medium, const FaultArguments& given) {
         medium.faults_.slow = std::chrono::milliseconds(given.number(1));
       })},
      {"medium NODE pulled write|read N",
       "the medium is pulled out at the N-th write or read of a file from now on, whatever its size",
       {node, number("N", 1)},
       of([](Medium& medium, const FaultArguments& given) {
         (given.word(1) == "write" ? medium.faults_.writes_left : medium.faults_.reads_left) =
             given.number(2);
       })},
      {"medium NODE short BYTES",
       "every read returns so many bytes at most",
       {node, number("BYTES")},
       of([](Medium& medium, const FaultArguments& given) { medium.faults_.at_most = given.number(1); })},
  };
}

}  // namespace boardsim
