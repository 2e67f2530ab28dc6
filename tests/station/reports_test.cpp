// What a run leaves behind: its exit code, the table for people, JSON, JUnit XML, and files that are whole or
// not there.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <pugixml.hpp>
#include <sstream>
#include <system_error>

#include "station/app/exit_code.h"
#include "station/catalogue/codes.h"
#include "station/report/json.h"
#include "station/report/junit.h"
#include "station/report/table.h"
#include "station/report/whole_file.h"
#include "station/run/result.h"
#include "station/text/errors.h"
#include "station/text/software.h"
#include "station/text/text.h"
#include "tests/harness/own_directory.h"
#include "tests/station/board_texts.h"

namespace {

using namespace t1station;
using nlohmann::json;
using testing::HasSubstr;

// ---- the exit code ----------------------------------------------------------------------------------------

TEST(ResultTest, TheWorstOutcomeGivesTheExitCode) {
  using enum Outcome;
  const std::pair<std::vector<Outcome>, int> runs[] = {
      {{passed, passed}, 0},      {{passed, failed}, 1},          {{failed, not_run}, 1},
      {{failed, timed_out}, 6},   {{broken, failed, not_run}, 6}, {{passed, interrupted}, 2},
      {{broken, interrupted}, 2}, {{passed, not_run}, 2},         {{}, 5},
  };
  for (const auto& [outcomes, code] : runs) {
    RunReport report;
    for (const Outcome outcome : outcomes) report.results.push_back({1536, outcome, "", "", 1});
    EXPECT_EQ(exit_code_of(report), code) << testing::PrintToString(outcomes.size());
  }
}

// ---- the table ------------------------------------------------------------------------------------------

RunReport sample() {
  RunReport report;
  report.results = {{1536, Outcome::passed, board_texts::rtc_name, board_texts::success, 6.04},
                    {14592, Outcome::failed, board_texts::light_name, "", 10},
                    {1, Outcome::timed_out, "", "no reply within 30 s", 30},
                    {1024, Outcome::not_run, "", "interrupted by the operator", 0}};
  return report;
}

TEST(TableTest, ResultsOfABoardLineUpThoughTheirNamesAreChinese) {
  EXPECT_EQ(results_table(sample(), false),
            "Test    Code  Result    Seconds  Board's name  Description\n"
            "-----  -----  --------  -------  ------------  ---------------------------\n"
            "rtc     1536  Pass          6.0  测试RTC时钟   测试成功\n"
            "light  14592  Fail         10.0  测试内置灯\n"
            "1          1  no reply     30.0                no reply within 30 s\n"
            "rs485   1024  not run       0.0                interrupted by the operator\n"
            "\n"
            "4 tests: 1 passed, 1 failed, 1 without reply, 1 not run, 46.0 s\n");
}

TEST(TableTest, TestsOfOneNameOnTheBoardAreToldApartAndLinesStayInTheirColumn) {
  RunReport report;
  report.results = {{520, Outcome::passed, "测试应用程序", "", 1},
                    {528, Outcome::passed, "测试应用程序", "\nTG param OK\n\n{0x1, 0x2}\n", 1},
                    {9728, Outcome::passed, "设置vsub电压值", "", 1, 650}};
  EXPECT_EQ(results_table(report, false),
            "Test              Code  Result  Seconds  Board's name    Description\n"
            "----------------  ----  ------  -------  --------------  -----------\n"
            "alarm-5in3out      520  Pass        1.0  测试应用程序\n"
            "alarm-5in5out      528  Pass        1.0  测试应用程序    TG param OK\n"
            "\n"
            "                                                         {0x1, 0x2}\n"
            "set-sub-6455=650  9728  Pass        1.0  设置vsub电压值\n"
            "\n"
            "3 tests: 3 passed, 0 failed, 3.0 s\n");
}

TEST(TableTest, ColorsDoNotMoveColumns) {
  std::string table = results_table(sample(), true);
  EXPECT_THAT(table, HasSubstr("rtc     1536  \x1b[32mPass\x1b[0m          6.0"));
  EXPECT_THAT(table, HasSubstr("light  14592  \x1b[31mFail\x1b[0m         10.0"));
  for (const std::string color : {"\x1b[31m", "\x1b[32m", "\x1b[33m", "\x1b[0m"}) {
    while (table.find(color) != std::string::npos) table.erase(table.find(color), color.size());
  }
  EXPECT_EQ(table, results_table(sample(), false));
}

TEST(TableTest, TheListShowsEveryTestOnceAndThatOfAFamilyItsTestsInTheirOrder) {
  const std::string all = tests_table();
  const auto lines = static_cast<std::size_t>(std::count(all.begin(), all.end(), '\n'));
  EXPECT_EQ(lines, 1 + catalogue::tests().size()) << "a heading and every test";
  EXPECT_THAT(all, HasSubstr(" 1536    0x600  rtc                           6  RTC clock\n"));
  EXPECT_THAT(all,
              HasSubstr("  -15           restart                       1  Restart into the application\n"));
  const std::string table = tests_table("ma");
  EXPECT_LT(table.find("alarm-5in3out"), table.find("rs485-ptz"));
  EXPECT_LT(table.find(" ma "), table.find("restart"));
  EXPECT_EQ(table.find("set-sub"), std::string::npos) << table;
}

// ---- JSON for machines ----------------------------------------------------------------------------------

TEST(ReportJsonTest, ARunIsDescribedByDocumentedFieldsAndReadableChinese) {
  RunReport report;
  report.board = "192.0.2.7:36001";
  report.started = "2024-05-06T07:08:09";
  report.build = "BUILD: Mar 29 2019-22:09:55";
  report.results = {{1536, Outcome::passed, board_texts::rtc_name, board_texts::success, 6.00449},
                    {1, Outcome::timed_out, "", "no reply", 30, 650}};
  EXPECT_THAT(json_report(report), HasSubstr("测试成功"));
  report.exit_code = exit_code_of(report);
  EXPECT_EQ(json::parse(json_report(report)), json::parse(R"({
    "board": "192.0.2.7:36001",
    "build": "BUILD: Mar 29 2019-22:09:55",
    "software": ")" + t1station::software() + R"(",
    "started": "2024-05-06T07:08:09Z",
    "exit_code": 6,
    "summary": {"total": 2, "passed": 1, "failed": 0, "timed_out": 1, "broken": 0, "interrupted": 0, "not_run": 0,
                "seconds": 36.004},
    "tests": [
      {"code": 1536, "name": "rtc", "title": "RTC clock", "parameter": null, "board_name": "测试RTC时钟", "result": "passed",
       "seconds": 6.004, "description": "测试成功"},
      {"code": 1, "name": "1", "title": "test 1", "parameter": 650, "board_name": "", "result": "timed_out", "seconds": 30.0,
       "description": "no reply"}
    ]})"));
  report.results[0].description = "\xFF";
  EXPECT_EQ(json::parse(json_report(report))["tests"][0]["description"], "\uFFFD") << "no UTF-8 is no matter";
}

// ---- JUnit XML for build servers ------------------------------------------------------------------------

class ReportJunitTest : public testing::Test {
 protected:
  void SetUp() override {
    report_.board = "192.0.2.7:36001";
    report_.started = "2024-05-06T07:08:09";
    report_.build = "BUILD: x";
    report_.results = {{1536, Outcome::passed, board_texts::rtc_name, board_texts::success, 6.0044},
                       {1536, Outcome::failed, board_texts::rtc_name, nasty, 1},
                       {1, Outcome::timed_out, "", "no reply", 30},
                       {1024, Outcome::broken, "", "the board closed the connection", 2},
                       {14592, Outcome::interrupted, "", "interrupted by the operator", 3},
                       {7426, Outcome::not_run, "", "interrupted by the operator", 0},
                       {9728, Outcome::passed, "x", "", 1, 650}};
    ASSERT_TRUE(xml_.load_string(junit_report(report_).c_str()));
    suite_ = xml_.child("testsuites").child("testsuite");
    for (const pugi::xml_node& test_case : suite_.children("testcase")) cases_.push_back(test_case);
  }

