// What the station's records cost, against SQLite alone, and on a large file against a small one.
//
// records_speed commits FOLDER ROUNDS: stores runs in a new file, and as many rows of the same sizes
// with SQLite alone, in turns. Prints a row a round: seconds a commit of the records, then of the bare loop.
//
// records_speed fill FILE RUNS: makes a file with so many runs, quickly: the tables as the records write
// them, with hashes that fit to nothing.
//
// records_speed files ROUNDS FILE ...: prints, for each round and file, a row: seconds to open it as a
// station does, to begin a run, to list a unit's runs, to show a run.
//
// records_speed figures ROUNDS FILE ...: prints, for each round and file, a row: seconds to find all figures
// of all runs. Their days are kept beside the file before.
//
// records_speed lists ROUNDS FILE ...: prints, for each round and file, a row: seconds to list the newest 100
// runs, those of a batch that nobody has, with a verdict that none has, units' last ones that failed, those
// in which a step took long, those with a measured value that none has. The days of all runs are kept beside
// the file before, as by a page of figures that leads to such lists.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "benchmarks/bare_sqlite.h"
#include "station/figures/records_figures.h"
#include "station/plan/plan_file.h"
#include "station/records/identity.h"
#include "station/records/reader.h"
#include "station/records/records.h"

namespace {

using namespace t1station;

constexpr int kAttempts = 10;
constexpr int kCommits = 2 * kAttempts + 3;  // of a run

const Plan& plan() {
  static const Plan read = [] {
    std::string text = "format = 1\nname = \"bench\"\nversion = \"1\"\nserial = '.*'\nmax_runs = 3\n";
    for (int i = 0; i < kAttempts; ++i) {
      text += "[[step]]\nname = \"step-" + std::to_string(i) +
              "\"\ntest = \"temp\"\n[[step.measure]]\nname = \"degrees\"\nmatch = '([0-9.]+)'\nlow = 10.0\n";
    }
    return parse_plan("bench.toml", text);
  }();
  return read;
}

NewRun unit(const std::string& serial) {
  NewRun run;
  run.serial = serial;
  run.station = "ICT-1";
  run.slot = "1";
  run.software = "t1station bench";
  return run;
}

void store_run(Records& records, const std::string& serial) {
  const std::string run = records.begin_run(unit(serial), plan());
  const std::string connection =
      records.add_connection(run, "192.0.2.7:36001", "BUILD: Mar 29 2019-22:09:55");
  for (const Step& step : plan().steps) {
    NewAttempt start;
    start.run = run;
    start.connection = connection;
    start.step = step.name;
    start.step_index = static_cast<std::size_t>(&step - plan().steps.data());
    start.code = step.code;
    start.request.assign(kRequest, 'q');
    AttemptEnd end;
    end.outcome = AttemptOutcome::passed;
    end.seconds = 1;
    end.board_name = "test";
    end.description = "20.5";
    end.reply.assign(kReply, 'r');
    end.measurements.push_back({"degrees", 20.5, {}, 10.0, {}, "passed"});
    records.end_attempt(records.begin_attempt(start), end);
  }
  if (records.end_run(run, {}).verdict != Verdict::passed) throw std::runtime_error("the run did not pass");
}

/// Rows of the sizes that a run's rows have, in as many commits.
void store_bare(Bare& bare) {
  constexpr std::size_t kRunStart = 230, kRunEnd = 210, kConnection = 110;
  Store begin(bare, "INSERT INTO row (id, start) VALUES (?, ?)");
  Store end(bare, "UPDATE row SET end = ?2 WHERE id = ?1");
  Store measure(bare, "INSERT INTO measurement (id, bytes) VALUES (?, ?)");
  const std::string id = new_id();
  bare.commit([&] { begin.run(id, kRunStart); });
  bare.commit([&] { begin.run(new_id(), kConnection); });
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const std::string of_attempt = new_id();
    bare.commit([&] { begin.run(of_attempt, kAttemptStart); });
    bare.commit([&] {
      measure.run(of_attempt, kMeasurement);
      end.run(of_attempt, kAttemptEnd);
    });
  }
  bare.commit([&] { end.run(id, kRunEnd); });
}

void compare_commits(const std::string& folder, int rounds) {
  Records records(folder + "/records.db");
  Bare alone(folder + "/bare.db");
  alone.settle();
  for (int round = 0; round < rounds; ++round) {
    double ours = 0, bare = 0;
    const auto store_with_records = [&] {
      ours = seconds_of([&] { store_run(records, "AB" + std::to_string(round)); });
    };
    if (round % 2 == 0) store_with_records();
    bare = seconds_of([&] { store_bare(alone); });
    if (round % 2 != 0) store_with_records();
    std::printf("%.9f %.9f\n", ours / kCommits, bare / kCommits);
  }
}

