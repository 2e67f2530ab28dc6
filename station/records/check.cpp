#include "station/records/check.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <tuple>

#include "station/records/chain.h"
#include "station/records/database.h"
#include "station/records/identity.h"
#include "station/records/loading.h"
#include "station/records/place.h"
#include "station/records/reader.h"
#include "station/records/records.h"
#include "station/records/schema.h"
#include "station/records/verdict.h"

namespace t1station {
namespace {

/// Bytes of a database's header that are the same in all records.
struct FixedBytes {
  std::size_t place;
  std::string_view bytes;
};
using namespace std::string_view_literals;
constexpr std::array<FixedBytes, 4> kFixed{{
    {20, "\0\x40\x20\x20"sv},  // nothing reserved; shares of a page
    {44,
     "\0\0\0\4"
     "\0\0\0\0"
     "\0\0\0\0"
     "\0\0\0\1"sv},                                      // format; cache, largest root: none; UTF-8
    {64, "\0\0\0\0"sv},                                  // no incremental vacuum
    {72, "\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0"sv},  // not used
}};
constexpr std::size_t kDatabaseHeader = 100;

class Check {
 public:
  explicit Check(const std::string& file) : file_(file) {}

  CheckReport run(const std::optional<std::string>& head) {
    const FileKind kind = look_at(file_);
    if (kind == FileKind::damaged) find("the file's header is damaged");
    const bool is_empty = kind == FileKind::empty && !std::filesystem::exists(file_ + "-wal") &&
                          !std::filesystem::exists(file_ + "-journal");
    if (is_empty) find("the file is empty");
    if (!report_.findings.empty()) return report_;
    stage("the file", [this] {
      database_ = open_for_reading(file_);
      database_->execute("BEGIN");  // one moment for all that follows, beside a writer
    });
    if (!database_) return report_;
    stage("the file", [this] { look_at_header(); });
    stage("the database", [this] { look_at_integrity(); });
    stage("the schema", [this] { look_at_schema(); });
    stage("references", [this] { look_at_references(); });
    stage("plans", [this] { look_at_plans(); });
    stage("runs", [this] { look_at_runs(); });
    stage("events", [this] { look_at_events(); });
    stage("forwarded runs", [this] { look_at_forwarded(); });
    if (head && !hashes_.contains(*head)) find("no run of the chain has the hash " + *head);
    return report_;
  }

 private:
  void find(const std::string& text) { report_.findings.push_back(text); }

  // Damage may show at any reading.
  void stage(const std::string& what, const std::function<void()>& look) {
    try {
      look();
    } catch (const SqlError& error) {
      find(what + " cannot be read: " + error.what());
    }
  }

  void look_at_header() {
    if (is_held(file_)) return;  // the writer's locks would be gone with what is opened here
    std::ifstream file(file_, std::ios::binary);
    std::string header(kDatabaseHeader, '\0');
    file.read(header.data(), static_cast<std::streamsize>(header.size()));
    if (!file || look_at(file_) != FileKind::records) return;  // all of it is in the log beside it
    for (const FixedBytes& fixed : kFixed) {
      if (header.compare(fixed.place, fixed.bytes.size(), fixed.bytes) != 0) {
        find("the file's header is damaged behind byte " + std::to_string(fixed.place));
      }
    }
  }

  void look_at_integrity() {
    Statement rows(*database_, "PRAGMA integrity_check");
    while (rows.step()) {
      if (rows.text(0) != "ok") find("the database: " + rows.text(0));
    }
  }

  // By name: what each thing of the schema is.
  static std::map<std::string, std::vector<std::string>> schema_of(Database& database) {
    std::map<std::string, std::vector<std::string>> schema;
    Statement rows(database, "SELECT name, type, tbl_name, sql, rootpage = 0 FROM sqlite_schema");
    while (rows.step()) schema[rows.text(0)] = {rows.text(1), rows.text(2), rows.text(3), rows.text(4)};
    return schema;
  }

  void look_at_schema() {
    Database fresh(":memory:", Database::Access::write);
    bring_up_to_date(fresh, ":memory:", {});
    const auto expected = schema_of(fresh), found = schema_of(*database_);
    for (const auto& [name, parts] : expected) {
      const auto there = found.find(name);
      if (there == found.end()) {
        find("the schema: " + name + " is missing");
      } else if (there->second != parts) {
        find("the schema: " + name + " was changed");
      }
    }
    for (const auto& [name, parts] : found) {
      if (!expected.contains(name) && !name.starts_with("sqlite_stat"))
        find("the schema: " + name + " was added");
    }
    if (database_->single("PRAGMA user_version") != Value(kSchemaVersion)) {
      find("the schema's version is not " + std::to_string(kSchemaVersion));
    }
  }

  void look_at_references() {
    Statement rows(*database_,
                   "SELECT \"table\", parent, count(*) FROM pragma_foreign_key_check GROUP BY 1, 2");
    while (rows.step()) {
      find(rows.text(0) + ": " + std::to_string(rows.integer(2)) + " without their " + rows.text(1));
    }
    Statement mixed(*database_,
                    "SELECT attempt.id FROM attempt JOIN connection ON connection.id = attempt.connection_id "
                    "WHERE connection.run_id <> attempt.run_id");
    while (mixed.step()) find("attempt " + mixed.text(0) + ": its connection is another run's");
  }

