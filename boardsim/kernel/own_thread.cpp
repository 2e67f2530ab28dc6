#include "boardsim/kernel/own_thread.h"

#include <pthread.h>
#include <signal.h>

#include <thread>
#include <utility>

#include "boardsim/kernel/program.h"

namespace boardsim {
namespace {

/// While one lives, new threads of this one take no signals: those are for the program.
class WithoutSignals {
 public:
  WithoutSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~WithoutSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  WithoutSignals(const WithoutSignals&) = delete;
  WithoutSignals& operator=(const WithoutSignals&) = delete;

 private:
  sigset_t before_{};
};

}  // namespace

void start_own_thread(std::function<void()> work) {
  const Inside inside;
  const WithoutSignals without_signals;
  std::thread([work = std::move(work)] {
    const Inside its_calls;
    work();
  }).detach();
}

}  // namespace boardsim