/// Units have two runs each. Triggers, which let nobody store an ended run, are away meanwhile.
void fill(const std::string& file, const std::string& runs) {
  {
    Records records(file);
    store_run(records, "AB00000000");
  }
  Bare open(file);
  open.run("PRAGMA journal_mode = DELETE; PRAGMA synchronous = OFF; PRAGMA cache_size = -500000");
  const std::vector<std::string> triggers =
      open.column("SELECT sql FROM sqlite_master WHERE type = 'trigger'");
  for (const std::string& name : open.column("SELECT name FROM sqlite_master WHERE type = 'trigger'"))
    open.run("DROP TRIGGER " + name);
  const auto insert = [&](const std::string& into, const std::string& values) {
    open.run("INSERT INTO " + into +
             " WITH RECURSIVE n(i, at) AS (SELECT 1, 1700000000000 UNION ALL "
             "SELECT i + 1, at + 10000 FROM n WHERE i < " +
             runs + ") SELECT " + values + " FROM n JOIN plan");
  };
  const std::string id = "printf('%08x-%04x-7000-8000-%012x', at >> 16, at & 65535, i)";
  const std::string time = "strftime('%Y-%m-%dT%H:%M:%S.000Z', at / 1000, 'unixepoch')";
  open.run("BEGIN");
  insert("run",
         id +
             ", printf('AB%08d', i / 2), plan.id, 'production', 'ICT-1', '1', NULL, '192.0.2.7:36001', "
             "'BUILD: Mar 29 2019-22:09:55', i % 2 + 1, " +
             time + ", " + time +
             ", 9.5, "
             "iif(i % 20, 'passed', 'failed'), iif(i % 20, NULL, 'step step-9: failed'), 0, 't1station "
             "bench', i + 1, "
             "printf('%064x', i - 1), printf('%064x', i)");
  insert("connection", id + ", " + id + ", " + time + ", '192.0.2.7:36001', 'BUILD: Mar 29 2019-22:09:55'");
  insert("attempt", id + ", " + id + ", " + id + ", 'step-0', 0, 1, 7426, NULL, " + time + ", " + time +
                        ", 1.0, 'passed', 'test', '20.5', zeroblob(" + std::to_string(kRequest) +
                        "), zeroblob(" + std::to_string(kReply) + "), NULL, NULL");
  insert("measurement", id + ", 0, 'degrees', 20.5, NULL, 10.0, NULL, 'passed'");
  for (const std::string& trigger : triggers) open.run(trigger);
  open.run("COMMIT");
}

void measure_file(const std::string& file, int round) {
  std::string run;
  std::optional<Records> records;
  const double opening = seconds_of([&] { records.emplace(file); });
  const double begin =
      seconds_of([&] { run = records->begin_run(unit("XY" + std::to_string(round)), plan()); });
  records->end_run(run, {});
  RunFilter filter;
  filter.serial = "AB00000007";
  std::string shown;
  const double list = seconds_of([&] {
    RecordsReader(file).for_each_row(filter, [&shown](const StoredRun& found) { shown = found.id; });
  });
  const double show = seconds_of([&] {
    if (!RecordsReader(file).run(shown)) throw std::runtime_error("the run is not there");
  });
  std::printf("%.9f %.9f %.9f %.9f\n", opening, begin, list, show);
}

void measure_lists(const std::string& file) {
  RunFilter newest;
  newest.newest_first = true;
  newest.limit = 100;
  RunFilter batch = newest, verdict = newest, last = newest, step = newest, measured = newest;
  batch.batch = "XX";
  verdict.verdicts = {"stopped"};
  last.is_last = true;
  last.verdicts = {"failed"};
  step.step = StepFilter{"step-0", "", {}, 1000};
  measured.step = StepFilter{"step-0", "", {}};
  MeasuredFilter degrees;
  degrees.name = "degrees";
  degrees.low = 10;
  degrees.at_least = 1000;
  measured.measured = degrees;
  for (const RunFilter& filter : {newest, batch, verdict, last, step, measured}) {
    std::printf("%.9f ", seconds_of([&] { for_each_run(file, filter, [](const StoredRun&) {}); }));
  }
  std::printf("\n");
}

void measure_figures(const std::string& file) {
  const double seconds = seconds_of([&] {
    if (find_figures(file, {}).runs == 0) throw std::runtime_error("there are no runs");
  });
  std::printf("%.9f\n", seconds);
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  try {
    if (words.size() == 3 && words[0] == "commits") {
      compare_commits(words[1], std::stoi(words[2]));
    } else if (words.size() == 3 && words[0] == "fill") {
      fill(words[1], words[2]);
    } else if (words.size() > 2 && words[0] == "files") {
      for (int round = 0; round < std::stoi(words[1]); ++round) {
        for (std::size_t i = 2; i < words.size(); ++i) measure_file(words[i], round);
      }
    } else if (words.size() > 2 && words[0] == "lists") {
      for (std::size_t i = 2; i < words.size(); ++i) find_figures(words[i], {});
      for (int round = 0; round < std::stoi(words[1]); ++round) {
        for (std::size_t i = 2; i < words.size(); ++i) measure_lists(words[i]);
      }
    } else if (words.size() > 2 && words[0] == "figures") {
      for (std::size_t i = 2; i < words.size(); ++i) find_figures(words[i], {});
      for (int round = 0; round < std::stoi(words[1]); ++round) {
        for (std::size_t i = 2; i < words.size(); ++i) measure_figures(words[i]);
      }
    } else {
      std::fputs(
          "records_speed commits FOLDER ROUNDS | fill FILE RUNS | files ROUNDS FILE ... | "
          "figures ROUNDS FILE ... | lists ROUNDS FILE ...\n",
          stderr);
      return 64;
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "records_speed: %s\n", error.what());
    return 1;
  }
  return 0;
}