  void look_at_plans() {
    Statement rows(*database_, "SELECT id, name, version FROM plan ORDER BY id");
    while (rows.step()) {
      std::string trouble;
      const std::string id = rows.text(0);
      plans_[id] = stored_plan(*database_, id, trouble);
      const std::shared_ptr<const Plan>& plan = plans_[id];
      if (!plan) {
        find("plan " + id + ": " + trouble);
      } else if (plan->name != rows.text(1) || plan->version != rows.text(2)) {
        find("plan " + id + ": its name and version are not those of its text");
      }
    }
  }

  void look_at_runs() {
    std::int64_t last = 0;
    std::optional<std::string> previous;
    static const std::string select =
        std::string(select_runs()) + "WHERE run.sequence IS NOT NULL ORDER BY run.sequence";
    Statement rows(*database_, select);
    while (rows.step()) {
      const StoredRun run = load_run_row(rows);
      const std::string name = name_of(run);
      look_at_gap(last, run);
      last = *run.sequence;
      ++report_.runs;
      if (run.previous != previous) find(name + ": it does not follow the run before it");
      const std::string hash = run_hash(*database_, run.id);
      if (run.hash != hash) find(name + ": it is not what it was: its hash differs");
      hashes_.insert(hash);
      if (run.verdict == "passed") look_at_pass(run, name);
      previous = run.hash;
    }
    look_at_ends();
  }

  static std::string name_of(const StoredRun& run) {
    return "run " + run.id + " (" + run.serial + ", sequence " + std::to_string(*run.sequence) + ")";
  }

  void look_at_gap(std::int64_t last, const StoredRun& run) {
    if (*run.sequence == last + 1) return;
    if (*run.sequence == last + 2)
      return find("the run of sequence " + std::to_string(last + 1) + " is missing");
    find("the runs of sequence " + std::to_string(last + 1) + " to " + std::to_string(*run.sequence - 1) +
         " are missing");
  }

  void look_at_pass(StoredRun run, const std::string& name) {
    load_parts(*database_, run);
    const auto plan = plans_.find(run.plan_id);
    if (plan == plans_.end() || !plan->second) return;  // a finding already
    const StoredVerdict verdict = verdict_by_plan(run, *plan->second);
    if (verdict.verdict != Verdict::passed) find(name + ": it did not pass: " + verdict.reason);
  }

  // Runs that the chain does not hold.
  void look_at_ends() {
    Statement rows(*database_,
                   "SELECT id, serial, verdict, hash FROM run WHERE sequence IS NULL ORDER BY id");
    while (rows.step()) {
      const std::string name = "run " + rows.text(0) + " (" + rows.text(1) + ")";
      if (rows.is_null(2) && rows.is_null(3)) {
        report_.notes.push_back(name + ": it has no end yet");
      } else {
        find(name + ": it has an end without a place in the chain");
      }
    }
    const Value runs = database_->single("SELECT count(*) FROM run NOT INDEXED");
    const Value joined =
        database_->single("SELECT count(*) FROM run NOT INDEXED JOIN plan ON plan.id = run.plan_id");
    if (runs != joined) find("runs: some are without their plan, and were not looked at");
  }

  void look_at_events() {
    std::int64_t last = 0;
    Value previous;
    static const std::string select =
        "SELECT " + std::string(event_columns()) + ", hash FROM event ORDER BY sequence";
    constexpr int kColumns = 11, kSequence = 8;
    Statement rows(*database_, select);
    while (rows.step()) {
      std::vector<Value> values;
      for (int column = 0; column < kColumns; ++column) values.push_back(rows.value(column));
      const std::string name =
          "event " + rows.text(0) + " (sequence " + std::to_string(rows.integer(kSequence)) + ")";
      if (rows.integer(kSequence) != last + 1) find(name + ": the one before it is missing");
      if (values.back() != previous) find(name + ": it does not follow the event before it");
      if (rows.text(kColumns) != row_hash("event", values))
        find(name + ": it is not what it was: its hash differs");
      last = rows.integer(kSequence);
      previous = rows.value(kColumns);
      ++report_.events;
    }
    // Whoever stored a run had stored its own start before.
    if (last == 0 && report_.runs > 0) find("events: none is there, not even the start of a station");
  }

  void look_at_forwarded() {
    Statement rows(*database_, "SELECT run_id, at, hash FROM forwarded");
    while (rows.step()) {
      if (rows.text(2) != row_hash("forwarded", {rows.value(0), rows.value(1)})) {
        find("forwarded run " + rows.text(0) + ": it is not what it was: its hash differs");
      }
    }
  }

  std::string file_;
  std::unique_ptr<Database> database_;
  std::map<std::string, std::shared_ptr<const Plan>> plans_;
  std::set<std::string> hashes_;
  CheckReport report_;
};

}  // namespace

CheckReport check_records(const std::string& file, const std::optional<std::string>& head) {
  return Check(file.empty() ? file : real_file(file)).run(head);
}

}  // namespace t1station
