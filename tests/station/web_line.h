// A line of two slots, "1" and "2", at whose boards nobody is, and its server on a free port of loopback.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "station/line/line.h"
#include "station/web/web_server.h"
#include "tests/harness/own_directory.h"
#include "tests/station/records_support.h"
#include "tests/station/web_client.h"

/// The server's time stands still until it is moved; its limits may be changed before start().
class WebLine {
 public:
  WebLine() {
    records_support::write(directory.file("plan.toml"), records_support::plan_text());
    file.path = directory.file("line.toml");
    file.station = "ICT-3";
    file.records = directory.file("records.db");
    file.port = "0";
    file.board_wait = 100000;
    for (const std::string name : {"1", "2"}) {
      t1station::SlotFile slot;
      slot.name = name;
      slot.board = {"127.0.0.1", "1"};
      slot.plan_files = {directory.file("plan.toml")};
      file.slots.push_back(slot);
    }
    limits.now = [this] { return time.load(); };
  }
  ~WebLine() { stop(); }
  WebLine(const WebLine&) = delete;
  WebLine& operator=(const WebLine&) = delete;

  void start(const std::string& vfs = {}) {
    records = std::make_unique<t1station::Records>(file.records, vfs);
    line = std::make_unique<t1station::Line>(file, *records, [this] { changed(); });
    auto serving = std::make_unique<t1station::WebServer>(file, *line, file.records, limits);
    const std::lock_guard hold(lock_);
    server = std::move(serving);
  }
  void stop() {
    std::unique_ptr<t1station::WebServer> ending;
    {
      const std::lock_guard hold(lock_);
      ending = std::move(server);
    }
    ending.reset();
    line.reset();
    records.reset();
  }
  /// Moves the server's time on.
  void pass(double seconds) { time = time + seconds; }

  std::string port() const {
    const std::string address = server->address();
    const std::size_t colon = address.rfind(':');
    return address.substr(colon + 1, address.size() - colon - 2);
  }
  WebReply get(std::string_view target, std::string_view fields = {}) {
    return ask(port(), "GET", target, {}, fields);
  }
  WebReply post(std::string_view target, std::string_view body, std::string_view fields = {}) {
    return ask(port(), "POST", target, body, fields);
  }
  nlohmann::json json(std::string_view target) { return nlohmann::json::parse(get(target).body); }
  /// The request with its port put in.
  std::string words(std::string_view method, std::string_view target, std::string_view body = {},
                    std::string_view fields = {}) {
    std::string request = web_request(method, target, body, fields);
    request.replace(request.find("PORT"), 4, port());
    return request;
  }

  const OwnDirectory directory;
  std::atomic<double> time = 1000;
  t1station::LineFile file;
  t1station::WebLimits limits;
  std::unique_ptr<t1station::Records> records;
  std::unique_ptr<t1station::Line> line;
  std::unique_ptr<t1station::WebServer> server;

 private:
  void changed() {
    const std::lock_guard hold(lock_);
    if (server) server->changed();
  }
  std::mutex lock_;  // of the server, which begins behind the line and ends before it
};
