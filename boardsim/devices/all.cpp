// Which device stands at which path.
#include "boardsim/devices/all.h"

#include <sys/stat.h>
#include <algorithm>
#include <utility>

namespace boardsim {
namespace {

constexpr std::uint32_t kStepperBoard = 0x9C0A;

}  // namespace

Devices::Devices(std::function<Time()> now)
    : rtc(std::move(now)),
      bench({.type = [this] { return type(); },
             .test_control = [this] { return test_control.is_on(); },
             .drive = [this](Driver driver, std::uint32_t number) { return driven(driver, number); }}),
      nodes_{{
          {"/dev/qznio", &general_io},
          {"/dev/fpga", &fpga},
          {"/dev/tg", &timing_generator},
          {"/dev/tcs", &stm8},
          {"/dev/led", &led},
          {"/dev/rtc", &rtc},
          {"/dev/alarm", &alarm},
          {"/dev/qznitc", &test_control},
          {"/dev/motor", &motor},
      }} {
  connect();
}

void Devices::connect() {
  general_io.on_read([this](unsigned line) { return hanging_on(line); });
  general_io.on_drive([this](unsigned line) {
    ir_filter.drive(line, general_io.driven(line));
    bench.line_driven(line);
  });
  fpga.on_write(
      [this](std::uint32_t address, std::uint32_t value) { bench.register_written(address, value); });
  alarm.on_set([this] { bench.alarms_set(); });
  test_control.on_switched_on([this] { bench.begin_test(); });
}

std::optional<int> Devices::hanging_on(unsigned line) const {
  if (line == IrFilter::kHomeSwitchLine && type() == kStepperBoard) return ir_filter.home_switch() ? 1 : 0;
  return bench.level(line);
}

std::uint32_t Devices::driven(Driver driver, std::uint32_t number) const {
  switch (driver) {
    case Driver::fpga:
      return fpga.reg(number);
    case Driver::alarm:
      return alarm.state();
    case Driver::gpio:
      return static_cast<std::uint32_t>(general_io.driven(number));
  }
  return 0;
}

std::uint32_t Devices::type() const {
  return boot_type(general_io.boot_block());
}

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
  return std::ranges::any_of(nodes_, takes) || sensors.fault(words) || ir_filter.fault(words) ||
         bench.fault(words);
}

void Devices::clear_faults() {
  for (const Node& node : nodes_) node.device->clear_faults();
  sensors.clear_faults();
  ir_filter.clear_faults();
  bench.clear_faults();
}

std::string_view Devices::fault_help() {
  return "gpio N stuck high|low, fpga|afe|stm8 ADDRESS stuck VALUE, rtc stopped, rtc seconds N..., "
         "sensors none, sensor N none|directory|unreadable, sensor N text WORDS..., "
         "motor rejects move N[+], home switch never, input NAME stuck high|low, "
         "output NAME dead|closed|open, wire NAME cut, short NAME NAME|GND, jig NAME|auto";
}

}  // namespace boardsim
