// The heartbeat towards the station: a prompt every 5 seconds, as long as the connection lasts.
#pragma once

#include <pthread.h>

/// The thread's body: sends the prompt on g_iSockClient, sleeps 5 seconds, and so on until a send fails.
/// `arg` is ignored; returns null.
void* HeartBeatThread(void* arg);

namespace boardtest {

/// The heartbeat of one connection. It runs from start() to stop(); there is never more than one.
class Heartbeat {
 public:
  Heartbeat() = default;
  Heartbeat(const Heartbeat&) = delete;
  Heartbeat& operator=(const Heartbeat&) = delete;
  ~Heartbeat();  ///< stops it

  /// Starts the thread. False when it cannot be created.
  bool start();
  /// Ends the thread in its pause, or as soon as its send has failed, and waits for that. The connection must
  /// have been shut down, so that no send holds it up.
  void stop();

 private:
  pthread_t thread_{};
  bool running_ = false;
};

}  // namespace boardtest
