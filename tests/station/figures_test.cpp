// The figures of a line, against loops over a list of its runs.
#include "station/figures/figures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <iomanip>
#include <random>
#include <regex>
#include <set>
#include <sstream>

#include "station/figures/records_figures.h"
#include "station/records/records.h"
#include "station/report/figures_json.h"
#include "station/report/figures_text.h"
#include "station/web/run_question.h"
#include "tests/harness/own_directory.h"
#include "tests/station/figures_file.h"
#include "tests/station/figures_model.h"
#include "tests/station/random_line.h"
#include "tests/station/records_support.h"
#include "tests/station/web_line.h"

namespace {

using namespace figures_model;
using nlohmann::json;
using testing::HasSubstr;

t1station::FigureWindow asked_of(const Window& window) {
  return {window.from, window.to, window.plan, window.batch};
}

json figures_of(const std::string& file, const Window& window) {
  t1station::RecordsFigures records(file);
  return json::parse(t1station::figures_json(t1station::find_figures(records, asked_of(window))));
}

/// Bars stand side by side and hold each value once.
void check_histogram(const json& measurement) {
  const json& bars = measurement["histogram"];
  ASSERT_LE(bars.size(), 25U);
  std::int64_t values = 0;
  for (std::size_t i = 0; i < bars.size(); ++i) {
    values += bars[i]["values"].get<std::int64_t>();
    EXPECT_EQ(bars[i]["from"], i > 0 ? bars[i - 1]["to"] : bars[i]["from"]);
    EXPECT_LE(bars[i]["run_ids"].size(), 20U);
  }
  EXPECT_EQ(values, measurement["values"].get<std::int64_t>());
  if (bars.empty()) return;
  EXPECT_LE(bars.front()["from"], measurement["minimum"]);
  EXPECT_GE(bars.back()["to"], measurement["maximum"]);
}

class FiguresTest : public testing::Test {
 protected:
  const OwnDirectory directory_;
  const std::string file_ = directory_.file("records.db");
};

TEST_F(FiguresTest, ThousandsOfRandomHistoriesGiveWhatLoopsOverTheirRunsGive) {
  const char* wanted = std::getenv("BOARDTEST_HISTORIES");  // lines, with 25 windows each
  const unsigned lines = wanted ? static_cast<unsigned>(std::stoul(wanted)) : 40;
  for (unsigned seed = 1; seed <= lines; ++seed) {
    RandomLine line(seed);
    const std::string file = directory_.file(std::to_string(seed) + ".db");
    store(file, line.runs());
    for (int i = 0; i < 25; ++i) {
      const Window window = i == 0 ? Window() : line.window();
      const json figures = figures_of(file, window);
      for (const json& measurement : figures["measurements"]) check_histogram(measurement);
      const std::string found = difference(comparable(figures), document_of(line.runs(), window));
      ASSERT_EQ(found, "") << "seed " << seed << ", window " << i;
    }
  }
}

json kept_figures_of(const std::string& file, const Window& window) {
  return json::parse(t1station::figures_json(t1station::find_figures(file, asked_of(window), 1)));
}

/// The lists of runs that a page's numbers lead to, and how many runs each must have.
std::vector<std::pair<std::string, std::size_t>> lists_of(const std::string& page) {
  static const std::regex link(R"lit(<a [^>]*href="(/runs\?[^"]*)" data-runs="(\d+)">)lit");
  std::vector<std::pair<std::string, std::size_t>> lists;
  for (std::sregex_iterator found(page.begin(), page.end(), link), end; found != end; ++found) {
    lists.emplace_back(std::regex_replace((*found)[1].str(), std::regex("&amp;"), "&"),
                       std::stoul((*found)[2]));
  }
  return lists;
}

/// A text as it stands in an address.
std::string encoded(const std::string& text) {
  std::ostringstream all;
  all << std::hex << std::uppercase;
  for (const char letter : text)
    all << '%' << std::setw(2) << std::setfill('0') << int{static_cast<unsigned char>(letter)};
  return all.str();
}

TEST_F(FiguresTest, EachNumberOfThePageLeadsToExactlyItsRuns) {
  std::set<std::string> kinds;  // of links: the names in their questions
  for (unsigned seed = 1; seed <= 30; ++seed) {
    RandomLine line(seed);
    WebLine at_work;
    at_work.start();
    store(at_work.file.records, line.runs());
    const Window window = seed % 3 == 0 ? Window() : line.window();
    const std::string asked = "from=" + window.from.value_or("") + "&to=" + window.to.value_or("") +
                              "&plan=" + window.plan.value_or("") +
                              "&batch=" + encoded(window.batch.value_or(""));
    for (const auto& [list, runs] : lists_of(at_work.get("/results?" + asked).body)) {
      EXPECT_EQ(at_work.json("/api" + list + "&limit=1000")["runs"].size(), runs)
          << "seed " << seed << " " << list;
      kinds.insert(std::regex_replace(list, std::regex("=[^&]*"), ""));
    }
  }
  EXPECT_GT(kinds.size(), 40U) << "figures of every kind were there";
}

/// A page of a list as the tables have it, and as it is found with the kept days' help.
std::pair<std::vector<std::string>, std::vector<std::string>> pages_of(const std::string& file,
                                                                       const t1station::RunFilter& filter) {
  std::pair<std::vector<std::string>, std::vector<std::string>> pages;
  t1station::RecordsReader(file).for_each_row(
      filter, [&](const t1station::StoredRun& run) { pages.first.push_back(run.id); });
  t1station::for_each_run(
      file, filter, [&](const t1station::StoredRun& run) { pages.second.push_back(run.id); }, 1);
  return pages;
}

TEST_F(FiguresTest, ListsFoundInKeptDaysAreThoseOfTheTables) {
  for (unsigned seed = 31; seed <= 36; ++seed) {
    RandomLine line(seed);
    WebLine at_work;
    at_work.start();
    const std::string& file = at_work.file.records;
    const auto half = line.runs().begin() + static_cast<std::ptrdiff_t>(line.runs().size() / 2);
    store(file, Runs{line.runs().begin(), half});
    t1station::find_figures(file, {}, 1);
    store(file, Runs{half, line.runs().end()});  // on days that were kept, and others
    for (const auto& [list, runs] : lists_of(at_work.get("/results").body)) {
      SCOPED_TRACE(list);
      t1station::Call call;
      call.target = t1station::parse_target(list);
      t1station::RunFilter filter = t1station::asked_runs(call, {});
      filter.limit = 4;
      for (std::size_t found = 4; found == 4;) {
        const auto [stored, kept] = pages_of(file, filter);
        ASSERT_EQ(kept, stored);
        found = stored.size();
        if (found > 0) filter.before = stored.back();
      }
    }
  }
}

TEST_F(FiguresTest, KeptDaysAlwaysSayWhatTheRunsSay) {
  for (unsigned seed = 1001; seed <= 1025; ++seed) {
    RandomLine line(seed);
    const std::string file = directory_.file(std::to_string(seed) + ".db");
    Runs stored;
    // Runs come in any order of their times, as with a clock that is set back; some end later.
    for (std::size_t done = 0; done < line.runs().size();) {
      const std::size_t next = std::min(done + 3 + seed % 7, line.runs().size());
      for (figures_model::Run& open : stored) {
        if (open.verdict || seed % 2 == 0) continue;
        open.verdict = "failed";
        end(file, open);
        break;
      }
      store(file, Runs{line.runs().begin() + static_cast<std::ptrdiff_t>(done),
                       line.runs().begin() + static_cast<std::ptrdiff_t>(next)});
      for (; done < next; ++done) stored.push_back(line.runs()[done]);
      for (const Window& window : {line.window(), Window()}) {
        const std::string found =
            difference(comparable(kept_figures_of(file, window)), document_of(stored, window));
        ASSERT_EQ(found, "") << "seed " << seed << ", " << done << " runs";
      }
      // The operator's page tells the same yield of the day that began then.
      const std::string day = line.window().from.value_or("2000-01-01");
      const auto told = t1station::RecordsReader(file).counts_since(day).first_pass_yield;
      ASSERT_EQ(
          difference(told ? json(*told) : json(), document_of(stored, {day, {}, {}})["first_pass_yield"]), "")
          << "seed " << seed << ", " << done << " runs since " << day;
    }
  }
}

/// Runs of one step that measures; the slot is "1", and "2" for those that are named so.
Runs measured_runs(const std::vector<double>& values) {
  Runs runs;
  for (const double value : values) {
    Run run;
    run.id = std::to_string(100000 + runs.size());
    run.serial = "AB" + run.id;
    run.plan = "main";
    run.version = "1";
    run.kind = "production";
    run.station = "ICT-1";
    run.slot = "1";
    run.started = "2026-11-22T10:00:00.000Z";
    run.verdict = "passed";
    run.attempts.push_back(
        {"fan", 0, 1, "passed", 1.0, "turns", {{"speed", "rpm", 0, 100, value, "passed"}}});
    runs.push_back(run);
  }
  return runs;
}

/// 50 and a bit, in the manner of a bell: quantiles of the normal distribution, in an order without a trend.
std::vector<double> good_values(int count) {
  std::vector<double> values;
  std::mt19937 random(1);
  std::normal_distribution<double> bell(50, 5);
  for (int i = 0; i < count; ++i) values.push_back(bell(random));
  return values;
}

TEST_F(FiguresTest, ALineWithoutRunsHasNoYieldAndAllKeys) {
  t1station::Records{file_};
  const json figures = figures_of(file_, {});
  for (const char* yield : {"first_pass_yield", "first_pass_yield_strict", "final_yield"}) {
    EXPECT_TRUE(figures[yield].is_null()) << yield;
  }
  for (const char* list : {"plans", "failures", "steps", "slots", "batches", "measurements"}) {
    EXPECT_EQ(figures[list], json::array()) << list;
  }
  EXPECT_EQ(figures["verdicts"].size(), 6U);
  EXPECT_EQ(difference(figures, document_of({}, {})), "");
}

TEST_F(FiguresTest, AFileThatIsNotThereIsRefusedAndNotMade) {
  EXPECT_THROW(t1station::RecordsFigures{file_}, t1station::RecordsRefused);
  EXPECT_FALSE(std::filesystem::exists(file_));
}

TEST_F(FiguresTest, AUnitThatWasRunBeforeTheWindowIsNoNewOneInIt) {
  {
    t1station::Records records(file_);
    records_support::fail(records, "AB00000001");
    records_support::pass(records, "AB00000001");
    records_support::pass(records, "AB00000002");
    records_support::pass(records, "AB00000003", true);
  }
  const std::vector<t1station::StoredRun> runs = records_support::runs_of(file_);
  json all = figures_of(file_, {});
  EXPECT_DOUBLE_EQ(all["first_pass_yield"], 1 / 3.0) << "one failed, one was retried";
  EXPECT_EQ(all["first_runs"]["run_ids"], json({runs[3].id, runs[0].id}));
  EXPECT_DOUBLE_EQ(all["final_yield"], 1);
  EXPECT_EQ(all["failures"][0]["words"], "said so");
  ASSERT_LT(runs[0].started, runs[1].started);
  const json later = figures_of(file_, {runs[1].started, {}, {}});
  EXPECT_DOUBLE_EQ(later["first_pass_yield"], 0.5);
  EXPECT_EQ(later["units"], 3);
  EXPECT_EQ(later["runs"], 3) << "the beginning is inside";
  EXPECT_EQ(figures_of(file_, {{}, runs[1].started, {}})["runs"], 1) << "the end is not";
}

TEST_F(FiguresTest, WhatIsStoredWhileFiguresAreFoundIsInNoneOfThem) {
  t1station::Records records(file_);
  records_support::pass(records, "AB00000001");
  t1station::RecordsFigures figures(file_);
  const auto runs = [&figures] {
    std::int64_t count = 0;
    figures.rows("SELECT count(*) FROM run", {},
                 [&count](const t1station::FigureRow& row) { count = row.integer(0); });
    return count;
  };
  figures.at_one_moment([&] {
    EXPECT_EQ(runs(), 1);
    records_support::pass(records, "AB00000002");
    EXPECT_EQ(runs(), 1);
  });
  EXPECT_EQ(runs(), 2);
}

TEST_F(FiguresTest, ASlotThatDiffersFromTheOthersIsMarkedFromTwentyRunsOn) {
  Runs runs = measured_runs(std::vector<double>(60, 50));
  for (std::size_t i = 0; i < runs.size(); ++i) {
    if (i < 20) runs[i].slot = "2";
    if (i < 8) runs[i].verdict = "failed";
  }
  store(file_, runs);
  const json slots = figures_of(file_, {})["slots"];
  EXPECT_LT(slots[1]["p"], 0.01);
  EXPECT_TRUE(slots[1]["marked"]);
  EXPECT_EQ(slots[1]["run_ids"].size(), 8U);
  EXPECT_THAT(slots[0]["others"], (json{{"runs", 20}, {"not_passed", 8}}));
  const std::string few = directory_.file("few.db");
  runs.erase(runs.begin());
  store(few, runs);
  EXPECT_LT(figures_of(few, {})["slots"][1]["p"], 0.01);
  EXPECT_FALSE(figures_of(few, {})["slots"][1]["marked"]) << "19 runs";
}

TEST_F(FiguresTest, ABatchThatDiffersFromTheOthersIsMarkedAndLooksInsideItself) {
  Runs runs = measured_runs(std::vector<double>(60, 50));
  for (std::size_t i = 0; i < runs.size(); ++i) {
    runs[i].serial = (i < 20 ? "AB0021" : "AB0022") + std::to_string(1000 + i);
    if (i < 8) runs[i].verdict = "failed";
  }
  store(file_, runs);
  const json batches = figures_of(file_, {})["batches"];
  ASSERT_EQ(batches.size(), 2U);
  EXPECT_EQ(batches[0]["begin"], "AB0021");
  EXPECT_DOUBLE_EQ(batches[0]["first_pass_yield"], 0.6);
  EXPECT_LT(batches[0]["p"], 0.01);
  EXPECT_TRUE(batches[0]["marked"]);
  EXPECT_THAT(batches[0]["others"], (json{{"units", 40}, {"passed", 40}}));
  const json inside = figures_of(file_, {{}, {}, {}, "AB0021"});
  EXPECT_EQ(inside["units"], 20);
  EXPECT_DOUBLE_EQ(inside["first_pass_yield"], 0.6);
  ASSERT_EQ(inside["batches"].size(), 2U);
  EXPECT_EQ(inside["batches"][0]["begin"], "AB0021100");
}

TEST_F(FiguresTest, ThirtyValuesHaveACapabilityAndTwentyNineHaveNone) {
  for (const int count : {29, 30}) {
    const std::string file = directory_.file(std::to_string(count));
    store(file, measured_runs(good_values(count)));
    const json measurement = figures_of(file, {})["measurements"][0];
    for (const char* key : {"capability", "normality", "drift"}) {
      EXPECT_EQ(measurement[key].is_null(), count == 29) << key;
    }
  }
}

/// What a terminal shows of a file.
std::string text_of(const std::string& file) {
  t1station::RecordsFigures records(file);
  return t1station::figures_text(t1station::find_figures(records, {}));
}

TEST_F(FiguresTest, ValuesThatDriftOrAreNoBellAreWarnedOfAndGoodOnesAreNot) {
  std::vector<double> values = good_values(100);
  store(file_, measured_runs(values));
  EXPECT_THAT(text_of(file_), testing::Not(HasSubstr("!")));
  for (std::size_t i = 0; i < values.size(); ++i) values[i] += static_cast<double>(i) / 10;
  store(directory_.file("drift"), measured_runs(values));
  EXPECT_THAT(text_of(directory_.file("drift")), HasSubstr("! drifts by 1"));
  for (std::size_t i = 0; i < values.size(); ++i) values[i] = i % 2 == 0 ? 20 : 60;
  store(directory_.file("two"), measured_runs(values));
  EXPECT_THAT(text_of(directory_.file("two")), HasSubstr("! not normally distributed (D'Agostino"));
}

TEST_F(FiguresTest, WhatABoardSaysNeitherSteersTheTerminalNorSpoilsTheTable) {
  Runs runs = measured_runs({50, 50});
  runs[0].attempts[0].outcome = runs[1].attempts[0].outcome = "failed";
  runs[0].attempts[0].description = "=cmd()\t\x1b[31m\n电压 3 \"V\", \xff";
  runs[1].attempts[0].description.reset();
  runs[1].attempts[0].outcome = "timed_out";
  store(file_, runs);
  EXPECT_THAT(text_of(file_), HasSubstr("=cmd() \uFFFD[#m 电压 # \"V\", \uFFFD  31; 3\n"));
  EXPECT_THAT(text_of(file_), HasSubstr("(timed_out)"));
  EXPECT_EQ(figures_of(file_, {})["failures"].size(), 2U);
}

TEST_F(FiguresTest, KeptDaysThatAreDamagedOrAnotherFilesAreFoundAnew) {
  const Runs runs = measured_runs(good_values(40));
  Runs others = measured_runs(good_values(30));
  const std::string kept = file_ + "-figures";
  const auto expect_right = [&](const Runs& stored) {
    EXPECT_EQ(difference(comparable(kept_figures_of(file_, {})), document_of(stored, {})), "");
  };
  store(file_, runs);
  expect_right(runs);
  ASSERT_TRUE(std::filesystem::exists(kept));
  const std::string good = records_support::content_of(kept);
  for (std::size_t place = 0; place < good.size(); place += 53) {
    std::string bad = good;
    bad[place] = static_cast<char>(bad[place] ^ 0x10);
    records_support::write(kept, bad);
    expect_right(runs);
  }
  records_support::write(kept, "no database at all, and long enough to be taken for one by its length alone");
  expect_right(runs);
  EXPECT_EQ(records_support::column(kept, "SELECT count(*) > 0 FROM day").at(0), "1") << "kept anew";
  // Other records take the place of these, and not all of their days are asked for at once.
  others[0].started = "2026-11-23T10:00:00.000Z";
  std::filesystem::remove(file_);
  store(file_, others);
  EXPECT_EQ(kept_figures_of(file_, {"2026-11-23T00:00:00.000Z", {}, {}})["runs"], 1);
  expect_right(others);
  // As with a full disk.
  records_support::sql(kept,
                       "CREATE TRIGGER full BEFORE INSERT ON day BEGIN SELECT RAISE(ABORT, 'full'); END");
  others.push_back(others[0]);
  others.back().id = "200000";
  store(file_, {others.back()});
  expect_right(others);
  std::filesystem::remove(kept);
  std::filesystem::create_directory(kept);
  expect_right(others);
}

TEST_F(FiguresTest, NothingIsKeptBesideAnotherUsersRecords) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
  const Runs runs = measured_runs({50});
  store(file_, runs);
  ASSERT_EQ(chown(file_.c_str(), 1, 1), 0);
  EXPECT_EQ(difference(comparable(kept_figures_of(file_, {})), document_of(runs, {})), "");
  EXPECT_FALSE(std::filesystem::exists(file_ + "-figures"));
}

}  // namespace
