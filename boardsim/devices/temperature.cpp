// Sensor files: text at a position, and what can stand in the place of one.
#include "boardsim/devices/temperature.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace boardsim {
namespace {

constexpr std::string_view kPrefix = "/proc/debug/temp";

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

FaultForms TemperatureSensors::fault_forms() {
  const FaultValue number_of_sensor = number("N", 0, INT32_MAX);
  const auto put = [this](const FaultArguments& given, Sensor::Content content) {
    sensor(static_cast<int>(given.number(0))).content_ = std::move(content);
  };
  return {{"sensors none",
           "no file of a sensor is there",
           {},
           [this](const FaultArguments&) {
             for (auto& [number, it] : sensors_) it->content_ = {};
           }},
          {"sensor N none|directory|unreadable",
           "/proc/debug/tempN is not there, is a directory, or fails to be read with EIO",
           {number_of_sensor},
           [put](const FaultArguments& given) {
             const bool none = given.word(1) == "none";
             const auto useless =
                 given.word(1) == "directory" ? Sensor::Kind::directory : Sensor::Kind::unreadable;
             put(given, {none ? Sensor::Kind::absent : useless, ""});
           }},
          {"sensor N text [WORD...]",
           "/proc/debug/tempN holds these words and a line end",
           {number_of_sensor, text("WORD")},
           [put](const FaultArguments& given) {
             std::string line;
             for (const std::string_view word : given.words(1))
               line.append(line.empty() ? "" : " ").append(word);
             put(given, {Sensor::Kind::text, line + "\n"});
           }}};
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
