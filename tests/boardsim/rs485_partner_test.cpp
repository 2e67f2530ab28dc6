// The fixture's device for the echo test.
#include <gtest/gtest.h>

#include <stdexcept>

#include "boardsim/board.h"
#include "tests/boardsim/rs485_line.h"

namespace {

using namespace boardsim;
using namespace std::chrono_literals;
using boardsim::test::Port;

const std::string kFirst("\xD0\x01\x06\x0F\x11\x62\x80\x32\x34\x12\x78\x56\x9A\xBC\x75", 15);
const std::string kSecond("\xD0\x01\x02\x07\x5A\xA5\xD9", 7);

/// A board on the fixture with the partner, its port configured at time 0.
class Rs485PartnerTest : public testing::Test {
 protected:
  /// What has arrived at a virtual time, to the microsecond.
  std::string heard_by(Time when) {
    usleep(static_cast<useconds_t>((when - board_.now()).count()));
    return port_.receive();
  }
  /// The partner's second frame to an echo sent at 2 s, at a time when it is there.
  std::string answer_to(const std::string& echo) {
    heard_by(2s);
    port_.send(echo);
    return heard_by(3s);
  }

  Board board_;
  Port port_{1};
};

TEST_F(Rs485PartnerTest, SendsItsFirstFrameASecondAfterThePortIsConfigured) {
  EXPECT_EQ(heard_by(1s + 3'905us), "");
  EXPECT_EQ(heard_by(1s + 3'906us), kFirst);
  EXPECT_EQ(heard_by(100s), "") << "once, and nothing without an echo";
}

TEST_F(Rs485PartnerTest, SendsItsSecondFrame100MsAfterTheEcho) {
  EXPECT_EQ(heard_by(2s), kFirst);
  port_.send(kFirst);
  // 3906 us for the echo, 100 ms, and 1822 us for the second frame
  EXPECT_EQ(heard_by(2s + 105'727us), "");
  EXPECT_EQ(heard_by(2s + 105'728us), kSecond);
  EXPECT_EQ(heard_by(100s), "");
}

TEST_F(Rs485PartnerTest, TakesAnEchoInPieces) {
  heard_by(2s);
  port_.send(kFirst.substr(0, 4));
  EXPECT_EQ(heard_by(2500ms), "");
  port_.send(kFirst.substr(4));
  EXPECT_EQ(heard_by(3s), kSecond);
}

TEST_F(Rs485PartnerTest, AnswersNoEchoThatDiffers) {
  std::string wrong = kFirst;
  wrong[7] = 'x';
  EXPECT_EQ(answer_to(wrong), "");
  port_.send(kFirst);
  EXPECT_EQ(heard_by(4s), "") << "the first 15 bytes are the echo";
}

TEST_F(Rs485PartnerTest, AnswersNoEchoThatIsTooShort) {
  EXPECT_EQ(answer_to(kFirst.substr(0, 14)), "");
}

TEST_F(Rs485PartnerTest, DoesNotTakeWhatCameBeforeItsFrameForAnEcho) {
  port_.send(kFirst);
  EXPECT_EQ(heard_by(3s), kFirst);
}

TEST_F(Rs485PartnerTest, StartsAnewWheneverThePortIsConfigured) {
  EXPECT_EQ(heard_by(900ms), "");
  port_.configure(38'400);
  EXPECT_EQ(heard_by(1800ms), "") << "the earlier run was given up";
  EXPECT_EQ(heard_by(2s), kFirst);
  port_.send(kFirst);
  EXPECT_EQ(heard_by(3s), kSecond);
  port_.configure(38'400);
  EXPECT_EQ(heard_by(5s), kFirst);
}

TEST_F(Rs485PartnerTest, CaresForPort1Only) {
  const Port two(2);
  EXPECT_EQ(heard_by(1500ms), kFirst);
  EXPECT_EQ(two.receive(), "");
  two.send(kFirst);
  EXPECT_EQ(heard_by(3s), "");
}

TEST_F(Rs485PartnerTest, HearsAndIsHeardAt38400BaudOnly) {
  port_.configure(9600);
  const std::string garbage = heard_by(2s);
  EXPECT_NE(garbage, "");
  EXPECT_NE(garbage, kFirst);
  port_.send(kFirst);
  EXPECT_EQ(heard_by(4s), "");
}

TEST_F(Rs485PartnerTest, IsGoneOnAnotherFixture) {
  heard_by(500ms);
  board_->rs485.set_fixture("none");
  EXPECT_EQ(heard_by(5s), "");
  board_->rs485.set_fixture("ring3");
  port_.configure(38'400);
  EXPECT_EQ(heard_by(10s), "");
}

TEST_F(Rs485PartnerTest, ASilentPartnerSendsNothing) {
  board_.fault("rs485 partner silent");
  EXPECT_EQ(heard_by(100s), "");
  board_.clear_faults();
  port_.configure(38'400);
  EXPECT_EQ(heard_by(102s), kFirst);
}

TEST_F(Rs485PartnerTest, APartnerThatFallsSilentKeepsItsSecondFrame) {
  heard_by(2s);
  board_.fault("rs485 partner silent");
  port_.send(kFirst);
  EXPECT_EQ(heard_by(3s), "");
}

TEST_F(Rs485PartnerTest, AWrongPartnerHasAWrongByteInItsSecondFrame) {
  board_.fault("rs485 partner wrong");
  EXPECT_EQ(heard_by(2s), kFirst);
  port_.send(kFirst);
  const std::string second = heard_by(3s);
  ASSERT_EQ(second.size(), kSecond.size());
  EXPECT_NE(second, kSecond);
  EXPECT_EQ(second.substr(0, 4), kSecond.substr(0, 4)) << "its header is right";
}

TEST_F(Rs485PartnerTest, TheFaultsOfPort1BefallTheEcho) {
  board_.fault("rs485 1 flips 15");
  EXPECT_EQ(answer_to(kFirst), "");
}

TEST_F(Rs485PartnerTest, ALateEchoIsAnsweredLater) {
  board_.fault("rs485 1 late 3000");
  EXPECT_EQ(answer_to(kFirst), "");
  EXPECT_EQ(heard_by(6s), kSecond);
}

TEST_F(Rs485PartnerTest, BytesOfItsOwnCanBeFlippedAndLost) {
  board_.fault("rs485 partner flips 3 20");
  board_.fault("rs485 partner loses 15 16");
  std::string first = kFirst.substr(0, 14);
  first[2] = static_cast<char>(~first[2]);
  EXPECT_EQ(heard_by(2s), first);
  port_.send(kFirst);
  std::string second = kSecond.substr(1);
  second[3] = static_cast<char>(~second[3]);
  EXPECT_EQ(heard_by(3s), second) << "its second frame begins with its 16th byte";
  port_.configure(38'400);
  EXPECT_EQ(heard_by(5s), kFirst) << "those that were named are through";
}

TEST_F(Rs485PartnerTest, CanBeLate) {
  board_.fault("rs485 partner late 3000");
  EXPECT_EQ(heard_by(4s), "");
  EXPECT_EQ(heard_by(5s), kFirst);
  port_.send(kFirst);
  EXPECT_EQ(heard_by(8s), "");
  EXPECT_EQ(heard_by(9s), kSecond);
  board_.clear_faults();
  port_.configure(38'400);
  EXPECT_EQ(heard_by(11s), kFirst);
}

TEST_F(Rs485PartnerTest, IsNotHeardOverWiresThatAreCut) {
  board_.fault("rs485 partner 1 open");
  EXPECT_EQ(answer_to(kFirst), "");
  board_.clear_faults();
  port_.configure(38'400);
  EXPECT_EQ(heard_by(5s), kFirst);
}

TEST_F(Rs485PartnerTest, DoesNotHearOverWiresThatAreCut) {
  board_.fault("rs485 1 partner open");
  EXPECT_EQ(heard_by(1500ms), kFirst);
  EXPECT_EQ(answer_to(kFirst), "");
}

TEST_F(Rs485PartnerTest, WhatItsLinesDoNotKnowIsRefused) {
  for (const char* text :
       {"rs485 partner late", "rs485 partner flips 0", "rs485 partner loses 1 x", "rs485 partner 6 open",
        "rs485 partner 1 shut", "rs485 partners late 1", "rs485 1 Partner open"}) {
    EXPECT_THROW(board_.fault(text), std::invalid_argument) << text;
  }
  EXPECT_EQ(heard_by(2s), kFirst);
}

TEST_F(Rs485PartnerTest, ADeadPortDoesNotHearIt) {
  board_.fault("uart 1 dead");
  EXPECT_EQ(heard_by(10s), "");
}

TEST_F(Rs485PartnerTest, ADeadDriverIsNotHeardByIt) {
  board_.fault("uart 1 driver dead");
  EXPECT_EQ(answer_to(kFirst), "");
}

}  // namespace
