// Counting results, and the exit code of a run.
#include "station/run/result.h"

#include <gtest/gtest.h>

namespace {

using t1station::exit_code_of;
using t1station::Outcome;
using t1station::RunReport;

RunReport report_of(const std::vector<Outcome>& outcomes) {
  RunReport report;
  for (const Outcome outcome : outcomes) {
    t1station::Result result;
    result.outcome = outcome;
    result.seconds = 1.5;
    report.results.push_back(result);
  }
  return report;
}

TEST(ResultTest, ARunIsOnlyPassedWhenEveryTestPassed) {
  EXPECT_EQ(exit_code_of(report_of({Outcome::passed, Outcome::passed})), 0);
  EXPECT_EQ(exit_code_of(report_of({Outcome::passed, Outcome::failed})), 1);
  EXPECT_EQ(exit_code_of(report_of({Outcome::failed, Outcome::not_run})), 1);
  EXPECT_EQ(exit_code_of(report_of({})), 5);
}

TEST(ResultTest, ATestWithoutReplyOrABrokenConnectionOutweighsAFail) {
  EXPECT_EQ(exit_code_of(report_of({Outcome::failed, Outcome::timed_out})), 6);
  EXPECT_EQ(exit_code_of(report_of({Outcome::broken, Outcome::failed, Outcome::not_run})), 6);
}

TEST(ResultTest, AnInterruptedRunIsNothingElse) {
  EXPECT_EQ(exit_code_of(report_of({Outcome::passed, Outcome::interrupted})), 2);
  EXPECT_EQ(exit_code_of(report_of({Outcome::broken, Outcome::interrupted})), 2);
  EXPECT_EQ(exit_code_of(report_of({Outcome::passed, Outcome::not_run})), 2);
}

TEST(ResultTest, CountsAndSecondsAddUp) {
  const RunReport report = report_of({Outcome::passed, Outcome::failed, Outcome::passed});
  EXPECT_EQ(report.count(Outcome::passed), 2U);
  EXPECT_EQ(report.count(Outcome::failed), 1U);
  EXPECT_EQ(report.count(Outcome::broken), 0U);
  EXPECT_DOUBLE_EQ(report.seconds(), 4.5);
}

TEST(ResultTest, EveryOutcomeHasANameForReportsAndALabelForPeople) {
  EXPECT_EQ(outcome_name(Outcome::timed_out), "timed_out");
  EXPECT_EQ(outcome_label(Outcome::timed_out), "no reply");
  EXPECT_EQ(outcome_name(Outcome::not_run), "not_run");
  EXPECT_EQ(outcome_label(Outcome::passed), "Pass");
}

}  // namespace
