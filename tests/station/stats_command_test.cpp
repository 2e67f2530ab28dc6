// The command `t1station stats`, as people and scripts use it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "station/app/app.h"
#include "station/plan/plan_file.h"
#include "station/records/records.h"
#include "tests/harness/own_directory.h"
#include "tests/station/records_support.h"
#include "tests/station/scripted_link.h"

namespace {

using namespace records_support;
using testing::HasSubstr;

/// Two units, of which one failed; the file is still open for writing.
class StatsCommandTest : public testing::Test {
 protected:
  StatsCommandTest() {
    pass(records_, "AB00000001");
    fail(records_, "AB00000002");
  }

  int run(std::vector<std::string> words) {
    out_.str("");
    err_.str("");
    words.insert(words.begin(), "stats");
    const t1station::Environment around{out_, err_, clock_, interrupt_, "2026-11-22T03:17:12"};
    return t1station::run_app(words, around);
  }
  std::string out() const { return out_.str(); }
  std::string err() const { return err_.str(); }

  const OwnDirectory directory_;
  const std::string file_ = directory_.file("records.db");
  t1station::Records records_{file_};
  ManualClock clock_;
  t1station::Interrupt interrupt_;
  std::ostringstream out_, err_;
};

TEST_F(StatsCommandTest, ItShowsTablesWithBars) {
  EXPECT_EQ(run({file_}), 0);
  EXPECT_THAT(out(), testing::StartsWith("All plans\n2 runs of 2 units\n"));
  EXPECT_THAT(out(), HasSubstr("  first pass          50.0 %      2       1  ###############\n"));
  EXPECT_THAT(out(), HasSubstr("     1  ##############################  main-board  clock  said so\n"));
  EXPECT_THAT(
      out(), HasSubstr("  main-board  clock           2         3  66.7 %   50.0 %         1.5       1.5\n"));
  EXPECT_THAT(
      out(),
      HasSubstr(
          "\nmain-board, temperature: degrees (degC), at least 10, at most 60\n  1 values, mean 35.25\n"));
}

TEST_F(StatsCommandTest, AWindowAndAPlanLeaveOutTheOthers) {
  EXPECT_EQ(run({file_, "--to", "2026-01-01", "--from", "2025-12-31T23:00:00Z", "--plan", "main-board"}), 0);
  EXPECT_EQ(out(),
            "Plan main-board, from 2025-12-31T23:00:00.000Z, up to 2026-01-01T00:00:00.000Z\n0 runs of 0 "
            "units\n\n");
  EXPECT_EQ(run({file_, "--plan", "other", "--json"}), 0);
  EXPECT_EQ(nlohmann::json::parse(out())["runs"], 0);
  EXPECT_EQ(run({file_, "--from", "2000-01-01", "--json"}), 0);
  EXPECT_EQ(nlohmann::json::parse(out())["first_pass_yield"], 0.5);
}

TEST_F(StatsCommandTest, AShiftIsAskedForByTheClockOfThePlant) {
  const auto from = [this](const std::string& word) {
    const int code = run({file_, "--from", word, "--json"});
    return code == 0 ? nlohmann::json::parse(out())["from"].get<std::string>() : "refused";
  };
  EXPECT_EQ(from("2026-03-01T07:30+08:00"), "2026-02-28T23:30:00.000Z");
  EXPECT_EQ(from("2025-12-31T20:00:59.250-04:30"), "2026-01-01T00:30:59.250Z");
  EXPECT_EQ(from("2026-03-01T07:30Z"), "2026-03-01T07:30:00.000Z");
  for (const char* word : {"2026-03-01T07:30", "2026-03-01T07:30+8", "2026-03-01T07:30+08:60",
                           "2026-03-01T24:00Z", "2026-03-01+08:00", "2026-03-01T07:30:00.1Z",
                           "2026-03-01T07:30+08:00Z", "9999-12-31T23:00-08:00", "0000-01-01T07:00+08:00"}) {
    EXPECT_EQ(from(word), "refused") << word;
  }
}

TEST_F(StatsCommandTest, APlanThatNoRunWasUnderIsSaidWithThoseThatThereAre) {
  EXPECT_EQ(run({file_, "--plan", "main-board", "--to", "2000-01-01"}), 0);
  EXPECT_EQ(err(), "") << "a window without runs is none of its mistakes";
  EXPECT_EQ(run({file_, "--plan", "mainboard"}), 0);
  EXPECT_EQ(err(), "t1station: no run was under a plan named mainboard: there is main-board\n");
  for (int i = 0; i < 11; ++i) {
    std::string text = plan_text();
    text.replace(text.find("main-board"), 10, "board-" + std::to_string(10 + i));
    records_.end_run(records_.begin_run(unit("AB00000003"), t1station::parse_plan("plan.toml", text)), {});
  }
  run({file_, "--plan", "mainboard"});
  EXPECT_THAT(err(), HasSubstr("there are board-10, board-11, "));
  EXPECT_THAT(err(), HasSubstr(", board-19 and 2 more\n"));
}

TEST_F(StatsCommandTest, WordsThatMakeNoSenseAndFilesThatAreNoRecordsAreRefused) {
  EXPECT_EQ(run({file_, "--from", "yesterday"}), 4);
  EXPECT_THAT(err(), HasSubstr("--from is no time"));
  EXPECT_EQ(run({}), 4);
  EXPECT_EQ(run({file_, "--slot", "1"}), 4);
  EXPECT_EQ(run({directory_.file("nothing.db")}), 4);
  EXPECT_EQ(run({directory_.path().string()}), 4);
  write(directory_.file("text"), "this is no database, but long enough to be looked at as one");
  EXPECT_EQ(run({directory_.file("text")}), 4);
  EXPECT_EQ(out(), "");
}

TEST_F(StatsCommandTest, ADamagedFileCannotBeRead) {
  const std::string copy = directory_.file("copy.db");
  sql(file_, "VACUUM INTO '" + copy + "'");
  std::string bytes = content_of(copy);
  for (std::size_t place = 4096; place < bytes.size(); place += 7) bytes[place] = '\xA5';
  write(copy, bytes);
  EXPECT_EQ(run({copy}), 6);
  EXPECT_THAT(err(), HasSubstr("t1station: cannot read " + copy));
}

}  // namespace
