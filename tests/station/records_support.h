// A plan of two steps, and a station's way through it, for tests of records.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "station/plan/plan.h"
#include "station/records/records.h"
#include "station/records/rows.h"

namespace records_support {

/// The plan's file: "clock" with two attempts, then "temperature" with a measurement from 10 to 60 degrees.
std::string plan_text(std::string_view version = "3");
t1station::Plan plan(std::string_view version = "3");

inline constexpr std::string_view kBuild = "BUILD: Mar 29 2019-22:09:55";

t1station::NewRun unit(std::string_view serial);

/// What the plan's steps ask for, as begin_attempt() takes it.
t1station::NewAttempt clock_attempt(const std::string& run, const std::string& connection, int number = 1);
t1station::NewAttempt temperature_attempt(const std::string& run, const std::string& connection);

/// Ends of attempts; the measurement only belongs to the temperature.
t1station::AttemptEnd ended(t1station::AttemptOutcome outcome);
t1station::AttemptEnd measured(double value);

/// Runs a unit that passes both steps; a retried one needs the clock's second attempt.
t1station::EndedRun pass(t1station::Records& records, std::string_view serial, bool is_retried = false);
/// Runs a unit whose clock fails twice.
t1station::EndedRun fail(t1station::Records& records, std::string_view serial);

/// All runs of a file, whole.
std::vector<t1station::StoredRun> runs_of(const std::string& file);

/// Runs SQL on a file with SQLite alone, as a person would with the shell; returns its error's text, or
/// nothing.
std::string sql(const std::string& file, const std::string& statements);
/// The same with all triggers taken away before and put back behind: what somebody who means it would do.
std::string forge(const std::string& file, const std::string& statements);

/// The texts of one column, as SQLite alone reads them.
std::vector<std::string> column(const std::string& file, const std::string& query);

std::string content_of(const std::string& file);
void write(const std::string& file, std::string_view content);

}  // namespace records_support
