// Rows of the records as objects; for all that reads them inside this room.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "station/records/chain.h"
#include "station/records/database.h"
#include "station/records/rows.h"

namespace t1station {

/// The start of a SELECT that load_run_row() reads a row of: "SELECT ... FROM run CROSS JOIN plan ...".
/// SQLite goes through runs, by their order or an index of theirs, never through plans, each of which has
/// most of them.
std::string_view select_runs();

/// A run without its connections and attempts, from the row at which a statement that begins with
/// select_runs() stands.
StoredRun load_run_row(const Statement& row);

/// Adds the connections and attempts. Throws SqlError.
void load_parts(Database& database, StoredRun& run);

/// The same from rows that were read before.
void add_parts(const RunRows& rows, StoredRun& run);

/// A whole run; nothing when there is none. Throws SqlError.
std::optional<StoredRun> load_run(Database& database, std::string_view id);

}  // namespace t1station
