// What stands beside a board on its way through a plan: a person, the board's console, its RS485 partner.
#include <gmock/gmock.h>

#include "tests/station/plan_run.h"

namespace {

using namespace board_texts;
using namespace t1station;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

const std::string clock_fails = reply(1536, rtc_name_gbk, "Fail", read_failed_gbk);

/// Answers so many seconds after it was asked.
class ScriptedPerson final : public Person {
 public:
  ScriptedPerson(const Clock& clock, Diary& diary) : clock_(clock), diary_(diary) {}
  void ask(const Question& question) override {
    diary_.write("ask " + question.en);
    asked_ = clock_.now();
  }
  std::optional<bool> answer() override {
    if (!says || clock_.now() - asked_ < after) return std::nullopt;
    return says;
  }
  void end_question() override { diary_.write("ask no more"); }

  std::optional<bool> says;  ///< nothing: nobody is there
  double after = 0;

 private:
  const Clock& clock_;
  Diary& diary_;
  double asked_ = 0;
};

/// Prints texts so many seconds after the start.
class ScriptedConsole final : public BoardConsole {
 public:
  explicit ScriptedConsole(const Clock& clock) : clock_(clock), start_(clock.now()) {}
  std::string take() override {
    std::string taken;
    while (!prints.empty() && clock_.now() >= start_ + prints.front().first) {
      if (prints.front().second == "gone") throw LinkError("/dev/ttyUSB0 is gone");
      taken += prints.front().second;
      prints.pop_front();
    }
    return taken;
  }
  std::deque<std::pair<double, std::string>> prints;

