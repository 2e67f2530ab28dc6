// What is shown while tests run, on terminals and elsewhere.
#include "station/terminal/progress.h"

#include <gtest/gtest.h>

#include <sstream>

#include "station/text/text.h"

namespace {

using namespace t1station;

class ProgressTest : public testing::Test {
 protected:
  static Result result(Outcome outcome, double seconds) {
    Result made;
    made.code = 1536;
    made.outcome = outcome;
    made.seconds = seconds;
    return made;
  }

  void start(Progress& progress, std::size_t index, std::size_t total, std::int32_t code) {
    step_.code = code;
    progress.on(StepStarted{index, total, step_});
  }

  // The line that a terminal shows in the end.
  std::string visible() const {
    const std::string text = out_.str();
    return text.substr(text.rfind("\r\x1b[K") + 4);
  }

  std::ostringstream out_;
  ProgressStyle style_;
  Step step_;
};

TEST_F(ProgressTest, WithoutATerminalATestIsOneLine) {
  Progress progress(out_, style_);
  start(progress, 0, 2, 1536);
  for (int i = 0; i < 60; ++i) progress.on(AttemptTicked{i / 10.0});
  progress.on(StepEnded{step_, result(Outcome::passed, 6.01)});
  start(progress, 1, 2, 1);
  progress.on(StepEnded{step_, result(Outcome::timed_out, 30)});
  EXPECT_EQ(out_.str(), "[1/2] RTC clock: Pass (6.0 s)\n[2/2] test 1: no reply (30.0 s)\n");
}

TEST_F(ProgressTest, OnATerminalOneLineIsRedrawnWithABar) {
  style_.live = true;
  Progress progress(out_, style_);
  start(progress, 0, 4, 1536);
  EXPECT_EQ(visible(), "| [1/4] RTC clock  [....................] 0 s of about 6 s");
  progress.on(AttemptTicked{3.1});
  EXPECT_EQ(visible(), "\\ [1/4] RTC clock  [##########..........] 3 s of about 6 s");
  EXPECT_EQ(out_.str().find('\n'), std::string::npos);
  progress.on(StepEnded{step_, result(Outcome::passed, 6.0)});
  EXPECT_EQ(visible(), "[1/4] RTC clock: Pass (6.0 s)\n");
}

TEST_F(ProgressTest, TheBarGoesByTheUsualLengthOfATestOnThisBoardAndByTheTerminal) {
  struct Case {
    std::int32_t code;
    double speed, elapsed;
    const char* line;
  };
  style_.live = true;
  for (const auto& [code, speed, elapsed, line] :
       {Case{1536, 1, 40, "| [1/1] RTC clock  [####################] 40 s of about 6 s"},
        Case{1536, 10, 0.3, "\\ [1/1] RTC clock  [##########..........] 0 s of about 0.6 s"},
        Case{4711, 1, 12.7, "\\ [1/1] test 4711  12 s"}}) {
    style_.speed = speed;
    Progress progress(out_, style_);
    start(progress, 0, 1, code);
    progress.on(AttemptTicked{elapsed});
    EXPECT_EQ(visible(), line);
  }
  style_.columns = 30;
  Progress narrow(out_, style_);
  start(narrow, 0, 1, 1536);
  EXPECT_EQ(display_width(visible()), 29U) << "a line never reaches the end of a narrow terminal";
}

TEST_F(ProgressTest, AWaitForABoardIsSeenOnATerminalAndWhatMustBeKnownEverywhere) {
  Progress plain(out_, style_);
  start(plain, 0, 1, 1536);
  plain.waiting("the board is busy with another station", 12);
  plain.notice("the board is busy");
  EXPECT_EQ(out_.str(), "t1station: the board is busy\n");
  style_.live = true;
  Progress live(out_, style_);
  start(live, 0, 1, 1536);
  live.waiting("the board is busy with another station", 12.3);
  EXPECT_EQ(visible(), "\\ [1/1] RTC clock  the board is busy with another station, 12 s");
  live.notice("the board is busy");
  EXPECT_EQ(visible(), "t1station: the board is busy\n");
  Progress monitor(out_, style_);
  monitor.waiting("the board is busy with another station", 12.3);
  EXPECT_EQ(visible(), "\\ the board is busy with another station, 12 s") << "no test is asked for";
}

TEST_F(ProgressTest, ColorsTellPassFromFail) {
  style_.color = true;
  Progress progress(out_, style_);
  start(progress, 0, 1, 1536);
  progress.on(StepEnded{step_, result(Outcome::passed, 6)});
  progress.on(StepEnded{step_, result(Outcome::failed, 6)});
  progress.on(StepEnded{step_, result(Outcome::broken, 6)});
  EXPECT_EQ(out_.str(),
            "[1/1] RTC clock: \x1b[32mPass\x1b[0m (6.0 s)\n"
            "[1/1] RTC clock: \x1b[31m"
            "Fail\x1b[0m (6.0 s)\n"
            "[1/1] RTC clock: \x1b[33m"
            "broken\x1b[0m (6.0 s)\n");
}

}  // namespace
