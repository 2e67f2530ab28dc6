// The chain of hashes over runs and events; docs/records.md says how another program computes it.
#pragma once

#include <initializer_list>
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

/// The hash of a run, of its connections, attempts and measurements as they are stored, and of `previous`.
/// Throws SqlError.
std::string run_hash(Database& database, std::string_view run);

/// The hash of a row of other tables: their name and the values in the order of the columns.
std::string row_hash(std::string_view table, const std::vector<Value>& values);

}  // namespace t1station
