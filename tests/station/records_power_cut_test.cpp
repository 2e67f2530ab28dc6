// Power cuts, full disks and failing disks: what was told is stored, what is stored is sound.
//
// BOARDTEST_CUTS says how many power cuts are tried; without it each operation of the disk is cut behind
// once.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>

#include "station/records/check.h"
#include "station/records/records.h"
#include "tests/harness/own_directory.h"
#include "tests/station/recording_disk.h"
#include "tests/station/records_support.h"

namespace {

using namespace records_support;
using t1station::AttemptOutcome;
using t1station::Records;
using t1station::RecordsBroken;
using t1station::RecordsRefused;
using t1station::StoredAttempt;
using t1station::StoredRun;
using Kind = RecordingDisk::Operation::Kind;

/// Something that the records were given to store.
struct Fact {
  std::size_t said = 0, told = SIZE_MAX;  ///< operations of the disk before the call and at its return
  std::string run, attempt;               ///< ids, once they are known
  std::string end;                        ///< verdict and hash, or outcome; empty for a beginning
};

/// A station that notes what it said to its records and what it was told in return.
class Shift {
 public:
  Shift(std::string file, RecordingDisk& disk) : file_(std::move(file)), disk_(disk) {}

  /// Two sessions: a pass with a retry, a failure, a run that is left open, and one behind it.
  void work() {
    {
      Records records(file_, disk_.name());
      run_unit(records, "AB00000001", AttemptOutcome::failed, 35);
      run_unit(records, "AB00000002", AttemptOutcome::passed, 75);
      begin(records, "AB00000003");
    }
    Records records(file_, disk_.name());
    run_unit(records, "AB00000003", AttemptOutcome::passed, 20);
  }

  const std::vector<Fact>& facts() const { return facts_; }

 private:
  std::string begin(Records& records, std::string_view serial) {
    const std::size_t place = say();
    facts_[place].run = records.begin_run(unit(serial), plan());
    facts_[place].told = disk_.operations().size();
    return facts_[place].run;
  }
  void attempt(Records& records, const t1station::NewAttempt& asked, const t1station::AttemptEnd& end) {
    const std::size_t beginning = say();
    facts_[beginning].attempt = records.begin_attempt(asked);
    facts_[beginning].told = disk_.operations().size();
    const std::size_t ending = say();
    facts_[ending].attempt = facts_[beginning].attempt;
    facts_[ending].end = t1station::attempt_outcome_name(end.outcome);
    records.end_attempt(facts_[ending].attempt, end);
    facts_[ending].told = disk_.operations().size();
  }
  void run_unit(Records& records, std::string_view serial, AttemptOutcome first, double degrees) {
    const std::string run = begin(records, serial);
    const std::string connection = records.add_connection(run, "192.0.2.7:36001", kBuild);
    attempt(records, clock_attempt(run, connection), ended(first));
    if (first == AttemptOutcome::failed) {
      attempt(records, clock_attempt(run, connection, 2), ended(AttemptOutcome::passed));
    }
    attempt(records, temperature_attempt(run, connection), measured(degrees));
    const std::size_t place = say();
    facts_[place].run = run;
    facts_[place].end = "?";
    const t1station::EndedRun end = records.end_run(run, {});
    facts_[place].end = std::string(verdict_name(end.verdict)) + " " + end.hash;
    facts_[place].told = disk_.operations().size();
  }
  std::size_t say() {
    facts_.push_back({disk_.operations().size(), SIZE_MAX, {}, {}, {}});
    return facts_.size() - 1;
  }

