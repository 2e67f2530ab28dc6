// A board on a loopback port that plays a script, for everything that needs a real connection.
#pragma once

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "station/link/interrupt.h"

/// One thing that a fake board does on a connection.
struct BoardStep {
  enum class Kind { send, hear, call, reset, await_close };
  Kind kind;
  std::string bytes;           // of `send`
  std::function<void()> call;  // of `call`, on the board's thread
};

/// Sends these bytes, in one piece.
inline BoardStep sends(std::string bytes) {
  return {BoardStep::Kind::send, std::move(bytes), {}};
}
/// Waits for one whole request and keeps it.
inline BoardStep hears() {
  return {BoardStep::Kind::hear, {}, {}};
}
/// Calls a function.
inline BoardStep does(std::function<void()> call) {
  return {BoardStep::Kind::call, {}, std::move(call)};
}
/// Ends the connection with a reset; must be the last step.
inline BoardStep resets() {
  return {BoardStep::Kind::reset, {}, {}};
}
/// Waits until the station has closed.
inline BoardStep awaits_close() {
  return {BoardStep::Kind::await_close, {}, {}};
}

/// Serves one connection for each script, one after the other, closing each at its script's end; then it
/// listens no more. No wait of it is longer than 20 seconds.
class FakeBoard {
 public:
  explicit FakeBoard(std::vector<std::vector<BoardStep>> scripts);
  FakeBoard(const FakeBoard&) = delete;
  FakeBoard& operator=(const FakeBoard&) = delete;
  ~FakeBoard();

  /// "127.0.0.1:PORT"
  std::string address() const { return "127.0.0.1:" + port(); }
  std::string port() const { return std::to_string(port_); }

  /// The documents of all requests so far. Ends the board first.
  std::vector<std::string> requests();

 private:
  void serve();
  void play(int socket, const std::vector<BoardStep>& script);
  bool hear(int socket);
  bool wait_readable(int socket);
  bool read_exactly(int socket, char* to, std::size_t size);

  std::vector<std::vector<BoardStep>> scripts_;
  std::vector<std::string> requests_;
  t1station::Interrupt stop_;
  int listener_ = -1;
  int port_ = 0;
  std::thread thread_;
};
