#include "station/records/reader.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "station/records/database.h"
#include "station/records/loading.h"
#include "station/records/place.h"
#include "station/records/reading.h"
#include "station/records/records.h"
#include "station/records/schema.h"
#include "station/text/word_kind.h"

namespace t1station {
namespace {

constexpr std::size_t kFewUnits = 200;

// The number that all of these digits are.
std::optional<unsigned> number_of(std::string_view digits) {
  unsigned number = 0;
  const char* end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, number);
  return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

std::optional<std::chrono::sys_days> date_of(std::string_view word) {
  if (word.size() != 10 || word[4] != '-' || word[7] != '-') return std::nullopt;
  const auto year = number_of(word.substr(0, 4)), month = number_of(word.substr(5, 2)),
             day = number_of(word.substr(8, 2));
  if (!year || !month || !day) return std::nullopt;
  const std::chrono::year_month_day date(std::chrono::year(static_cast<int>(*year)),
                                         std::chrono::month(*month), std::chrono::day(*day));
  return date.ok() ? std::optional(std::chrono::sys_days(date)) : std::nullopt;
}

bool is_time_of_day(std::string_view word) {
  if (word.size() != 8 || word[2] != ':' || word[5] != ':') return false;
  const auto hour = number_of(word.substr(0, 2)), minute = number_of(word.substr(3, 2)),
             second = number_of(word.substr(6, 2));
  return hour && minute && second && *hour < 24 && *minute < 60 && *second < 60;
}

// Of "08:30".
std::chrono::minutes minutes_of(std::string_view word) {
  return std::chrono::hours(*number_of(word.substr(0, 2))) +
         std::chrono::minutes(*number_of(word.substr(3, 2)));
}

// How far a clock with this mark, "Z" or "+08:00", is ahead of UTC.
std::optional<std::chrono::minutes> minutes_ahead(std::string_view mark) {
  if (mark == "Z") return std::chrono::minutes(0);
  const bool is_distance = mark.size() == 6 && (mark[0] == '+' || mark[0] == '-') &&
                           is_time_of_day(std::string(mark.substr(1)) + ":00");
  if (!is_distance) return std::nullopt;
  const std::chrono::minutes distance = minutes_of(mark.substr(1));
  return mark[0] == '+' ? distance : -distance;
}

// "2026-11-22T08:30"; nothing outside of the years that have four digits.
std::optional<std::string> to_the_minute(std::chrono::sys_time<std::chrono::minutes> time) {
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date(day);
  const int year = static_cast<int>(date.year()), minute = static_cast<int>((time - day).count());
  if (year < 0 || year > 9999) return std::nullopt;
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d", year,
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), minute / 60,
                minute % 60);
  return text.data();
}

std::unique_ptr<Database> open_as(const std::string& file, Database::Access access,
                                  const std::atomic<bool>* stop) {
  auto database = std::make_unique<Database>(file, access);
  if (stop) database->stop_when(*stop);
  database->add_function("words_id", [](std::string_view text) { return words_id(word_kind(text).words); });
  prepare_connection(*database, file, access);
  const Value application = database->single("PRAGMA application_id");
  if (application == Value(std::int64_t{0})) throw RecordsRefused("there are no records in " + file + " yet");
  if (application != Value(kApplicationId)) throw RecordsRefused(file + " is another application's database");
  return database;
}

}  // namespace

std::unique_ptr<Database> open_for_reading(const std::string& file, const std::atomic<bool>* stop) {
  const std::string real = file.empty() ? file : real_file(file);
  check_readable_records(real);
  try {
    return open_as(real, Database::Access::read, stop);
  } catch (const SqlError& error) {
    const bool is_closed_to_us = error.kind() == SQLITE_CANTOPEN || error.kind() == SQLITE_READONLY;
    const bool has_log = std::filesystem::exists(real + "-wal");
    if (!is_closed_to_us || has_log) throw;
  }
  // A medium that cannot be written: nobody else writes there.
  return open_as(real, Database::Access::immutable, stop);
}

