// Which device stands at which path.
#include "boardsim/board/hardware.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "boardsim/board/descriptors.h"

namespace boardsim {
Devices::Devices(std::function<Time()> now, Application::After after, Application::Violation violation)
    : rtc(now),
      iris([this] { return hardware().iris; }),
      substrate_voltage(fpga, [this] { return hardware().vsub_by_io; }),
      application(after, std::move(violation)),
      bench({.hardware = [this]() -> const Hardware& { return hardware(); },
             .test_control = [this] { return test_control.is_on(); },
             .drive = [this](Driver driver, std::uint32_t number) { return driven(driver, number); }}),
      rs485({.now = std::move(now),
             .after = std::move(after),
             .hardware = [this]() -> const Hardware& { return hardware(); },
             .rate = [this](unsigned port) { return uart(port).setup().baudrate; },
             .receive = [this](unsigned port, std::string_view bytes) { uart(port).receive(bytes); }}),
      // clang-format off
      nodes_{
          {"/dev/qznio", &general_io},
          {"/dev/fpga", &fpga},
          {"/dev/tg", &timing_generator},
          {"/dev/tcs", &stm8},
          {"/dev/led", &led},
          {"/dev/rtc", &rtc},
          {"/dev/alarm", &alarm},
          {"/dev/qznitc", &test_control},
          {"/dev/motor", &motor},
          {"/dev/motor1", &iris_motor},
          {"/dev/uart1", &uarts[0]},
          {"/dev/uart2", &uarts[1]},
          {"/dev/uart3", &uarts[2]},
          {"/dev/uart4", &uarts[3]},
          {"/dev/uart5", &uarts[4]},
          {"/dev/ttyS1", &terminal},
          {"/dev/mtd4", &flash},
          {"/dev/mmcblk0p7", &emmc},
      } {
  // clang-format on
  for (Medium& medium : mounts.media) nodes_.push_back({medium.node(), &medium});
  connect();
}

void Devices::connect() {
  general_io.on_read([this](unsigned line) { return hanging_on(line); });
  general_io.on_drive([this](unsigned line) {
    ir_filter.drive(line, general_io.driven(line));
    bench.line_driven(line);
  });
  general_io.on_vsub([this](std::uint32_t code) { substrate_voltage.io_set(code); });
  fpga.on_write([this](std::uint32_t address, std::uint32_t value) { register_written(address, value); });
  motor.on_iris([this](std::uint32_t value) { iris.set(IrisDrive::chip, value); });
  iris_motor.on_value([this](std::uint32_t value) { iris.set(IrisDrive::gpio, value); });
  alarm.on_set([this] { bench.alarms_set(); });
  test_control.on_switched_on([this] { bench.begin_test(); });
  for (unsigned port = 1; port <= uarts.size(); ++port) {
    uart(port).on_configure([this, port] { rs485.port_configured(port); });
    uart(port).on_send([this, port](std::string_view bytes) { rs485.port_sent(port, bytes); });
  }
}

void Devices::register_written(std::uint32_t address, std::uint32_t value) {
  bench.register_written(address, value);
  if (address == Iris::kRegister) iris.set(IrisDrive::fpga, value);
  substrate_voltage.register_written(address, value);
}

bool Devices::is_command(std::string_view text) {
  return IrFilter::is_command(text) || Iris::is_command(text);
}

void Devices::run(std::string_view command) {
  if (IrFilter::is_command(command)) ir_filter.run(command);
  if (Iris::is_command(command)) iris.run(command);
}

std::optional<int> Devices::hanging_on(unsigned line) const {
  if (line == FocusMotor::kSwitchLine) return motor.focus().limit_switch() ? 1 : 0;
  if (line == IrFilter::kHomeSwitchLine && hardware().stepped_filter) {
    return ir_filter.home_switch() ? 1 : 0;
  }
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

const Hardware& Devices::hardware() const {
  // Asked with every reading of a line, and looked up when the boot block has changed.
  const BootBlock& block = general_io.boot_block();
  const Identity now{boot_type(block), boot_alarm_outputs(block)};
  if (hardware_ == nullptr || identity_ != now) {
    identity_ = now;
    hardware_ = &hardware_of(now.first, now.second);
  }
  return *hardware_;
}

Device* Devices::find(std::string_view path) {
  const auto found = std::ranges::find(nodes_, path, &Node::path);
  if (found != nodes_.end()) return found->device;
  if (Device* const file = files.find(path)) return file;
  if (Mounts::is_path(path)) return mounts.find(path);
  return sensors.find(path);
}

Device* Devices::find_or_make(std::string_view path) {
  return Mounts::is_path(path) ? mounts.find_or_make(path) : find(path);
}

bool Devices::may_be_missing(std::string_view path) {
  return boardsim::may_be_missing(path) || mounts.is_on_medium(path);
}

bool Devices::can_have(std::string_view path) const {
  return std::ranges::find(nodes_, path, &Node::path) != nodes_.end() || BoardFiles::is_path(path) ||
         Mounts::is_path(path) || TemperatureSensors::is_path(path);
}

std::string Devices::paths() const {
  std::string text;
  for (const Node& node : nodes_) text.append(node.path).append(", ");
  return text.append("/devinfo/..., /mnt/..., /proc/debug/tempN");
}

FaultForms Devices::fault_forms() {
  FaultForms all;
  const auto add = [&all](FaultForms forms) {
    for (FaultForm& form : forms) all.push_back(std::move(form));
  };
  for (const Node& node : nodes_) add(node.device->fault_forms());
  add(uart_fault_forms(uarts));
  add(medium_fault_forms(mounts.media));
  add(sensors.fault_forms());
  add(ir_filter.fault_forms());
  add(application.fault_forms());
  add(bench.fault_forms());
  add(rs485.fault_forms());
  return all;
}

void Devices::keep_media_in(const std::string& folder) {
  std::filesystem::create_directories(folder);
  flash.keep_in(folder + "/mtd4");
  emmc.keep_in(folder + "/mmcblk0p7");
}

void Devices::clear_faults() {
  for (const Node& node : nodes_) node.device->clear_faults();
  sensors.clear_faults();
  ir_filter.clear_faults();
  application.clear_faults();
  bench.clear_faults();
  rs485.clear_faults();
}

}  // namespace boardsim
