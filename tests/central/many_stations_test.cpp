// Many stations and one database: nobody is in anybody's way.
#include <chrono>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <thread>

#include "station/central/central_figures.h"
#include "station/central/central_schema.h"
#include "station/figures/figures.h"
#include "tests/central/central_station.h"

namespace {

constexpr int kStations = 40;

int wanted_number(const char* variable, int otherwise) {
  const char* const wanted = std::getenv(variable);
  return wanted == nullptr ? otherwise : std::stoi(wanted);
}

double seconds_of(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

class ManyStationsTest : public CentralTest {
 protected:
  // So many runs, each with a connection, two attempts and a measurement, are there already.
  void fill(int runs) const {
    using t1station::Postgres;
    Postgres owner(url(), {}, -1);
    t1station::expect_central_tables(owner);
    Postgres admin(url("admin"), {std::chrono::seconds(10), std::chrono::hours(1)}, -1);
    admin.ask("SET session_replication_role = replica");
    const auto rows = [&](const std::string& table, const std::string& values, int of_run = 1) {
      admin.ask("INSERT INTO " + table + " SELECT " + values + " FROM generate_series(1, " +
                std::to_string(runs) + ") AS n, generate_series(1, " + std::to_string(of_run) + ") AS k");
    };
    admin.ask("INSERT INTO plan VALUES ('p', 'main-board', '3', 'format = 1')");
    rows("run",
         "md5('r' || n), 'AB' || n, 'p', 'production', 'ICT', '1', NULL, '192.0.2.7:36001', 'BUILD', 1, "
         "'2026-01-01Z'::timestamptz + n * interval '9 s', '2026-01-01Z'::timestamptz + n * interval '9 s', "
         "8, "
         "'passed', NULL, 0, 't1station', n, md5('h' || n), md5('h' || n) || md5('i' || n), 'filled'");
    rows("connection", "md5('c' || n), md5('r' || n), '2026-01-01Z', '192.0.2.7:36001', 'BUILD'");
    rows("attempt",
         "md5('a' || n || k), md5('r' || n), md5('c' || n), 'clock', k, 1, 1536, NULL, '2026-01-01Z', "
         "'2026-01-01Z', 1.5, 'passed', 'RTC', 'said so', '<>', '<>', NULL, NULL",
         2);
    rows("measurement", "md5('a' || n || 1), 0, 'degrees', 35.25, 'degC', 10, 60, 'passed'");
    admin.ask("ANALYZE");
  }
};

/// As many runs of each as the environment variable BOARDTEST_CENTRAL_RUNS says, beside as many as
/// BOARDTEST_CENTRAL_ROWS says; it then says how long everything took.
TEST_F(ManyStationsTest, FortyThatSendAtOnceAreInNobodysWay) {
  const int runs = wanted_number("BOARDTEST_CENTRAL_RUNS", 1),
            rows = wanted_number("BOARDTEST_CENTRAL_ROWS", 0);
  const bool is_measured = runs > 1;
  if (rows > 0) fill(rows);
  std::vector<std::unique_ptr<CentralStation>> stations(kStations);
  {
    std::vector<std::jthread> lines;
    for (int first_unit = 100000000; std::unique_ptr<CentralStation> & station : stations) {
      lines.emplace_back([&station, runs, first_unit] {
        station = std::make_unique<CentralStation>();
        for (int unit = first_unit; unit < first_unit + runs; ++unit)
          station->pass({"AB" + std::to_string(unit).substr(1)});
      });
      first_unit += runs;
    }
  }
  if (is_measured) server().restart_with("fsync = on\n");
  const double sending = seconds_of([&] {
    for (const auto& station : stations) station->begin(url());
    for (const auto& station : stations) station->await_behind(0, std::chrono::hours(2));
  });
  for (const auto& station : stations) {
    station->end();
    EXPECT_THAT(station->events("central_waiting"), testing::IsEmpty());
  }
  if (is_measured) {
    sql("ANALYZE");  // as a plant's server does by itself
    std::cout << kStations * runs << " runs in " << sending << " s, "
              << static_cast<int>(kStations * runs / sending) << " a second; "
              << sql("SELECT pg_size_pretty(pg_database_size(current_database()))") << "\n"
              << "figures of all in " << seconds_of([&] {
                   t1station::CentralFigures all(url(), {}, -1);
                   EXPECT_EQ(t1station::find_figures(all, {}).units, kStations * runs + rows);
                 })
              << " s\n";
    server().restart_with("fsync = off\n");
  }
  EXPECT_EQ(sql("SELECT count(*), count(DISTINCT chain) FROM run WHERE chain <> 'filled'"),
            std::to_string(kStations * runs) + "|" + std::to_string(kStations));
  if (rows == 0) {
    const double checking = seconds_of([&] { EXPECT_EQ(findings(), std::vector<std::string>{}); });
    if (is_measured) std::cout << "checked in " << checking << " s\n";
  }
}

}  // namespace
