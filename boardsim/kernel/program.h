// Which threads belong to the program on the board, and when they are inside the simulator.
#pragma once

#include <poll.h>
#include <pthread.h>

#include <memory>
#include <optional>
#include <vector>

#include "boardsim/kernel/own_descriptor.h"
#include "boardsim/kernel/time.h"

namespace boardsim {

class Clock;
struct BoardState;

/// What the scheduler knows about one thread of the program. Guarded by the clock's lock.
struct ProgramThread {
  /// Throws std::system_error when the PC has no descriptor left for it.
  ProgramThread(std::shared_ptr<BoardState> its_board, const Clock& its_clock);
  ProgramThread(const ProgramThread&) = delete;
  ProgramThread& operator=(const ProgramThread&) = delete;

  std::shared_ptr<BoardState> board;  ///< kept alive while the thread lives
  const Clock& clock;                 ///< the board's
  OwnDescriptor wake_event;           ///< eventfd that ends the thread's wait
  bool running = true;                ///< false while it waits for time, a descriptor, a mutex or a thread
  std::vector<pollfd> fds{};          ///< descriptors that it waits for
  std::optional<Time> deadline{};     ///< end of its wait
  const void* blocked_on = nullptr;   ///< the mutex or thread record that it waits for
  bool cancelled = false;             ///< pthread_cancel was called for it
  bool started = false;               ///< `handle` is known
  pthread_t handle{};
  int cancel_state = PTHREAD_CANCEL_ENABLE;  ///< what the program itself had set when it came in
};

/// The record of the calling thread, null when it is none of the program's.
ProgramThread* this_thread();
void set_this_thread(ProgramThread* thread);

/// While one lives, the calls of this thread are the simulator's own and go to the C library; the thread
/// cannot be cancelled.
class Inside {
 public:
  Inside();
  ~Inside();
  Inside(const Inside&) = delete;
  Inside& operator=(const Inside&) = delete;

 private:
  int cancel_state_ = 0;
};

/// Whether an Inside lives in this thread.
bool inside();

/// Ends the process when an Inside lives in this thread. For calls that the simulator never makes and that
/// would harm the PC: one that gets here is the program's, made where no board answers it.
void must_be_outside(const char* call);

/// A call of the program's that the board answers. False for calls of other threads, of the simulator itself,
/// and after the board was switched off: those go to the C library.
class Entered {
 public:
  Entered();
  explicit operator bool() const { return board_ != nullptr; }
  BoardState* operator->() const { return board_; }
  BoardState& operator*() const { return *board_; }

 private:
  BoardState* board_;
  std::optional<Inside> inside_{};
};

/// The board that answers the calling thread, or null; what Entered asks, without entering.
BoardState* answering_board();

}  // namespace boardsim
