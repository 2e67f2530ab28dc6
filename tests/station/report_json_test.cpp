// JSON for machines.
#include "station/report/json.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/station/board_texts.h"

namespace {

using namespace t1station;
using nlohmann::json;

RunReport sample() {
  RunReport report;
  report.board = "192.0.2.7:36001";
  report.started = "2024-05-06T07:08:09";
  report.build = "BUILD: Mar 29 2019-22:09:55";
  report.results = {{1536, Outcome::passed, board_texts::rtc_name, board_texts::success, 6.00449},
                    {1, Outcome::timed_out, "", "no reply", 30, 650}};
  return report;
}

TEST(ReportJsonTest, ARunIsDescribedByDocumentedFields) {
  const json report = json::parse(json_report(sample()));
  EXPECT_EQ(report, json::parse(R"({
    "board": "192.0.2.7:36001",
    "build": "BUILD: Mar 29 2019-22:09:55",
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
}

TEST(ReportJsonTest, ChineseIsWrittenReadably) {
  EXPECT_NE(json_report(sample()).find("测试成功"), std::string::npos);
}

TEST(ReportJsonTest, ATextThatIsNoUtf8StillMakesAReport) {
  RunReport report = sample();
  report.results[0].description = "\xFF";
  EXPECT_EQ(json::parse(json_report(report))["tests"][0]["description"], "\uFFFD");
}

}  // namespace
