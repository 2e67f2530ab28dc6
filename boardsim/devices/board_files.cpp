// Files below /devinfo, and the timing-generator file of a healthy board.
#include "boardsim/devices/board_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace boardsim {
namespace {

constexpr std::string_view kDevinfo = "/devinfo/";

constexpr std::array<std::string_view, 20> kModels{
    "QN-5RX6454",   "QN-5RX6474",    "QN-5RX6484A",   "QN-5RX6455",   "QN-5RX6485",
    "QN-5RX6447",   "QN_5RX6484A_B", "iQN-5RX6515-H", "iQN-5RX6194",  "QN-5RX6454-V",
    "QN-5RX6444",   "QN-5RX6455-H",  "QN-5RX6485-H",  "QN-5RX6415-H", "QN-5RX6454A",
    "QN-5RX6453-H", "QN-5RX6724",    "QN_5RX6454A_B", "QN-5RX6794",   "iQN-5RX6474-A",
};

// In every section: register writes for other hardware, then for FPGA type 2 version 1 with sensor type 3
// version 1, which is what the boot block of a simulated board tells.
constexpr std::string_view kBlocks =
    "[TF1V1][TS1V1][VER1.0][1]\n"
    "{0x10 0x1 0}\n"
    "[TF2V1][TS3V1][VER2.1][4]\n"
    "{0x10 0x1 0}\n"
    "{0x11 0x22 100}\n"
    "{0x12 0x333 200}\n"
    "{0x2f 0xabcd 5000}\n";

std::string timing_file() {
  std::string text;
  for (const std::string_view model : kModels) text.append("[").append(model).append("]\n").append(kBlocks);
  return text;
}

}  // namespace

Answer BoardFile::open(int flags) {
  return (flags & O_ACCMODE) == O_RDONLY ? Answer::ok() : Answer::fails(EROFS);
}

Answer BoardFile::read(void* buffer, std::size_t size, off64_t& position) {
  if (buffer == nullptr && size > 0) return Answer::fails(EFAULT);
  const std::size_t start = within(position, content_.size());
  const std::size_t count = std::min(size, content_.size() - start);
  if (count > 0) std::memcpy(buffer, content_.data() + start, count);
  position += static_cast<off64_t>(count);
  return Answer::ok(static_cast<long>(count));
}

mode_t BoardFile::mode() const {
  return S_IFREG | 0444;
}

BoardFiles::BoardFiles() {
  set("/devinfo/TG.bin", timing_file());
}

bool BoardFiles::is_path(std::string_view path) {
  return path.starts_with(kDevinfo) && path.size() > kDevinfo.size();
}

BoardFile* BoardFiles::find(std::string_view path) {
  const auto found = files_.find(path);
  return found != files_.end() && found->second->exists_ ? found->second.get() : nullptr;
}

void BoardFiles::set(std::string_view path, std::string content) {
  if (!is_path(path)) {
    throw std::invalid_argument("the board keeps files below /devinfo only, not \"" + std::string(path) +
                                "\"");
  }
  auto& file = files_[std::string(path)];
  if (!file) file = std::make_unique<BoardFile>();
  file->content_ = std::move(content);
  file->exists_ = true;
}

void BoardFiles::remove(std::string_view path) {
  if (BoardFile* const file = find(path)) file->exists_ = false;
}

}  // namespace boardsim
