// The command `t1station records`, as people and scripts use it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "station/app/app.h"
#include "station/records/records.h"
#include "tests/harness/own_directory.h"
#include "tests/station/records_support.h"
#include "tests/station/scripted_link.h"

namespace {

using namespace records_support;
using testing::HasSubstr;

/// Two runs: a retried pass and a failure; the file is still open for writing.
class RecordsCommandTest : public testing::Test {
 protected:
  RecordsCommandTest() {
    head_ = pass(records_, "AB00000001", true).hash;
    head_ = fail(records_, "AB00000002").hash;
    runs_ = runs_of(file_);
  }

  int run(std::vector<std::string> words) {
    out_.str("");
    err_.str("");
    words.insert(words.begin(), "records");
    const t1station::Environment around{out_, err_, clock_, interrupt_, "2026-11-22T03:17:12"};
    return t1station::run_app(words, around);
  }
  std::string out() const { return out_.str(); }
  std::string err() const { return err_.str(); }
  std::size_t lines() const {
    const std::string text = out_.str();
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  }

  const OwnDirectory directory_;
  const std::string file_ = directory_.file("records.db");
  t1station::Records records_{file_};
  std::string head_;
  std::vector<t1station::StoredRun> runs_;
  ManualClock clock_;
  t1station::Interrupt interrupt_;
  std::ostringstream out_, err_;
};

TEST_F(RecordsCommandTest, CheckSaysThatAllIsWellOrWhatIsNot) {
  EXPECT_EQ(run({"check", file_}), 0);
  EXPECT_EQ(out(), "2 runs and 1 events are as they were stored\n");
  EXPECT_EQ(run({"check", file_, "--head", head_}), 0);
  EXPECT_EQ(run({"check", file_, "--head", ""}), 4) << "a script's variable that is empty checks nothing";
  EXPECT_EQ(run({"check", file_, "--head", "00"}), 1);
  EXPECT_EQ(out(), "no run of the chain has the hash 00\n");
}

TEST_F(RecordsCommandTest, CheckNamesARunWithoutAnEndWhichIsNoFinding) {
  records_.begin_run(unit("AB00000003"), plan());
  EXPECT_EQ(run({"check", file_}), 0);
  EXPECT_THAT(err(), HasSubstr("(AB00000003): it has no end yet"));
}

TEST_F(RecordsCommandTest, ListChoosesRunsByUnitVerdictAndTime) {
  EXPECT_EQ(run({"list", file_}), 0);
  EXPECT_EQ(lines(), 3U);
  EXPECT_THAT(out(), HasSubstr("AB00000001        main-board 3      1       passed, retried\n"));
  run({"list", file_, "--serial", "AB00000002"});
  EXPECT_THAT(out(), HasSubstr("failed, retried: step clock: failed (attempt 2): said so\n"));
  EXPECT_EQ(lines(), 2U);
  run({"list", file_, "--verdict", "failed"});
  EXPECT_EQ(lines(), 2U);
  run({"list", file_, "--plan", "main-board"});
  EXPECT_EQ(lines(), 3U);
  run({"list", file_, "--plan", "other"});
  EXPECT_EQ(lines(), 1U);
  run({"list", file_, "--from", runs_[0].started, "--to", "2999-01-01"});
  EXPECT_EQ(lines(), 3U);
  run({"list", file_, "--to", runs_[0].started});
  EXPECT_EQ(lines(), 1U);
  EXPECT_EQ(run({"list", file_, "--from", "2026-02-30"}), 4);
  EXPECT_THAT(err(), HasSubstr("--from is no time: \"2026-02-30\""));
  EXPECT_EQ(run({"list", file_, "--from", "2026-11-23", "--to", "2026-11-22"}), 4);
  EXPECT_THAT(err(), HasSubstr("--to is before --from"));
  EXPECT_EQ(run({"list", file_, "--verdict", "good"}), 4);
  run({"list", file_, "--kind", "check"});
  EXPECT_EQ(lines(), 1U);
  EXPECT_EQ(run({"list", file_, "--kind", "chek"}), 4);
  EXPECT_THAT(err(), HasSubstr("\"chek\" is no kind: there are production and check"));
}

TEST_F(RecordsCommandTest, PeopleSeeSixDigitsOfANumberUnlessItWouldReadAsItsLimit) {
  const std::string id = records_.begin_run(unit("AB00000003"), plan());
  const std::string connection = records_.add_connection(id, "192.0.2.7:36001", kBuild);
  t1station::NewAttempt attempt = temperature_attempt(id, connection);
  for (const double value : {35.25123456789, 60.00000123}) {
    records_.end_attempt(records_.begin_attempt(attempt), measured(value));
    ++attempt.number;
  }
  run({"show", file_, id});
  EXPECT_THAT(out(),
              testing::AllOf(HasSubstr("degrees: 35.2512 degC"), HasSubstr("degrees: 60.00000123 degC")));
  run({"export", file_, "--format", "html", "--run", id});
  EXPECT_THAT(out(), testing::AllOf(HasSubstr(">35.2512<"), HasSubstr(">60.00000123<")));
  run({"export", file_, "--format", "jsonl", "--run", id});
  EXPECT_THAT(out(), HasSubstr("35.25123456789"));
}

TEST_F(RecordsCommandTest, ShowTellsARunWithItsAttemptsAndMeasurements) {
  EXPECT_EQ(run({"show", file_, runs_[0].id}), 0);
  EXPECT_THAT(out(), HasSubstr("Build       BUILD: Mar 29 2019-22:09:55\n"));
  EXPECT_THAT(out(), HasSubstr("1. clock, attempt 1, code 1536: failed (1.5 s)\n      said so\n"));
  EXPECT_THAT(out(), HasSubstr("      degrees: 35.25 degC, at least 10, at most 60: passed\n"));
  EXPECT_EQ(run({"show", file_, "nothing"}), 4);
  EXPECT_EQ(err(), "t1station: there is no run nothing in " + file_ + "\n");
  EXPECT_EQ(run({"show", file_, "AB00000001"}), 4);
  EXPECT_EQ(err(), "t1station: there is no run AB00000001 in " + file_ +
                       ": that is a unit, whose runs t1station records list --serial AB00000001 names\n");
}

TEST_F(RecordsCommandTest, HeadIsTheHashOfTheRunThatEndedLast) {
  EXPECT_EQ(run({"head", file_}), 0);
  EXPECT_EQ(out(), head_ + "\n");
}

TEST_F(RecordsCommandTest, JsonLinesCarryEachRunWhole) {
  EXPECT_EQ(run({"export", file_, "--format", "jsonl", "--serial", "AB00000001"}), 0);
  EXPECT_EQ(lines(), 1U);
  const nlohmann::json json = nlohmann::json::parse(out());
  EXPECT_EQ(json["serial"], "AB00000001");
  EXPECT_EQ(json["operator"], nullptr);
  EXPECT_EQ(json["retried"], 1);
  EXPECT_EQ(json["hash"], *runs_[0].hash);
  EXPECT_EQ(json["attempts"].size(), 3U);
  EXPECT_EQ(json["attempts"][0]["reply"], "<Reply/>");
  EXPECT_EQ(json["attempts"][0]["reply_base64"], "PFJlcGx5Lz4=");
  EXPECT_EQ(json["attempts"][0]["console"], nullptr);
  EXPECT_EQ(json["attempts"][2]["measurements"][0]["value"], 35.25);
}

TEST_F(RecordsCommandTest, BytesThatAreNoTextAreExportedAllTheSame) {
  const std::string id = records_.begin_run(unit("AB00000003"), plan());
  t1station::AttemptEnd end = ended(t1station::AttemptOutcome::broken);
  end.reply = "\xC4\xE3\xFF\x01";
  end.console = "\xE4\xBD\xA0\n\xC4\xE3";
  end.description = "\xFF";
  records_.end_attempt(records_.begin_attempt(clock_attempt(id, "")), end);
  EXPECT_EQ(run({"export", file_, "--format", "jsonl", "--run", id}), 0);
  const nlohmann::json attempt = nlohmann::json::parse(out())["attempts"][0];
  EXPECT_EQ(attempt["reply"], "你\xEF\xBF\xBD\x01");
  EXPECT_EQ(attempt["reply_base64"], "xOP/AQ==");
  EXPECT_EQ(attempt["console"], "你\n你");
  EXPECT_EQ(attempt["description"], "\xEF\xBF\xBD");
}

TEST_F(RecordsCommandTest, CommaSeparatedValuesHaveOneRowAnAttempt) {
  const std::string csv = directory_.file("runs.csv");
  EXPECT_EQ(run({"export", file_, "--format", "csv", "-o", csv}), 0);
  EXPECT_EQ(out(), "");
  const std::string text = content_of(csv);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 6);
  EXPECT_THAT(text, testing::StartsWith("\xEF\xBB\xBF"
                                        "run_id,run_serial,"));
  EXPECT_THAT(text, HasSubstr(",\"[{\"\"name\"\":\"\"degrees\"\",\"\"value\"\":35.25,"));
}

