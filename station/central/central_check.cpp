#include "station/central/central_check.h"

#include <array>
#include <map>
#include <memory>
#include <set>

#include "station/central/central_schema.h"
#include "station/records/loading.h"
#include "station/records/verdict.h"

namespace t1station {
namespace {

// Runs that are held in memory at once; consoles make some of them large.
constexpr std::int64_t kRunsAtOnce = 50, kEventsAtOnce = 1000;
constexpr std::size_t kPlan = 2, kVerdict = 13;  // of run_columns()

struct Reference {
  std::string_view table, column, to;
};
constexpr std::array<Reference, 6> kReferences{{
    {"run", "plan_id", "plan"},
    {"connection", "run_id", "run"},
    {"attempt", "run_id", "run"},
    {"attempt", "connection_id", "connection"},
    {"measurement", "attempt_id", "attempt"},
    {"event", "run_id", "run"},
}};

std::string columns_of(std::string_view table, std::string_view columns) {
  std::string names;
  while (!columns.empty()) {
    const std::size_t end = columns.find(", ");
    names += (names.empty() ? "" : ", ") + std::string(table) + "." + std::string(columns.substr(0, end));
    columns.remove_prefix(end == std::string_view::npos ? columns.size() : end + 2);
  }
  return names;
}

const std::string& text_in(const Row& row, std::size_t column) {
  return std::get<std::string>(row[column]);
}

Row without_last(Row row, std::size_t count = 1) {
  row.resize(row.size() - count);
  return row;
}

class CentralCheck {
 public:
  explicit CentralCheck(Postgres& database) : database_(database) {}

  CheckReport run(const std::optional<std::string>& head) {
    expect_central_tables_for_reading(database_);
    database_.ask("BEGIN ISOLATION LEVEL REPEATABLE READ, READ ONLY");
    look_at_plans();
    look_at_references();
    for (const std::string& chain : chains()) {
      look_at_runs(chain);
      look_at_events(chain);
    }
    if (head && !hashes_.contains(*head)) find("no run of a chain has the hash " + *head);
    return report_;
  }

 private:
  void find(const std::string& text) { report_.findings.push_back(text); }

  void look_at_plans() {
    std::string last;
    for (;;) {
      const Postgres::Rows plans = database_.ask(
          "SELECT id, text, name, version FROM plan WHERE id > $1 ORDER BY id LIMIT 100", {Value(last)});
      if (plans.empty()) return;
      for (const Row& plan : plans) {
        last = text_in(plan, 0);
        look_at_plan(plan);
      }
    }
  }

  void look_at_plan(const Row& row) {
    const std::string& id = text_in(row, 0);
    std::string trouble;
    std::shared_ptr<const Plan>& plan = plans_[id];
    plan = plan_of_text(text_in(row, 1), id, trouble);
    if (!plan) {
      find("plan " + id + ": " + trouble);
    } else if (plan->name != text_in(row, 2) || plan->version != text_in(row, 3)) {
      find("plan " + id + ": its name and version are not those of its text");
    }
  }

  void look_at_references() {
    for (const Reference& reference : kReferences) {
      const std::string table(reference.table), column = table + "." + std::string(reference.column),
                                                to(reference.to);
      const Postgres::Rows lost = database_.ask("SELECT count(*) FROM " + table + " WHERE " + column +
                                                " IS NOT NULL AND NOT EXISTS (SELECT 1 FROM " + to +
                                                " AS other WHERE other.id = " + column + ")");
      const auto count = std::get<std::int64_t>(lost.front().front());
      if (count > 0) find(table + ": " + std::to_string(count) + " without their " + to);
    }
    const Postgres::Rows mixed = database_.ask(
        "SELECT attempt.id FROM attempt JOIN connection ON connection.id = attempt.connection_id "
        "WHERE connection.run_id <> attempt.run_id ORDER BY attempt.id");
    for (const Row& row : mixed) find("attempt " + text_in(row, 0) + ": its connection is another run's");
  }

  std::vector<std::string> chains() {
    std::vector<std::string> chains;
    for (const Row& row : database_.ask("SELECT chain FROM run UNION SELECT chain FROM event ORDER BY 1")) {
      chains.push_back(text_in(row, 0));
    }
    return chains;
  }

  void look_at_runs(const std::string& chain) {
    std::int64_t last = 0;
    Value previous;
    static const std::string select = "SELECT " + std::string(run_columns()) +
                                      ", hash FROM run WHERE chain = $1 AND sequence > $2 "
                                      "ORDER BY sequence LIMIT " +
                                      std::to_string(kRunsAtOnce);
    for (;;) {
      const Postgres::Rows runs = database_.ask(select, {Value(chain), Value(last)});
      if (runs.empty()) return;
      std::map<std::string, RunRows> parts = parts_of(chain, last, sequence_of(runs.back()));
      for (const Row& run : runs) {
        look_at_run(run, parts[text_in(run, 0)], chain, last, previous);
        last = sequence_of(run);
        previous = run.back();
      }
    }
  }

