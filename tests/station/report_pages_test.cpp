// Reports and the engineer's pages: what a reader finds there, whatever stands in the records.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <pugixml.hpp>
#include <sstream>

#include "station/app/app.h"
#include "station/report/figures_html.h"
#include "station/report/plots.h"
#include "station/report/run_html.h"
#include "station/text/software.h"
#include "tests/station/records_support.h"
#include "tests/station/scripted_link.h"
#include "tests/station/web_line.h"

namespace {

using namespace records_support;
using t1station::Figures;
using t1station::Language;
using t1station::MeasurementFigures;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr const char* kHostile = "</td><script>alert(1)</script> & \"'>\n<b>=1\x1b[2J";
constexpr const char* kHarmless = "</td><script>alert(1)</script> & \"'>\n<b>=1\xEF\xBF\xBD[2J";

std::string html_of(const Figures& figures, const t1station::RunsLink& link = nullptr) {
  pugi::xml_document document;
  t1station::add_figures(t1station::add(document, "main"), figures, t1station::Wording(Language::en),
                         {link, {}});
  return t1station::html_text(document);
}

/// Where a text stands as the whole text of an element, or as an attribute's value.
int times_found(const pugi::xml_node& page, const std::string& text) {
  int times = 0;
  for (const pugi::xpath_node& found : page.select_nodes("//text() | //@*")) {
    const std::string value = found.attribute() ? found.attribute().value() : found.node().value();
    times += value.find(text) != std::string::npos;
  }
  return times;
}

MeasurementFigures measured_as(std::vector<t1station::HistogramBar> bars, double low, double high) {
  MeasurementFigures measurement;
  measurement.name = "degrees";
  measurement.histogram = std::move(bars);
  measurement.low = low;
  measurement.high = high;
  measurement.mean = (measurement.histogram.front().from + measurement.histogram.back().to) / 2;
  return measurement;
}

std::string plot_of(const MeasurementFigures& measurement) {
  pugi::xml_document document;
  t1station::add_histogram(document, measurement, nullptr);
  return t1station::html_text(document);
}

TEST(ReportTest, WithoutRunsThereIsNoYieldAndNothingToPlot) {
  const std::string page = html_of({});
  EXPECT_THAT(page, AllOf(HasSubstr("<b>–</b>"), HasSubstr("0 / 0 units"),
                          HasSubstr("There are no runs in this window.")));
  EXPECT_THAT(page, Not(HasSubstr("<svg")));
}

TEST(ReportTest, OneRunIsShownAsOne) {
  Figures figures;
  figures.runs = figures.units = 1;
  figures.verdicts["passed"].add("id-1");
  figures.first_pass = figures.first_pass_strict = figures.final = {1, 1};
  t1station::SlotFigures slot;
  slot.station = "ICT-3";
  slot.runs = 1;
  figures.slots.push_back(slot);
  const std::string page = html_of(figures);
  EXPECT_THAT(page, AllOf(HasSubstr("<b>100.0 %</b>"), HasSubstr("Nothing: every run passed.")));
  EXPECT_THAT(page, Not(testing::ContainsRegex("nan|inf|<a "))) << "and leads nowhere on paper";
}

TEST(ReportTest, WhateverStandsInTheRecordsStaysText) {
  t1station::StoredRun run;
  run.id = run.serial = run.plan_id = run.plan_name = run.plan_version = run.station = run.software =
      kHostile;
  run.slot = run.operator_name = run.board = run.build = run.verdict = run.reason = run.hash = kHostile;
  run.started = run.kind = kHostile;
  t1station::StoredAttempt attempt;
  attempt.id = attempt.step = attempt.request = kHostile;
  attempt.outcome = attempt.description = attempt.reply = attempt.console = kHostile;
  attempt.measurements.push_back({kHostile, 1.0, kHostile, {}, {}, kHostile});
  run.attempts.push_back(attempt);
  pugi::xml_document page;
  ASSERT_TRUE(page.load_string(t1station::html_run(run, Language::both).c_str()));
  EXPECT_EQ(page.select_nodes("//script | //b").size(), 0U);
  EXPECT_GE(times_found(page, kHarmless), 20);

  Figures figures;
  figures.runs = 2;
  figures.failures.push_back({kHostile, kHostile, kHostile, {{kHostile, 1}}, {1, {kHostile}}, {}, {}});
  figures.steps.resize(1);
  figures.steps[0].plan = figures.steps[0].step = kHostile;
  figures.slots.resize(1);
  figures.slots[0].station = kHostile;
  figures.slots[0].slot = kHostile;
  figures.measurements.push_back(measured_as({{1, 2, 3, 1, {kHostile}}}, 0, 3));
  figures.measurements[0].plan = figures.measurements[0].step = figures.measurements[0].name = kHostile;
  figures.measurements[0].unit = kHostile;
  const auto link = [](const t1station::RunFilter& filter) {
    return "/runs?plan=" + filter.plan.value_or("");
  };
  ASSERT_TRUE(page.load_string(html_of(figures, link).c_str()));
  EXPECT_EQ(page.select_nodes("//script").size(), 0U);
  EXPECT_GE(times_found(page, kHarmless), 14);
}

TEST(ReportTest, NumbersOfABoardsWordsAreShownApartWhereTheyDiffer) {
  Figures figures;
  figures.runs = 5;
  figures.failures.push_back(
      {"a", "b", "T# open", {{"failed", 3}}, {3, {}}, {{0, 7}}, {"T0 open", "T7 open"}});
  figures.failures.push_back({"a", "b", "T# short", {{"failed", 2}}, {2, {}}, {{1, 1}}, {"T1 short"}});
  figures.failures.push_back(
      {"a", "b", "# ports got # bytes", {{"failed", 1}}, {1, {}}, {{4, 4}, {0, 9}}, {"4 ports got 0 bytes"}});
  const std::string page = html_of(figures);
  EXPECT_THAT(
      page, AllOf(HasSubstr(">T# open<"), HasSubstr("failed · # 0 … 7<"), HasSubstr(">T1 short<"),
                  Not(HasSubstr("# 1")), HasSubstr(">4 ports got # bytes<"), HasSubstr("failed · # 0 … 9<")));
}

TEST(ReportTest, AHistogramShowsLimitsWhereTheyAreAndFarOnesBesideIt) {
  const std::vector<t1station::HistogramBar> bars{{40, 41, 3, 3, {}}, {41, 42, 0, 0, {}}, {42, 43, 7, 7, {}}};
  const std::string near = plot_of(measured_as(bars, 38, 42.2));
  EXPECT_THAT(near, AllOf(HasSubstr("class=\"limit\""), Not(HasSubstr("◀")), HasSubstr("42 … 43: 7")));
  EXPECT_THAT(near, HasSubstr("column outside"));
  EXPECT_THAT(plot_of(measured_as(bars, -1000, 1000)),
              AllOf(Not(HasSubstr("class=\"limit\"")), HasSubstr("◀ -1000"), HasSubstr("1000 ▶")));
}

TEST(ReportTest, ValuesOfAnySizeMakeAPlotOrNone) {
  for (const auto& [from, to] : std::initializer_list<std::pair<double, double>>{
           {5, 5}, {0, 0}, {1e15, 1e15 + 1}, {-1e300, 1e300}, {-1.7e308, 1.7e308}, {1e-300, 2e-300}}) {
    const std::string plot = plot_of(measured_as({{from, to, 4, 4, {}}}, from, to));
    EXPECT_THAT(plot, Not(testing::ContainsRegex("nan|inf"))) << from << " " << to;
    EXPECT_LT(plot.size(), 5000U);
  }
}

/// What `t1station records export` writes of two runs.
class ReportFileTest : public testing::Test {
 protected:
  ReportFileTest() {
    pass(records_, "AB00000001", true);
    fail(records_, "AB00000002");
  }
  int run(std::vector<std::string> words) {
    words.insert(words.begin(), {"records", "export", file_});
    out_.str("");
    err_.str("");
    return t1station::run_app(words, {out_, err_, clock_, interrupt_, "2026-11-22T03:17:12"});
  }

