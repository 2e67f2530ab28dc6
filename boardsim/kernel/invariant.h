// What must hold inside the simulator, whatever a program does.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace boardsim {

/// Ends the process loudly when `holds` is false: that is a mistake of the simulator's own, never a
/// program's, so it is looked at in every build. `what` should have held.
inline void invariant(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "boardsim: broken inside: %s\n", what);
  std::abort();
}

}  // namespace boardsim
