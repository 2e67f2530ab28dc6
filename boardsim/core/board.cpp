// The simulator's test API over its state.
#include "boardsim/board.h"

#include <stdexcept>
#include <utility>

#include "boardsim/core/state.h"

namespace boardsim {
namespace {

std::atomic<Board*> current_board{nullptr};

std::shared_ptr<Board::State> make_state(std::string_view name, Pace pace, double speed) {
  if (const Family* family = find_family(name)) return std::make_shared<Board::State>(*family, pace, speed);
  std::string text = "boardsim: there is no board \"" + std::string(name) + "\"; known are";
  for (const Family& family : families()) text.append(" ").append(family.name);
  throw std::invalid_argument(text);
}

std::vector<std::string> texts(const std::vector<Call>& calls, std::string (Call::*text)() const) {
  std::vector<std::string> lines;
  for (const Call& call : calls) lines.push_back((call.*text)());
  return lines;
}

/// For the time of one access from outside: the calling thread is inside the simulator, the board is locked.
class Access {
 public:
  explicit Access(const Board::State& state) : lock_(state.mutex) {}

 private:
  Inside inside_;
  std::lock_guard<std::mutex> lock_;
};

}  // namespace

Board::Board(std::string_view family, Pace pace, double speed) {
  const Inside inside;
  state_ = make_state(family, pace, speed);
  Board* none = nullptr;
  if (!current_board.compare_exchange_strong(none, this)) {
    throw std::logic_error("boardsim: there is a board already");
  }
  state_->main_thread = state_->clock.add_thread(state_);
  set_this_thread(state_->main_thread.get());
}

Board::~Board() {
  const Inside inside;
  state_->clock.stop();
  state_->clock.remove_thread(*state_->main_thread);
  set_this_thread(nullptr);
  state_->main_thread->board.reset();
  current_board = nullptr;
}

Board* Board::current() {
  return current_board;
}

void Board::set_type(std::uint32_t code) {
  const Access access(*state_);
  set_boot_type(state_->devices.general_io.boot_block(), code);
}

void Board::set_alarm_outputs(std::uint8_t count) {
  const Access access(*state_);
  set_boot_alarm_outputs(state_->devices.general_io.boot_block(), count);
}

std::array<std::uint8_t, 256>& Board::boot_block() {
  return state_->devices.general_io.boot_block();
}

Time Board::now() const {
  return state_->clock.now();
}

void Board::at(Time when, std::function<void()> event) {
  const Inside inside;
  state_->clock.at(when, std::move(event));
}

bool Board::advance(Time span) {
  const Inside inside;
  return state_->clock.advance(span);
}

bool Board::settle() {
  const Inside inside;
  return state_->clock.settle();
}

void Board::fault(std::string_view text) {
  const Inside inside;
  state_->fault(text);
}

void Board::clear_faults() {
  const Inside inside;
  state_->clear_faults();
}

int Board::gpio_level(unsigned pin) const {
  const Access access(*state_);
  return state_->devices.general_io.level(pin);
}

void Board::set_gpio_level(unsigned pin, int level) {
  const Access access(*state_);
  state_->devices.general_io.set_level(pin, level);
}

Direction Board::gpio_direction(unsigned pin) const {
  const Access access(*state_);
  return state_->devices.general_io.direction(pin);
}

std::uint32_t Board::fpga(std::uint32_t address) const {
  const Access access(*state_);
  return state_->devices.fpga.reg(address);
}

void Board::set_fpga(std::uint32_t address, std::uint32_t value) {
  const Access access(*state_);
  state_->devices.fpga.set_reg(address, value);
}

std::uint32_t Board::afe(std::uint32_t address) const {
  const Access access(*state_);
  return state_->devices.timing_generator.reg(address);
}

void Board::set_afe(std::uint32_t address, std::uint32_t value) {
  const Access access(*state_);
  state_->devices.timing_generator.set_reg(address, value);
}

std::uint32_t Board::stm8(std::uint32_t address) const {
  const Access access(*state_);
  return state_->devices.stm8.reg(address);
}

void Board::set_stm8(std::uint32_t address, std::uint32_t value) {
  const Access access(*state_);
  state_->devices.stm8.set_reg(address, value);
}

Board::Pwm Board::pwm(std::int32_t channel) const {
  const Access access(*state_);
  return state_->devices.general_io.pwm(channel);
}

std::uint32_t Board::led(std::uint32_t index) const {
  const Access access(*state_);
  return state_->devices.led.led(index);
}

void Board::set_sensor(int number, std::string content) {
  const Access access(*state_);
  state_->devices.sensors.set_content(number, std::move(content));
}

void Board::remove_sensors() {
  const Access access(*state_);
  state_->devices.sensors.remove_all();
}

void Board::set_rtc_seconds(std::vector<int> seconds) {
  const Access access(*state_);
  state_->devices.rtc.set_seconds(std::move(seconds));
}

bool Board::test_control() const {
  const Access access(*state_);
  return state_->devices.test_control.is_on();
}

std::uint32_t Board::alarm_state() const {
  const Access access(*state_);
  return state_->devices.alarm.state();
}

bool Board::output_driven(std::string_view output) const {
  const Access access(*state_);
  return state_->devices.bench.output_driven(output);
}

int Board::input_level(std::string_view input) const {
  const Access access(*state_);
  return state_->devices.bench.input_level(input);
}

std::string_view Board::jig() const {
  const Access access(*state_);
  return state_->devices.bench.jig().name;
}

void Board::set_jig(std::string_view name) {
  const Access access(*state_);
  state_->devices.bench.set_jig(name);
}

Board::Filter Board::filter() const {
  const Access access(*state_);
  return state_->devices.ir_filter.side();
}

int Board::stepper_position() const {
  const Access access(*state_);
  return state_->devices.ir_filter.position();
}

unsigned Board::motor_moves() const {
  const Access access(*state_);
  return state_->devices.motor.moves();
}

std::uint32_t Board::motor_travel() const {
  const Access access(*state_);
  return state_->devices.motor.travel();
}

void Board::set_interface(std::string_view name, std::string_view address) {
  const Access access(*state_);
  state_->set_interface(name, address);
}

void Board::set_select_counts_down(bool yes) {
  const Access access(*state_);
  state_->select_counts_down = yes;
}

std::vector<Call> Board::trace() const {
  const Access access(*state_);
  return state_->trace.calls();
}

std::vector<std::string> Board::hardware_trace() const {
  const Access access(*state_);
  return texts(state_->trace.hardware_calls(), &Call::text);
}

std::vector<std::string> Board::timed_hardware_trace() const {
  const Access access(*state_);
  return texts(state_->trace.hardware_calls(), &Call::timed_text);
}

void Board::clear_trace() {
  const Access access(*state_);
  state_->trace.clear();
}

std::vector<std::string> Board::open_nodes() const {
  const Access access(*state_);
  return state_->descriptors.open_nodes();
}

std::vector<std::uint32_t> Board::reboots() const {
  const Access access(*state_);
  return state_->reboots;
}

std::vector<std::string> Board::violations() const {
  const Access access(*state_);
  return state_->violations;
}

void Board::clear_violations() {
  const Access access(*state_);
  state_->violations.clear();
}

int Board::live_threads() const {
  const Inside inside;
  return state_->clock.threads() - 1;
}

}  // namespace boardsim