  std::string file_;
  RecordingDisk& disk_;
  std::vector<Fact> facts_;
};

/// What a file says, by id.
struct Stored {
  std::map<std::string, StoredRun> runs;
  std::map<std::string, StoredAttempt> attempts;
};

Stored stored_in(const std::string& file) {
  Stored stored;
  for (const StoredRun& run : runs_of(file)) {
    stored.runs[run.id] = run;
    for (const StoredAttempt& attempt : run.attempts) stored.attempts[attempt.id] = attempt;
  }
  return stored;
}

std::string end_of(const Stored& stored, const Fact& fact) {
  if (!fact.attempt.empty()) return stored.attempts.at(fact.attempt).outcome.value_or("");
  const StoredRun& run = stored.runs.at(fact.run);
  return run.verdict.value_or("") + " " + run.hash.value_or("");
}

bool is_there(const Stored& stored, const Fact& fact) {
  return fact.attempt.empty() ? stored.runs.contains(fact.run) : stored.attempts.contains(fact.attempt);
}

// Holds a file against what had been told when so many operations were done: all of that is there, as it was
// told, and nothing that had not been said by then.
void compare(const std::string& file, const std::vector<Fact>& facts, std::size_t operations) {
  const Stored stored = stored_in(file);
  for (const Fact& fact : facts) {
    if (fact.run.empty() && fact.attempt.empty()) continue;  // nobody was ever told of it
    const bool was_told = fact.told <= operations, was_said = fact.said < operations;
    if (was_told) {
      ASSERT_TRUE(is_there(stored, fact)) << fact.run << fact.attempt;
    }
    if (fact.end.empty() && !was_said) {
      EXPECT_FALSE(is_there(stored, fact)) << fact.run << fact.attempt;
    }
    if (fact.end.empty() || !is_there(stored, fact)) continue;
    if (was_told) {
      EXPECT_EQ(end_of(stored, fact), fact.end);
    }
    if (!was_said) {
      EXPECT_NE(end_of(stored, fact), fact.end);
    }
  }
}

class RecordsPowerCutTest : public testing::Test {
 protected:
  // The file is opened by the real code, closed, and looked at; and takes another unit.
  void open_again(const std::string& file, const std::vector<Fact>& facts, std::size_t operations) {
    RecordingDisk disk;
    disk.is_recording = false;
    Records records(file, disk.name());
    compare(file, facts, operations);
    ASSERT_EQ(t1station::check_records(file).findings, std::vector<std::string>{});
    EXPECT_EQ(pass(records, "AB00000099").verdict, t1station::Verdict::passed);
  }
  static std::size_t wanted_cuts(std::size_t operations) {
    const char* wanted = std::getenv("BOARDTEST_CUTS");
    return wanted ? std::strtoul(wanted, nullptr, 10) : operations;
  }
  void cut(const RecordingDisk& disk, const Shift& shift, std::size_t operations, std::size_t seed) {
    SCOPED_TRACE("cut behind operation " + std::to_string(operations) + ", seed " + std::to_string(seed));
    std::mt19937_64 random(seed);
    const OwnDirectory after;
    for (const auto& [name, content] : disk.after_cut(operations, random)) write(after.file(name), content);
    open_again(after.file("records.db"), shift.facts(), operations);
    EXPECT_EQ(t1station::check_records(after.file("records.db")).findings, std::vector<std::string>{});
  }

