// One wait for a descriptor and for the operator at once.
#pragma once

#include <string>

#include "station/link/interrupt.h"

namespace t1station {

/// What a wait brought. A signal that is not meant for us ends it early, as if the time were over: a caller
/// that must wait the whole time asks again.
enum class Waited { ready, timed_out, interrupted };

/// Waits at most `seconds` until the descriptor is ready for `events` of poll(2), or for the operator, who
/// comes first. Throws LinkError when the PC cannot wait.
Waited wait_for(int descriptor, short events, double seconds, const Interrupt& interrupt);

/// What the system calls an error number.
std::string error_text(int error);

}  // namespace t1station
