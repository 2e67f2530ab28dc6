// How soon a line stores and shows what boards say, and the boards for it.
//
// line_speed boards SECONDS: prints a port of loopback, at which as many boards as connect pass every test
// after so many seconds, until it is ended.
//
// line_speed delays LINE.toml: tests one unit in each slot at the same time. Prints a row for each step:
// slot, index, and when it was known to be over, in seconds of the PC's monotonic clock: from the line's
// view, and from a stream of events.
//
// line_speed floor FOLDER ROUNDS: prints the seconds of each of so many commits of SQLite alone, with the
// settings of the records: the end of an attempt.
#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "benchmarks/bare_sqlite.h"
#include "benchmarks/echoing_boards.h"
#include "station/line/line.h"
#include "station/records/identity.h"
#include "station/records/records.h"
#include "station/web/web_server.h"

namespace {

using namespace t1station;
using namespace std::chrono_literals;

constexpr auto kPatience = 120s;     // for all units to be tested
constexpr auto kBetweenScans = 3ms;  // so that boards do not answer all at once

double now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// When each step of each slot was seen to be over for the first time.
class Sightings {
 public:
  explicit Sightings(std::size_t slots) : slots_(slots) {}

  /// Steps below `over` are. `total`: all that there are.
  void add(const std::string& slot, std::size_t over, std::size_t total, double at) {
    const std::lock_guard lock(mutex_);
    std::vector<double>& times = times_[slot];
    const bool was_whole = times.size() == total;
    while (times.size() < over) times.push_back(at);
    if (!was_whole && times.size() == total && ++whole_ == slots_) all_are_.notify_all();
  }
  /// All steps of all slots, once they are over. Throws when that takes too long.
  const std::map<std::string, std::vector<double>>& wait() {
    std::unique_lock lock(mutex_);
    if (!all_are_.wait_for(lock, kPatience, [this] { return whole_ == slots_; }))
      throw std::runtime_error("the units' verdicts do not come");
    return times_;
  }

 private:
  const std::size_t slots_;
  std::mutex mutex_;
  std::condition_variable all_are_;
  std::map<std::string, std::vector<double>> times_;
  std::size_t whole_ = 0;
};

/// Looks at the line's view whenever it has changed.
class Watcher {
 public:
  explicit Watcher(Sightings& sightings) : sightings_(sightings) {}
  ~Watcher() {
    stop_.request_stop();
    thread_ = {};
  }
  Watcher(const Watcher&) = delete;
  Watcher& operator=(const Watcher&) = delete;

  void begin(const Line& line) {
    thread_ = std::jthread([this, &line] {
      while (wait_for_change()) look(line);
    });
  }
  void changed() {
    const std::lock_guard lock(mutex_);
    has_changed_ = true;
    told_.notify_one();
  }

 private:
  bool wait_for_change() {
    std::unique_lock lock(mutex_);
    told_.wait(lock, stop_.get_token(), [this] { return has_changed_; });
    has_changed_ = false;
    return !stop_.stop_requested();
  }
  void look(const Line& line) {
    const LineView view = line.view();
    const double at = now();
    for (const SlotView& slot : view.slots) {
      if (!slot.run) continue;
      sightings_.add(slot.name, slot.run->verdict ? slot.run->total : slot.run->index, slot.run->total, at);
    }
  }

  Sightings& sightings_;
  std::mutex mutex_;
  std::condition_variable_any told_;
  bool has_changed_ = false;
  std::stop_source stop_;
  std::jthread thread_;
};

/// A stream of events, as a browser has one.
class Stream {
 public:
  Stream(const std::string& address, Sightings& sightings) : sightings_(sightings) {
    const std::string port = address.substr(address.rfind(':') + 1);
    sockaddr_in where{};
    where.sin_family = AF_INET;
    where.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    where.sin_port = htons(static_cast<std::uint16_t>(std::stoi(port)));
    socket_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(socket_, reinterpret_cast<const sockaddr*>(&where), sizeof where) != 0)
      throw std::runtime_error("the line's server cannot be reached");
    const std::string request =
        "GET /api/events HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(std::stoi(port)) + "\r\n\r\n";
    if (send(socket_, request.data(), request.size(), MSG_NOSIGNAL) < 0)
      throw std::runtime_error("the line's server takes no request");
    thread_ = std::thread([this] { read(); });
  }
  ~Stream() {
    shutdown(socket_, SHUT_RDWR);
    thread_.join();
    close(socket_);
  }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

