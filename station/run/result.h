// What came of the tests of one run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "station/records/records.h"

namespace t1station {

/// How one test ended.
enum class Outcome {
  passed,       ///< a complete reply with the right code said "Pass"
  failed,       ///< a complete reply with the right code said "Fail"
  timed_out,    ///< no reply came in time
  broken,       ///< no connection, a lost one, or something that is not the protocol
  interrupted,  ///< the operator stopped the run during this test
  not_run       ///< the run ended before this test was asked for
};

/// What an outcome is called where.
struct OutcomeTexts {
  Outcome outcome;
  std::string_view name;     ///< in reports
  std::string_view label;    ///< in the table of results
  std::string_view counted;  ///< behind a number in the table's last line
};

/// Every outcome, in the order in which they are counted.
std::span<const OutcomeTexts> outcomes();

/// The outcome as reports write it: "passed", "failed", "timed_out", "broken", "interrupted", "not_run".
std::string_view outcome_name(Outcome outcome);

/// The outcome as people read it: "Pass", "Fail", "no reply", "broken", "interrupted", "not run".
std::string_view outcome_label(Outcome outcome);

/// One test and what came of it.
struct Result {
  std::int32_t code = 0;
  Outcome outcome = Outcome::not_run;
  std::string test_name;    ///< the board's own name of the test; empty without a reply
  std::string description;  ///< the board's explanation, or ours when the outcome is neither Pass nor Fail
  double seconds = 0;       ///< from the request to the reply, or to giving up
  std::optional<std::int32_t> parameter = std::nullopt;  ///< what went with the request
  std::string step{};                                    ///< its name in the plan; empty without one
  std::size_t index = 0;                                 ///< place among the tests, from 0
  int attempts = 0;  ///< how often it was asked for; the rest is of the last
  std::vector<Measurement> measurements{};
  std::string answer{};  ///< a person's, "yes" or "no"; empty where nobody was asked
};

/// A whole run, as tables and reports show it.
struct RunReport {
  std::string board;    ///< HOST:PORT
  std::string started;  ///< ISO 8601 in UTC without zone letter, for example "2024-05-06T07:08:09"
  std::string build;    ///< the board's build line from its banner, empty when it never came
  std::vector<Result> results;
  int exit_code = 0;                       ///< of the client
  std::string serial, plan, plan_version;  ///< empty without a plan, as the next two
  std::string run;                         ///< id in the records
  std::optional<EndedRun> ended;           ///< as the records say

  /// The number of tests with this outcome.
  std::size_t count(Outcome outcome) const;
  /// The sum of all tests' seconds.
  double seconds() const;
};

}  // namespace t1station
