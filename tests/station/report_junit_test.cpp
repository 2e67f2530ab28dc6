// JUnit XML for build servers.
#include "station/report/junit.h"

#include <gtest/gtest.h>

#include <pugixml.hpp>

#include "tests/station/board_texts.h"

namespace {

using namespace t1station;

class ReportJunitTest : public testing::Test {
 protected:
  void SetUp() override {
    report_.board = "192.0.2.7:36001";
    report_.started = "2024-05-06T07:08:09";
    report_.build = "BUILD: x";
    report_.results = {{1536, Outcome::passed, board_texts::rtc_name, board_texts::success, 6.0044},
                       {1536, Outcome::failed, board_texts::rtc_name, board_texts::read_failed, 1},
                       {1, Outcome::timed_out, "", "no reply", 30},
                       {1024, Outcome::broken, "", "the board closed the connection", 2},
                       {14592, Outcome::interrupted, "", "interrupted by the operator", 3},
                       {7426, Outcome::not_run, "", "interrupted by the operator", 0},
                       {9728, Outcome::passed, "x", "", 1, 650}};
    parse();
  }

  void parse() {
    ASSERT_TRUE(xml_.load_string(junit_report(report_).c_str()));
    suite_ = xml_.child("testsuites").child("testsuite");
    cases_.clear();
    for (const pugi::xml_node& test_case : suite_.children("testcase")) cases_.push_back(test_case);
  }

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
  EXPECT_EQ(cases_.size(), 7U);
}

TEST_F(ReportJunitTest, APassedTestIsACaseWithNothingInIt) {
  EXPECT_STREQ(cases_.at(0).attribute("name").value(), "1536 RTC clock");
  EXPECT_STREQ(cases_.at(0).attribute("classname").value(), "boardtest.rtc");
  EXPECT_STREQ(cases_.at(0).attribute("time").value(), "6.004");
  EXPECT_FALSE(cases_.at(0).first_child());
}

TEST_F(ReportJunitTest, AFailOfTheBoardIsAFailureWithItsDescription) {
  const pugi::xml_node failure = cases_.at(1).child("failure");
  EXPECT_EQ(failure.attribute("message").value(), board_texts::read_failed);
  EXPECT_EQ(failure.child_value(), board_texts::read_failed);
}

TEST_F(ReportJunitTest, AMissingReplyAndABrokenConnectionAreErrors) {
  EXPECT_STREQ(cases_.at(2).child("error").attribute("message").value(), "no reply");
  EXPECT_STREQ(cases_.at(2).child("error").attribute("type").value(), "timed_out");
  EXPECT_STREQ(cases_.at(3).child("error").attribute("type").value(), "broken");
}

TEST_F(ReportJunitTest, TestsWithoutAVerdictBecauseOfTheOperatorAreSkipped) {
  EXPECT_TRUE(cases_.at(4).child("skipped"));
  EXPECT_TRUE(cases_.at(5).child("skipped"));
}

TEST_F(ReportJunitTest, AParameterIsAPropertyOfItsCase) {
  const pugi::xml_node property = cases_.at(6).child("properties").child("property");
  EXPECT_STREQ(property.attribute("name").value(), "parameter");
  EXPECT_STREQ(property.attribute("value").value(), "650");
}

TEST_F(ReportJunitTest, TextsOfTheBoardAreEscaped) {
  const std::string nasty = "<b> & \"quotes\" 'here' ]]>\n\x01 end";
  report_.results[1].description = nasty;
  parse();
  EXPECT_STREQ(cases_.at(1).child("failure").child_value(), "<b> & \"quotes\" 'here' ]]>\n\uFFFD end");
  EXPECT_NE(junit_report(report_).find("]]&gt;"), std::string::npos);
}

}  // namespace