 private:
  void read() {
    std::string read;
    std::array<char, 65536> part{};
    while (true) {
      const ssize_t count = recv(socket_, part.data(), part.size(), 0);
      if (count <= 0) return;
      const double at = now();
      read.append(part.data(), static_cast<std::size_t>(count));
      for (std::size_t end = read.find("\n\n"); end != std::string::npos; end = read.find("\n\n")) {
        take(read.substr(0, end), at);
        read.erase(0, end + 2);
      }
    }
  }
  void take(const std::string& event, double at) {
    constexpr std::string_view kLine = "event: line\ndata: ";
    const std::size_t begin = event.find(kLine);
    if (begin == std::string::npos) return;
    const auto document = nlohmann::json::parse(event.substr(begin + kLine.size()));
    for (const auto& slot : document.at("slots")) {
      const auto& run = slot.at("run");
      if (run.is_null()) continue;
      const auto total = run.at("total").get<std::size_t>();
      const std::size_t over = run.at("verdict").is_null() ? run.at("index").get<std::size_t>() : total;
      sightings_.add(slot.at("name").get<std::string>(), over, total, at);
    }
  }

  Sightings& sightings_;
  int socket_ = -1;
  std::thread thread_;
};

/// Passes on what changes; the server comes behind the line and goes before it.
class Forwarding {
 public:
  explicit Forwarding(Watcher& watcher) : watcher_(watcher) {}
  void operator()() {
    watcher_.changed();
    const std::lock_guard lock(mutex_);
    if (server_) server_->changed();
  }
  void go_to(WebServer* server) {
    const std::lock_guard lock(mutex_);
    server_ = server;
  }

 private:
  Watcher& watcher_;
  std::mutex mutex_;
  WebServer* server_ = nullptr;
};

void print_delays(const std::string& path) {
  const LineFile file = read_line_file(path);
  Sightings stored(file.slots.size()), shown(file.slots.size());
  Records records(file.records);
  Watcher watcher(stored);
  Forwarding forwarding(watcher);
  Line line(file, records, [&forwarding] { forwarding(); });
  WebServer server(file, line, file.records);
  forwarding.go_to(&server);
  watcher.begin(line);
  {
    const Stream stream(server.address(), shown);
    for (const SlotFile& slot : file.slots) {
      line.scan("UNIT" + slot.name, slot.name, {});
      std::this_thread::sleep_for(kBetweenScans);
    }
    stored.wait();
    shown.wait();
  }
  forwarding.go_to(nullptr);
  for (const auto& [slot, times] : stored.wait()) {
    const std::vector<double>& events = shown.wait().at(slot);
    for (std::size_t step = 0; step < times.size(); ++step) {
      std::printf("%s %zu %.9f %.9f\n", slot.c_str(), step, times[step], events[step]);
    }
  }
}

void print_floor(const std::string& folder, int rounds) {
  Bare bare(folder + "/bare.db");
  bare.settle();
  Store begin(bare, "INSERT INTO row (id, start) VALUES (?, ?)");
  Store end(bare, "UPDATE row SET end = ?2 WHERE id = ?1");
  Store measure(bare, "INSERT INTO measurement (id, bytes) VALUES (?, ?)");
  for (int round = 0; round < rounds; ++round) {
    const std::string id = new_id();
    bare.commit([&] { begin.run(id, kAttemptStart); });
    const double seconds = seconds_of([&] {
      bare.commit([&] {
        measure.run(id, kMeasurement);
        end.run(id, kAttemptEnd);
      });
    });
    std::printf("%.9f\n", seconds);
  }
}

void be_boards(double seconds) {
  std::uint16_t port = 0;
  const int listener = listen_as_boards(port);
  std::printf("%u\n", port);
  std::fflush(stdout);
  serve_as_boards(listener, seconds);
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  try {
    if (words.size() == 2 && words[0] == "boards") {
      be_boards(std::stod(words[1]));
    } else if (words.size() == 2 && words[0] == "delays") {
      print_delays(words[1]);
    } else if (words.size() == 3 && words[0] == "floor") {
      print_floor(words[1], std::stoi(words[2]));
    } else {
      std::fputs("line_speed boards SECONDS | delays LINE.toml | floor FOLDER ROUNDS\n", stderr);
      return 64;
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "line_speed: %s\n", error.what());
    return 1;
  }
  return 0;
}
