// One lock a thread, however often it is asked for.
#include "boardsim/board/access.h"

namespace boardsim {
namespace {

constinit thread_local int accesses = 0;  // of this thread that live now

}  // namespace

Access::Access(Mutex& mutex) BOARDSIM_LOCKS(no_thread_safety_analysis) : mutex_(mutex) {
  if (accesses++ == 0) mutex_.lock();
}

Access::~Access() BOARDSIM_LOCKS(no_thread_safety_analysis) {
  if (--accesses == 0) mutex_.unlock();
}

}  // namespace boardsim
