// What the commands that read records share: times, and refusals as exit codes.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "station/app/command.h"
#include "station/central/postgres.h"

namespace t1station {

/// The time that an option's word says; nothing for an empty one. Throws UsageError for what is no time.
std::optional<std::string> time_of(const std::string& option, const std::string& word);

/// From when and until when; either may be missing.
using TimeWindow = std::pair<std::optional<std::string>, std::optional<std::string>>;

/// The times of --from and --to. Throws UsageError for what is no time, and when they are the wrong way
/// round.
TimeWindow window_of(const std::string& from, const std::string& to);

/// For questions over a whole central database: a large one takes its time over each.
inline constexpr CentralPatience kPatienceOfAPerson{std::chrono::seconds(10), std::chrono::hours(1)};

/// Does it, and returns its exit code, or the one of records or a central database that are refused, cannot
/// be read or written, or are out of reach, which is then said.
int obey_with_records(const std::function<int()>& doing, const Environment& around);

}  // namespace t1station
