// Puts the board in place inside an unmodified program, before its first line runs.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>

#include "boardsim/board.h"
#include "boardsim/board/state.h"
#include "boardsim/control/server.h"
#include "boardsim/kernel/own_descriptor.h"
#include "boardsim/kernel/real.h"
#include "boardsim/tool/config.h"
#include "boardsim/tool/learned.h"
#include "boardsim/tool/scripted_station.h"
#include "boardsim/tool/serial_device.h"

namespace boardsim {
namespace {

void write_all(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = real::write(fd, text.data(), text.size());
    if (written <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

Pace pace_of(const std::string& name) {
  if (name == "stepped") return Pace::stepped;
  return name == "virtual" ? Pace::virtual_time : Pace::scaled;
}

void trace_to(Board& board, const std::string& file) {
  const int fd =
      out_of_the_way(real::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0666));
  if (fd < 0) throw std::runtime_error("the trace file " + file + " cannot be written");
  const Locked lock(board.state().mutex);
  board.state().trace.set_sink([fd](const Call& call) { write_all(fd, call.timed_text().append("\n")); });
}

void end_at_reboot() {
  std::fflush(stdout);
  write_all(STDOUT_FILENO, "boardsim: the board restarts\n");
  _exit(0);
}

void end_loudly() {
  std::fflush(stdout);
  _exit(kExitBroken);
}

void put_in_place(const Config& config) {
  // The board lives for as long as the process: nothing takes it away before the last thread's last call.
  static Board* const board = new Board(config.board, pace_of(config.pace), config.speed);
  const Inside inside;
  // The factory knew the type.
  if (config.type != 0) {
    const Locked lock(board->state().mutex);
    board->state().devices.emmc.leave_factory(hardware_of(config.type));
  }
  // What is kept comes next, so that a fault that damages what is stored finds it.
  if (!config.state.empty()) (*board)->keep_media_in(config.state);
  if (!config.state.empty()) {
    if (const auto learned = read_learned(config.state)) make_like(*board, *learned);
  }
  set_up_board(*board, config);
  {
    const Locked lock(board->state().mutex);
    ProcessRules& process_rules = board->state().process_rules;
    if (config.exit_at_violation) process_rules.after_violation = end_loudly;
    if (config.exit_at_reboot) process_rules.after_reboot = end_at_reboot;
    board->state().trace.keep_none();  // nobody can ask for it here
  }
  if (!config.trace.empty()) trace_to(*board, config.trace);
  if (!config.uart1.empty()) offer_uart1(*board, config.uart1);
  if (!config.control.empty()) serve_control(*board, config.control);
  if (!config.station.empty())
    play_station(*board, read_station_script(config.station), service_address(*board));
}

[[gnu::constructor]] void start() {
  const char* const text = std::getenv(kConfigVariable);
  if (text == nullptr) return;
  Config config;
  try {
    config = Config::from_json(text);
    unsetenv(kConfigVariable);
    unsetenv("LD_PRELOAD");
    // The board's console is a terminal.
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    put_in_place(config);
  } catch (const std::exception& error) {
    write_all(config.report_fd, error.what());
    _exit(kExitBroken);
  }
  write_all(config.report_fd, kInPlace);
  real::close(config.report_fd);
}

}  // namespace
}  // namespace boardsim
