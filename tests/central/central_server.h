// A PostgreSQL server of the tests' own, and what stands in its way to a station.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/e2e/child.h"
#include "tests/harness/own_directory.h"

/// In a folder and at a port of its own, run by a user without rights. Whoever connects is trusted, but for
/// the role "locked", which needs its password. Made once for a test program: databases tell tests apart.
class CentralServer {
 public:
  /// Throws std::runtime_error when there is none on this PC, or it does not start.
  CentralServer();
  ~CentralServer();
  CentralServer(const CentralServer&) = delete;
  CentralServer& operator=(const CentralServer&) = delete;

  /// Starts it, if it does not run.
  void start();
  /// Ends it in order; clients lose their connections.
  void stop();
  /// Starts it anew with these lines behind all settings.
  void restart_with(const std::string& settings);
  /// Kills it, all its processes, as a power cut would.
  void kill();

  /// The URL of a database for a role; `more` stands behind a question mark.
  std::string url(const std::string& database, const std::string& role, const std::string& more = {}) const;
  /// The same by way of another port.
  std::string url_at(const std::string& port, const std::string& database, const std::string& role) const;
  /// Runs SQL with the tools of PostgreSQL alone, as its administrator unless told otherwise. Returns what it
  /// prints, one row a line, columns apart by "|", or its error's text.
  std::string sql(const std::string& database, const std::string& statements,
                  const std::string& role = "admin") const;

  const std::string& port() const { return port_; }
  std::string file(std::string_view name) const { return directory_.file(name); }
  /// Makes a file of the server's own.
  void write(std::string_view name, std::string_view content) const;

 private:
  std::string tool(const std::string& name) const { return tools_ + "/" + name; }
  std::vector<std::string> as_nobody(std::vector<std::string> command) const;
  bool try_to_start();

  const OwnDirectory directory_;
  std::string tools_, port_;
  std::unique_ptr<Child> server_;
};

/// A network of one connection after the other, to a port of this PC. Once it swallows, whatever is sent is
/// never seen again, and nothing is closed.
class SwallowingNetwork {
 public:
  explicit SwallowingNetwork(const std::string& to_port);
  ~SwallowingNetwork();
  SwallowingNetwork(const SwallowingNetwork&) = delete;
  SwallowingNetwork& operator=(const SwallowingNetwork&) = delete;

  const std::string& port() const { return port_; }
  void swallow(bool on) { is_swallowing_ = on; }

 private:
  void work();

  std::string to_port_, port_;
  int listening_ = -1;
  std::atomic<bool> is_swallowing_ = false, is_ending_ = false;
  std::thread thread_;
};

/// A TCP port of this PC on which nobody listens now.
std::string free_port();
