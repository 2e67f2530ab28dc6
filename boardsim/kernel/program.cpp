#include "boardsim/kernel/program.h"

#include <sys/eventfd.h>

#include <cstdio>
#include <cstdlib>
#include <system_error>

#include "boardsim/kernel/clock.h"

namespace boardsim {
namespace {

// Plain variables: they are read before any constructor has run and after every destructor.
constinit thread_local ProgramThread* thread_record = nullptr;
constinit thread_local int inside_depth = 0;

}  // namespace

ProgramThread::ProgramThread(std::shared_ptr<BoardState> its_board, const Clock& its_clock)
    : board(std::move(its_board)), clock(its_clock), wake_event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (wake_event.get() < 0) throw std::system_error(errno, std::generic_category(), "boardsim: eventfd");
}

ProgramThread* this_thread() {
  return thread_record;
}
void set_this_thread(ProgramThread* thread) {
  thread_record = thread;
}

Inside::Inside() {
  if (inside_depth++ > 0) return;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancel_state_);
  if (thread_record != nullptr) thread_record->cancel_state = cancel_state_;
}

Inside::~Inside() {
  if (--inside_depth > 0) return;
  int ignored = 0;
  pthread_setcancelstate(cancel_state_, &ignored);
}

bool inside() {
  return inside_depth > 0;
}

void must_be_outside(const char* call) {
  if (inside_depth == 0) return;
  std::fprintf(stderr, "boardsim: %s within an expression that holds the board's devices\n", call);
  std::abort();
}

BoardState* answering_board() {
  if (inside_depth > 0 || thread_record == nullptr) return nullptr;
  return thread_record->clock.stopped() ? nullptr : thread_record->board.get();
}

Entered::Entered() : board_(answering_board()) {
  if (board_ != nullptr) inside_.emplace();
}

}  // namespace boardsim