  static std::int64_t sequence_of(const Row& run) { return std::get<std::int64_t>(run[run.size() - 3]); }

  void look_at_run(const Row& row, RunRows& rows, const std::string& chain, std::int64_t last,
                   const Value& previous) {
    const std::int64_t sequence = sequence_of(row);
    const std::string name = "run " + text_in(row, 0) + " (" + text_in(row, 1) + ", " + text_in(row, 4) +
                             ", sequence " + std::to_string(sequence) + ")";
    ++report_.runs;
    look_at_gap("run", chain, last, sequence);
    if (row[row.size() - 2] != previous) find(name + ": it does not follow the run before it");
    rows.run = without_last(row);
    const std::string hash = run_hash(rows);
    if (row.back() != Value(hash)) find(name + ": it is not what it was: its hash differs");
    hashes_.insert(hash);
    if (row[kVerdict] == Value("passed")) look_at_pass(rows, text_in(row, kPlan), name);
  }

  // As the check of a station's file does, which has judged it in the same way.
  void look_at_pass(const RunRows& rows, const std::string& plan_id, const std::string& name) {
    const auto plan = plans_.find(plan_id);
    if (plan == plans_.end() || !plan->second) return;  // a finding already
    StoredRun run;
    add_parts(rows, run);
    const StoredVerdict verdict = verdict_by_plan(run, *plan->second);
    if (verdict.verdict != Verdict::passed) find(name + ": it did not pass: " + verdict.reason);
  }

  void look_at_gap(const std::string& what, const std::string& chain, std::int64_t last,
                   std::int64_t sequence) {
    if (sequence == last + 1) return;
    const std::string first = std::to_string(last + 1), end = std::to_string(sequence - 1);
    find("chain " + chain + ": " +
         (first == end ? "the " + what + " of sequence " + first + " is missing"
                       : "the " + what + "s of sequence " + first + " to " + end + " are missing"));
  }

  // Connections and attempts of the runs behind `from`, up to `to`.
  std::map<std::string, RunRows> parts_of(const std::string& chain, std::int64_t from, std::int64_t to) {
    static const std::string
        runs = "JOIN run ON run.id = run_id WHERE chain = $1 AND run.sequence > $2 AND run.sequence <= $3 ",
        connections = "SELECT " + columns_of("connection", connection_columns()) + " FROM connection " +
                      runs + "ORDER BY connection.id",
        attempts = "SELECT " + columns_of("attempt", attempt_columns()) + " FROM attempt " + runs +
                   "ORDER BY attempt.id",
        measurements = "SELECT " + columns_of("measurement", measurement_columns()) +
                       ", run_id FROM measurement JOIN attempt ON attempt.id = attempt_id " + runs +
                       "ORDER BY attempt_id, position";
    const Row window{chain, from, to};
    const std::vector<Postgres::Rows> found =
        database_.run({{connections, window}, {attempts, window}, {measurements, window}});
    std::map<std::string, RunRows> parts;
    std::map<std::string, std::vector<Row>> measured;
    for (const Row& row : found[2]) measured[text_in(row, 0)].push_back(without_last(row));
    for (const Row& row : found[0]) parts[text_in(row, 1)].connections.push_back(row);
    for (const Row& row : found[1]) {
      parts[text_in(row, 1)].attempts.push_back({row, std::move(measured[text_in(row, 0)])});
    }
    return parts;
  }

  void look_at_events(const std::string& chain) {
    std::int64_t last = 0;
    Value previous;
    static const std::string select = "SELECT " + std::string(event_columns()) +
                                      ", hash FROM event WHERE chain = $1 AND sequence > $2 "
                                      "ORDER BY sequence LIMIT " +
                                      std::to_string(kEventsAtOnce);
    constexpr std::size_t kSequence = 8, kPrevious = 10;
    for (;;) {
      const Postgres::Rows events = database_.ask(select, {Value(chain), Value(last)});
      if (events.empty()) break;
      for (const Row& event : events) {
        const auto sequence = std::get<std::int64_t>(event[kSequence]);
        const std::string name =
            "event " + text_in(event, 0) + " (sequence " + std::to_string(sequence) + ")";
        look_at_gap("event", chain, last, sequence);
        if (event[kPrevious] != previous) find(name + ": it does not follow the event before it");
        if (event.back() != Value(row_hash("event", without_last(event)))) {
          find(name + ": it is not what it was: its hash differs");
        }
        last = sequence;
        previous = event.back();
        ++report_.events;
      }
    }
    if (last == 0) find("chain " + chain + ": it has no events, not even the start of a station");
  }

  Postgres& database_;
  std::map<std::string, std::shared_ptr<const Plan>> plans_;
  std::set<std::string> hashes_;
  CheckReport report_;
};

}  // namespace

CheckReport check_central(const std::string& url, const std::optional<std::string>& head,
                          const CentralPatience& patience, int stop) {
  Postgres database(url, patience, stop);
  return CentralCheck(database).run(head);
}

}  // namespace t1station
