// One connection: greeting, a test, wrong replies, and the end. Time is the script's.
#include "station/run/session.h"

#include <gtest/gtest.h>

#include "station/text/errors.h"
#include "tests/station/board_texts.h"
#include "tests/station/scripted_link.h"

namespace {

using namespace board_texts;
using namespace t1station;

class SessionTest : public testing::Test {
 protected:
  Reply run(ScriptedLink& link, std::int32_t code = 1536, double timeout = 48) {
    Session session(link, clock_);
    return session.run({code, std::nullopt, timeout}, [this](double elapsed) { ticks_.push_back(elapsed); });
  }

  template <typename Error>
  std::string error_of(ScriptedLink& link) {
    try {
      run(link);
    } catch (const Error& error) {
      return error.what();
    }
    return "no such error";
  }

  ManualClock clock_;
  std::vector<double> ticks_;
};

TEST_F(SessionTest, BannerAndMenuOpenAConnection) {
  ScriptedLink link(clock_, {bytes_after(0.1, banner()), bytes_after(0.1, menu())});
  const std::vector<ServiceMessage> greeting = Session(link, clock_).greet(10);
  ASSERT_EQ(greeting.size(), 2U);
  EXPECT_EQ(greeting[0].lines.at(3), "BUILD: Mar 29 2019-22:09:55\n");
  EXPECT_EQ(greeting[1].lines.at(0), "\n\tT1 test menu:\n");
}

TEST_F(SessionTest, AHeartbeatBetweenBannerAndMenuIsNoPartOfTheGreeting) {
  ScriptedLink link(clock_, {bytes_after(0, heartbeat() + banner() + heartbeat() + menu())});
  EXPECT_EQ(Session(link, clock_).greet(10).size(), 2U);
}

TEST_F(SessionTest, ABoardThatOnlySendsHeartbeatsNeverGreets) {
  std::vector<Event> events;
  for (int i = 1; i < 10; ++i) events.push_back(bytes_after(5 * i, heartbeat()));
  ScriptedLink link(clock_, events);
  EXPECT_THROW(Session(link, clock_).greet(10), TimedOut);
}

TEST_F(SessionTest, ABoardThatStaysSilentIsGivenUpAfterTheTimeAsked) {
  ScriptedLink link(clock_, {});
  const double start = clock_.now();
  EXPECT_THROW(Session(link, clock_).greet(10), TimedOut);
  EXPECT_DOUBLE_EQ(clock_.now() - start, 10);
}

TEST_F(SessionTest, AReplyInPlaceOfTheGreetingIsRefused) {
  ScriptedLink link(clock_, {bytes_after(0, rtc_pass())});
  EXPECT_THROW(Session(link, clock_).greet(10), ProtocolError);
}

TEST_F(SessionTest, ATestSendsItsRequestAndTakesTheReply) {
  ScriptedLink link(clock_, {}, {{bytes_after(6, rtc_pass())}});
  const Reply reply = run(link);
  EXPECT_TRUE(reply.passed);
  EXPECT_EQ(reply.test_name, rtc_name);
  EXPECT_EQ(link.sent, std::vector<std::string>{request(1536)});
}

TEST_F(SessionTest, HeartbeatsBetweenRequestAndReplyAreDropped) {
  ScriptedLink link(clock_, {bytes_after(0, heartbeat())},
                    {{bytes_after(1, heartbeat()), bytes_after(6, heartbeat() + rtc_pass() + heartbeat())}});
  EXPECT_TRUE(run(link).passed);
}

TEST_F(SessionTest, AReplyThatComesByteByByteIsTaken) {
  std::vector<Event> events;
  double time = 0;
  for (const char byte : heartbeat() + rtc_pass())
    events.push_back(bytes_after(time += 0.01, std::string(1, byte)));
  ScriptedLink link(clock_, {}, {events});
  EXPECT_TRUE(run(link).passed);
}

TEST_F(SessionTest, AParameterTravelsWithTheRequest) {
  ScriptedLink link(clock_, {}, {{bytes_after(1, reply(9728, "x", "Pass", "y"))}});
  Session(link, clock_).run({9728, 120, 30}, [](double) {});
  EXPECT_EQ(link.sent.at(0),
            record_of("<TestItem><TestCode>9728</TestCode><Parameters>120</Parameters></TestItem>"));
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

TEST_F(SessionTest, HalfAReplyIsNoReply) {
  ScriptedLink link(clock_, {}, {{bytes_after(6, rtc_pass().substr(0, 200))}});
  EXPECT_THROW(run(link), TimedOut);
}

TEST_F(SessionTest, AReplyToAnotherTestIsRefused) {
  ScriptedLink link(clock_, {}, {{bytes_after(6, reply(14592, light_name_gbk, "Pass", ""))}});
  EXPECT_EQ(error_of<ProtocolError>(link), "the board answered 14592 instead of 1536");
}

TEST_F(SessionTest, TheReplyOfThePanAndTiltPortCarriesTheCodeOfTheRs485Test) {
  ScriptedLink link(clock_, {}, {{bytes_after(6, reply(1024, light_name_gbk, "Pass", ""))}});
  EXPECT_TRUE(run(link, -16).passed);
}

TEST_F(SessionTest, AReplyThatWasThereBeforeTheRequestIsRefused) {
  ScriptedLink link(clock_, {bytes_after(0, rtc_pass())}, {{bytes_after(6, rtc_pass())}});
  EXPECT_EQ(error_of<ProtocolError>(link), "the board sent a reply to 1536 that nobody asked for");
  EXPECT_TRUE(link.sent.empty());
}

TEST_F(SessionTest, RecordsOfImpossibleLengthEndATest) {
  for (const std::int32_t length : {-1, 0, 2049}) {
    ScriptedLink link(clock_, {}, {{bytes_after(1, length_field(length))}});
    EXPECT_THROW(run(link), ProtocolError) << length;
  }
}

TEST_F(SessionTest, InvalidXmlAndInvalidGbkEndATest) {
  for (const std::string& document : {std::string("<TestItem><TestCode>1536"), std::string("\xFF\xFF")}) {
    ScriptedLink link(clock_, {}, {{bytes_after(1, record_of(document))}});
    EXPECT_THROW(run(link), ProtocolError);
  }
}

TEST_F(SessionTest, ABoardThatClosesInTheMiddleOfATestIsNamed) {
  ScriptedLink link(clock_, {}, {{close_after(2)}});
  EXPECT_EQ(error_of<LinkError>(link), "the board closed the connection");
}

TEST_F(SessionTest, ABoardThatClosesInTheMiddleOfARecordIsNamed) {
  ScriptedLink link(clock_, {}, {{bytes_after(1, rtc_pass().substr(0, 10)), close_after(2)}});
  EXPECT_EQ(error_of<LinkError>(link), "the board closed the connection in the middle of a record");
}

TEST_F(SessionTest, TheOperatorCanInterruptATest) {
  ScriptedLink link(clock_, {}, {{interrupt_after(2)}});
  EXPECT_THROW(run(link), Interrupted);
}

TEST_F(SessionTest, ProgressTicksWhileATestRunsAndHeartbeatsDoNotSetItBack) {
  ScriptedLink link(clock_, {}, {{bytes_after(3, heartbeat()), bytes_after(6, rtc_pass())}});
  run(link);
  ASSERT_GT(ticks_.size(), 50U);
  EXPECT_TRUE(std::is_sorted(ticks_.begin(), ticks_.end()));
  EXPECT_NEAR(ticks_.back(), 6, 0.2);
}

TEST_F(SessionTest, LeavingSendsTheQuitRequestAndWaitsForTheBoardToClose) {
  ScriptedLink link(clock_, {}, {{bytes_after(0.5, heartbeat()), close_after(1)}});
  const double start = clock_.now();
  Session(link, clock_).leave(3);
  EXPECT_EQ(link.sent, std::vector<std::string>{request(62208)});
  EXPECT_DOUBLE_EQ(clock_.now() - start, 1);
}

TEST_F(SessionTest, LeavingABoardThatDoesNotCloseTakesNoLongerThanAsked) {
  ScriptedLink link(clock_, {});
  const double start = clock_.now();
  Session(link, clock_).leave(3);
  EXPECT_NEAR(clock_.now() - start, 3, 1e-6);
}

TEST_F(SessionTest, LeavingAConnectionThatIsGoneDoesNoHarm) {
  ScriptedLink link(clock_, {close_after(0)});
  Session session(link, clock_);
  EXPECT_THROW(session.next(1), LinkError);
  session.leave(3);
  EXPECT_TRUE(link.sent.empty());
}

}  // namespace
