// The HTTP server of a line: its pages, its requests, its events.
#pragma once

#include <memory>
#include <string>

#include "station/line/line.h"
#include "station/line/line_file.h"
#include "station/web/limits.h"

namespace t1station {

/// Throws what WebServer's constructor would throw before it listens: BadFile for the users, UsageError for
/// certificate and key, and for a line that is to be reached from beyond this PC without users, or without
/// encryption unless its file says plain_http.
void check_web(const LineFile& file);

/// Serves a line until it is destroyed. One thread has all connections, streams of events among them; a few
/// others deal with what waits for a disk or takes its time.
class WebServer {
 public:
  /// Reads users, certificate and key, and listens. The line must outlive it, and its records must be there.
  /// Throws as check_web() does, std::system_error when it cannot listen, and RecordsRefused or RecordsBroken
  /// when the records cannot be read.
  WebServer(const LineFile& file, Line& line, const std::string& records_file, const WebLimits& limits = {});
  /// Ends all connections. What is being stored is waited for.
  ~WebServer();
  WebServer(const WebServer&) = delete;
  WebServer& operator=(const WebServer&) = delete;

  /// "http://127.0.0.1:8036/"
  std::string address() const;
  /// The line's view has changed. From any thread.
  void changed() noexcept;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace t1station
