// What the tests of the whole server share: stations that connect when a test says so, and an end.
#pragma once

#include <gtest/gtest.h>
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "t1_sdk/boardtest/protocol/message.h"
#include "t1_sdk/boardtest/service/server.h"
#include "tests/harness/console.h"
#include "tests/harness/on_board.h"
#include "tests/harness/station.h"
#include "tests/harness/wire.h"

inline constexpr std::uint16_t kPort = 36001;
inline constexpr int kQuit = 62208;
inline constexpr char kHeartbeatStarted[] = "HeartBeatThread started";

/// The server serves the stations that a test lets connect; the accept after the last one fails, so that
/// it comes to its end.
class ServerTest : public OnBoard {
 protected:
  ServerTest() {
    g_iTimeCount = 0;
    std::signal(SIGPIPE, SIG_DFL);
  }
  ~ServerTest() override {
    g_iTimeCount = 0;
    g_iSockClient = -1;
  }

  /// A station that connects at that time and then does something at once.
  Station& connect_at(boardsim::Time when, std::function<void(Station&)> action = {}) {
    Station& station = *stations_.emplace_back(std::make_unique<Station>());
    at(when, [this, &station, action] {
      station.connect(address, kPort);
      if (action) action(station);
    });
    return station;
  }
  void at(boardsim::Time when, std::function<void()> event) { board.at(start + when, std::move(event)); }
  int run() {
    board.fault("accept #" + std::to_string(stations_.size() + 1) + " EMFILE");
    return boardtest::run_server();
  }
  boardsim::Time elapsed() const { return board.now() - start; }

  /// Whether a station can still connect after the server's end.
  bool still_listening() const {
    const int socket = wire::connect(address, kPort);
    wire::close(socket);
    return socket >= 0;
  }

  static long prompts(Station& station) {
    const std::vector<std::string> texts = station.texts();
    return std::count_if(texts.begin(), texts.end(),
                         [](const std::string& text) { return text.find("请选择") != std::string::npos; });
  }
  long printed(std::string_view line) const {
    const std::vector<std::string> lines = console.lines();
    return std::count(lines.begin(), lines.end(), line);
  }
  long idle_waits() const {
    const std::vector<std::string> lines = console.lines();
    return std::count_if(lines.begin(), lines.end(),
                         [](const std::string& line) { return line.starts_with("tcp_readn time_out"); });
  }

  Console console;
  boardsim::Time start = board.now();

 private:
  std::vector<std::unique_ptr<Station>> stations_;
};
