// Records as they were read.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace t1station {

/// A row of `measurement`.
struct StoredMeasurement {
  std::string name;
  std::optional<double> value;
  std::optional<std::string> unit;
  std::optional<double> low, high;
  std::string outcome;
};

/// A row of `attempt`, with its measurements in their order.
struct StoredAttempt {
  std::string id;
  std::optional<std::string> connection_id;
  std::string step;
  std::int64_t step_index = 0, number = 0, code = 0;
  std::optional<std::int64_t> parameter;
  std::string started;
  std::optional<std::string> ended;
  std::optional<double> seconds;
  std::optional<std::string> outcome, board_name, description;
  std::string request;                        ///< bytes
  std::optional<std::string> reply, console;  ///< bytes
  std::optional<std::string> answer;
  std::vector<StoredMeasurement> measurements;
};

/// A row of `connection`.
struct StoredConnection {
  std::string id, at, board, build;
};

/// A row of `run`, with its plan's name and version, its connections and attempts in their order.
struct StoredRun {
  std::string id, serial, plan_id, plan_name, plan_version, kind, station;
  std::optional<std::string> slot, operator_name, board, build;
  std::int64_t number = 0;
  std::string started;
  std::optional<std::string> ended;
  std::optional<double> seconds;
  std::optional<std::string> verdict, reason;
  std::optional<std::int64_t> retried;
  std::string software;
  std::optional<std::int64_t> sequence;
  std::optional<std::string> previous, hash;
  std::vector<StoredConnection> connections;
  std::vector<StoredAttempt> attempts;
};

}  // namespace t1station
