// Sensor files: text at a position, and the ways in which a file can be of no use.
#include "boardsim/devices/temperature.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "boardsim/devices/fault_words.h"

namespace boardsim {
namespace {

constexpr std::string_view kPrefix = "/proc/debug/temp";
constexpr std::string_view kUsage =
    "sensors none, sensor N none|directory|unreadable, or sensor N text WORDS...";

// The number behind the prefix, or -1: "temp01" and "temp1x" are other files.
int sensor_number(std::string_view path) {
  if (!path.starts_with(kPrefix)) return -1;
  const std::string_view digits = path.substr(kPrefix.size());
  int number = -1;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (error != std::errc{} || std::to_string(number) != digits) return -1;
  return number;
}

}  // namespace

Answer Sensor::open(int flags) {
  if (content_.kind == Kind::absent) return Answer::fails(ENOENT);
  if ((flags & O_ACCMODE) == O_RDONLY) return Answer::ok();
  return Answer::fails(content_.kind == Kind::directory ? EISDIR : EACCES);
}

Answer Sensor::ioctl(std::uint32_t, void*) {
  return Answer::unknown();
}

std::vector<std::uint32_t> Sensor::words_in(std::uint32_t, const void*) const {
  return {};
}

Answer Sensor::read(void* buffer, std::size_t size, off64_t& position) {
  if (content_.kind == Kind::directory) return Answer::fails(EISDIR);
  if (content_.kind == Kind::unreadable) return Answer::fails(EIO);
  if (buffer == nullptr) return Answer::fails(EFAULT);
  const std::string_view rest =
      std::string_view(content_.text).substr(within(position, content_.text.size()));
  const std::size_t count = std::min(size, rest.size());
  std::memcpy(buffer, rest.data(), count);
  position += static_cast<off64_t>(count);
  return Answer::ok(static_cast<long>(count));
}

mode_t Sensor::mode() const {
  if (content_.kind == Kind::absent) return 0;
  return content_.kind == Kind::directory ? S_IFDIR | 0555 : S_IFREG | 0444;
}

TemperatureSensors::TemperatureSensors() {
  set_content(1, "45500\n");
}

bool TemperatureSensors::is_path(std::string_view path) {
  return sensor_number(path) >= 0;
}

Sensor* TemperatureSensors::find(std::string_view path) {
  const auto found = sensors_.find(sensor_number(path));
  return found == sensors_.end() || found->second->mode() == 0 ? nullptr : found->second.get();
}

void TemperatureSensors::set_content(int number, std::string content) {
  Sensor& it = sensor(number);
  it.healthy_ = it.content_ = {Sensor::Kind::text, std::move(content)};
}

void TemperatureSensors::remove_all() {
  for (auto& [number, it] : sensors_) it->healthy_ = it->content_ = {};
}

bool TemperatureSensors::fault(const std::vector<std::string_view>& words) {
  if (words.empty() || (words[0] != "sensors" && words[0] != "sensor")) return false;
  if (words[0] == "sensors") {
    if (words.size() != 2 || words[1] != "none") refuse_fault(words, kUsage);
    for (auto& [number, it] : sensors_) it->content_ = {};
    return true;
  }
  if (words.size() < 3) refuse_fault(words, kUsage);
  Sensor::Content content;
  if (words[2] == "text") {
    content.kind = Sensor::Kind::text;
    for (std::size_t i = 3; i < words.size(); ++i) content.text.append(i > 3 ? " " : "").append(words[i]);
    content.text += '\n';
  } else if (words.size() == 3 && words[2] == "directory") {
    content.kind = Sensor::Kind::directory;
  } else if (words.size() == 3 && words[2] == "unreadable") {
    content.kind = Sensor::Kind::unreadable;
  } else if (words.size() != 3 || words[2] != "none") {
    refuse_fault(words, kUsage);
  }
  const std::uint32_t number = fault_number(words[1]);
  if (number > INT32_MAX) refuse_fault(words, kUsage);
  sensor(static_cast<int>(number)).content_ = std::move(content);
  return true;
}

void TemperatureSensors::clear_faults() {
  for (auto& [number, it] : sensors_) it->content_ = it->healthy_;
}

Sensor& TemperatureSensors::sensor(int number) {
  if (number < 0) throw std::invalid_argument("a sensor's number is not negative");
  auto& it = sensors_[number];
  if (!it) it = std::make_unique<Sensor>();
  return *it;
}

}  // namespace boardsim
