// Waiting for a board: one that is not there yet, and one that is busy with another station. Time is the
// script's.
#include "station/run/opening.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "station/text/errors.h"
#include "tests/station/board_texts.h"
#include "tests/station/scripted_link.h"

namespace {

using namespace board_texts;
using namespace t1station;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

class OpeningTest : public testing::Test, public OpeningObserver {
 protected:
  // Whether a greeting came.
  void open(std::vector<std::vector<Event>> starts, std::size_t absences = 0) {
    ScriptedConnector connector(clock_, std::move(starts), {});
    connector.absences = absences;
    Opening opening(connector, clock_, interrupt_, *this, patience_);
    opening.open(
        [this](Link& link, double seconds, const Tick& tick) { Session(link, clock_).greet(seconds, tick); });
  }

  template <typename Error>
  std::string error_of(const std::vector<std::vector<Event>>& starts) {
    try {
      open(starts);
    } catch (const Error& error) {
      return error.what();
    }
    return "no such error";
  }

  void notice(const std::string& text) override { notices_.push_back(text); }
  void waiting(const std::string& reason, double elapsed) override {
    reason_ = reason;
    if (interrupt_at_ && elapsed >= *interrupt_at_) {
      interrupt_at_.reset();
      interrupt_.raise();
    }
  }

  double waited() const { return clock_.now() - start_; }

  ManualClock clock_;
  const double start_ = clock_.now();
  Interrupt interrupt_;
  Patience patience_;
  std::vector<std::string> notices_;
  std::string reason_;
  std::optional<double> interrupt_at_;
};

const std::string busy = "the board is busy with another station; waiting up to 300 s for its greeting";
const std::string left = "left before the greeting: the board's server ends";

TEST_F(OpeningTest, ABoardThatIsBusyIsWaitedForAndThatIsSaid) {
  open({{bytes_after(0.5, greeting())}});
  EXPECT_THAT(notices_, ElementsAre()) << "one that greets at once gives nothing to tell";
  open({{bytes_after(290, greeting())}});
  EXPECT_THAT(notices_, ElementsAre(busy));
  EXPECT_EQ(reason_, "the board is busy with another station");
}

TEST_F(OpeningTest, ABoardThatStaysBusyIsLeftAndWhatThatDoesIsSaid) {
  EXPECT_EQ(error_of<NoGreeting>({{}}),
            "no banner and menu within 300 s: the board is busy with another station "
            "or a test, or this is no board");
  EXPECT_NEAR(waited(), 300, 1e-6);
  EXPECT_THAT(notices_, ElementsAre(busy, StartsWith(left)));
}

TEST_F(OpeningTest, TheFirstInterruptOfAWaitOnlyWarns) {
  interrupt_at_ = 10;
  open({{bytes_after(60, greeting())}});
  EXPECT_THAT(notices_, ElementsAre(busy, HasSubstr("leaving now would end the board's server")));
  EXPECT_TRUE(interrupt_.is_raised()) << "it counts once the greeting is there";
}

TEST_F(OpeningTest, WhoInsistsLeavesAndWhatThatDoesIsSaid) {
  EXPECT_THROW(open({{interrupt_after(20)}}), Interrupted);
  EXPECT_NEAR(waited(), 20, 1e-6);
  EXPECT_THAT(notices_, ElementsAre(busy, StartsWith(left)));
}

TEST_F(OpeningTest, ABoardThatIsNotThereYetIsTriedOnceOrForTheTimeAsked) {
  EXPECT_EQ(error_of<LinkError>({}), "no connection to board: Connection refused");
  EXPECT_DOUBLE_EQ(waited(), 0);
  patience_.absence = 60;
  open({{bytes_after(0, greeting())}}, 590);
  EXPECT_LE(waited(), 60);
  EXPECT_THROW(open({}, 0), LinkError);
  EXPECT_NEAR(waited(), 59 + 60, 0.5);
}

TEST_F(OpeningTest, TheOperatorEndsTheWaitForABoardAtOnce) {
  TcpConnector connector({"127.0.0.1", "1"}, 20, interrupt_);
  interrupt_.raise();
  EXPECT_THROW(connector.pause(20), Interrupted);
  EXPECT_THROW(connector.connect(), LinkError);
}

TEST_F(OpeningTest, ABoardThatClosesBeforeItsGreetingIsLikeOneThatIsNotThereYet) {
  EXPECT_EQ(error_of<LinkError>({{close_after(0)}}), "the board closed the connection before its greeting");
  patience_.absence = 60;
  open({{close_after(0)}, {bytes_after(0, banner()), close_after(1)}, {bytes_after(0, greeting())}});
}

TEST_F(OpeningTest, TheTimeInABoardsQueueIsNotTakenFromTheWaitForItsServer) {
  patience_.absence = 5;
  open({{close_after(200)}, {bytes_after(0, greeting())}});
}

TEST_F(OpeningTest, AServerThatComesAndGoesIsGivenUpInTheEnd) {
  patience_.absence = 5;
  const std::vector<std::vector<Event>> starts(1000, {close_after(1)});
  EXPECT_EQ(error_of<LinkError>(starts), "the board closed the connection before its greeting");
}

}  // namespace
