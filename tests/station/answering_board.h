// A board on a loopback port that answers every request, for tests of many runs.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "station/link/interrupt.h"

/// Serves one connection after the other until it is destroyed: greets, answers, closes at the quit request.
class AnsweringBoard {
 public:
  /// The bytes that go out for a request, called on the board's thread; none: it is silent.
  using Answer = std::function<std::string(int code)>;

  /// "Pass" to everything.
  AnsweringBoard();
  explicit AnsweringBoard(Answer answer);
  AnsweringBoard(const AnsweringBoard&) = delete;
  AnsweringBoard& operator=(const AnsweringBoard&) = delete;
  ~AnsweringBoard();

  /// "127.0.0.1:PORT"
  std::string address() const { return "127.0.0.1:" + std::to_string(port_); }
  /// The codes of all requests so far.
  std::vector<int> codes() const;

 private:
  void serve();
  void talk(int socket);
  bool wait_readable(int socket) const;
  std::string hear(int socket) const;

  Answer answer_;
  t1station::Interrupt stop_;
  std::uint16_t port_ = 0;
  int listener_ = -1;
  mutable std::mutex mutex_;
  std::vector<int> codes_;
  std::thread thread_;
};