  const std::string nasty = "RTC读取失败 <b> & \"quotes\" 'here' ]]>\n\x01 end";
  RunReport report_;
  pugi::xml_document xml_;
  pugi::xml_node suite_;
  std::vector<pugi::xml_node> cases_;
};

TEST_F(ReportJunitTest, TheCountsOfTheSuiteAreThoseOfItsCases) {
  EXPECT_STREQ(suite_.attribute("tests").value(), "7");
  EXPECT_STREQ(suite_.attribute("failures").value(), "1");
  EXPECT_STREQ(suite_.attribute("errors").value(), "2");
  EXPECT_STREQ(suite_.attribute("skipped").value(), "2");
  EXPECT_STREQ(suite_.attribute("time").value(), "43.004");
  EXPECT_STREQ(suite_.attribute("timestamp").value(), "2024-05-06T07:08:09");
  EXPECT_STREQ(xml_.child("testsuites").attribute("tests").value(), "7");
  EXPECT_EQ(suite_.select_node("properties/property[@name='software']/@value").attribute().value(),
            t1station::software());
  EXPECT_EQ(cases_.size(), 7U);
}

TEST_F(ReportJunitTest, EachOutcomeIsACaseOfItsKind) {
  EXPECT_STREQ(cases_.at(0).attribute("name").value(), "1536 RTC clock");
  EXPECT_STREQ(cases_.at(0).attribute("classname").value(), "boardtest.rtc");
  EXPECT_STREQ(cases_.at(0).attribute("time").value(), "6.004");
  EXPECT_FALSE(cases_.at(0).first_child()) << "there is nothing to say of a pass";
  EXPECT_STREQ(cases_.at(2).child("error").attribute("message").value(), "no reply");
  EXPECT_STREQ(cases_.at(2).child("error").attribute("type").value(), "timed_out");
  EXPECT_STREQ(cases_.at(3).child("error").attribute("type").value(), "broken");
  EXPECT_TRUE(cases_.at(4).child("skipped"));
  EXPECT_TRUE(cases_.at(5).child("skipped"));
  const pugi::xml_node property = cases_.at(6).child("properties").child("property");
  EXPECT_STREQ(property.attribute("name").value(), "parameter");
  EXPECT_STREQ(property.attribute("value").value(), "650");
}

TEST_F(ReportJunitTest, AFailureHasTheBoardsDescriptionEscaped) {
  const pugi::xml_node failure = cases_.at(1).child("failure");
  EXPECT_STREQ(failure.child_value(), "RTC读取失败 <b> & \"quotes\" 'here' ]]>\n\uFFFD end");
  EXPECT_THAT(failure.attribute("message").value(), testing::StartsWith("RTC读取失败 <b> & \"quotes\" "));
  EXPECT_THAT(junit_report(report_), HasSubstr("]]&gt;"));
}

// ---- report files ---------------------------------------------------------------------------------------

class WholeFileTest : public testing::Test {
 protected:
  std::string path(const std::string& name) const { return directory_.file(name); }
  static std::string content(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
  }
  std::size_t files() const {
    namespace fs = std::filesystem;
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(directory_.path()), fs::directory_iterator()));
  }

  const OwnDirectory directory_;
};

