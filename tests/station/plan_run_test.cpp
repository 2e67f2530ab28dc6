// A unit on its way through a plan: what is tried again, what stops it, what is kept, and the verdict.
#include <gmock/gmock.h>

#include "tests/station/plan_run.h"
#include "tests/station/recording_disk.h"

namespace {

using namespace board_texts;
using namespace t1station;
using testing::ElementsAre;
using testing::HasSubstr;

const std::string rtc_fail = reply(1536, rtc_name_gbk, "Fail", read_failed_gbk);
const std::string light_pass = reply(14592, light_name_gbk, "Pass", "");

/// The bytes of the document in a record.
std::string document_in(const std::string& record) {
  return record.substr(4);
}

/// The greeting of a board whose banner has another text in the place of `from`, which is as long.
std::string greeting_with(const std::string& from, const std::string& to) {
  std::string text = greeting();
  return text.replace(text.find(from), from.size(), to);
}
const std::string other_build = greeting_with("Mar 29 2019", "Mar 30 2019");
const std::string no_build = greeting_with("BUILD:", "BUILT:");
// Shown alike, since control characters are not shown.
const std::string odd_build = greeting_with("Mar 29 2019", "Mar 2\x01 2019");
const std::string other_odd_build = greeting_with("Mar 29 2019", "Mar 2\x02 2019");

TEST_F(PlanRun, AnAttemptIsStoredBeforeItsRequestGoesOutAndItsEndBeforeAnybodyHearsOfIt) {
  int looks = 0;
  diary_.at = [&](const std::string& line) {
    if (line == "hear connection") {
      ++looks;
      EXPECT_EQ(stored().connections.at(0).build, "BUILD: Mar 29 2019-22:09:55");
      EXPECT_EQ(stored().board, "192.0.2.7:36001");
    } else if (line == "hear start of clock 1" || line == "send request") {
      ++looks;
      ASSERT_EQ(stored().attempts.size(), 1U);
      EXPECT_EQ(last_attempt().request, document_in(request(1536)));
      EXPECT_EQ(last_attempt().outcome, std::nullopt);
    } else if (line == "hear passed" || line == "hear end of clock") {
      ++looks;
      EXPECT_EQ(last_attempt().outcome, "passed");
      EXPECT_EQ(last_attempt().board_name, rtc_name);
      EXPECT_EQ(last_attempt().reply, document_in(rtc_pass()));
      EXPECT_EQ(last_attempt().measurements.size(), 1U);
    }
  };
  connection({{bytes_after(6, rtc_pass())}, {close_after(1)}});
  run(step_text("clock", "[[step.measure]]\nname = \"length\"\nfrom = \"seconds\"\nhigh = 6.0\n"));
  EXPECT_EQ(looks, 5);
  EXPECT_EQ(verdict(), "passed");
  EXPECT_THAT(diary_.lines, ElementsAre("store connection", "hear connection", "store start of clock 1",
                                        "hear start of clock 1", "send request", "store passed",
                                        "hear passed", "hear end of clock", "send quit", "store verdict"));
}

TEST_F(PlanRun, WhatIsSaidOfAStepWithoutAnAttemptIsStoredWithTheVerdictBefore) {
  connection({{bytes_after(6, rtc_pass())}, {}});  // it goes away behind the first attempt of "hangs"
  std::vector<std::string> heard;
  diary_.at = [&](const std::string& line) {
    if (line.starts_with("hear end")) heard.push_back(line + ", " + stored().verdict.value_or("not stored"));
  };
  run(step_text("clock") + step_text("hangs") + step_text("never-begun"));
  EXPECT_THAT(heard, ElementsAre("hear end of clock, not stored", "hear end of hangs, not stored",
                                 "hear end of never-begun, error"));
}

TEST_F(PlanRun, AfterAFailureTheNextAttemptUsesTheSameConnectionAndAPassEndsTheStep) {
  connection({{bytes_after(6, rtc_fail)}, {bytes_after(6, rtc_pass())}});
  run(step_text("clock", "attempts = 3\n"));
  EXPECT_THAT(attempts(), ElementsAre("clock 1 failed", "clock 2 passed"));
  EXPECT_EQ(connections(), 1U);
  EXPECT_EQ(verdict(), "passed");
  EXPECT_TRUE(ended_.retried);
  EXPECT_EQ(results_[0].attempts, 2);
}

TEST_F(PlanRun, AfterNoReplyOrSomethingBrokenTheNextAttemptGetsAConnectionOfItsOwn) {
  connection({{bytes_after(21, rtc_pass())}});
  connection({{bytes_after(6, light_pass)}});
  connection({{close_after(6)}});
  connection({{bytes_after(6, rtc_pass())}});
  run(step_text("clock", "attempts = 9\n"));
  EXPECT_THAT(attempts(),
              ElementsAre("clock 1 timed_out", "clock 2 broken", "clock 3 broken", "clock 4 passed"));
  EXPECT_EQ(connections(), 4U);
  EXPECT_EQ(stored().connections.size(), 4U);
  EXPECT_EQ(last_attempt().connection_id, stored().connections.back().id);
  EXPECT_EQ(verdict(), "passed");
}

TEST_F(PlanRun, TheLastAttemptDecides) {
  connection({{bytes_after(6, rtc_fail)}, {bytes_after(6, rtc_fail)}});
  run(step_text("clock", "attempts = 2\n"));
  EXPECT_THAT(attempts(), ElementsAre("clock 1 failed", "clock 2 failed"));
  EXPECT_EQ(verdict(), "failed");
  EXPECT_THAT(ended_.reason, HasSubstr(read_failed));
}

TEST_F(PlanRun, AStepWithoutReplyMakesAnErrorWhateverFailedBesides) {
  connection({{bytes_after(6, rtc_fail)}, {}});
  run(step_text("clock") + step_text("hangs"));
  EXPECT_THAT(attempts(), ElementsAre("clock 1 failed", "hangs 1 timed_out"));
  EXPECT_EQ(verdict(), "error");
}

TEST_F(PlanRun, BehindAStopTheRestIsLeftOutButForWhatAlwaysRuns) {
  connection({{bytes_after(6, rtc_fail)}, {bytes_after(6, rtc_pass())}});
  run(step_text("clock", "on_fail = \"stop\"\n") + step_text("left-out") +
      step_text("put-back", "always = true\n"));
  EXPECT_THAT(attempts(), ElementsAre("clock 1 failed", "put-back 1 passed"));
  EXPECT_EQ(results_[1].outcome, Outcome::not_run);
  EXPECT_EQ(results_[1].description, "an earlier test did not pass");
  EXPECT_EQ(verdict(), "failed");
}

TEST_F(PlanRun, AStepThatPassedInTheEndStopsNothing) {
  connection({{bytes_after(6, rtc_fail)}, {bytes_after(6, rtc_pass())}, {bytes_after(6, rtc_pass())}});
  run(step_text("clock", "on_fail = \"stop\"\nattempts = 2\n") + step_text("next"));
  EXPECT_THAT(attempts(), ElementsAre("clock 1 failed", "clock 2 passed", "next 1 passed"));
}

TEST_F(PlanRun, APersonsStopEndsTheAttemptAndWhatAlwaysRunsIsStillRun) {
  connection({{bytes_after(19, rtc_pass())}});
  connection({{bytes_after(6, rtc_pass())}});
  bool is_raised = false;
  listener_.on_tick = [&](double elapsed) {
    if (elapsed > 3 && !std::exchange(is_raised, true)) interrupt_.raise();
  };
  run(step_text("clock", "attempts = 2\n") + step_text("left-out") +
      step_text("put-back", "always = true\n"));
  EXPECT_THAT(attempts(), ElementsAre("clock 1 stopped", "put-back 1 passed"));
  EXPECT_EQ(verdict(), "stopped");
  EXPECT_EQ(stored().verdict, "stopped");
  EXPECT_EQ(requests(), 2);
}

TEST_F(PlanRun, AStopBehindAFailureDoesNotReachWhatAlwaysRuns) {
  connection({{bytes_after(6, rtc_fail)}, {bytes_after(6, rtc_pass())}});
  diary_.at = [&](const std::string& line) {
    if (line == "hear end of clock") interrupt_.raise();
  };
  run(step_text("clock", "on_fail = \"stop\"\n") + step_text("put-back", "always = true\n"));
  EXPECT_THAT(attempts(), ElementsAre("clock 1 failed", "put-back 1 passed"));
  EXPECT_EQ(verdict(), "stopped");
}

TEST_F(PlanRun, AStopBetweenTwoAttemptsAsksForNoMoreOfThatStep) {
  connection({{close_after(6)}});
  connection({{bytes_after(6, rtc_pass())}});
  diary_.at = [&](const std::string& line) {
    if (line == "hear broken") interrupt_.raise();
  };
  run(step_text("clock", "attempts = 2\n") + step_text("put-back", "always = true\n"));
  EXPECT_THAT(attempts(), ElementsAre("clock 1 broken", "put-back 1 passed"));
  EXPECT_EQ(verdict(), "stopped");
}

TEST_F(PlanRun, AStoppedRunStaysOneWhenTheBoardIsGoneForWhatAlwaysRuns) {
  connection({{bytes_after(6, rtc_pass())}, {close_after(6)}});
  diary_.at = [&](const std::string& line) {
    if (line == "hear end of clock") interrupt_.raise();
  };
  run(step_text("clock") + step_text("left-out") + step_text("put-back", "always = true\nattempts = 2\n"));
  EXPECT_THAT(attempts(), ElementsAre("clock 1 passed", "put-back 1 broken"));
  EXPECT_EQ(verdict(), "stopped");
}

TEST_F(PlanRun, AStopWhileTheBoardIsWaitedForIsNoError) {
  listener_.on_tick = [&](double elapsed) {
    if (elapsed > 3) interrupt_.raise();
  };
  run(step_text("clock"));
  EXPECT_EQ(verdict(), "stopped");
  EXPECT_EQ(results_[0].outcome, Outcome::interrupted);
}

TEST_F(PlanRun, AnotherBuildOnALaterConnectionEndsTheRun) {
  for (const auto& [first, second] :
       {std::pair(greeting(), other_build), std::pair(greeting(), no_build), std::pair(no_build, greeting()),
        std::pair(odd_build, other_odd_build)}) {
    starts_.clear(), answers_.clear(), diary_.lines.clear();
    connection({{close_after(6)}}, first);
    connection({{bytes_after(6, rtc_pass())}}, second);
    run(step_text("clock", "attempts = 2\n") + step_text("put-back", "always = true\n"));
    EXPECT_EQ(verdict(), "error");
    EXPECT_THAT(ended_.reason, HasSubstr("another board, or another program on it"));
    EXPECT_EQ(requests(), 1) << "nothing may be asked of another board";
    EXPECT_EQ(script_->links.at(1)->sent, std::vector<std::string>{request(62208)}) << "it is left free";
  }
}

TEST_F(PlanRun, ABuildThatIsNotThePlansEndsTheRunBeforeAnythingIsAsked) {
  for (const std::string& wrong : {other_build, no_build}) {
    starts_.clear(), answers_.clear();
    connection({{bytes_after(6, rtc_pass())}}, wrong);
    run(step_text("clock"), "build = 'BUILD: Mar 29.*'\n");
    EXPECT_EQ(verdict(), "error");
    EXPECT_THAT(ended_.reason, HasSubstr("is not one of this plan"));
    EXPECT_EQ(requests(), 0);
  }
  connection({{bytes_after(6, rtc_pass())}});
  starts_.erase(starts_.begin()), answers_.erase(answers_.begin());
  run(step_text("clock"), "build = 'BUILD: Mar 29.*'\n");
  EXPECT_EQ(verdict(), "passed");
  run(step_text("clock"), "build = 'BUILD: Mar 29'\n");
  EXPECT_EQ(verdict(), "error") << "the whole line must match";
}

TEST_F(PlanRun, ABoardThatNeverComesIsAnErrorWithoutAttempts) {
  const double start = clock_.now();
  run(step_text("clock", "attempts = 3\n") + step_text("put-back", "always = true\n"));
  EXPECT_NEAR(clock_.now() - start, 60, 0.2);
  EXPECT_THAT(attempts(), ElementsAre());
  EXPECT_EQ(verdict(), "error");
  EXPECT_EQ(stored().reason, "no connection to board: Connection refused");
  EXPECT_EQ(stored().board, std::nullopt);
}

TEST_F(PlanRun, ABoardThatDoesNotComeBackMakesAnErrorOfAFailure) {
  connection({{bytes_after(6, rtc_fail)}, {close_after(6)}});
  run(step_text("clock") + step_text("again", "attempts = 2\n"));
  EXPECT_THAT(attempts(), ElementsAre("clock 1 failed", "again 1 broken"));
  EXPECT_EQ(verdict(), "error");
}

TEST_F(PlanRun, AReplyThatNobodyAskedForBreaksTheAttemptAndIsKept) {
  connection({{bytes_after(6, rtc_pass()), bytes_after(6, light_pass)}});
  connection({{bytes_after(6, rtc_pass())}});
  run(step_text("clock") + step_text("again", "attempts = 2\n"));
  EXPECT_THAT(attempts(), ElementsAre("clock 1 passed", "again 1 broken", "again 2 passed"));
  const StoredAttempt broken = stored().attempts.at(1);
  EXPECT_EQ(broken.reply, document_in(light_pass));
  EXPECT_EQ(broken.description, "the board sent a reply to 14592 that nobody asked for");
  EXPECT_EQ(requests(), 2) << "the broken attempt's request must not go out";
}

TEST_F(PlanRun, WhatCameOfAReplyThatBrokeOrCameTooLateIsKept) {
  const std::string part = rtc_pass().substr(0, 40);
  connection({{bytes_after(6, part), close_after(7)}});
  connection({{bytes_after(19, part), bytes_after(21, rtc_pass().substr(40))}});
  connection({{bytes_after(6, light_pass)}});
  run(step_text("clock", "attempts = 3\n"));
  const StoredRun run = stored();
  EXPECT_THAT(attempts(), ElementsAre("clock 1 broken", "clock 2 timed_out", "clock 3 broken"));
  EXPECT_EQ(run.attempts[0].reply, document_in(part));
  EXPECT_EQ(run.attempts[1].reply, document_in(part));
  EXPECT_EQ(run.attempts[2].reply, document_in(light_pass)) << "a whole one, and the wrong one";
}

TEST_F(PlanRun, TheReplyOfARestartIsKeptLikeAnyOtherAndNothingIsSentBehindIt) {
  const std::string restarts = reply(-15, "x", "Pass", "");
  connection({{bytes_after(1, restarts)}});
  run("[[step]]\nname = \"restart\"\ntest = \"restart\"\n");
  EXPECT_EQ(verdict(), "passed");
  EXPECT_EQ(last_attempt().reply, document_in(restarts));
  EXPECT_EQ(script_->links.at(0)->sent, std::vector<std::string>{request(-15)});
}

TEST_F(PlanRun, AMeasurementOutsideItsLimitsOrMissingFailsWhateverTheBoardSaid) {
  const std::string measured = step_text("clock",
                                         "attempts = 4\n[[step.measure]]\nname = \"degrees\"\nmatch = "
                                         "'T=(-?[0-9.]+)'\nunit = \"degC\"\nlow = 10.0\nhigh = 60.0\n");
  const auto says = [](const std::string& text) {
    return std::vector<Event>{bytes_after(6, reply(1536, rtc_name_gbk, "Pass", text))};
  };
  connection({says("T=9.9"), says("T=60.1"), says("nothing"), says("T=60.0")});
  run(measured);
  EXPECT_THAT(attempts(),
              ElementsAre("clock 1 failed", "clock 2 failed", "clock 3 failed", "clock 4 passed"));
  EXPECT_EQ(verdict(), "passed");
  std::vector<std::string> outcomes;
  for (const StoredAttempt& attempt : stored().attempts)
    outcomes.push_back(attempt.measurements.at(0).outcome);
  EXPECT_THAT(outcomes, ElementsAre("low", "high", "not_found", "passed"));
  EXPECT_EQ(stored().attempts[0].measurements[0].value, 9.9);
  EXPECT_EQ(stored().attempts[2].measurements[0].value, std::nullopt);
}

TEST_F(PlanRun, AFailOfTheBoardStaysOneWhateverWasMeasured) {
  connection({{bytes_after(6, reply(1536, rtc_name_gbk, "Fail", "T=20"))}});
  run(step_text("clock", "[[step.measure]]\nname = \"degrees\"\nmatch = 'T=([0-9]+)'\nlow = 10.0\n"));
  EXPECT_EQ(verdict(), "failed");
  EXPECT_EQ(last_attempt().measurements.at(0).outcome, "passed");
}

TEST_F(PlanRun, RecordsThatBreakEndTheRunAtOnceAndNothingMoreIsSentOrShown) {
  for (const std::string line : {"store connection", "store start of clock 1", "store failed",
                                 "store start of clock 2", "store verdict"}) {
    diary_.lines.clear();
    RecordingDisk disk;
    vfs_ = disk.name();
    bool is_full = false;
    disk.fault = [&](std::string_view call, std::string_view /*file*/) {
      return is_full && call == "write" ? SQLITE_FULL : SQLITE_OK;
    };
    diary_.at = [&](const std::string& now) { is_full = is_full || now == line; };
    starts_.clear(), answers_.clear();
    connection({{bytes_after(6, rtc_fail)}, {bytes_after(6, rtc_pass())}});
    EXPECT_THROW(run(step_text("clock", "attempts = 2\n") + step_text("put-back", "always = true\n")),
                 RecordsBroken);
    EXPECT_EQ(diary_.lines.back(), line);
  }
}

}  // namespace