  const OwnDirectory directory_;
  const std::string file_ = directory_.file("records.db");
  t1station::Records records_{file_};
  ManualClock clock_;
  t1station::Interrupt interrupt_;
  std::ostringstream out_, err_;
};

TEST_F(ReportFileTest, OfAWindowHasTheFiguresTheRunsThatDidNotPassAndTheLastHash) {
  EXPECT_EQ(run({"--format", "html"}), 0);
  EXPECT_THAT(out_.str(), AllOf(HasSubstr("一次合格率 First-pass yield"), HasSubstr("AB00000002"),
                                HasSubstr("<svg"), HasSubstr(*runs_of(file_).at(1).hash),
                                HasSubstr("<footer class=\"small\">" + t1station::software() + "</footer>")));
  EXPECT_THAT(out_.str(),
              AllOf(Not(HasSubstr("AB00000001")), Not(HasSubstr("<script")), Not(HasSubstr("<link"))));
  EXPECT_EQ(run({"--format", "html", "--to", "2020-01-01", "--language", "zh"}), 0);
  EXPECT_THAT(out_.str(), AllOf(HasSubstr("这段时间内没有运行。"), Not(HasSubstr("Final"))));
  EXPECT_EQ(run({"--format", "html", "--plan", "other"}), 0);
  EXPECT_THAT(out_.str(), Not(HasSubstr("AB00000002")));
}

TEST_F(ReportFileTest, OfAUnitHasEachOfItsRuns) {
  EXPECT_EQ(run({"--format", "html", "--serial", "AB00000001", "--language", "en"}), 0);
  EXPECT_THAT(out_.str(), AllOf(HasSubstr("Test report"), HasSubstr("✓ PASS"), Not(HasSubstr("AB00000002"))));
}

TEST_F(ReportFileTest, SaysWhyAUnitFailedInTheLanguageOfItsReader) {
  const std::string said = *runs_of(file_).at(1).reason;
  ASSERT_EQ(said.substr(0, 18), "step clock: failed") << said;
  run({"--format", "html", "--serial", "AB00000002", "--language", "zh"});
  EXPECT_THAT(out_.str(), AllOf(HasSubstr("步骤 clock：不合格"), Not(HasSubstr("step clock"))));
  run({"--format", "html", "--serial", "AB00000002", "--language", "en"});
  EXPECT_THAT(out_.str(), AllOf(HasSubstr("step clock: failed"), Not(HasSubstr("步骤"))));
}

TEST_F(ReportFileTest, TranslatesWhatTheStationSaidForASilentBoardAndNoBoardsWords) {
  constexpr const char* kSilent =
      "no reply within 60 s: the board does not know this code, or the test hangs";
  for (const auto outcome : {t1station::AttemptOutcome::timed_out, t1station::AttemptOutcome::failed}) {
    const std::string id = records_.begin_run(unit("AB00000003"), plan());
    t1station::AttemptEnd end = ended(outcome);
    end.description = kSilent;
    records_.end_attempt(records_.begin_attempt(clock_attempt(id, "")), end);
    records_.end_run(id, {});
    const bool is_stations = outcome == t1station::AttemptOutcome::timed_out;
    run({"--format", "html", "--run", id, "--language", "zh"});
    EXPECT_EQ(out_.str().find(kSilent) == std::string::npos, is_stations);
    run({"--format", "html", "--language", "zh"});
    EXPECT_THAT(out_.str(), HasSubstr("60 秒内没有应答"));
  }
}

TEST_F(ReportFileTest, OfAUnitThatNobodyHasSeenIsRefused) {
  EXPECT_EQ(run({"--format", "html", "--serial", "AB00000009", "-o", "-"}), 4);
  EXPECT_EQ(out_.str(), "");
  EXPECT_EQ(err_.str(), "t1station: there is no run of AB00000009 in " + file_ + "\n");
  EXPECT_EQ(run({"--format", "html", "--serial", "AB00000001", "-o", "-"}), 0);
  EXPECT_THAT(out_.str(), HasSubstr("AB00000001"));
}

TEST_F(ReportFileTest, ChoicesOfOneFormatAreRefusedForAnother) {
  EXPECT_EQ(run({"--format", "csv", "--language", "en"}), 4);
  EXPECT_EQ(err_.str(), "t1station: --language is for html only\n");
  EXPECT_EQ(run({"--format", "html", "--gbk"}), 4);
  EXPECT_EQ(err_.str(), "t1station: --gbk is for csv only\n");
  EXPECT_EQ(run({"--format", "html", "--language", "de"}), 4);
  EXPECT_THAT(err_.str(), HasSubstr("\"de\" is no language: there are zh and en"));
}

TEST_F(ReportFileTest, AWordThatGbkLacksIsAQuestionMarkAndNoFormulaIsLeft) {
  t1station::NewRun run_of = unit("AB00000003");
  run_of.operator_name = "'Wu";
  const std::string id = records_.begin_run(run_of, plan());
  t1station::AttemptEnd end = ended(t1station::AttemptOutcome::failed);
  end.description = "＝cmd 电压\xF0\x9F\x94\x8B";
  records_.end_attempt(records_.begin_attempt(clock_attempt(id, "")), end);
  EXPECT_EQ(run({"--format", "csv", "--run", id}), 0);
  EXPECT_THAT(out_.str(), AllOf(testing::StartsWith("\xEF\xBB\xBFrun_id,"), HasSubstr(",''Wu,"),
                                HasSubstr(",'＝cmd 电压\xF0\x9F\x94\x8B,")));
  EXPECT_EQ(run({"--format", "csv", "--run", id, "--gbk"}), 0);
  EXPECT_THAT(out_.str(), AllOf(testing::StartsWith("run_id,"), HasSubstr(",'\xA3\xBD"
                                                                          "cmd \xB5\xE7\xD1\xB9?,")));
}

/// The pages of a line with one failed run.
class EngineersPagesTest : public testing::Test {
 protected:
  EngineersPagesTest() {
    line_.start();
    fail(*line_.records, "AB00000001");
    id_ = runs_of(line_.file.records).at(0).id;
  }