TEST_F(WholeFileTest, AReportReplacesAnOlderOneWithTheRightsOfAnyNewFile) {
  write_whole_file(path("report"), "old and long");
  EXPECT_EQ(content(path("report")), "old and long");
  const mode_t before = umask(027);
  write_whole_file(path("report"), "new");
  umask(before);
  EXPECT_EQ(content(path("report")), "new");
  EXPECT_EQ(files(), 1U) << "nothing else stays";
  struct stat status {};
  ASSERT_EQ(stat(path("report").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0640U);
}

TEST_F(WholeFileTest, ALinkStaysALinkAndItsTargetIsReplaced) {
  write_whole_file(path("target"), "old");
  std::filesystem::create_symlink(path("target"), path("link"));
  write_whole_file(path("link"), "new");
  EXPECT_TRUE(std::filesystem::is_symlink(path("link")));
  EXPECT_EQ(content(path("target")), "new");
}

TEST_F(WholeFileTest, AReportThatCannotBePutInPlaceLeavesNothingBehind) {
  std::filesystem::create_directory(path("taken"));
  EXPECT_THROW(write_whole_file(path("missing/report"), "x"), std::system_error);
  EXPECT_THROW(write_whole_file(path("taken"), "x"), std::system_error);
  EXPECT_EQ(files(), 1U);
}

TEST_F(WholeFileTest, ADiskThatIsFullKeepsTheOlderReport) {
  write_whole_file(path("report"), "old");
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  rlimit small = before;
  small.rlim_cur = 1000;
  std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  EXPECT_THROW(write_whole_file(path("report"), std::string(5000, 'x')), std::system_error);
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, SIG_DFL);
  EXPECT_EQ(content(path("report")), "old");
  EXPECT_EQ(files(), 1U);
}

TEST_F(WholeFileTest, WhereNoReportCanBeWrittenIsKnownBeforehand) {
  EXPECT_NO_THROW(check_writable(path("report")));
  EXPECT_THROW(check_writable(path("missing/report")), Unwritable);
  EXPECT_THROW(check_writable(directory_.path().string()), UsageError);
  EXPECT_THROW(check_writable("/dev/null"), UsageError);
  EXPECT_THROW(check_writable(""), UsageError);
  EXPECT_EQ(files(), 0U);
}

}  // namespace
