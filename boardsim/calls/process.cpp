// Sleeps, threads, restarts and shell commands, and the refusal of what no board's program does.
#include "boardsim/calls/calls.h"
#include "boardsim/calls/frame.h"

namespace boardsim::calls {

bool sleep(BoardState& board, std::string_view name, std::vector<std::uint32_t> length, Time span) {
  const Call call = begun(board, name, std::move(length));
  Frame(board, Subject::clock, call).end(0, 0);
  return board.clock.sleep_until(call.at + span);
}

int reboot(BoardState& board, std::uint32_t command) {
  Frame call(board, Subject::hardware, "reboot", "", {command});
  board.reboots.push_back(command);
  call.end(0, 0);
  if (board.process_rules.after_reboot) board.process_rules.after_reboot();
  return 0;
}

int system(BoardState& board, const char* command) {
  const std::string text = command == nullptr ? "" : command;
  if (!Devices::is_command(text))
    return refuse(board, "system of " + (command != nullptr ? text : "nothing"));
  Frame call(board, Subject::hardware, "system", text);
  if (const auto faulty = call.meet("system")) return call.end(*faulty);
  board.devices.run(text);
  return call.end(0, 0);
}

int refuse(BoardState& board, std::string_view name) {
  Frame call(board, Subject::hardware, name);
  board.violation(std::string(name) + " is nothing that a program may do on this board");
  return call.fail(EPERM);
}

int thread_error(BoardState& board) {
  Frame call(board, Subject::thread, "pthread_create");
  const auto faulty = call.meet("thread");
  if (!faulty) return 0;
  call.fail(faulty->error);
  return faulty->error;
}

void thread_event(BoardState& board, std::string_view name) {
  Frame(board, Subject::thread, name).end(0, 0);
}

}  // namespace boardsim::calls