std::optional<std::string> whole_time(std::string_view word) {
  const std::optional<std::chrono::sys_days> date = date_of(word.substr(0, 10));
  if (!date) return std::nullopt;
  if (word.size() == 10) return std::string(word) + "T00:00:00.000Z";
  const std::size_t mark = word.find_first_of("Z+-", 10);
  if (word[10] != 'T' || mark == std::string_view::npos) return std::nullopt;
  std::string time(word.substr(11, mark - 11));
  if (time.size() == 5) time += ":00";
  if (time.size() == 8) time += ".000";
  const bool is_time = time.size() == 12 && is_time_of_day(time.substr(0, 8)) && time[8] == '.' &&
                       number_of(std::string_view(time).substr(9));
  const std::optional<std::chrono::minutes> ahead = minutes_ahead(word.substr(mark));
  if (!is_time || !ahead) return std::nullopt;
  const std::optional<std::string> minute = to_the_minute(*date + minutes_of(time) - *ahead);
  return minute ? std::optional(*minute + time.substr(5) + "Z") : std::nullopt;
}

RecordsReader::RecordsReader(const std::string& file, const std::atomic<bool>* stop) : file_(file) {
  reading([&] { database_ = open_for_reading(file, stop); });
}

RecordsReader::~RecordsReader() = default;

void RecordsReader::go_through(RunFilter filter, bool whole,
                               const std::function<void(const StoredRun&)>& call) {
  if (filter.serial_part) {
    filter.serials = serials_with(*filter.serial_part, kFewUnits + 1);
    if (filter.serials.empty()) return;
    // Runs of few units are found by these; where it is many, the newest runs are soon found one by one.
    if (filter.serials.size() > kFewUnits)
      filter.serials.clear();
    else
      filter.serial_part.reset();
  }
  reading([&] {
    const RunQuery query = query_of(filter);
    Statement rows(*database_, query.sql);
    for (const Value& value : query.values) rows.bind(value);
    while (rows.step()) {
      StoredRun run = load_run_row(rows);
      if (whole) load_parts(*database_, run);
      call(run);
    }
  });
}

void RecordsReader::for_each_row(const RunFilter& filter, const std::function<void(const StoredRun&)>& call) {
  go_through(filter, false, call);
}

void RecordsReader::for_each(const RunFilter& filter, const std::function<void(const StoredRun&)>& call) {
  go_through(filter, true, call);
}

std::vector<std::string> RecordsReader::serials_with(std::string_view part, std::size_t most) {
  return reading([&] {
    Statement rows(*database_,
                   "SELECT DISTINCT serial FROM run WHERE instr(upper(serial), upper(?)) > 0 ORDER BY serial "
                   "LIMIT ?");
    rows.bind(part).bind(static_cast<std::int64_t>(most));
    std::vector<std::string> serials;
    while (rows.step()) serials.push_back(rows.text(0));
    return serials;
  });
}

std::optional<StoredRun> RecordsReader::run(std::string_view id) {
  std::optional<StoredRun> found;
  RunFilter filter;
  filter.id = std::string(id);
  for_each(filter, [&found](const StoredRun& run) { found = run; });
  return found;
}

std::optional<StoredRun> RecordsReader::ended_run(std::int64_t sequence) {
  return reading([&]() -> std::optional<StoredRun> {
    Statement row(*database_, "SELECT id FROM run WHERE sequence = ?");
    return row.bind(sequence).step() ? load_run(*database_, row.text(0)) : std::nullopt;
  });
}

std::optional<std::string> RecordsReader::head() {
  return reading([&]() -> std::optional<std::string> {
    const Value hash =
        database_->single("SELECT hash FROM run WHERE sequence IS NOT NULL ORDER BY sequence DESC LIMIT 1");
    const auto* text = std::get_if<std::string>(&hash);
    return text ? std::optional(*text) : std::nullopt;
  });
}

std::int64_t RecordsReader::last_sequence() {
  return reading([&] {
    const Value last = database_->single("SELECT max(sequence) FROM run");
    const auto* number = std::get_if<std::int64_t>(&last);
    return number ? *number : 0;
  });
}

void RecordsReader::count(EndCounts& counts) {
  reading([&] {
    const std::int64_t last = last_sequence();
    const auto add = [&](SlotCounts& to, std::string_view sql) {
      Statement rows(*database_, sql);
      rows.bind(counts.last).bind(last);
      while (rows.step()) to[{rows.text(0), rows.text(1)}] += rows.integer(2);
    };
    add(counts.runs,
        "SELECT slot, verdict, count(*) FROM run WHERE sequence > ? AND sequence <= ? GROUP BY slot, "
        "verdict");
    add(counts.attempts,
        "SELECT slot, outcome, count(*) FROM run JOIN attempt ON run_id = run.id "
        "WHERE run.sequence > ? AND run.sequence <= ? GROUP BY slot, outcome");
    counts.last = last;
  });
}

}  // namespace t1station
