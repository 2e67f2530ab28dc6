// How tests and the launcher reach into a board while its program runs.
#pragma once

#include "boardsim/board/hardware.h"
#include "boardsim/kernel/lock.h"
#include "boardsim/kernel/program.h"

namespace boardsim {

/// For the time of one access from outside: the calling thread is inside the simulator, the board is locked.
/// A thread may hold several at a time, as one expression does that asks for two devices.
class BOARDSIM_LOCKS(scoped_lockable) Access {
 public:
  explicit Access(Mutex& mutex) BOARDSIM_LOCKS(acquire_capability(mutex));
  ~Access() BOARDSIM_LOCKS(release_capability());
  Access(const Access&) = delete;
  Access& operator=(const Access&) = delete;

 private:
  Inside inside_;
  Mutex& mutex_;
};

/// The devices of a board, locked to the end of the expression that asked for them. The program must not run
/// in that expression: its calls would be taken for the simulator's own. Those that would harm the PC
/// (restarts, mounts, shell commands) end the process then.
class LockedDevices {
 public:
  LockedDevices(Mutex& mutex, Devices& devices) : access_(mutex), devices_(devices) {}
  Devices* operator->() const { return &devices_; }

 private:
  Access access_;
  Devices& devices_;
};

}  // namespace boardsim
