// Whatever is changed in a central database behind the stations' backs, the check finds, and says where.
#include <nlohmann/json.hpp>

#include "station/central/delivery.h"
#include "station/records/chain.h"
#include "station/records/database.h"
#include "tests/central/central_station.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Two stations with three runs each.
class CentralCheckTest : public CentralTest {
 protected:
  CentralCheckTest() {
    for (CentralStation* station : {&one_, &two_}) {
      records_support::pass(station->records(), "AB00000001");
      records_support::fail(station->records(), "AB00000002");
      records_support::pass(station->records(), "AB00000003", true);
      station->records().add_event("acknowledge", "1", {}, "Li", "{}");
      t1station::forward_all(url(), station->file(), station->records(), {}, -1);
    }
    hash_ = records_support::runs_of(one_.file()).back().hash.value_or("");
    run_ = "(SELECT id FROM run WHERE hash = '" + hash_ + "')";
  }

  // Forges, expects one finding or more with these words, and puts back what was.
  void expect_found(const std::string& statement, const std::string& words) {
    EXPECT_EQ(forge("CREATE SCHEMA kept; " + each_table("CREATE TABLE kept.% AS TABLE %; ") + statement), "");
    EXPECT_THAT(findings(), Contains(HasSubstr(words))) << statement;
    EXPECT_EQ(forge(each_table("DELETE FROM %; INSERT INTO % TABLE kept.%; ") + "DROP SCHEMA kept CASCADE"),
              "");
  }
  static std::string stats(const std::string& of, const std::vector<std::string>& window) {
    std::vector<std::string> command{T1STATION_PROGRAM, "stats", of, "--json"};
    command.insert(command.end(), window.begin(), window.end());
    Child child(command);
    EXPECT_EQ(child.exit_status(), 0) << child.err();
    return child.rest();
  }
  static std::string each_table(const std::string& words) {
    std::string all;
    for (const std::string table : {"plan", "run", "connection", "attempt", "measurement", "event"}) {
      for (const char letter : words) all += letter == '%' ? table : std::string(1, letter);
    }
    return all;
  }

  CentralStation one_, two_;
  std::string hash_, run_;  // the third run of the first station
};

TEST_F(CentralCheckTest, WhatStationsSentIsAsTheySentIt) {
  const t1station::CheckReport report = t1station::check_central(url(), hash_, {}, -1);
  EXPECT_THAT(report.findings, IsEmpty());
  EXPECT_EQ(report.runs, 6);
  EXPECT_EQ(t1station::check_central(url(), "0", {}, -1).findings,
            std::vector<std::string>{"no run of a chain has the hash 0"});
}

TEST_F(CentralCheckTest, EachChangeIsFoundWhereItIs) {
  const std::string of_run = " WHERE id = " + run_, of_parts = " WHERE run_id = " + run_;
  const std::string changed = "(AB00000003, ICT-3, sequence 3): it is not what it was: its hash differs";
  expect_found("UPDATE run SET verdict = 'failed'" + of_run, changed);
  expect_found("UPDATE run SET started = started + interval '1 microsecond'" + of_run, changed);
  expect_found("UPDATE run SET seconds = 0.1" + of_run, changed);
  expect_found("UPDATE connection SET build = 'x'" + of_parts, changed);
  expect_found("UPDATE attempt SET reply = reply || '\\x00'" + of_parts, changed);
  expect_found("UPDATE measurement SET value = 35.250000000000007", changed);
  expect_found("DELETE FROM measurement", changed);
  expect_found("UPDATE plan SET text = text || ' '", "the stored plan is not the one that it was");
  expect_found("UPDATE event SET operator = 'x' WHERE sequence = 1", "(sequence 1): it is not what it was");
  expect_found("DELETE FROM event WHERE sequence = 1", "the event of sequence 1 is missing");
  expect_found("UPDATE event SET run_id = 'x' WHERE sequence = 1", "event: 2 without their run");
  expect_found("DELETE FROM run WHERE sequence = 2", "the run of sequence 2 is missing");
  expect_found("DELETE FROM run WHERE sequence < 3", "the runs of sequence 1 to 2 are missing");
  expect_found("DELETE FROM run" + of_run, "without their run");
  expect_found("DELETE FROM plan", "run: 6 without their plan");
  expect_found("DELETE FROM event", "it has no events, not even the start of a station");
  expect_found("UPDATE attempt SET connection_id = (SELECT max(id) FROM connection) WHERE run_id <> " + run_,
               "its connection is another run's");
  EXPECT_THAT(findings(), IsEmpty()) << "what was put back is what it was";
}

TEST_F(CentralCheckTest, AFailureThatItsOwnerMadeAPassWithAllHashesIsNoPass) {
  t1station::Database file(one_.file(), t1station::Database::Access::read);
  std::vector<t1station::StoredRun> runs = records_support::runs_of(one_.file());
  constexpr std::size_t kVerdict = 13, kReason = 14, kPrevious = 18;
  t1station::RunRows failed = load_run_rows(file, runs[1].id), next = load_run_rows(file, runs[2].id);
  failed.run[kVerdict] = "passed";
  failed.run[kReason] = {};
  next.run[kPrevious] = run_hash(failed);
  const std::string hash = run_hash(failed), next_hash = run_hash(next);
  ASSERT_EQ(forge("UPDATE run SET verdict = 'passed', reason = NULL, hash = '" + hash + "' WHERE id = '" +
                  runs[1].id + "'; UPDATE run SET previous = '" + hash + "', hash = '" + next_hash +
                  "' WHERE id = '" + runs[2].id + "'"),
            "");
  EXPECT_THAT(findings(), ElementsAre(AllOf(HasSubstr("(AB00000002, ICT-3, sequence 2): it did not pass: "),
                                            HasSubstr("step clock: failed (attempt 2)"))));
}

TEST_F(CentralCheckTest, FiguresOfADatabaseAreThoseOfTheFilesThatWereSentThere) {
  server().sql("postgres", "CREATE DATABASE " + database + "_one OWNER maker");
  const std::string only_one = server().url(database + "_one", "maker");
  t1station::forward_all(only_one, one_.file(), one_.records(), {}, -1);
  const std::vector<std::vector<std::string>> windows{{},
                                                      {"--plan", "main-board"},
                                                      {"--plan", "other"},
                                                      {"--from", "2020-01-01", "--to", "2020-01-02"},
                                                      {"--from", "2020-01-01"}};
  for (const std::vector<std::string>& window : windows) {
    const std::string of_file = stats(one_.file(), window);
    EXPECT_THAT(of_file, HasSubstr("first_pass_yield"));
    EXPECT_EQ(stats(only_one, window), of_file);
  }
  EXPECT_EQ(nlohmann::json::parse(stats(url(), {}))["runs"], 6);
  EXPECT_EQ(Child({T1STATION_PROGRAM, "stats", "postgresql://line:geheim@db/boards"}).exit_status(), 4);
}

}  // namespace