TEST_F(RecordsCommandTest, AnExportNeverTakesThePlaceOfItsRecords) {
  for (const char* end : {"", "-wal", "-shm", "-owner"}) {
    EXPECT_EQ(run({"export", file_, "--format", "csv", "-o", file_ + end}), 4) << end;
  }
  EXPECT_EQ(run({"check", file_}), 0);
}

TEST_F(RecordsCommandTest, AnExportThatCannotBeMadeWritesNothingAndSaysSo) {
  EXPECT_EQ(run({"export", file_, "--format", "csv", "-o", directory_.file("nothing") + "/x.csv"}), 7);
  EXPECT_THAT(err(), testing::EndsWith("; nothing was written\n"));
}

TEST_F(RecordsCommandTest, AFormatThatThereIsNotIsRefusedWithThoseThatThereAre) {
  EXPECT_EQ(run({"export", file_, "--format", "pdf"}), 4);
  EXPECT_THAT(err(), HasSubstr("\"pdf\" is no format: there are jsonl, csv, junit, ocp, cfx, html"));
}

TEST_F(RecordsCommandTest, AReleaseIsForTheOwnerOfTheFile) {
  EXPECT_EQ(run({"release", file_, "AB00000002", "--reason", "repaired"}), 4);
  EXPECT_THAT(err(),
              testing::AllOf(HasSubstr("belongs to another process"),
                             HasSubstr("while a line runs, an engineer releases the unit on its page")));
  EXPECT_EQ(run({"release", directory_.file("other.db"), "AB00000002", "--reason", "repaired"}), 4);
  EXPECT_FALSE(std::filesystem::exists(directory_.file("other.db")));
}

TEST_F(RecordsCommandTest, WithoutACommandItSaysWhichThereAre) {
  EXPECT_EQ(run({}), 4);
  EXPECT_EQ(err(),
            "t1station: records what? there are check, list, suspect, show, head, export, release, forward "
            "and central\n");
}

TEST_F(RecordsCommandTest, AFileThatIsNoRecordsIsRefusedByEachCommand) {
  const std::string text = directory_.file("text");
  write(text, "no database");
  for (const char* command : {"check", "list", "head"}) {
    EXPECT_EQ(run({command, text}), 4) << command;
    EXPECT_EQ(err(), "t1station: " + text + " is no database\n");
    EXPECT_EQ(run({command, directory_.file("nothing")}), 4) << command;
  }
}

}  // namespace
