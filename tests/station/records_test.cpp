// What a station says to its records is there at once, stays, and decides the verdict.
#include "station/records/records.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <stdexcept>
#include <thread>

#include "station/plan/plan_file.h"
#include "station/records/check.h"
#include "station/records/database.h"
#include "station/records/reader.h"
#include "tests/harness/own_directory.h"
#include "tests/station/records_support.h"

namespace {

using namespace records_support;
using t1station::AttemptOutcome;
using t1station::EndedRun;
using t1station::Records;
using t1station::RunEnd;
using t1station::Verdict;
using testing::HasSubstr;

class RecordsTest : public testing::Test {
 protected:
  t1station::StoredRun only_run() const { return runs_of(file_).at(0); }
  std::vector<std::string> findings() const { return t1station::check_records(file_).findings; }
  std::int64_t events(std::string_view kind) const {
    std::int64_t count = 0;
    t1station::Database database(file_, t1station::Database::Access::read);
    t1station::Statement rows(database, "SELECT 1 FROM event WHERE kind = ?");
    for (rows.bind(kind); rows.step();) ++count;
    return count;
  }

  const OwnDirectory directory_;
  const std::string file_ = directory_.file("records.db");
};

TEST_F(RecordsTest, EachThingIsInTheFileForAnotherReaderWhenItsCallReturns) {
  Records records(file_);
  const std::string run = records.begin_run(unit("AB00000001"), plan());
  EXPECT_EQ(only_run().serial, "AB00000001");
  EXPECT_EQ(only_run().verdict, std::nullopt);
  const std::string connection = records.add_connection(run, "192.0.2.7:36001", kBuild);
  EXPECT_EQ(only_run().board, "192.0.2.7:36001");
  EXPECT_EQ(only_run().connections.at(0).build, kBuild);
  const t1station::NewAttempt asked = clock_attempt(run, connection);
  const std::string attempt = records.begin_attempt(asked);
  EXPECT_EQ(only_run().attempts.at(0).request, asked.request);
  EXPECT_EQ(only_run().attempts.at(0).outcome, std::nullopt);
  records.end_attempt(attempt, ended(AttemptOutcome::passed));
  EXPECT_EQ(only_run().attempts.at(0).outcome, "passed");
  EXPECT_EQ(only_run().attempts.at(0).reply, "<Reply/>");
  records.end_attempt(records.begin_attempt(temperature_attempt(run, connection)), measured(35.25));
  EXPECT_EQ(only_run().attempts.at(1).measurements.at(0).value, 35.25);
  const EndedRun end = records.end_run(run, {});
  EXPECT_EQ(only_run().verdict, "passed");
  EXPECT_EQ(only_run().hash, end.hash);
  EXPECT_EQ(findings(), std::vector<std::string>{});
}

TEST_F(RecordsTest, BytesOfAnyKindComeBackAsTheyWere) {
  const std::string any{"\0\x01\xFF'\"\n\xC4\xE3", 9};
  Records records(file_);
  const std::string run = records.begin_run(unit(any), plan());
  t1station::NewAttempt asked = clock_attempt(run, records.add_connection(run, any, any));
  asked.request = any;
  t1station::AttemptEnd end = ended(AttemptOutcome::failed);
  end.reply = end.description = any;
  end.console = std::string();
  records.end_attempt(records.begin_attempt(asked), end);
  EXPECT_EQ(only_run().serial, any);
  const t1station::StoredAttempt attempt = only_run().attempts.at(0);
  EXPECT_EQ(attempt.request, any);
  EXPECT_EQ(attempt.reply, any);
  EXPECT_EQ(attempt.description, any);
  EXPECT_EQ(attempt.console, "");
}

TEST_F(RecordsTest, RunsAreChainedAndNumberedForEachUnitAndPlan) {
  Records records(file_);
  const EndedRun first = pass(records, "AB00000001");
  const EndedRun second = pass(records, "AB00000002", true);
  const EndedRun third = pass(records, "AB00000001");
  const auto runs = runs_of(file_);
  EXPECT_EQ(runs[0].previous, std::nullopt);
  EXPECT_EQ(runs[1].previous, first.hash);
  EXPECT_EQ(runs[2].previous, second.hash);
  EXPECT_EQ(third.sequence, 3);
  EXPECT_EQ(runs[2].number, 2);
  EXPECT_FALSE(first.retried);
  EXPECT_TRUE(second.retried);
  EXPECT_EQ(t1station::RecordsReader(file_).head(), third.hash);
}

TEST_F(RecordsTest, RunsWithoutAnEndBecomeInterruptedWhenTheFileIsOpenedAgain) {
  {
    Records records(file_);
    const std::string run = records.begin_run(unit("AB00000001"), plan());
    records.begin_attempt(clock_attempt(run, records.add_connection(run, "192.0.2.7:36001", kBuild)));
  }
  EXPECT_EQ(t1station::check_records(file_).notes.size(), 1U);
  Records records(file_);
  EXPECT_EQ(only_run().verdict, "interrupted");
  EXPECT_EQ(only_run().attempts.at(0).outcome, "interrupted");
  EXPECT_EQ(findings(), std::vector<std::string>{});
  EXPECT_EQ(events("start"), 2);
  EXPECT_EQ(events("end"), 1);
}

TEST_F(RecordsTest, AClockThatWasSetBackChangesNoVerdictOrderOrCount) {
  {
    Records records(file_);
    fail(records, "AB00000001");
  }
  // What a station keeps that stops in the middle of a run in a year to come.
  const std::string id = "fffffffe-0000-7000-8000-000000000000", at = "'2089-01-01T00:00:00.000Z'";
  ASSERT_EQ(
      sql(file_,
          "INSERT INTO run (id, serial, plan_id, kind, station, number, started, software) SELECT '" + id +
              "', serial, plan_id, kind, station, 2, " + at +
              ", software FROM run;"
              "INSERT INTO attempt (id, run_id, step, step_index, number, code, started, request) SELECT '" +
              id + "', '" + id + "', step, 0, 1, code, " + at + ", request FROM attempt LIMIT 1"),
      "");
  Records records(file_);
  const t1station::StoredRun of_the_future = runs_of(file_).back();
  EXPECT_EQ(of_the_future.verdict, "interrupted");
  EXPECT_LT(of_the_future.ended.value(), of_the_future.started);
  EXPECT_EQ(of_the_future.attempts.at(0).outcome, "interrupted");
  EXPECT_EQ(of_the_future.sequence, 2);
  EXPECT_EQ(fail(records, "AB00000001").sequence, 3);
  EXPECT_THROW(records.begin_run(unit("AB00000001"), plan()), t1station::RecordsRefused) << "two failed runs";
  const EndedRun last = pass(records, "AB00000002");
  EXPECT_EQ(t1station::RecordsReader(file_).head(), last.hash);
  EXPECT_EQ(findings(), std::vector<std::string>{});
}

TEST_F(RecordsTest, AUnitWithMaxRunsBehindItIsRefusedUntilItPassesOrIsReleased) {
  Records records(file_);
  fail(records, "AB00000001");
  pass(records, "AB00000001");
  fail(records, "AB00000001");
  fail(records, "AB00000001");
  try {
    records.begin_run(unit("AB00000001"), plan());
    FAIL() << "not refused";
  } catch (const t1station::RecordsRefused& refusal) {
    EXPECT_EQ(std::string(refusal.what()),
              "AB00000001 has not passed main-board in 2 runs: to repair, until it is released");
  }
  EXPECT_EQ(events("refused"), 1);
  t1station::NewRun check = unit("AB00000001");
  check.kind = "check";
  records.end_run(records.begin_run(check, plan()), {RunEnd::Why::stopped, {}, 0});
  records.release("AB00000001", "repaired", "Li");
  fail(records, "AB00000001");
  fail(records, "AB00000001");
  EXPECT_THROW(records.begin_run(unit("AB00000001"), plan()), t1station::RecordsRefused);
  EXPECT_THROW(records.release("AB99999999", "typing error", ""), t1station::RecordsRefused);
}

TEST_F(RecordsTest, AUnitIsInOneRunAtATime) {
  Records records(file_);
  records.begin_run(unit("AB00000001"), plan());
  EXPECT_THROW(records.begin_run(unit("AB00000001"), plan()), t1station::RecordsRefused);
}

TEST_F(RecordsTest, APlanWhoseTextChangedWithoutItsVersionIsAnEvent) {
  Records records(file_);
  pass(records, "AB00000001");
  records.begin_run(unit("AB00000002"), plan("4"));
  EXPECT_EQ(events("plan_changed"), 0);
  const t1station::Plan changed = t1station::parse_plan("plan.toml", plan_text() + "# a remark\n");
  records.begin_run(unit("AB00000003"), changed);
  EXPECT_EQ(events("plan_changed"), 1);
}

TEST_F(RecordsTest, APlanThatIsNotItsTextIsRefused) {
  Records records(file_);
  t1station::Plan other = plan();
  other.text += "# a remark\n";
  EXPECT_THROW(records.begin_run(unit("AB00000001"), other), t1station::RecordsRefused);
}

TEST_F(RecordsTest, ACallInTheWrongOrderEndsWritingAltogether) {
  Records records(file_);
  const std::string run = records.begin_run(unit("AB00000001"), plan());
  const std::string attempt =
      records.begin_attempt(clock_attempt(run, records.add_connection(run, "192.0.2.7:36001", kBuild)));
  records.end_attempt(attempt, ended(AttemptOutcome::failed));
  EXPECT_THROW(records.end_attempt(attempt, ended(AttemptOutcome::passed)), t1station::RecordsBroken);
  EXPECT_THROW(records.end_run(run, {}), t1station::RecordsBroken);
  EXPECT_THROW(records.add_event("stop", "", "", "", ""), t1station::RecordsBroken);
  EXPECT_EQ(only_run().attempts.at(0).outcome, "failed");
  EXPECT_EQ(only_run().verdict, std::nullopt);
}

// Closing any descriptor of a file takes away all locks that a process has on it.
TEST_F(RecordsTest, AReaderInTheSameProcessLeavesTheWritersLock) {
  const Records records(file_);
  const auto is_locked = [this] {
    const pid_t child = fork();
    if (child == 0) {
      const int file = open(file_.c_str(), O_RDWR | O_CLOEXEC);
      constexpr off_t kShared = 0x40000002;  // the bytes that SQLite locks as long as a connection is open
      struct flock lock {};
      lock.l_type = F_WRLCK;
      lock.l_whence = SEEK_SET;
      lock.l_start = kShared;
      lock.l_len = 510;
      _exit(fcntl(file, F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WEXITSTATUS(status) == 1;
  };
  ASSERT_TRUE(is_locked());
  t1station::RecordsReader reader(file_);
  EXPECT_TRUE(is_locked());
}

TEST_F(RecordsTest, SlotsOnThreadsOfTheirOwnShareOneFileAndOneThatMayNotStoreHarmsNobody) {
  Records records(file_);
  std::vector<std::thread> slots;
  slots.emplace_back([&records] {
    for (int i = 0; i < 50; ++i) {
      EXPECT_THROW(records.add_event("stop", "", "", "", "no JSON"), std::invalid_argument);
    }
  });
  for (int slot = 1; slot <= 4; ++slot) {
    slots.emplace_back([&records, slot] {
      for (int unit = 0; unit < 5; ++unit) pass(records, "AB0000000" + std::to_string(slot));
    });
  }
  for (std::thread& slot : slots) slot.join();
  EXPECT_EQ(runs_of(file_).size(), 20U);
  EXPECT_EQ(findings(), std::vector<std::string>{});
}

// What a station might say of a run, and what the run is then. No pass comes of anything but a whole one.
struct Story {
  std::string_view name;
  std::function<EndedRun(Records&, const std::string& run)> tell;
  Verdict verdict;
  std::string_view reason;
};

std::string connected(Records& records, const std::string& run, std::string_view build = kBuild) {
  return records.add_connection(run, "192.0.2.7:36001", build);
}
void clock_ends(Records& records, const std::string& run, const std::string& connection,
                AttemptOutcome outcome, int number = 1) {
  records.end_attempt(records.begin_attempt(clock_attempt(run, connection, number)), ended(outcome));
}
EndedRun temperature_ends(Records& records, const std::string& run, const std::string& connection,
                          const t1station::AttemptEnd& end) {
  records.end_attempt(records.begin_attempt(temperature_attempt(run, connection)), end);
  return records.end_run(run, {});
}
EndedRun clock_then_pass(Records& records, const std::string& run, const t1station::NewAttempt& attempt,
                         const std::string& connection) {
  records.end_attempt(records.begin_attempt(attempt), ended(AttemptOutcome::passed));
  return temperature_ends(records, run, connection, measured(35));
}

const std::vector<Story> kStories{
    {"nothing was asked for",
     [](Records& records, const std::string& run) {
       connected(records, run);
       return records.end_run(run, {});
     },
     Verdict::error, "step clock: never tried"},
    {"a step was left out",
     [](Records& records, const std::string& run) {
       clock_ends(records, run, connected(records, run), AttemptOutcome::passed);
       return records.end_run(run, {});
     },
     Verdict::error, "step temperature: never tried"},
    {"an attempt was not ended",
     [](Records& records, const std::string& run) {
       const std::string connection = connected(records, run);
       clock_ends(records, run, connection, AttemptOutcome::passed);
       records.begin_attempt(temperature_attempt(run, connection));
       return records.end_run(run, {});
     },
     Verdict::error, "step temperature: broken"},
    {"a measurement is missing",
     [](Records& records, const std::string& run) {
       const std::string connection = connected(records, run);
       clock_ends(records, run, connection, AttemptOutcome::passed);
       return temperature_ends(records, run, connection, ended(AttemptOutcome::passed));
     },
     Verdict::error, "its measurements are not the plan's"},
    {"a measurement outside the plan's limits was called passed",
     [](Records& records, const std::string& run) {
       const std::string connection = connected(records, run);
       clock_ends(records, run, connection, AttemptOutcome::passed);
       t1station::AttemptEnd end = measured(35);
       end.measurements[0].value = 61;
       return temperature_ends(records, run, connection, end);
     },
     Verdict::error, "degrees is outside the plan's limits"},
    {"a measurement is too high",
     [](Records& records, const std::string& run) {
       const std::string connection = connected(records, run);
       clock_ends(records, run, connection, AttemptOutcome::passed);
       return temperature_ends(records, run, connection, measured(60.5));
     },
     Verdict::failed, "step temperature: failed, degrees 60.5 degC, above 60: said so"},
    {"a retry that failed hides behind a pass",
     [](Records& records, const std::string& run) {
       const std::string connection = connected(records, run);
       clock_ends(records, run, connection, AttemptOutcome::passed);
       clock_ends(records, run, connection, AttemptOutcome::failed, 2);
       return temperature_ends(records, run, connection, measured(35));
     },
     Verdict::failed, "step clock: failed (attempt 2): said so"},
    {"a step was tried again after its pass",
     [](Records& records, const std::string& run) {
       const std::string connection = connected(records, run);
       clock_ends(records, run, connection, AttemptOutcome::passed);
       clock_ends(records, run, connection, AttemptOutcome::passed, 2);
       return temperature_ends(records, run, connection, measured(35));
     },
     Verdict::error, "it was tried again after a pass"},
    {"a step was tried more often than the plan allows",
     [](Records& records, const std::string& run) {
       const std::string connection = connected(records, run);
       clock_ends(records, run, connection, AttemptOutcome::failed);
       clock_ends(records, run, connection, AttemptOutcome::failed, 2);
       clock_ends(records, run, connection, AttemptOutcome::passed, 3);
       return temperature_ends(records, run, connection, measured(35));
     },
     Verdict::error, "more attempts than the plan allows"},
    {"the board was exchanged for one of another build",
     [](Records& records, const std::string& run) {
       clock_ends(records, run, connected(records, run), AttemptOutcome::passed);
       return temperature_ends(records, run, connected(records, run, "BUILD: other"), measured(35));
     },
     Verdict::error, "the board's build changed from"},
    {"the build is not one of the plan's",
     [](Records& records, const std::string& run) {
       const std::string connection = connected(records, run, "");
       clock_ends(records, run, connection, AttemptOutcome::passed);
       return temperature_ends(records, run, connection, measured(35));
     },
     Verdict::error, "is not one of the plan's"},
    {"no board was connected",
     [](Records& records, const std::string& run) {
       clock_ends(records, run, "", AttemptOutcome::passed);
       return temperature_ends(records, run, "", measured(35));
     },
     Verdict::error, "it came over no connection of this run"},
    {"another test was asked for",
     [](Records& records, const std::string& run) {
       const std::string connection = connected(records, run);
       t1station::NewAttempt attempt = clock_attempt(run, connection);
       ++attempt.code;
       return clock_then_pass(records, run, attempt, connection);
     },
     Verdict::error, "another test was asked for"},
    {"another parameter was asked for",
     [](Records& records, const std::string& run) {
       const std::string connection = connected(records, run);
       t1station::NewAttempt attempt = clock_attempt(run, connection);
       attempt.parameter = 650;
       return clock_then_pass(records, run, attempt, connection);
     },
     Verdict::error, "another parameter was asked for"},
    {"a pass without a reply",
     [](Records& records, const std::string& run) {
       const std::string connection = connected(records, run);
       t1station::AttemptEnd end = ended(AttemptOutcome::passed);
       end.reply.clear();
       records.end_attempt(records.begin_attempt(clock_attempt(run, connection)), end);
       return temperature_ends(records, run, connection, measured(35));
     },
     Verdict::error, "no request and reply are stored"},
    {"a step of another plan",
     [](Records& records, const std::string& run) {
       const std::string connection = connected(records, run);
       t1station::NewAttempt attempt = clock_attempt(run, connection);
       attempt.step = "light";
       return clock_then_pass(records, run, attempt, connection);
     },
     Verdict::error, "it was stored as step light"},
    {"a step behind the plan's last one",
     [](Records& records, const std::string& run) {
       const std::string connection = connected(records, run);
       t1station::NewAttempt more = clock_attempt(run, connection);
       more.step_index = 2;
       records.end_attempt(records.begin_attempt(more), ended(AttemptOutcome::passed));
       clock_ends(records, run, connection, AttemptOutcome::passed);
       return temperature_ends(records, run, connection, measured(35));
     },
     Verdict::error, "not in the plan"},
    {"a person stopped it behind the last step",
     [](Records& records, const std::string& run) {
       const std::string connection = connected(records, run);
       clock_ends(records, run, connection, AttemptOutcome::passed);
       records.end_attempt(records.begin_attempt(temperature_attempt(run, connection)), measured(35));
       return records.end_run(run, {RunEnd::Why::stopped, "the station was shut down", 3});
     },
     Verdict::stopped, "the station was shut down"},
    {"a stopped attempt counts before a failed one",
     [](Records& records, const std::string& run) {
       const std::string connection = connected(records, run);
       clock_ends(records, run, connection, AttemptOutcome::failed);
       clock_ends(records, run, connection, AttemptOutcome::stopped, 2);
       return records.end_run(run, {});
     },
     Verdict::stopped, "stopped by a person"},
    {"a reply that never came counts before a failed step",
     [](Records& records, const std::string& run) {
       const std::string connection = connected(records, run);
       clock_ends(records, run, connection, AttemptOutcome::failed);
       return temperature_ends(records, run, connection, ended(AttemptOutcome::timed_out));
     },
     Verdict::error, "step temperature: no reply in time: said so"},
    {"the board could not be reached",
     [](Records& records, const std::string& run) {
       return records.end_run(run, {RunEnd::Why::error, "nobody is there", 60});
     },
     Verdict::error, "nobody is there"},
};

TEST_F(RecordsTest, OnlyARunThatIsWholeInTheFilePasses) {
  Records records(file_);
  int number = 10000000;
  for (const Story& story : kStories) {
    SCOPED_TRACE(story.name);
    const EndedRun end =
        story.tell(records, records.begin_run(unit("AB" + std::to_string(++number)), plan()));
    EXPECT_EQ(verdict_name(end.verdict), verdict_name(story.verdict));
    EXPECT_THAT(end.reason, HasSubstr(std::string(story.reason)));
    EXPECT_EQ(runs_of(file_).back().verdict, verdict_name(story.verdict));
  }
  EXPECT_EQ(pass(records, "AB00000001").verdict, Verdict::passed);
  EXPECT_EQ(findings(), std::vector<std::string>{});
}

TEST_F(RecordsTest, NothingThatWasSaidCanBeChangedOrDeleted) {
  Records records(file_);
  pass(records, "AB00000001");
  const std::string open = records.begin_run(unit("AB00000002"), plan());
  const std::string attempt = records.begin_attempt(clock_attempt(open, connected(records, open)));
  records.mark_forwarded({runs_of(file_)[0].id});
  records.release("AB00000001", "repaired", "Li");
  const std::string is_open = " WHERE id = '" + open + "'", is_tried = " WHERE id = '" + attempt + "'";
  const std::vector<std::string> refused{
      "UPDATE run SET verdict = 'failed'",
      "UPDATE run SET reason = 'x'",
      "UPDATE run SET serial = 'x'" + is_open,
      "UPDATE run SET board = 'x'" + is_open,
      "UPDATE run SET build = NULL" + is_open,
      "UPDATE run SET hash = 'x'" + is_open,
      "UPDATE run SET started = 'x'" + is_open,
      "UPDATE OR REPLACE run SET verdict = 'passed', ended = 'x', retried = 0, sequence = 1" + is_open,
      "UPDATE attempt SET outcome = 'failed' WHERE outcome IS NOT NULL",
      "UPDATE attempt SET request = x'00'" + is_tried,
      "UPDATE attempt SET reply = x'00'" + is_tried,
      "UPDATE measurement SET value = 12",
      "UPDATE connection SET build = 'x'",
      "UPDATE plan SET text = 'x'",
      "UPDATE event SET detail = 'x'",
      "UPDATE forwarded SET at = 'x'",
      "DELETE FROM run",
      "DELETE FROM attempt",
      "DELETE FROM measurement",
      "DELETE FROM connection",
      "DELETE FROM plan",
      "DELETE FROM event",
      "DELETE FROM forwarded",
      "INSERT OR REPLACE INTO run SELECT * FROM run",
      "INSERT OR REPLACE INTO attempt SELECT * FROM attempt",
      "INSERT OR REPLACE INTO measurement SELECT * FROM measurement",
      "INSERT OR REPLACE INTO connection SELECT * FROM connection",
      "INSERT OR REPLACE INTO plan SELECT * FROM plan",
      "INSERT OR REPLACE INTO event SELECT * FROM event",
      "INSERT OR REPLACE INTO forwarded SELECT * FROM forwarded",
      "INSERT INTO connection SELECT 'x', run_id, at, board, build FROM connection",
      "INSERT INTO measurement SELECT attempt_id, 1, 'x', 1, 'x', 1, 1, 'passed' FROM measurement"};
  for (const std::string& statement : refused) EXPECT_NE(sql(file_, statement), "") << statement;
  EXPECT_EQ(only_run().verdict, "passed");
  EXPECT_EQ(findings(), std::vector<std::string>{});
  records.end_attempt(attempt, ended(AttemptOutcome::passed));  // the open end is filled, once
}

}  // namespace
