// Threads of the simulator's own inside the program's process.
#pragma once

#include <functional>

namespace boardsim {

/// Runs `work` on a thread that is none of the program's and takes no signals, for as long as the process
/// lives. Its calls are the simulator's own.
void start_own_thread(std::function<void()> work);

}  // namespace boardsim