 private:
  const Clock& clock_;
  double start_;
};

/// Hears a wrong echo in so many attempts, and a right one then.
class ScriptedPartner final : public EchoPartner {
 public:
  void begin() override {
    ++attempts;
    ticks = 0;
  }
  void tick(double /*elapsed*/) override { ++ticks; }
  bool is_right() const override { return attempts > wrong; }
  std::string words() const override { return is_right() ? "the echo is right" : "the echo differs"; }
  int attempts = 0, ticks = 0, wrong = 0;
};

const std::string asks = "confirm = { zh = \"灯亮了吗?\", en = \"Is it lit?\" }\n";

class PlanRunQuestion : public PlanRun {
 protected:
  PlanRunQuestion() { slot_.person = &person_; }
  ScriptedPerson person_{clock_, diary_};
};

TEST_F(PlanRunQuestion, IsAskedBeforeTheRequestGoesOutAndYesBehindTheReplyLetsThePassStand) {
  person_.says = true;
  person_.after = 30;
  connection({{bytes_after(6, rtc_pass())}});
  const double start = clock_.now();
  run(step_text("clock", asks));
  EXPECT_EQ(verdict(), "passed");
  EXPECT_EQ(last_attempt().answer, "yes");
  EXPECT_NEAR(clock_.now() - start, 33, 0.5) << "3 of them for the quit request";
  EXPECT_NEAR(last_attempt().seconds.value(), 6, 1e-6) << "a person's time is not the board's";
  EXPECT_THAT(diary_.lines,
              ElementsAre("store connection", "hear connection", "store start of clock 1",
                          "hear start of clock 1", "ask Is it lit?", "send request", "ask no more",
                          "store passed", "hear passed", "hear end of clock", "send quit", "store verdict"));
}

TEST_F(PlanRunQuestion, AnAnswerWhileTheTestRunsIsNotAskedForAgain) {
  person_.says = true;
  person_.after = 2;
  listener_.on_awaiting = [](double /*seconds*/) { ADD_FAILURE() << "awaited"; };
  connection({{bytes_after(6, rtc_pass())}});
  run(step_text("clock", asks));
  EXPECT_EQ(verdict(), "passed");
  EXPECT_EQ(last_attempt().answer, "yes");
}

TEST_F(PlanRunQuestion, NoFailsTheAttemptWhateverTheBoardSaidAndYesMakesNoPassOfAFail) {
  person_.says = false;
  connection({{bytes_after(6, rtc_pass())}});
  run(step_text("clock", asks));
  EXPECT_EQ(verdict(), "failed");
  EXPECT_EQ(last_attempt().answer, "no");
  EXPECT_THAT(last_attempt().description.value(), EndsWith("\nanswered no: 灯亮了吗? Is it lit?"));
  EXPECT_EQ(ended_.reason, "step clock: failed: " + last_attempt().description.value()) << "said once";
  starts_.clear(), answers_.clear();
  person_.says = true;
  connection({{bytes_after(6, clock_fails)}});
  run(step_text("clock", asks));
  EXPECT_EQ(verdict(), "failed");
}

TEST_F(PlanRunQuestion, NobodyHasAnsweredSixtySecondsAfterTheReply) {
  double most = 0, least = 60;
  listener_.on_awaiting = [&](double seconds) {
    most = std::max(most, seconds);
    least = std::min(least, seconds);
  };
  connection({{bytes_after(6, rtc_pass())}});
  connection({{bytes_after(6, rtc_pass())}});
  const double start = clock_.now();
  diary_.at = [&](const std::string& line) {
    const bool is_first = line == "store timed_out" && stored().attempts.size() == 1;
    if (is_first) {
      EXPECT_NEAR(clock_.now() - start, 66, 0.2);
    }
  };
  run(step_text("clock", "attempts = 2\n" + asks));
  EXPECT_THAT(attempts(), ElementsAre("clock 1 timed_out", "clock 2 timed_out"));
  EXPECT_EQ(connections(), 2U) << "a new one after a time-out";
  EXPECT_EQ(verdict(), "error");
  EXPECT_EQ(last_attempt().answer, std::nullopt);
  EXPECT_EQ(last_attempt().reply, rtc_pass().substr(4)) << "what came is kept";
  EXPECT_NEAR(most, 60, 0.2);
  EXPECT_NEAR(least, 0, 0.2);
}

TEST_F(PlanRunQuestion, TheSixtySecondsBeginWithTheReplyWhateverTheConsoleStillPrints) {
  ScriptedConsole console(clock_);
  for (int i = 0; i < 50; ++i) console.prints.emplace_back(6 + 0.02 * i, "still talking\n");
  slot_.console = &console;
  connection({{bytes_after(6, rtc_pass())}});
  const double start = clock_.now();
  diary_.at = [&](const std::string& line) {
    if (line == "store timed_out") {
      EXPECT_NEAR(clock_.now() - start, 66, 0.15);
    }
  };
  run(step_text("clock", asks));
  EXPECT_EQ(verdict(), "error");
}

TEST_F(PlanRunQuestion, NoAnswerIsWaitedForWhenTheBoardNeverReplied) {
  listener_.on_awaiting = [](double /*seconds*/) { ADD_FAILURE() << "awaited"; };
  connection({{close_after(6)}});
  run(step_text("clock", asks));
  EXPECT_THAT(attempts(), ElementsAre("clock 1 broken"));
  EXPECT_THAT(diary_.lines, testing::Contains("ask no more"));
}

TEST_F(PlanRunQuestion, AStopWhileAnAnswerIsAwaitedKeepsTheReply) {
  listener_.on_awaiting = [&](double seconds) {
    if (seconds < 50) interrupt_.raise();
  };
  connection({{bytes_after(6, rtc_pass())}});
  run(step_text("clock", asks));
  EXPECT_THAT(attempts(), ElementsAre("clock 1 stopped"));
  EXPECT_EQ(last_attempt().reply, rtc_pass().substr(4));
  EXPECT_EQ(verdict(), "stopped");
}

TEST_F(PlanRun, AQuestionThatNobodyCanHearIsNeverAPass) {
  connection({{bytes_after(6, rtc_pass())}});
  run(step_text("clock", asks));
  EXPECT_EQ(verdict(), "error");
  EXPECT_EQ(last_attempt().outcome, "timed_out");
}

class PlanRunConsole : public PlanRun {
 protected:
  PlanRunConsole() { slot_.console = &console_; }
  ScriptedConsole console_{clock_};
};

const std::string measures_console =
    "[[step.measure]]\nname = \"degrees\"\nfrom = \"console\"\nmatch = 'T=([0-9.]+)'\nlow = 10.0\n";

TEST_F(PlanRunConsole, WhatItPrintsIsKeptWithItsAttemptAndMeasuredUpToAMomentBehindTheReply) {
  console_.prints = {{1, "one \xFF\n"}, {6.02, "T=20"}, {6.05, ".5\n"}, {8, "two\n"}};
  connection({{bytes_after(6, rtc_pass())}, {bytes_after(6, rtc_pass())}});
  run(step_text("clock", measures_console) + step_text("again"));
  EXPECT_EQ(stored().attempts.at(0).console, "one \xFF\nT=20.5\n");
  EXPECT_EQ(stored().attempts.at(0).measurements.at(0).value, 20.5);
  EXPECT_EQ(stored().attempts.at(1).console, "two\n");
  EXPECT_EQ(verdict(), "passed");
}

TEST_F(PlanRunConsole, WhatItPrintedBeforeTheAttemptIsNotTheAttempts) {
  console_.prints = {{0, "T=20\n"}};
  connection({{bytes_after(6, rtc_pass())}});
  run(step_text("clock", measures_console));
  EXPECT_EQ(last_attempt().console, "");
  EXPECT_EQ(last_attempt().measurements.at(0).outcome, "not_found");
  EXPECT_EQ(verdict(), "failed");
}

TEST_F(PlanRunConsole, IsKeptOfAnAttemptWithoutReplyToo) {
  console_.prints = {{3, "panic\n"}};
  connection({});
  run(step_text("clock"));
  EXPECT_EQ(last_attempt().outcome, "timed_out");
  EXPECT_EQ(last_attempt().console, "panic\n");
}

TEST_F(PlanRunConsole, OfALongOneTheLastMebibyteIsKept) {
  const std::string half(512 * 1024, 'x');
  console_.prints = {{1, "begin" + half}, {2, half}, {3, "end"}};
  connection({{bytes_after(6, rtc_pass())}});
  run(step_text("clock"));
  const std::string kept = last_attempt().console.value();
  EXPECT_EQ(kept.size(), 1024U * 1024U);
  EXPECT_TRUE(kept.starts_with("xxx") && kept.ends_with("xxxend"));
}

TEST_F(PlanRunConsole, ThatIsGoneBreaksTheAttempt) {
  console_.prints = {{3, "gone"}};
  connection({{bytes_after(6, rtc_pass())}});
  run(step_text("clock"));
  EXPECT_EQ(last_attempt().outcome, "broken");
  EXPECT_EQ(last_attempt().description, "/dev/ttyUSB0 is gone");
}

TEST_F(PlanRun, WithoutAConsoleNothingIsKeptOfOne) {
  connection({{bytes_after(6, rtc_pass())}});
  run(step_text("clock"));
  EXPECT_EQ(last_attempt().console, std::nullopt);
}

TEST_F(PlanRun, AWrongEchoFailsTheEchoTestThoughTheBoardPassedItAndNoOtherTest) {
  ScriptedPartner partner;
  partner.wrong = 1;
  slot_.rs485 = &partner;
  const std::string echo_pass = reply(1024, light_name_gbk, "Pass", "");
  connection({{bytes_after(6, rtc_pass())}, {bytes_after(6, echo_pass)}, {bytes_after(6, echo_pass)}});
  run(step_text("clock") + "[[step]]\nname = \"echo\"\ntest = 1024\nattempts = 2\n");
  EXPECT_THAT(attempts(), ElementsAre("clock 1 passed", "echo 1 failed", "echo 2 passed"));
  EXPECT_EQ(stored().attempts.at(1).description, "the echo differs");
  EXPECT_EQ(last_attempt().description, "the echo is right");
  EXPECT_EQ(partner.attempts, 2);
  EXPECT_GT(partner.ticks, 50);
}

}  // namespace
