// Tests in a row, broken connections between them, and what is reported for each; and what is sent and taken
// on one connection. Time is the script's.
#include "station/run/runner.h"

#include <gtest/gtest.h>

#include "station/text/errors.h"
#include "tests/station/board_texts.h"
#include "tests/station/scripted_link.h"

namespace {

using namespace board_texts;
using namespace t1station;

class Recorder final : public Listener {
 public:
  void notice(const std::string& text) override { events.push_back(text); }
  void waiting(const std::string& /*reason*/, double /*elapsed*/) override {
    if (on_waiting) on_waiting();
  }
  void on(const RunEvent& event) override {
    if (const auto* connected = std::get_if<Connected>(&event); connected && connected->is_first) {
      events.push_back("greeted");
    }
    if (const auto* started = std::get_if<StepStarted>(&event)) {
      events.push_back("start " + std::to_string(started->index + 1) + "/" + std::to_string(started->total) +
                       " " + std::to_string(started->step.code));
    }
    if (const auto* ended = std::get_if<StepEnded>(&event)) {
      events.push_back("end " + std::string(outcome_name(ended->result.outcome)));
    }
  }

  std::vector<std::string> events;
  std::function<void()> on_waiting;
};

class RunnerTest : public testing::Test {
 protected:
  using Answers = std::vector<std::vector<Event>>;

  // The n-th connection greets and then gives these answers. Without any left, the board is unreachable.
  void connection(const Answers& answers) { connections_.push_back(answers); }

  std::vector<Step> steps_of(const std::vector<std::int32_t>& codes, double timeout) const {
    std::vector<Step> steps;
    for (const std::int32_t code : codes) {
      Step& step = steps.emplace_back();
      step.code = code;
      step.timeout = timeout;
      step.stop_on_fail = !keep_going_;
    }
    return steps;
  }

  std::vector<Result> run(const std::vector<std::int32_t>& codes, double timeout = 30) {
    const std::vector<Step> steps = steps_of(codes, timeout);
    std::vector<std::vector<Event>> starts(connections_.size(), {bytes_after(0, greeting())});
    connector_ = std::make_unique<ScriptedConnector>(clock_, starts, connections_);
    Runner runner(*connector_, clock_, interrupt_, recorder_, journal_, {}, settings_);
    std::vector<Result> results = runner.run(steps);
    build_ = runner.build();
    return results;
  }

  const std::vector<std::string>& sent(std::size_t link) { return connector_->links.at(link)->sent; }

