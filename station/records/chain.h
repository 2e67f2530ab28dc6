// The chain of hashes over runs and events; docs/records.md says how another program computes it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "station/records/database.h"

namespace t1station {

/// The columns of a table that go into the chain, in their order there.
std::string_view run_columns();
std::string_view connection_columns();
std::string_view attempt_columns();
std::string_view measurement_columns();
std::string_view event_columns();

/// One value as the chain has it: a letter for its kind and its bytes, no two values alike.
std::string canonical(const Value& value);

/// Values of one row, in the order of its table's columns above.
using Row = std::vector<Value>;

/// An attempt with its measurements in order.
struct AttemptRows {
  Row attempt;
  std::vector<Row> measurements;
};

/// A run with its connections and attempts in order, as they are stored.
struct RunRows {
  Row run;
  std::vector<Row> connections;
  std::vector<AttemptRows> attempts;
};

/// All rows of a run. Throws SqlError; std::invalid_argument when there is no such run.
RunRows load_run_rows(Database& database, std::string_view run);

/// The hash of a run, of its connections, attempts and measurements as they are stored, and of `previous`.
std::string run_hash(const RunRows& rows);
/// The same of a run in a file. Throws as load_run_rows().
std::string run_hash(Database& database, std::string_view run);

/// The hash of a row of other tables: their name and the values in the order of the columns.
std::string row_hash(std::string_view table, const Row& values);

}  // namespace t1station
