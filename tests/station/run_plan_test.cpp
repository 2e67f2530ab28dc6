// The command `t1station run --plan`: what it says, keeps and refuses, and its exit code, on a fake board.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <pugixml.hpp>

#include "station/records/records.h"
#include "station/text/software.h"
#include "tests/station/fake_board.h"
#include "tests/station/run_plan.h"

namespace {

using namespace board_texts;
using testing::ElementsAre;
using testing::HasSubstr;

TEST_F(RunPlanTest, AUnitThatPassesIsKeptAndReportedWithItsPlanAndItsAttempts) {
  FakeBoard board({{sends(greeting()), hears(), sends(rtc_fail), hears(), sends(rtc_pass()), hears(),
                    sends(degrees("35.25")), hears()}});
  EXPECT_EQ(run(board.address(),
                {"--operator", "Li", "--slot", "2", "--json", path("json"), "--junit", path("junit")}),
            0)
      << err();
  EXPECT_THAT(out(), HasSubstr("2 tests: 2 passed"));

  const t1station::StoredRun kept = stored();
  EXPECT_EQ(kept.serial, serial);
  EXPECT_EQ(kept.plan_name + " " + kept.plan_version, "main-board 3");
  EXPECT_EQ(kept.kind, "production");
  EXPECT_EQ(kept.station, "ICT-7");
  EXPECT_EQ(kept.software, t1station::software());
  EXPECT_EQ(kept.slot, "2");
  EXPECT_EQ(kept.operator_name, "Li");
  EXPECT_EQ(kept.board, board.address());
  EXPECT_EQ(kept.build, records_support::kBuild);
  EXPECT_EQ(kept.verdict, "passed");
  EXPECT_EQ(kept.attempts.size(), 3U);

  const nlohmann::json report = json();
  EXPECT_EQ(report["serial"], serial);
  EXPECT_EQ(report["plan"], (nlohmann::json{{"name", "main-board"}, {"version", "3"}}));
  EXPECT_EQ(report["run"], kept.id);
  EXPECT_EQ(report["verdict"], "passed");
  EXPECT_EQ(report["retried"], true);
  EXPECT_EQ(report["hash"], kept.hash);
  EXPECT_EQ(report["exit_code"], 0);
  EXPECT_EQ(report["tests"][0]["step"], "clock");
  EXPECT_EQ(report["tests"][0]["attempts"], 2);
  EXPECT_EQ(report["tests"][1]["measurements"][0]["value"], 35.25);

  pugi::xml_document junit;
  ASSERT_TRUE(junit.load_file(path("junit").c_str()));
  const auto property = [](const pugi::xml_node& of, const char* name) {
    return std::string(
        of.child("properties").find_child_by_attribute("property", "name", name).attribute("value").value());
  };
  const pugi::xml_node suite = junit.child("testsuites").child("testsuite");
  EXPECT_EQ(property(suite, "serial"), serial);
  EXPECT_EQ(property(suite, "plan"), "main-board 3");
  EXPECT_EQ(property(suite, "verdict"), "passed");
  EXPECT_EQ(property(suite.child("testcase"), "step"), "clock");
  EXPECT_EQ(property(suite.child("testcase"), "attempts"), "2");
}

TEST_F(RunPlanTest, TheBoardMayStandBehindRun) {
  FakeBoard board({{sends(greeting()), hears(), sends(rtc_pass()), hears(), sends(degrees("21")), hears()}});
  EXPECT_EQ(run_app({"run", board.address(), "--plan", plan_, "--serial", serial, "--records", file_}), 0)
      << err();
}

TEST_F(RunPlanTest, AReplyThatBeganBeforeTheRequestIsNobodys) {
  const std::string stray = rtc_pass();
  FakeBoard board({{sends(greeting()), hears(), sends(rtc_fail + stray.substr(0, 60)), hears(),
                    sends(stray.substr(60)), hears()}});
  EXPECT_EQ(run(board.address()), 6);
  ASSERT_EQ(stored().attempts.size(), 2U);
  EXPECT_EQ(stored().attempts[1].outcome, "broken");
  EXPECT_THAT(*stored().attempts[1].description, HasSubstr("that nobody asked for"));
}

TEST_F(RunPlanTest, AStopBehindTheLastReplyCountsAsLongAsNoVerdictIsStored) {
  FakeBoard board({{sends(greeting()), hears(), sends(rtc_pass()), hears(), sends(degrees("21")), hears(),
                    does([this] { interrupt_.raise(); }), awaits_close()}});
  EXPECT_EQ(run(board.address()), 2);
  EXPECT_EQ(stored().verdict, "stopped");
}

TEST_F(RunPlanTest, AReportNeverTakesThePlaceOfTheRecordsOrThePlan) {
  for (const std::string& report : {file_, file_ + "-wal", file_ + "-owner", plan_}) {
    EXPECT_THAT(
        refused({nobody, "run", "--plan", plan_, "--serial", serial, "--records", file_, "--json", report}),
        HasSubstr("a report cannot take the place of"));
  }
  EXPECT_EQ(records_support::content_of(plan_), records_support::plan_text());
}

TEST_F(RunPlanTest, AFailureEndsWith1) {
  FakeBoard board({{sends(greeting()), hears(), sends(rtc_pass()), hears(), sends(degrees("99")), hears()}});
  EXPECT_EQ(run(board.address(), {"--json", path("json"), "--junit", path("junit")}), 1);
  EXPECT_EQ(stored().verdict, "failed");
  EXPECT_EQ(json()["verdict"], "failed");
  EXPECT_THAT(json()["reason"].get<std::string>(), HasSubstr("degrees 99 degC, above 60"));
  EXPECT_THAT(out(), HasSubstr("degrees 99 degC, above 60"));
  EXPECT_EQ(json()["tests"][1]["measurements"][0]["outcome"], "high");
  EXPECT_THAT(records_support::content_of(path("junit")),
              HasSubstr("<failure message=\"degrees 99 degC, above 60: "));
}

TEST_F(RunPlanTest, AStopEndsWith2) {
  FakeBoard board({{sends(greeting()), hears(), does([this] { interrupt_.raise(); }), awaits_close()}});
  EXPECT_EQ(run(board.address(), {"--json", path("json")}), 2);
  EXPECT_EQ(stored().verdict, "stopped");
  EXPECT_EQ(stored().attempts.at(0).outcome, "stopped");
  EXPECT_EQ(json()["verdict"], "stopped");
}

TEST_F(RunPlanTest, ABoardThatIsLostEndsWith6) {
  FakeBoard board({{sends(greeting()), hears(), resets()}});
  EXPECT_EQ(run(board.address(), {"--json", path("json")}), 6);
  EXPECT_EQ(stored().verdict, "error");
  EXPECT_EQ(stored().attempts.at(0).outcome, "broken");
  EXPECT_EQ(json()["verdict"], "error");
}

TEST_F(RunPlanTest, ABoardThatNeverComesEndsWith6AndItsRunIsKept) {
  EXPECT_EQ(run(nobody), 6);
  EXPECT_EQ(stored().verdict, "error");
  EXPECT_THAT(stored().reason.value(), HasSubstr("no connection to " + nobody));
}

TEST_F(RunPlanTest, ABuildThatIsNotThePlansEndsWith6AndLeavesTheBoardFree) {
  std::string text = records_support::plan_text();
  text.replace(text.find("BUILD: .*"), 9, "BUILD: 20");
  records_support::write(plan_, text);
  FakeBoard board({{sends(greeting()), hears()}});
  EXPECT_EQ(run(board.address()), 6);
  EXPECT_THAT(stored().reason.value(), HasSubstr("is not one of this plan, \"BUILD: 20\""));
  EXPECT_EQ(board.requests(), std::vector<std::string>{request(62208).substr(4)});
}

TEST_F(RunPlanTest, RecordsThatCannotBeWrittenEndWith6BeforeAnythingIsAsked) {
  { const t1station::Records records(file_); }
  std::filesystem::permissions(file_, std::filesystem::perms::owner_read);
  EXPECT_EQ(run(nobody), 6);
  EXPECT_THAT(err(), HasSubstr(file_ + " is read-only"));
  EXPECT_EQ(out(), "");
}

TEST_F(RunPlanTest, RecordsThatBreakOnTheWayEndWith6AndNothingMoreIsSentOrShown) {
  FakeBoard board({{sends(greeting()), hears(),
                    does([this] { records_support::sql(file_, "ALTER TABLE attempt RENAME TO gone"); }),
                    sends(rtc_pass()), hears()}});
  EXPECT_EQ(run(board.address(), {"--json", path("json")}), 6);
  EXPECT_THAT(err(), HasSubstr("cannot store in " + file_));
  EXPECT_THAT(err(), testing::Not(HasSubstr("Pass"))) << "what is not stored is not shown";
  EXPECT_EQ(out(), "");
  EXPECT_EQ(records_support::content_of(path("json")), "");
  EXPECT_EQ(board.requests().size(), 1U);
}

TEST_F(RunPlanTest, ABadPlanIsRefusedWithALineForEachMistake) {
  std::string text = records_support::plan_text();
  text.replace(text.find("attempts = 2"), 12, "attempts = 0");
  text.replace(text.find("\"temp\""), 6, "\"tepm\"");
  const std::string said = refused_plan(text);
  EXPECT_EQ(run_app({"plan", "check", plan_}), 4);
  EXPECT_EQ(err(), said) << "the words of plan check";
  EXPECT_THAT(said, HasSubstr(plan_ + ":11:12: "));
  EXPECT_THAT(said, HasSubstr(plan_ + ":16:8: "));
}

TEST_F(RunPlanTest, APlanThatWantsAConsoleOrAPersonIsRefusedWhereThereIsNone) {
  const std::string text = records_support::plan_text();
  EXPECT_THAT(
      refused_plan(text + "[[step.measure]]\nname = \"more\"\nfrom = \"console\"\nmatch = '([0-9])'\n"),
      HasSubstr("--console DEVICE is needed"));
  EXPECT_THAT(
      refused_plan(text +
                   "[[step]]\nname = \"lit\"\ntest = \"light\"\nconfirm = { zh = \"亮?\", en = \"Lit?\" }\n"),
      HasSubstr("a step asks a person, and standard input is no terminal"));
}

TEST_F(RunPlanTest, ASerialNumberOfAnotherPlanIsRefused) {
  for (const std::string wrong : {"AB0000001", "AB000000012", "ab00000001", ""}) {
    const std::string said = refused({nobody, "run", "--plan", plan_, "--serial", wrong, "--records", file_});
    EXPECT_THAT(said, HasSubstr("\"" + wrong + "\" is no serial number of main-board")) << said;
  }
}

TEST_F(RunPlanTest, WordsThatDoNotGoWithAPlanOrAreMissingBesideItAreRefused) {
  const std::vector<std::string> whole{nobody,     "run",  "--plan",    plan_,
                                       "--serial", serial, "--records", file_};
  const auto with = [&whole](std::initializer_list<std::string> more) {
    std::vector<std::string> words = whole;
    words.insert(words.end(), more);
    return words;
  };
  EXPECT_THAT(refused(with({"rtc"})), HasSubstr("cannot stand beside --plan"));
  EXPECT_THAT(refused(with({"--family", "T1"})), HasSubstr("cannot stand beside --plan"));
  EXPECT_THAT(refused(with({"--timeout", "5"})), HasSubstr("cannot stand beside --plan"));
  EXPECT_THAT(refused(with({"--wait", "5"})), HasSubstr("--board-wait"));
  EXPECT_THAT(refused({nobody, "run", "--plan", plan_, "--records", file_}), HasSubstr("--serial"));
  EXPECT_THAT(refused({nobody, "run", "--plan", plan_, "--serial", serial}), HasSubstr("--records"));
  EXPECT_THAT(refused({nobody, "run", "rtc", "--serial", serial}), HasSubstr("--plan"));
}

TEST_F(RunPlanTest, RecordsOfAnotherApplicationOrProcessAreRefusedAndStayAsTheyAre) {
  records_support::write(file_, "minutes of a meeting, long enough to be looked at as something of its own");
  const std::string before = records_support::content_of(file_);
  EXPECT_EQ(run(nobody), 4);
  EXPECT_THAT(err(), HasSubstr("nothing was run"));
  EXPECT_EQ(records_support::content_of(file_), before);
  std::filesystem::remove(file_);
  records_support::sql(file_, "CREATE TABLE letters (text)");
  EXPECT_EQ(run(nobody), 4);
  EXPECT_THAT(err(), HasSubstr("nothing was run"));
  std::filesystem::remove(file_);
  const t1station::Records owner(file_);
  EXPECT_EQ(run(nobody), 4);
  EXPECT_THAT(err(), HasSubstr("nothing was run"));
}

TEST_F(RunPlanTest, AUnitWithItsRunsBehindItIsRefusedUntilItIsReleased) {
  {
    t1station::Records records(file_);
    records_support::fail(records, serial);
    records_support::fail(records, serial);
  }
  EXPECT_EQ(run(nobody), 4);
  EXPECT_THAT(err(), HasSubstr(serial + " has not passed main-board in 2 runs: to repair"));
  EXPECT_EQ(records_support::runs_of(file_).size(), 2U) << "a refusal is no run";
  EXPECT_EQ(run_app({"records", "release", file_, serial, "--reason", "new sensor"}), 0) << err();
  FakeBoard board({{sends(greeting()), hears(), sends(rtc_pass()), hears(), sends(degrees("20")), hears()}});
  EXPECT_EQ(run(board.address()), 0) << err();
  EXPECT_EQ(stored().number, 3);
}

}  // namespace