  ManualClock clock_;
  Interrupt interrupt_;
  Recorder recorder_;
  NoJournal journal_;
  RunSettings settings_;
  bool keep_going_ = true;
  std::string build_;
  std::vector<Answers> connections_;
  std::unique_ptr<ScriptedConnector> connector_;
};

const std::string light_pass = reply(14592, light_name_gbk, "Pass", "");
const std::string rtc_fail = reply(1536, rtc_name_gbk, "Fail", read_failed_gbk);

TEST_F(RunnerTest, TestsRunOverOneConnectionWhetherTheyPassOrFailAndTheBoardIsLeftFree) {
  connection({{bytes_after(6, rtc_pass())},
              {bytes_after(6, rtc_fail)},
              {bytes_after(10, light_pass)},
              {close_after(1)}});
  const std::vector<Result> results = run({1536, 1536, 14592});
  ASSERT_EQ(results.size(), 3U);
  EXPECT_EQ(results[0].outcome, Outcome::passed);
  EXPECT_EQ(results[0].test_name, rtc_name);
  EXPECT_EQ(results[0].description, success);
  EXPECT_NEAR(results[0].seconds, 6, 1e-6);
  EXPECT_EQ(results[1].outcome, Outcome::failed);
  EXPECT_EQ(results[1].description, read_failed);
  EXPECT_EQ(results[2].outcome, Outcome::passed);
  EXPECT_NEAR(results[2].seconds, 10, 1e-6);
  EXPECT_EQ(sent(0),
            (std::vector<std::string>{request(1536), request(1536), request(14592), request(62208)}));
  EXPECT_EQ(recorder_.events,
            (std::vector<std::string>{"start 1/3 1536", "greeted", "end passed", "start 2/3 1536",
                                      "end failed", "start 3/3 14592", "end passed"}));
  EXPECT_EQ(build_, "BUILD: Mar 29 2019-22:09:55");
}

TEST_F(RunnerTest, AFailedTestStopsTheOthersAndNothingFollowsItWhenAskedFor) {
  keep_going_ = false;
  settings_.quit = false;
  connection({{bytes_after(6, rtc_fail)}});
  const std::vector<Result> results = run({1536, 14592});
  EXPECT_EQ(results[0].outcome, Outcome::failed);
  EXPECT_EQ(results[1].outcome, Outcome::not_run);
  EXPECT_EQ(results[1].description, "an earlier test did not pass");
  EXPECT_EQ(sent(0), std::vector<std::string>{request(1536)});
}

TEST_F(RunnerTest, NoReplyIsSaidClearly) {
  connection({});
  const std::vector<Result> results = run({1}, 30);
  EXPECT_EQ(results[0].outcome, Outcome::timed_out);
  EXPECT_EQ(results[0].description,
            "no reply within 30 s: the board does not know this code, or the test hangs");
  EXPECT_NEAR(results[0].seconds, 30, 1e-6);
  EXPECT_EQ(sent(0), (std::vector<std::string>{request(1), request(62208)}));
  settings_.quit = false;
  EXPECT_EQ(run({1}, 0.5)[0].description,
            "no reply within 0.5 s: the board does not know this code, or the test hangs");
  EXPECT_EQ(sent(0), std::vector<std::string>{request(1)});
}

TEST_F(RunnerTest, AfterNoReplyTheNextTestGetsAConnectionOfItsOwn) {
  connection({{bytes_after(31, rtc_pass())}});
  connection({{bytes_after(6, rtc_fail)}});
  const std::vector<Result> results = run({1536, 1536}, 30);
  EXPECT_EQ(results[0].outcome, Outcome::timed_out);
  EXPECT_EQ(results[1].outcome, Outcome::failed) << "the late reply must not count";
  EXPECT_EQ(sent(0), (std::vector<std::string>{request(1536), request(62208)}));
  EXPECT_EQ(std::count(recorder_.events.begin(), recorder_.events.end(), "greeted"), 1);
}

TEST_F(RunnerTest, AWrongReplyOrACloseIsToldAndTheNextTestGetsAConnectionOfItsOwn) {
  const std::pair<std::vector<Event>, const char*> ends[] = {
      {{bytes_after(2, light_pass)}, "the board answered 14592 instead of 1536"},
      {{close_after(2)}, "the board closed the connection"},
      {{bytes_after(1, rtc_pass().substr(0, 10)), close_after(2)},
       "the board closed the connection in the middle of a record"}};
  for (const auto& [events, description] : ends) {
    connections_.clear();
    connection({events});
    connection({{bytes_after(10, light_pass)}});
    const std::vector<Result> results = run({1536, 14592});
    EXPECT_EQ(results[0].outcome, Outcome::broken);
    EXPECT_EQ(results[0].description, description);
    EXPECT_EQ(results[0].test_name, "");
    EXPECT_NEAR(results[0].seconds, 2, 1e-6);
    EXPECT_EQ(results[1].outcome, Outcome::passed);
  }
}

TEST_F(RunnerTest, ABoardThatIsGoneLeavesTheRemainingTestsUnrun) {
  connection({{close_after(2)}});
  const std::vector<Result> results = run({1536, 14592, 7426});
  EXPECT_EQ(results[0].outcome, Outcome::broken);
  EXPECT_EQ(results[1].outcome, Outcome::broken);
  EXPECT_EQ(results[1].description, "no connection to board: Connection refused");
  EXPECT_EQ(results[2].outcome, Outcome::not_run);
  EXPECT_EQ(results[2].description, "the board could not be reached");
}

TEST_F(RunnerTest, EachConnectionOfARunWaitsForABoardThatIsStarting) {
  settings_.patience.absence = 60;
  const std::vector<Event> greets{bytes_after(0, greeting())};
  ScriptedConnector connector(clock_, {greets, {close_after(0)}, greets},
                              {{{close_after(2)}}, {}, {{bytes_after(6, rtc_pass())}}});
  Runner runner(connector, clock_, interrupt_, recorder_, journal_, {}, settings_);
  const std::vector<Result> results = runner.run(steps_of({1536, 1536}, 48));
  EXPECT_EQ(results[0].outcome, Outcome::broken);
  EXPECT_EQ(results[1].outcome, Outcome::passed);
}

TEST_F(RunnerTest, AnInterruptWhileTheBoardIsBusyEndsTheRunWhenItHasGreeted) {
  ScriptedConnector connector(clock_, {{bytes_after(50, greeting())}}, {});
  bool is_raised = false;
  recorder_.on_waiting = [&] {
    if (!std::exchange(is_raised, true)) interrupt_.raise();
  };
  Runner runner(connector, clock_, interrupt_, recorder_, journal_, {}, settings_);
  EXPECT_EQ(runner.run(steps_of({1536}, 48))[0].outcome, Outcome::interrupted);
  EXPECT_EQ(connector.links[0]->sent, std::vector<std::string>{request(62208)})
      << "the board must not stay occupied";
}

TEST_F(RunnerTest, AfterARestartNoQuitRequestIsSent) {
  connection({{bytes_after(0.1, reply(-15, "x", "Pass", success_gbk))}});
  EXPECT_EQ(run({-15})[0].outcome, Outcome::passed);
  EXPECT_EQ(sent(0), std::vector<std::string>{request(-15)});
}

TEST_F(RunnerTest, AnInterruptEndsTheRunAndKeepsWhatIsKnown) {
  connection({{bytes_after(6, rtc_pass())}, {interrupt_after(3)}});
  const std::vector<Result> results = run({1536, 14592, 7426});
  EXPECT_EQ(results[0].outcome, Outcome::passed);
  EXPECT_EQ(results[1].outcome, Outcome::interrupted);
  EXPECT_NEAR(results[1].seconds, 3, 1e-6);
  EXPECT_EQ(results[2].outcome, Outcome::not_run);
  EXPECT_EQ(sent(0).back(), request(62208)) << "the board must not stay occupied";
}

TEST_F(RunnerTest, AnInterruptBeforeTheFirstTestRunsNothing) {
  interrupt_.raise();
  connection({});
  const std::vector<Result> results = run({1536});
  EXPECT_EQ(results[0].outcome, Outcome::not_run);
  EXPECT_TRUE(connector_->links.empty());
}

TEST_F(RunnerTest, NothingCountsAsPassedWithoutACompleteMatchingReply) {
  const std::vector<std::string> answers{
      reply(1537, rtc_name_gbk, "Pass", success_gbk),
      reply(1536, rtc_name_gbk, "PASS", success_gbk),
      reply(1536, rtc_name_gbk, "Pass&#0;", success_gbk),
      rtc_pass().substr(0, rtc_pass().size() - 1),
      heartbeat(),
      record_of("<TestItem><TestCode>1536</TestCode><Value>Pass</Value></TestItem>"),
      record_of("Pass"),
      length_field(-4) + "Pass",
      length_field(2049),
      record_of("\xFF\xFF"),
  };
  for (const std::string& answer : answers) {
    connections_.clear();
    connection({{bytes_after(1, answer)}});
    const Outcome outcome = run({1536})[0].outcome;
    EXPECT_TRUE(outcome == Outcome::broken || outcome == Outcome::timed_out) << answer;
  }
}

// ---- one connection, byte by byte -----------------------------------------------------------------------

class SessionTest : public testing::Test {
 protected:
  Reply run(ScriptedLink& link, std::int32_t code = 1536, double timeout = 48) {
    Session session(link, clock_);
    return session.run({code, std::nullopt, timeout}, [this](double elapsed) { ticks_.push_back(elapsed); });
  }

