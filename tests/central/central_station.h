// A station's records and its way into a central database, for tests.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "station/central/central_check.h"
#include "station/central/forwarder.h"
#include "station/records/records.h"
#include "tests/central/central_server.h"
#include "tests/harness/own_directory.h"
#include "tests/station/records_support.h"

/// One file of records and its forwarder, which waits for nothing long.
class CentralStation {
 public:
  CentralStation() { open(); }
  ~CentralStation() { close(); }
  CentralStation(const CentralStation&) = delete;
  CentralStation& operator=(const CentralStation&) = delete;

  void open() { records_ = std::make_unique<t1station::Records>(file()); }
  void close() {
    end();
    records_.reset();
  }
  /// Begins to send.
  void begin(const std::string& url) {
    const t1station::Forwarder::Told told{[this](const t1station::CentralState& state) { see(state); },
                                          [this](const std::string& line) { hear(line); }};
    forwarder_.emplace(url, file(), *records_, told, times);
  }
  void end() { forwarder_.reset(); }
  /// Runs units that pass.
  void pass(const std::vector<std::string>& serials) {
    for (const std::string& serial : serials) records_support::pass(*records_, serial);
    wake();
  }
  void wake() {
    if (forwarder_) forwarder_->wake();
  }

  /// Waits until that is the state.
  void await(const t1station::CentralState& wanted) {
    std::unique_lock lock(mutex_);
    const bool came = told_.wait_for(lock, std::chrono::seconds(60), [&] { return state_ == wanted; });
    EXPECT_TRUE(came) << state_.state << ", " << state_.behind << " behind; the log:\n" << log_;
  }
  /// Waits until no more than so many runs are behind.
  void await_behind(std::int64_t most, std::chrono::seconds longest = std::chrono::seconds(60)) {
    std::unique_lock lock(mutex_);
    const bool came = told_.wait_for(lock, longest, [&] { return state_.behind <= most; });
    EXPECT_TRUE(came) << state_.behind << " behind; the log:\n" << log_;
  }
  /// Waits until the log has these words.
  void await_log(const std::string& words) {
    std::unique_lock lock(mutex_);
    const bool came =
        told_.wait_for(lock, std::chrono::seconds(60), [&] { return log_.find(words) != std::string::npos; });
    EXPECT_TRUE(came) << words << " is not in the log:\n" << log_;
  }
  /// Forgets what the log has said.
  void forget_log() {
    const std::lock_guard lock(mutex_);
    log_.clear();
  }

  std::string log() const {
    const std::lock_guard lock(mutex_);
    return log_;
  }
  std::string file() const { return directory_.file("records.db"); }
  std::string path(const std::string& name) const { return directory_.file(name); }
  t1station::Records& records() { return *records_; }
  /// Details of the events of a kind.
  std::vector<std::string> events(const std::string& kind) const {
    return records_support::column(
        file(), "SELECT coalesce(detail, '') FROM event WHERE kind = '" + kind + "' ORDER BY sequence");
  }

  t1station::ForwarderTimes times{{std::chrono::seconds(10), std::chrono::seconds(30)},
                                  std::chrono::milliseconds(20),
                                  std::chrono::milliseconds(200)};

 private:
  void see(const t1station::CentralState& state) {
    const std::lock_guard lock(mutex_);
    state_ = state;
    told_.notify_all();
  }
  void hear(const std::string& line) {
    const std::lock_guard lock(mutex_);
    log_ += line + "\n";
    told_.notify_all();
  }

  const OwnDirectory directory_;
  std::unique_ptr<t1station::Records> records_;
  mutable std::mutex mutex_;
  std::condition_variable told_;
  t1station::CentralState state_;
  std::string log_;
  std::optional<t1station::Forwarder> forwarder_;
};

/// A database of a test's own, on the server that all tests of the program share.
class CentralTest : public testing::Test {
 protected:
  CentralTest() {
    static int number = 0;
    database = "boards_" + std::to_string(++number);
    server().start();
    EXPECT_EQ(server().sql("postgres", "CREATE DATABASE " + database + " OWNER maker"), "");
  }
  static CentralServer& server() {
    static CentralServer one;
    return one;
  }

  /// The URL for the role that owns the database, unless another one is named.
  std::string url(const std::string& role = "maker", const std::string& more = {}) const {
    return server().url(database, role, more);
  }
  std::string sql(const std::string& statements, const std::string& role = "admin") const {
    return server().sql(database, statements, role);
  }
  /// The same while nothing keeps an administrator from changing records.
  std::string forge(const std::string& statements) const {
    return sql("SET session_replication_role = replica; " + statements);
  }
  /// Waits until the database has every run and event of the file.
  void await_all(CentralStation& station) const {
    station.await_behind(0);
    const auto last = [&](const std::string& table) {
      const std::string query = "SELECT coalesce(max(sequence), 0) FROM " + table;
      return std::pair(sql(query), records_support::column(station.file(), query).front());
    };
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    for (const std::string table : {"run", "event"}) {
      auto [there, own] = last(table);
      while (there != own && std::chrono::steady_clock::now() < end) std::tie(there, own) = last(table);
      EXPECT_EQ(there, own) << table << "s; the log:\n" << station.log();
    }
  }
  std::vector<std::string> findings() const {
    return t1station::check_central(url("admin"), {}, {}, -1).findings;
  }
  /// Both sides hold the same runs and events, and the check finds nothing.
  void expect_the_same(const CentralStation& station) const {
    EXPECT_EQ(findings(), std::vector<std::string>{});
    for (const std::string table : {"run", "event"}) {
      const std::string query = "SELECT sequence || ' ' || id || ' ' || hash FROM " + table +
                                " WHERE sequence IS NOT NULL ORDER BY sequence";
      std::string own;
      for (const std::string& row : records_support::column(station.file(), query)) {
        own += (own.empty() ? "" : "\n") + row;
      }
      EXPECT_EQ(sql(query), own);
    }
  }

  std::string database;
};
