// One call of the program's, from its beginning to the trace.
#include "boardsim/calls/frame.h"

#include <cstdio>

namespace boardsim::calls {
namespace {

std::string hex(std::uint32_t number) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08x", number);
  return text;
}

}  // namespace

Call begun(const BoardState& board, std::string_view name, std::vector<std::uint32_t> record) {
  return {.at = board.clock.now(), .name = std::string(name), .record = std::move(record)};
}

Frame::Frame(BoardState& board, Subject subject, std::string_view name, std::string_view node,
             std::vector<std::uint32_t> record)
    : Frame(board, subject, begun(board, name, std::move(record))) {
  call_.node = node;
}

Frame::Frame(BoardState& board, Subject subject, Call call)
    : board_(board), subject_(subject), call_(std::move(call)) {
  board.mutex.lock();
}

Frame::~Frame() {
  if (locked_) board_.mutex.unlock();
}

std::optional<FaultyCall> Frame::meet(std::string_view fault) {
  return board_.call_faults.meet(fault);
}

std::optional<FaultyCall> Frame::meet_on(const Device* device, std::string_view fault) {
  const auto faulty = board_.call_faults.meet(fault, call_.node, call_.request);
  const int error = device != nullptr ? device->dead() : 0;
  return error != 0 ? FaultyCall{.error = error} : faulty;
}

int Frame::run(std::string_view fault, const std::function<Answer()>& perform) {
  const auto faulty = meet(fault);
  const Answer answer = faulty ? Answer::fails(faulty->error) : perform();
  const std::string text =
      call_.name + " of " + call_.node + " is nothing that a program may do on this board";
  const int result = end(answer.result, answer.known ? answer.error : EPERM);
  if (!answer.known) board_.violation(text);
  return result;
}

int Frame::fail_missing() {
  const std::string path = call_.node;
  const std::string text = "unknown node " + path + " (" + call_.name + ")";
  const int result = fail(ENOENT);
  if (!board_.devices.may_be_missing(path)) board_.violation(text);
  return result;
}

int Frame::fail_unknown_request() {
  const std::string text = "unknown request " + hex(call_.request) + " on " + call_.node + " (ioctl)";
  const int result = fail(ENOTTY);
  board_.violation(text);
  return result;
}

void Frame::enter(long result, int error) {
  call_.result = result;
  call_.error = error;
  board_.trace.add(std::move(call_), subject_);
  if (error != 0) errno = error;
}

}  // namespace boardsim::calls
