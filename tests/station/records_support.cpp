#include "tests/station/records_support.h"

#include <sqlite3.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "station/plan/plan_file.h"
#include "station/records/reader.h"

namespace records_support {
namespace {

using t1station::AttemptOutcome;

/// SQLite's own connection, open as long as this is there.
class Shell {
 public:
  explicit Shell(const std::string& file) {
    if (sqlite3_open(file.c_str(), &handle_) != SQLITE_OK) throw std::runtime_error("cannot open " + file);
  }
  ~Shell() { sqlite3_close(handle_); }
  Shell(const Shell&) = delete;
  Shell& operator=(const Shell&) = delete;

  std::string run(const std::string& statements) {
    char* error = nullptr;
    sqlite3_exec(handle_, statements.c_str(), nullptr, nullptr, &error);
    const std::string text = error ? error : "";
    sqlite3_free(error);
    return text;
  }
  std::vector<std::string> column(const std::string& query) {
    std::vector<std::string> texts;
    const auto take = [](void* to, int, char** values, char**) {
      static_cast<std::vector<std::string>*>(to)->emplace_back(values[0]);
      return 0;
    };
    sqlite3_exec(handle_, query.c_str(), take, &texts, nullptr);
    return texts;
  }

 private:
  sqlite3* handle_ = nullptr;
};

t1station::NewAttempt attempt_at(const std::string& run, const std::string& connection, std::string step,
                                 std::size_t index, int number, std::int32_t code) {
  t1station::NewAttempt attempt;
  attempt.run = run;
  attempt.connection = connection;
  attempt.step = std::move(step);
  attempt.step_index = index;
  attempt.number = number;
  attempt.code = code;
  attempt.request = "<TestItem><TestCode>" + std::to_string(code) + "</TestCode></TestItem>";
  return attempt;
}

}  // namespace

std::string plan_text(std::string_view version) {
  return "format = 1\nname = \"main-board\"\nversion = \"" + std::string(version) +
         "\"\nserial = '[A-Z]{2}[0-9]{8}'\nbuild = 'BUILD: .*'\nmax_runs = 2\n\n"
         "[[step]]\nname = \"clock\"\ntest = \"rtc\"\nattempts = 2\non_fail = \"stop\"\n\n"
         "[[step]]\nname = \"temperature\"\ntest = \"temp\"\n\n"
         "[[step.measure]]\nname = \"degrees\"\nmatch = '(-?[0-9.]+)'\nunit = \"degC\"\nlow = 10.0\nhigh = "
         "60.0\n";
}

t1station::Plan plan(std::string_view version) {
  return t1station::parse_plan("plan.toml", plan_text(version));
}

t1station::NewRun unit(std::string_view serial) {
  t1station::NewRun run;
  run.serial = serial;
  run.station = "ICT-3";
  run.slot = "1";
  run.software = "t1station test";
  return run;
}

t1station::NewAttempt clock_attempt(const std::string& run, const std::string& connection, int number) {
  return attempt_at(run, connection, "clock", 0, number, plan().steps[0].code);
}

t1station::NewAttempt temperature_attempt(const std::string& run, const std::string& connection) {
  return attempt_at(run, connection, "temperature", 1, 1, plan().steps[1].code);
}

t1station::AttemptEnd ended(AttemptOutcome outcome) {
  t1station::AttemptEnd end;
  end.outcome = outcome;
  end.seconds = 1.5;
  end.board_name = "RTC";
  end.description = "said so";
  end.reply = outcome == AttemptOutcome::timed_out ? "" : "<Reply/>";
  return end;
}

t1station::AttemptEnd measured(double value) {
  const bool is_inside = value >= 10 && value <= 60;
  t1station::AttemptEnd end = ended(is_inside ? AttemptOutcome::passed : AttemptOutcome::failed);
  end.measurements.push_back({"degrees", value, "degC", 10.0, 60.0,
                              is_inside    ? "passed"
                              : value < 10 ? "low"
                                           : "high"});
  return end;
}

t1station::EndedRun pass(t1station::Records& records, std::string_view serial, bool is_retried) {
  const std::string run = records.begin_run(unit(serial), plan());
  const std::string connection = records.add_connection(run, "192.0.2.7:36001", kBuild);
  if (is_retried) {
    records.end_attempt(records.begin_attempt(clock_attempt(run, connection)), ended(AttemptOutcome::failed));
  }
  records.end_attempt(records.begin_attempt(clock_attempt(run, connection, is_retried ? 2 : 1)),
                      ended(AttemptOutcome::passed));
  records.end_attempt(records.begin_attempt(temperature_attempt(run, connection)), measured(35.25));
  return records.end_run(run, {});
}

t1station::EndedRun fail(t1station::Records& records, std::string_view serial) {
  const std::string run = records.begin_run(unit(serial), plan());
  const std::string connection = records.add_connection(run, "192.0.2.7:36001", kBuild);
  for (const int number : {1, 2}) {
    records.end_attempt(records.begin_attempt(clock_attempt(run, connection, number)),
                        ended(AttemptOutcome::failed));
  }
  return records.end_run(run, {});
}

std::vector<t1station::StoredRun> runs_of(const std::string& file) {
  std::vector<t1station::StoredRun> runs;
  t1station::RecordsReader(file).for_each({},
                                          [&runs](const t1station::StoredRun& run) { runs.push_back(run); });
  return runs;
}

std::string sql(const std::string& file, const std::string& statements) {
  return Shell(file).run(statements);
}

std::string forge(const std::string& file, const std::string& statements) {
  Shell shell(file);
  const auto triggers = shell.column("SELECT sql FROM sqlite_schema WHERE type = 'trigger'");
  for (const std::string& name : shell.column("SELECT name FROM sqlite_schema WHERE type = 'trigger'")) {
    shell.run("DROP TRIGGER " + name);
  }
  const std::string error = shell.run(statements);
  for (const std::string& trigger : triggers) shell.run(trigger);
  return error;
}

std::vector<std::string> column(const std::string& file, const std::string& query) {
  return Shell(file).column(query);
}

std::string content_of(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  std::ostringstream content;
  content << stream.rdbuf();
  return content.str();
}

void write(const std::string& file, std::string_view content) {
  std::ofstream(file, std::ios::binary) << content;
}

}  // namespace records_support
