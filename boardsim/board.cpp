// The simulator's test API over its state.
#include "boardsim/board.h"

#include <cerrno>
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

LockedDevices Board::operator->() const BOARDSIM_LOCKS(no_thread_safety_analysis) {
  return {state_->mutex, state_->devices};
}

void Board::set_type(std::uint32_t code) {
  const Access access(state_->mutex);
  set_boot_type(state_->devices.general_io.boot_block(), code);
}

void Board::set_alarm_outputs(std::uint8_t count) {
  const Access access(state_->mutex);
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

void Board::set_interface(std::string_view name, std::string_view address) {
  const Access access(state_->mutex);
  state_->set_interface(name, address);
}

void Board::set_select_counts_down(bool yes) {
  const Access access(state_->mutex);
  state_->select_counts_down = yes;
}

std::vector<Call> Board::trace() const {
  const Access access(state_->mutex);
  return state_->trace.calls();
}

std::vector<std::string> Board::hardware_trace() const {
  const Access access(state_->mutex);
  return texts(state_->trace.hardware_calls(), &Call::text);
}

std::vector<std::string> Board::timed_hardware_trace() const {
  const Access access(state_->mutex);
  return texts(state_->trace.hardware_calls(), &Call::timed_text);
}

void Board::clear_trace() {
  const Access access(state_->mutex);
  state_->trace.clear();
}

std::vector<std::string> Board::open_nodes() const {
  const Access access(state_->mutex);
  return state_->descriptors.open_nodes();
}

std::vector<std::uint32_t> Board::reboots() const {
  const Access access(state_->mutex);
  return state_->reboots;
}

std::vector<std::string> Board::violations() const {
  const Access access(state_->mutex);
  return state_->violations;
}

void Board::clear_violations() {
  const Access access(state_->mutex);
  state_->violations.clear();
}

int Board::live_threads() const {
  const Inside inside;
  return state_->clock.threads() - 1;
}

}  // namespace boardsim
