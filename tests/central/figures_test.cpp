// The figures of a central database, against loops over a list of its runs.
#include "station/figures/figures.h"

#include <algorithm>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "station/central/central_figures.h"
#include "station/central/central_schema.h"
#include "station/report/figures_json.h"
#include "tests/central/central_station.h"
#include "tests/station/figures_model.h"
#include "tests/station/random_line.h"

namespace {

using namespace figures_model;
using t1station::Postgres;
using t1station::value_or_null;

constexpr int kWindowsOfALine = 25;

void add_row(std::vector<Postgres::Command>& commands, const std::string& table, const t1station::Row& row) {
  Postgres::Command command{"INSERT INTO " + table + " VALUES ("};
  for (const t1station::Value& value : row) {
    command.values.push_back(value);
    command.sql += (command.values.size() == 1 ? "$" : ", $") + std::to_string(command.values.size());
  }
  command.sql += ")";
  commands.push_back(std::move(command));
}

void add_attempts(std::vector<Postgres::Command>& commands, const Run& run) {
  for (const Attempt& attempt : run.attempts) {
    const std::string id =
        run.id + "-" + std::to_string(attempt.index) + "-" + std::to_string(attempt.number);
    add_row(commands,
            "attempt (id, run_id, step, step_index, number, code, started, ended, outcome, seconds, "
            "description, request)",
            {id, run.id, attempt.step, std::int64_t{attempt.index}, std::int64_t{attempt.number},
             std::int64_t{0}, run.started, run.started, attempt.outcome, value_or_null(attempt.seconds),
             value_or_null(attempt.description), t1station::Blob{"x"}});
    std::int64_t position = 0;
    for (const Measured& one : attempt.measurements) {
      add_row(commands, "measurement (attempt_id, position, name, unit, low, high, value, outcome)",
              {id, position++, one.name, value_or_null(one.unit), value_or_null(one.low),
               value_or_null(one.high), value_or_null(one.value), one.outcome});
    }
  }
}

class CentralFiguresTest : public CentralTest {
 protected:
  CentralFiguresTest() {
    Postgres owner(url(), {}, -1);
    t1station::expect_central_tables(owner);
    admin_.ask("SET session_replication_role = replica");  // so that one line makes room for the next
  }

  // These runs, and no others.
  void store(const Runs& runs) {
    std::vector<Postgres::Command> commands{{"TRUNCATE plan CASCADE"}};
    std::int64_t sequence = 0;
    for (const figures_model::Run& run : runs) {
      const std::string plan = run.plan + " " + run.version;
      add_row(commands, "plan (id, name, version, text)", {plan, run.plan, run.version, "x"});
      commands.back().sql += " ON CONFLICT DO NOTHING";
      add_row(commands,
              "run (id, serial, plan_id, kind, station, slot, number, started, ended, verdict, retried, "
              "software, sequence, hash, chain)",
              {run.id, run.serial, plan, run.kind, run.station, value_or_null(run.slot), std::int64_t{1},
               run.started, run.started, *run.verdict, std::int64_t{run.is_retried}, "test", ++sequence, "x",
               "x"});
      add_attempts(commands, run);
    }
    admin_.run(commands);
  }

 private:
  Postgres admin_{url("admin"), {}, -1};
};

/// As many lines as the environment variable BOARDTEST_HISTORIES says, with 25 windows each.
TEST_F(CentralFiguresTest, RandomHistoriesGiveWhatLoopsOverTheirRunsGive) {
  const char* const wanted = std::getenv("BOARDTEST_HISTORIES");
  const unsigned lines = wanted ? static_cast<unsigned>(std::stoul(wanted)) : 20;
  for (unsigned seed = 1; seed <= lines; ++seed) {
    RandomLine line(seed);
    Runs ended = line.runs();  // others are never sent
    std::erase_if(ended, [](const auto& run) { return !run.verdict; });
    store(ended);
    t1station::CentralFigures stations(url(), {}, -1);
    for (int i = 0; i < kWindowsOfALine; ++i) {
      const Window window = i == 0 ? Window() : line.window();
      const nlohmann::json figures = nlohmann::json::parse(t1station::figures_json(
          t1station::find_figures(stations, {window.from, window.to, window.plan, window.batch})));
      ASSERT_EQ(difference(comparable(figures), document_of(ended, window)), "")
          << "seed " << seed << ", window " << i;
    }
  }
}

}  // namespace