  WebLine line_;
  std::string id_;
};

TEST_F(EngineersPagesTest, ShowTheLastSevenDaysARunAndItsUnit) {
  const WebReply results = line_.get("/results?language=en");
  EXPECT_EQ(results.status, 200);
  EXPECT_EQ(results.field("content-type"), "text/html; charset=utf-8");
  EXPECT_EQ(results.field("cache-control"), "no-store");
  EXPECT_THAT(results.body, AllOf(HasSubstr("Results of ICT-3"), HasSubstr("<b>0.0 %</b>"),
                                  HasSubstr("&amp;step=clock&amp;attempt=lost&amp;words=")));
  EXPECT_THAT(line_.get("/results?from=&to=2020-01-01").body, HasSubstr("这段时间内没有运行。"));
  EXPECT_THAT(line_.get("/runs/" + id_).body,
              AllOf(HasSubstr("✕ 不合格"), HasSubstr("href=\"/runs?serial=AB00000001\""),
                    HasSubstr("data-bytes=\"reply\"")));
  EXPECT_THAT(line_.get("/runs?serial=AB00000001").body, HasSubstr("href=\"/runs/" + id_ + "\""));
  EXPECT_THAT(line_.get("/runs?verdict=failed,open&step=clock&attempt=repeated&retried=yes&language=en").body,
              AllOf(HasSubstr("<h1>Runs: 1</h1>"),
                    HasSubstr("✕ FAIL / … NO END YET · retried · step clock: tried again"),
                    HasSubstr("data-run=\"" + id_)));
}

TEST_F(EngineersPagesTest, FindUnitsByAPartOfTheirSerialNumbers) {
  for (const char* serial : {"AB00000011", "ab00000110", "AB000001100", "AB%_000022"})
    pass(*line_.records, serial);
  const auto found = [this](const std::string& asked) {
    std::vector<std::string> serials;
    const nlohmann::json runs = line_.json("/api/runs?" + asked)["runs"];
    for (const nlohmann::json& run : runs) serials.push_back(run["serial"]);
    return serials;
  };
  EXPECT_THAT(found("serial_part=0110"), testing::ElementsAre("AB000001100", "ab00000110"));
  EXPECT_THAT(found("serial_part=aB00000011&verdict=passed"), testing::ElementsAre("AB00000011"));
  EXPECT_THAT(found("serial_part=%25_"), testing::ElementsAre("AB%_000022")) << "no pattern";
  EXPECT_THAT(found("serial_part=X"), testing::ElementsAre());
  const std::string page = line_.get("/runs?search=+0110+").body;
  EXPECT_THAT(page, AllOf(HasSubstr("<h1>运行记录: 2</h1>"), HasSubstr("href=\"/runs?serial=AB000001100\""),
                          HasSubstr("href=\"/runs?serial=ab00000110\"")));
  EXPECT_THAT(line_.get("/runs?search=AB00000011&language=en").body,
              AllOf(HasSubstr("<h1>Runs: 1</h1>"), HasSubstr("Serial number AB00000011<")))
      << "the unit with this whole number, as a scanner says it";
}

TEST_F(EngineersPagesTest, SayWhatIsWrongOnAPage) {
  EXPECT_THAT(
      line_.get("/runs?serial=%22%3E%3Cscript%3E&plan=%3Cscript%3E").body,
      AllOf(HasSubstr("没有这样的运行。"), HasSubstr("\"&gt;&lt;script&gt;"), Not(HasSubstr("<script>"))));
  const WebReply none = line_.get("/runs/nothing?language=en");
  EXPECT_EQ(none.status, 404);
  EXPECT_THAT(none.body, AllOf(HasSubstr("<h1>Not found</h1>"), HasSubstr("href=\"/results?language=en\"")));
  for (const char* target :
       {"/results?from=now", "/results?language=de", "/results?limit=1", "/runs?verdict=good",
        "/runs?verdict=,passed", "/runs?kind=odd", "/runs?to=1", "/runs/x?from=1", "/runs?first=maybe",
        "/runs?attempt=failed", "/runs?step=x&attempt=odd", "/runs?step=x&words=y", "/runs?measurement=x",
        "/runs?step=x&measurement=y&low=nan"}) {
    const WebReply reply = line_.get(target);
    EXPECT_EQ(reply.status, 400) << target;
    EXPECT_THAT(reply.body, AllOf(HasSubstr("<h1>出错</h1>"), HasSubstr("class=\"trouble\""))) << target;
  }
}

TEST_F(EngineersPagesTest, LookAsTheReportsThatAreFilesDo) {
  const WebReply style = line_.get("/page/report.css");
  EXPECT_EQ(style.field("content-type"), "text/css; charset=utf-8");
  EXPECT_THAT(t1station::html_header("x", Language::en), HasSubstr(style.body));
}

}  // namespace
