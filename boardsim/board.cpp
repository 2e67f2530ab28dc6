// The simulator's test API over its state.
#include "boardsim/board.h"

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "boardsim/board/state.h"

namespace boardsim {
namespace {

std::atomic<Board*> current_board{nullptr};

std::shared_ptr<BoardState> make_state(std::string_view name, Pace pace, double speed) {
  if (const Family* family = find_family(name)) return std::make_shared<BoardState>(*family, pace, speed);
  std::string text = "boardsim: there is no board \"" + std::string(name) + "\"; known are";
  for (const Family& family : families()) text.append(" ").append(family.name);
  throw std::invalid_argument(text);
}

std::vector<std::string> texts(const std::vector<Call>& calls, std::string (Call::*text)() const) {
  std::vector<std::string> lines;
  for (const Call& call : calls) lines.push_back((call.*text)());
  return lines;
}

Medium& medium_of(BoardState& state, std::string_view node) BOARDSIM_LOCKS(requires_capability(state.mutex)) {
  if (Medium* const medium = state.devices.mounts.medium(node)) return *medium;
  throw std::invalid_argument("boardsim: there is no storage medium behind \"" + std::string(node) + "\"");
}

/// For the time of one access from outside: the calling thread is inside the simulator, the board is locked.
class BOARDSIM_LOCKS(scoped_lockable) Access {
 public:
  explicit Access(const BoardState& state) BOARDSIM_LOCKS(acquire_capability(state.mutex))
      : lock_(state.mutex) {}
  ~Access() BOARDSIM_LOCKS(release_capability()) = default;
  Access(const Access&) = delete;
  Access& operator=(const Access&) = delete;

 private:
  Inside inside_;
  Locked lock_;
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

// Nothing guards what is handed out, as its declaration says.
std::array<std::uint8_t, 256>& Board::boot_block() BOARDSIM_LOCKS(no_thread_safety_analysis) {
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

std::vector<std::uint8_t> Board::flash(std::size_t offset, std::size_t size) const {
  const Access access(*state_);
  return state_->devices.flash.bytes(offset, size);
}

void Board::set_flash(std::size_t offset, std::span<const std::uint8_t> bytes) {
  const Access access(*state_);
  state_->devices.flash.set_bytes(offset, bytes);
}

std::vector<std::uint8_t> Board::emmc(std::size_t offset, std::size_t size) const {
  const Access access(*state_);
  return state_->devices.emmc.bytes(offset, size);
}

void Board::set_emmc(std::size_t offset, std::span<const std::uint8_t> bytes) {
  const Access access(*state_);
  state_->devices.emmc.set_bytes(offset, bytes);
}

unsigned Board::flash_erasures(std::size_t block) const {
  const Access access(*state_);
  return state_->devices.flash.erasures(block);
}

void Board::keep_media_in(const std::string& folder) {
  const Access access(*state_);
  std::filesystem::create_directories(folder);
  state_->devices.flash.keep_in(folder + "/mtd4");
  state_->devices.emmc.keep_in(folder + "/mmcblk0p7");
}

void Board::set_file(std::string_view path, std::string content) {
  const Access access(*state_);
  state_->devices.files.set(path, std::move(content));
}

void Board::remove_file(std::string_view path) {
  const Access access(*state_);
  state_->devices.files.remove(path);
}

std::vector<std::string> Board::mounts() const {
  const Access access(*state_);
  return state_->devices.mounts.mounts();
}

std::vector<std::string> Board::folders() const {
  const Access access(*state_);
  return state_->devices.mounts.folders();
}

std::string Board::medium_file(std::string_view node, std::string_view name) const {
  const Access access(*state_);
  const MediumFile* const file = medium_of(*state_, node).find(name);
  if (file != nullptr) return file->content();
  throw std::invalid_argument("boardsim: there is no file \"" + std::string(name) + "\" on " +
                              std::string(node));
}

void Board::set_medium_space(std::string_view node, double size_mb, double free_mb) {
  const Access access(*state_);
  medium_of(*state_, node).set_space(size_mb, free_mb);
}

Board::UartSetup Board::uart(unsigned number) const {
  const Access access(*state_);
  return state_->devices.uart(number).setup();
}

void Board::uart_receives(unsigned number, std::string_view bytes) {
  const Access access(*state_);
  state_->devices.uart(number).receive(bytes);
}

std::string Board::uart_sent(unsigned number) const {
  const Access access(*state_);
  return state_->devices.uart(number).sent();
}

std::string_view Board::rs485_fixture() const {
  const Access access(*state_);
  return state_->devices.rs485.fixture().name;
}

void Board::set_rs485_fixture(std::string_view name) {
  const Access access(*state_);
  state_->devices.rs485.set_fixture(name);
}

int Board::terminal() {
  const Access access(*state_);
  const int fd = state_->devices.terminal.far_end();
  if (fd < 0) throw std::system_error(errno, std::generic_category(), "boardsim: no pseudo-terminal");
  return fd;
}

void Board::set_app_answer(std::uint32_t command, std::vector<AppReply> replies, bool closes) {
  const Access access(*state_);
  state_->devices.application.set_answer(command, std::move(replies), closes);
}

std::vector<Board::AppCommand> Board::app_commands() const {
  const Access access(*state_);
  return state_->devices.application.commands();
}

Board::Iris Board::iris() const {
  const Access access(*state_);
  return state_->devices.iris.state();
}

int Board::focus_position() const {
  const Access access(*state_);
  return state_->devices.motor.focus().position();
}

void Board::set_focus_position(int steps) {
  const Access access(*state_);
  state_->devices.motor.focus().set_position(steps);
}

std::uint32_t Board::vsub() const {
  const Access access(*state_);
  return state_->devices.substrate_voltage.code();
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