  ManualClock clock_;
  std::vector<double> ticks_;
};

TEST_F(SessionTest, BannerAndMenuOpenAConnectionAndHeartbeatsAreNoPartOfThem) {
  ScriptedLink link(clock_,
                    {bytes_after(0.1, heartbeat() + banner()), bytes_after(0.1, heartbeat() + menu())});
  const std::vector<ServiceMessage> greeting = Session(link, clock_).greet(10);
  ASSERT_EQ(greeting.size(), 2U);
  EXPECT_EQ(greeting[0].lines.at(3), "BUILD: Mar 29 2019-22:09:55\n");
  EXPECT_EQ(greeting[1].lines.at(0), "\n\tT1 test menu:\n");
}

TEST_F(SessionTest, ABoardThatDoesNotGreetIsGivenUpAfterTheTimeAskedThoughHeartbeatsCome) {
  ScriptedLink link(clock_,
                    {bytes_after(5, heartbeat()), bytes_after(9, heartbeat()), bytes_after(14, greeting())});
  const double start = clock_.now();
  EXPECT_THROW(Session(link, clock_).greet(10), TimedOut);
  EXPECT_DOUBLE_EQ(clock_.now() - start, 10);
}

TEST_F(SessionTest, AReplyInPlaceOfTheGreetingIsRefused) {
  ScriptedLink link(clock_, {bytes_after(0, rtc_pass())});
  EXPECT_THROW(Session(link, clock_).greet(10), ProtocolError);
}

TEST_F(SessionTest, AReplyThatComesByteByByteIsTaken) {
  std::vector<Event> events;
  double time = 0;
  for (const char byte : heartbeat() + rtc_pass())
    events.push_back(bytes_after(time += 0.01, std::string(1, byte)));
  ScriptedLink link(clock_, {bytes_after(0, heartbeat())}, {events});
  EXPECT_TRUE(run(link).passed);
}

TEST_F(SessionTest, ACodeThatTheBoardDoesNotKnowTimesOutThoughHeartbeatsGoOn) {
  std::vector<Event> events;
  for (int i = 1; i < 20; ++i) events.push_back(bytes_after(5 * i, heartbeat()));
  ScriptedLink link(clock_, {}, {events});
  const double start = clock_.now();
  EXPECT_THROW(run(link, 1, 30), TimedOut);
  EXPECT_NEAR(clock_.now() - start, 30, 1e-6);
}

TEST_F(SessionTest, AReplyAtTheLastMomentCountsAndOneBehindItDoesNot) {
  ScriptedLink in_time(clock_, {}, {{bytes_after(47.9, rtc_pass())}});
  EXPECT_TRUE(run(in_time).passed);
  ScriptedLink too_late(clock_, {}, {{bytes_after(48.1, rtc_pass())}});
  EXPECT_THROW(run(too_late), TimedOut);
}

TEST_F(SessionTest, TheReplyOfThePanAndTiltPortCarriesTheCodeOfTheRs485Test) {
  ScriptedLink link(clock_, {}, {{bytes_after(6, reply(1024, light_name_gbk, "Pass", ""))}});
  EXPECT_TRUE(run(link, -16).passed);
}

TEST_F(SessionTest, AReplyThatWasThereBeforeTheRequestIsRefused) {
  ScriptedLink link(clock_, {bytes_after(0, rtc_pass())}, {{bytes_after(6, rtc_pass())}});
  try {
    run(link);
    ADD_FAILURE() << "taken";
  } catch (const ProtocolError& error) {
    EXPECT_STREQ(error.what(), "the board sent a reply to 1536 that nobody asked for");
  }
  EXPECT_TRUE(link.sent.empty());
}

TEST_F(SessionTest, ProgressTicksWhileATestRunsAndHeartbeatsDoNotSetItBack) {
  ScriptedLink link(clock_, {}, {{bytes_after(3, heartbeat()), bytes_after(6, rtc_pass())}});
  run(link);
  ASSERT_GT(ticks_.size(), 50U);
  EXPECT_TRUE(std::is_sorted(ticks_.begin(), ticks_.end()));
  EXPECT_NEAR(ticks_.back(), 6, 0.2);
}

TEST_F(SessionTest, LeavingSendsTheQuitRequestAndWaitsForTheBoardToCloseNoLongerThanAsked) {
  ScriptedLink link(clock_, {}, {{bytes_after(0.5, heartbeat()), close_after(1)}});
  const double start = clock_.now();
  Session(link, clock_).leave(3);
  EXPECT_EQ(link.sent, std::vector<std::string>{request(62208)});
  EXPECT_DOUBLE_EQ(clock_.now() - start, 1);
  ScriptedLink open_link(clock_, {});
  Session(open_link, clock_).leave(3);
  EXPECT_NEAR(clock_.now() - start, 4, 1e-6);
}

TEST_F(SessionTest, LeavingAConnectionThatIsGoneDoesNoHarm) {
  ScriptedLink link(clock_, {close_after(0)});
  Session session(link, clock_);
  EXPECT_THROW(session.next(1), LinkError);
  session.leave(3);
  EXPECT_TRUE(link.sent.empty());
}

}  // namespace
