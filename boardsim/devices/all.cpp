// Which device stands at which path.
#include "boardsim/devices/all.h"

#include <sys/stat.h>
#include <algorithm>
#include <utility>

namespace boardsim {

Devices::Devices(std::function<Time()> now)
    : rtc(std::move(now)),
      nodes_{{
          {"/dev/qznio", &general_io},
          {"/dev/fpga", &fpga},
          {"/dev/tg", &timing_generator},
          {"/dev/tcs", &stm8},
          {"/dev/led", &led},
          {"/dev/rtc", &rtc},
      }} {}

Device* Devices::find(std::string_view path) {
  const auto* found = std::ranges::find(nodes_, path, &Node::path);
  return found != nodes_.end() ? found->device : sensors.find(path);
}

bool Devices::can_have(std::string_view path) const {
  return std::ranges::find(nodes_, path, &Node::path) != nodes_.end() || TemperatureSensors::is_path(path);
}

std::string Devices::paths() const {
  std::string text;
  for (const Node& node : nodes_) text.append(node.path).append(", ");
  return text.append("/proc/debug/tempN");
}

mode_t Devices::mode(std::string_view path) {
  if (const Sensor* sensor = sensors.find(path)) return sensor->mode();
  return find(path) != nullptr ? S_IFCHR | 0600 : 0;
}

bool Devices::fault(const std::vector<std::string_view>& words) {
  const auto takes = [&](const Node& node) { return node.device->fault(words); };
  return std::ranges::any_of(nodes_, takes) || sensors.fault(words);
}

void Devices::clear_faults() {
  for (const Node& node : nodes_) node.device->clear_faults();
  sensors.clear_faults();
}

std::string_view Devices::fault_help() {
  return "gpio N stuck high|low, fpga|afe|stm8 ADDRESS stuck VALUE, rtc stopped, rtc seconds N..., "
         "sensors none, sensor N none|directory|unreadable, sensor N text WORDS...";
}

}  // namespace boardsim