  const OwnDirectory directory_;
  const std::string file_ = directory_.file("records.db");
};

TEST_F(RecordsPowerCutTest, WhatWasToldIsThereBehindEveryCut) {
  RecordingDisk disk;
  Shift shift(file_, disk);
  shift.work();
  const std::size_t operations = disk.operations().size();
  for (std::size_t seed = 0; seed < wanted_cuts(operations); ++seed) {
    cut(disk, shift, 1 + seed % operations, seed);
    if (HasFatalFailure() || HasNonfatalFailure()) break;
  }
  RecordProperty("operations", static_cast<int>(operations));
}

TEST_F(RecordsPowerCutTest, AFileWhoseMakingWasCutIsMadeAnew) {
  RecordingDisk disk;
  Shift shift(file_, disk);
  shift.work();
  for (std::size_t seed = 0; seed < 120 && !HasFailure(); ++seed) cut(disk, shift, 1 + seed % 12, seed);
}

/// What a shift on a failing disk came to.
struct Trouble {
  std::string text;       // empty: it went well to its end
  bool was_late = false;  // syncs came behind the failure
};

// The shift with the n-th call of the disk failing, with this code.
Trouble work_on_failing_disk(RecordingDisk& disk, Shift& shift, std::size_t n, int code,
                             std::string_view only = {}) {
  std::size_t count = 0, syncs_behind = 0;
  bool has_failed = false;
  disk.fault = [&](std::string_view call, std::string_view) {
    if (has_failed && call == "sync") ++syncs_behind;
    if (!only.empty() && call != only) return SQLITE_OK;
    if (++count != n) return SQLITE_OK;
    has_failed = true;
    return code;
  };
  Trouble trouble;
  try {
    shift.work();
  } catch (const RecordsBroken& reason) {
    trouble.text = reason.what();
  } catch (const RecordsRefused& reason) {
    trouble.text = reason.what();
  }
  disk.fault = nullptr;
  trouble.was_late = syncs_behind > 0 && !trouble.text.empty();
  return trouble;
}

// How many calls of a kind, or of any, a shift makes of a disk that never fails.
std::size_t calls_of_a_shift(std::string_view only = {}) {
  const OwnDirectory directory;
  RecordingDisk disk;
  std::size_t count = 0;
  disk.fault = [&](std::string_view call, std::string_view) {
    if (only.empty() || call == only) ++count;
    return SQLITE_OK;
  };
  Shift(directory.file("records.db"), disk).work();
  return count;
}

TEST_F(RecordsPowerCutTest, AnyFailingCallOfTheDiskEndsWritingAndLosesNothingThatWasTold) {
  std::size_t troubles = 0;
  const std::size_t calls = calls_of_a_shift();
  for (std::size_t n = 1; n <= calls; n += 1 + calls / 150) {
    SCOPED_TRACE("call " + std::to_string(n));
    const OwnDirectory directory;
    const std::string file = directory.file("records.db");
    RecordingDisk disk;
    Shift shift(file, disk);
    const Trouble trouble =
        work_on_failing_disk(disk, shift, n, n % 2 == 0 ? SQLITE_IOERR_WRITE : SQLITE_FULL);
    if (!trouble.text.empty()) ++troubles;
    open_again(file, shift.facts(), disk.operations().size());
    if (HasFatalFailure()) break;
  }
  EXPECT_GT(troubles, 50U);
}

TEST_F(RecordsPowerCutTest, ASyncThatFailedIsNeverTriedAgainOnTheSameConnection) {
  const std::size_t syncs = calls_of_a_shift("sync");
  std::size_t troubles = 0;
  for (std::size_t n = 1; n <= syncs; ++n) {
    SCOPED_TRACE("sync " + std::to_string(n));
    const OwnDirectory directory;
    RecordingDisk disk;
    Shift shift(directory.file("records.db"), disk);
    const Trouble trouble = work_on_failing_disk(disk, shift, n, SQLITE_IOERR_FSYNC, "sync");
    if (trouble.text.empty()) continue;  // when the file was closed, behind all that was told
    ++troubles;
    // While the file is made SQLite undoes what it began, with a sync, and nothing has been told yet.
    if (!shift.facts().empty()) {
      EXPECT_FALSE(trouble.was_late);
    }
    EXPECT_THAT(trouble.text, testing::HasSubstr("disk I/O error"));
  }
  EXPECT_GT(troubles, 10U);
}

TEST_F(RecordsPowerCutTest, BehindAFailureEveryCallIsRefusedInTheSameWords) {
  RecordingDisk disk;
  Records records(file_, disk.name());
  disk.fault = [](std::string_view call, std::string_view) {
    return call == "write" ? SQLITE_FULL : SQLITE_OK;
  };
  std::string first;
  try {
    records.begin_run(unit("AB00000001"), plan());
  } catch (const RecordsBroken& reason) {
    first = reason.what();
  }
  EXPECT_THAT(first, testing::HasSubstr("cannot store in " + file_ + ": database or disk is full"));
  disk.fault = nullptr;  // there is room again, and it is not tried
  try {
    records.begin_run(unit("AB00000001"), plan());
    FAIL() << "tried again";
  } catch (const RecordsBroken& reason) {
    EXPECT_EQ(reason.what(), first);
  }
}

}  // namespace
