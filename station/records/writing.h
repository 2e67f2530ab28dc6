// What one transaction of the writer stores; for records.cpp, which says when and what becomes of failures.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "station/records/database.h"
#include "station/records/records.h"
#include "station/records/verdict.h"

namespace t1station {

/// All of these work inside the caller's transaction and throw SqlError.

/// Stores an event behind all others. Throws std::invalid_argument for a detail that is no JSON.
void insert_event(Database& database, std::string_view kind, std::string_view slot, std::string_view run,
                  std::string_view operator_name, std::string_view detail);

/// The plan, unless it is there. One whose text changed without its version is an event.
void insert_plan(Database& database, const Plan& plan);

/// The run's row. Returns its id.
std::string insert_run(Database& database, const NewRun& run, const Plan& plan);

/// The end of an attempt with its measurements.
void fill_attempt(Database& database, std::string_view attempt, const AttemptEnd& end);

/// Attempts of a run that have no end get this one.
void fill_open_attempts(Database& database, std::string_view run, AttemptOutcome outcome);

/// The end of a run: its verdict, its place in the chain, its hash over what is stored then.
EndedRun fill_run(Database& database, std::string_view run, const StoredVerdict& verdict,
                  std::optional<double> seconds);

/// Runs that nobody ended get an end. Returns how many there were.
int interrupt_open_runs(Database& database);

/// Why this unit may not be run; nothing when it may.
std::optional<std::string> reason_against(Database& database, const NewRun& run, const Plan& plan);

}  // namespace t1station
