// The RS485 lines between the board's ports: fixtures, the time that bytes take, faults, and the fixture's
// device for the echo test.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "boardsim/board.h"
#include "boardsim/jigs/rs485_fixtures.h"
#include "boardsim/jigs/serial_bits.h"

namespace {

using namespace boardsim;
using namespace std::chrono_literals;

/// An open port as a program uses it, configured for a speed; one of 0 leaves it as it is.
class Port {
 public:
  explicit Port(unsigned number, int rate = 38400, int flags = O_NONBLOCK)
      : fd_(open(("/dev/uart" + std::to_string(number)).c_str(), O_RDWR | flags)) {
    if (rate != 0) configure(rate);
  }
  ~Port() { close(fd_); }
  Port(const Port&) = delete;
  Port& operator=(const Port&) = delete;

  void configure(int rate) const {
    std::array<std::int32_t, 5> record{rate, 3, 0, 0, 0};
    ioctl(fd_, 0x40045501UL, record.data());
  }
  void send(std::string_view bytes) const {
    [[maybe_unused]] const ssize_t written = write(fd_, bytes.data(), bytes.size());
  }
  /// What waits; nothing when nothing does.
  std::string receive() const {
    std::array<char, 4096> bytes{};
    const ssize_t size = read(fd_, bytes.data(), bytes.size());
    return std::string(bytes.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
  }
  int empty(void* argument = nullptr) const { return ioctl(fd_, 0x5503UL, argument); }

 private:
  int fd_;
};

std::string every_byte() {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all.push_back(static_cast<char>(byte));
  return all;
}

// ---- which fixture a board has: that of each family is what its RS485 test passes with ------------------

TEST(Rs485FixturesTest, ABoardOfAnotherTypeIsWiredAsThatTypeNeedsIt) {
  const std::pair<const char*, std::vector<std::uint32_t>> fixtures[] = {
      {"ring5",
       {0x960B, 0x9B05, 0x960F, 0x960E, 0x9B08, 0x9B09, 0x9B0A, 0x970F, 0x9715, 0x9713, 0x9614, 0x9615,
        0x9716, 0x9725, 0x9726}},
      {"ring3", {0xA6001, 0xA6002, 0xA6003, 0xA6004}},
      {"partner", {0x97C0, 0xA6005, 0xA6006, 0x96C5, 0x9A01, 0}},
  };
  Board board;
  for (const auto& [fixture, types] : fixtures) {
    for (const std::uint32_t type : types) {
      board.set_type(type);
      EXPECT_EQ(board->rs485.fixture().name, fixture) << std::hex << type;
    }
  }
}

TEST(Rs485FixturesTest, AFixtureThatIsPluggedInStays) {
  Board board("k");
  board->rs485.set_fixture("ring2");
  board.set_type(0xA6001);
  board.clear_faults();
  EXPECT_EQ(board->rs485.fixture().name, "ring2");
  board.fault("rs485 fixture self");
  EXPECT_EQ(board->rs485.fixture().name, "self");
  board->rs485.set_fixture("auto");
  EXPECT_EQ(board->rs485.fixture().name, "ring3");
}

TEST(Rs485FixturesTest, AFixtureThatDoesNotExistIsRefusedWithAListOfThoseThatDo) {
  Board board;
  try {
    board->rs485.set_fixture("ring4");
    FAIL() << "it was plugged in";
  } catch (const std::invalid_argument& refusal) {
    EXPECT_STREQ(refusal.what(),
                 "there is no RS485 fixture \"ring4\"; there can be auto, ring5, ring3, ring2, self, "
                 "partner, terminal or none");
  }
}

// ---- where bytes go, and when ---------------------------------------------------------------------------

using Pairs = std::set<std::pair<unsigned, unsigned>>;

class Rs485WiringTest : public testing::Test {
 protected:
  /// Which ports hear which, found out by sending on one after the other.
  Pairs pairs() {
    const std::array<Port, 5> ports{Port(1), Port(2), Port(3), Port(4), Port(5)};
    Pairs found;
    for (unsigned from = 1; from <= 5; ++from) {
      ports[from - 1].send("x");
      usleep(50'000);
      for (unsigned to = 1; to <= 5; ++to) {
        if (ports[to - 1].receive() == "x") found.emplace(from, to);
      }
    }
    return found;
  }
  /// What port 2 has heard a while after port 1 has sent.
  std::string over(std::string_view bytes) {
    one_.send(bytes);
    usleep(500'000);
    return two_.receive();
  }
  /// What port 2 has heard so many microseconds later.
  std::string heard_after(useconds_t span) {
    usleep(span);
    return two_.receive();
  }
  void configure(int rate) {
    one_.configure(rate);
    two_.configure(rate);
  }

  Board board_{"rkd1"};
  Port one_{1};
  Port two_{2};
};

TEST_F(Rs485WiringTest, EachFixtureHasItsPairsAndNoOthers) {
  const std::map<std::string, Pairs> expected{
      {"ring5", {{1, 2}, {2, 3}, {3, 4}, {4, 5}, {5, 1}}},
      {"ring3", {{1, 2}, {2, 3}, {3, 1}}},
      {"ring2", {{1, 2}, {2, 1}}},
      {"self", {{1, 1}}},
      {"partner", {}},
      {"terminal", {}},
      {"none", {}},
  };
  EXPECT_EQ(rs485_fixtures().size(), expected.size());
  for (const auto& [name, wires] : expected) {
    board_->rs485.set_fixture(name);
    EXPECT_EQ(pairs(), wires) << name;
  }
}

TEST_F(Rs485WiringTest, ABlockArrivesWholeAfterTenBitsForEachByte) {
  one_.send(std::string(15, 'a'));  // 150 bits at 38400 a second: 3.906 ms
  EXPECT_EQ(heard_after(3'905), "");
  EXPECT_EQ(heard_after(1), std::string(15, 'a'));
  EXPECT_EQ(over(every_byte()), every_byte());
}

TEST_F(Rs485WiringTest, ABlockWaitsForTheOneBeforeIt) {
  configure(10'000);
  one_.send("ab");
  one_.send("c");
  EXPECT_EQ(heard_after(2'000), "ab");
  EXPECT_EQ(heard_after(999), "");
  EXPECT_EQ(heard_after(1), "c");
  one_.send("d");
  EXPECT_EQ(heard_after(1'000), "d") << "the line was free again";
}

TEST_F(Rs485WiringTest, APortThatWasNotConfiguredOrIsNotOpenIsNotOnTheLine) {
  board_->rs485.set_fixture("ring3");
  {
    const Port three(3, 0);
    for (const int rate : {0, -1}) {
      if (rate != 0) three.configure(rate);
      two_.send("to three");
      three.send("to one");
      usleep(100'000);
      EXPECT_EQ(three.receive(), "");
      EXPECT_EQ(one_.receive(), "");
    }
  }
  two_.send("early");
  usleep(100'000);
  EXPECT_EQ(Port(3).receive(), "");
}

TEST_F(Rs485WiringTest, AnotherSpeedMakesGarbage) {
  two_.configure(9600);
  const std::string frame("\xD0\x01\x02\x07\x5A\xA5\xD9", 7);
  const std::string slow = over(frame);
  EXPECT_NE(slow, "");
  EXPECT_LT(slow.size(), frame.size());
  two_.configure(115'200);
  EXPECT_NE(over(frame).substr(0, 7), frame);
  two_.configure(38'400);
  EXPECT_EQ(over(frame), frame);
}

TEST_F(Rs485WiringTest, TheReceiverCanBeEmptiedWithoutAnArgument) {
  board_->uart(2).receive("old");
  int argument = 0;
  EXPECT_EQ(two_.empty(&argument), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(two_.receive(), "old") << "nothing was thrown away";
  board_->uart(2).receive("old");
  EXPECT_EQ(two_.empty(), 0);
  EXPECT_EQ(over("new"), "new");
  EXPECT_EQ(two_.empty(), 0) << "nothing waits";
}

TEST(Rs485PaceTest, OnASteppedBoardBytesArriveAtTheirTime) {
  Board board("rkd1", Pace::stepped);
  const Port one(1, 10'000);
  const Port two(2, 10'000);
  one.send("abc");
  ASSERT_TRUE(board.advance(2'999us));
  EXPECT_EQ(two.receive(), "");
  ASSERT_TRUE(board.advance(1us));
  EXPECT_EQ(two.receive(), "abc");
}

TEST(Rs485PaceTest, OnAScaledBoardBytesArriveToo) {
  const Board board("rkd1", Pace::scaled, 1000);
  const Port one(1);
  const Port two(2, 38'400, 0);
  one.send("abc");
  EXPECT_EQ(two.receive(), "abc");
}

// ---- faults ---------------------------------------------------------------------------------------------

TEST_F(Rs485WiringTest, AnOpenPairCarriesNothingInItsDirection) {
  board_.fault("rs485 1 2 open");
  EXPECT_EQ(over("x"), "");
  two_.send("y");
  usleep(10'000);
  EXPECT_EQ(one_.receive(), "y");
  board_.clear_faults();
  EXPECT_EQ(over("x"), "x");
}

TEST_F(Rs485WiringTest, DamagedBytesAreCountedFromTheFaultOnAcrossBlocks) {
  EXPECT_EQ(over("abc"), "abc");
  board_.fault("rs485 1 loses 4 9");
  board_.fault("rs485 1 flips 1 2");
  EXPECT_EQ(over("abc"),
            "\x9E\x9D"
            "c");
  EXPECT_EQ(over("abc"), "bc");
  EXPECT_EQ(over("abcabc"), "ababc") << "those that were named are through";
  EXPECT_EQ(board_->uart(1).sent(), "abcabcabcabcabc");
}

TEST_F(Rs485WiringTest, ALostByteTakesItsTimeAllTheSame) {
  configure(10'000);
  board_.fault("rs485 1 loses 1 4 5");
  one_.send("abc");
  EXPECT_EQ(heard_after(2'999), "");
  EXPECT_EQ(heard_after(1), "bc");
  EXPECT_EQ(over("ab"), "") << "a block of which all is lost does not arrive";
}

TEST_F(Rs485WiringTest, LateBytesArriveSoMuchLater) {
  board_.fault("rs485 1 late 2000");
  one_.send("a");
  two_.send("b");
  EXPECT_EQ(heard_after(1'999'000), "");
  EXPECT_EQ(one_.receive(), "b") << "the other port is in time";
  EXPECT_EQ(heard_after(1'261), "a");
  board_.clear_faults();
  EXPECT_EQ(over("c"), "c");
}

TEST_F(Rs485WiringTest, ADeadPortHearsNothingAndADeadDriverSendsNothing) {
  board_.fault("uart 2 dead");
  EXPECT_EQ(over("a"), "");
  board_.clear_faults();
  board_.fault("uart 1 driver dead");
  EXPECT_EQ(over("b"), "");
  board_.clear_faults();
  EXPECT_EQ(over("c"), "c");
}

TEST_F(Rs485WiringTest, AShortWriteSendsAsMuchAsItTook) {
  board_.fault("write /dev/uart1 #1 short 2");
  EXPECT_EQ(over("abc"), "ab");
}

TEST_F(Rs485WiringTest, ARefusedFaultChangesNothing) {
  EXPECT_THROW(board_.fault("rs485 1 loses 1 0"), std::invalid_argument);
  EXPECT_EQ(over("ab"), "ab");
}

// ---- the partner of the echo test, whose right answers the echo test passes with ------------------------

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

TEST_F(Rs485PartnerTest, SendsOneFrameASecondAfterThePortIsConfiguredAndOne100MsAfterItsEcho) {
  EXPECT_EQ(heard_by(1s + 3'905us), "");
  EXPECT_EQ(heard_by(1s + 3'906us), kFirst);
  EXPECT_EQ(heard_by(100s), "") << "once, and nothing without an echo";
  port_.send(kFirst);
  // 3906 us for the echo, 100 ms, and 1822 us for the second frame
  EXPECT_EQ(heard_by(100s + 105'727us), "");
  EXPECT_EQ(heard_by(100s + 105'728us), kSecond);
  EXPECT_EQ(heard_by(200s), "");
}

TEST_F(Rs485PartnerTest, TakesAnEchoInPieces) {
  heard_by(2s);
  port_.send(kFirst.substr(0, 4));
  EXPECT_EQ(heard_by(2500ms), "");
  port_.send(kFirst.substr(4, 10));
  EXPECT_EQ(heard_by(3s), "") << "14 bytes are too few";
  port_.send(kFirst.substr(14));
  EXPECT_EQ(heard_by(4s), kSecond);
}

TEST_F(Rs485PartnerTest, AnswersNoEchoThatDiffersOrCameBeforeItsFrame) {
  port_.send(kFirst);
  EXPECT_EQ(heard_by(1900ms), kFirst);
  std::string wrong = kFirst;
  wrong[7] = 'x';
  EXPECT_EQ(answer_to(wrong), "");
  port_.send(kFirst);
  EXPECT_EQ(heard_by(4s), "") << "the first 15 bytes are the echo";
}

TEST_F(Rs485PartnerTest, StartsAnewWheneverThePortIsConfigured) {
  EXPECT_EQ(heard_by(900ms), "");
  port_.configure(38'400);
  EXPECT_EQ(heard_by(1800ms), "") << "the earlier run was given up";
  EXPECT_EQ(answer_to(kFirst), kSecond);
  port_.configure(38'400);
  EXPECT_EQ(heard_by(5s), kFirst);
  port_.send(kFirst);
  EXPECT_EQ(heard_by(6s), kSecond);
}

TEST_F(Rs485PartnerTest, CaresForPort1Only) {
  EXPECT_EQ(heard_by(500ms), "");
  const Port two(2);
  EXPECT_EQ(heard_by(1100ms), kFirst) << "its second is not begun anew";
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

TEST_F(Rs485PartnerTest, IsSilentOrWrongOrNotHeardUntilTheFaultIsTakenAway) {
  for (const char* fault : {"rs485 partner silent", "rs485 partner 1 open", "uart 1 dead"}) {
    board_.fault(fault);
    port_.configure(38'400);
    EXPECT_EQ(heard_by(board_.now() + 50s), "") << fault;
    board_.clear_faults();
  }
  port_.configure(38'400);
  EXPECT_EQ(heard_by(board_.now() + 2s), kFirst);
  board_.fault("rs485 partner wrong");
  port_.send(kFirst);
  const std::string second = heard_by(board_.now() + 1s);
  ASSERT_EQ(second.size(), kSecond.size());
  EXPECT_NE(second, kSecond);
  EXPECT_EQ(second.substr(0, 4), kSecond.substr(0, 4)) << "its header is right";
}

TEST_F(Rs485PartnerTest, DoesNotAnswerAnEchoThatTheBoardsSideDamagesOrWhenItFallsSilent) {
  for (const char* fault :
       {"rs485 1 flips 15", "rs485 1 partner open", "uart 1 driver dead", "rs485 partner silent"}) {
    port_.configure(38'400);
    heard_by(board_.now() + 2s);
    board_.fault(fault);
    port_.send(kFirst);
    EXPECT_EQ(heard_by(board_.now() + 2s), "") << fault;
    board_.clear_faults();
  }
}

TEST_F(Rs485PartnerTest, BytesOfItsOwnCanBeFlippedLostAndLate) {
  board_.fault("rs485 partner flips 3 20");
  board_.fault("rs485 partner loses 15 16");
  board_.fault("rs485 partner late 3000");
  std::string first = kFirst.substr(0, 14);
  first[2] = static_cast<char>(~first[2]);
  EXPECT_EQ(heard_by(4s), "");
  EXPECT_EQ(heard_by(5s), first);
  port_.send(kFirst);
  std::string second = kSecond.substr(1);
  second[3] = static_cast<char>(~second[3]);
  EXPECT_EQ(heard_by(8s), "");
  EXPECT_EQ(heard_by(9s), second) << "its second frame begins with its 16th byte";
  board_.clear_faults();
  port_.configure(38'400);
  EXPECT_EQ(heard_by(11s), kFirst);
}

// ---- bits on the line -----------------------------------------------------------------------------------

TEST(SerialBitsTest, ASpeedThatIsAFewPercentOffIsGoodEnough) {
  for (const int rate : {300, 9600, 38'400, 115'200})
    EXPECT_EQ(heard_at(every_byte(), rate, rate), every_byte());
  EXPECT_EQ(heard_at("", 9600, 9600), "");
  EXPECT_EQ(heard_at("U\x01\x7F\xFE", 38'400, 39'400), "U\x01\x7F\xFE");
  EXPECT_EQ(heard_at("U\x01\x7F\xFE", 38'400, 37'400), "U\x01\x7F\xFE");
}

TEST(SerialBitsTest, HalfTheSpeedSeesTwoBitsAsOneAndTwiceTheSpeedABitAsTwo) {
  // Start bit, four ones, four zeros, stop bit. The receiver looks behind the 3rd, 5th, 7th, 9th ... of them.
  EXPECT_EQ(heard_at("\x0F", 19'200, 9600), "\xF9");
  EXPECT_EQ(heard_at("\x0F", 9600, 19'200).substr(0, 1), "\xFE");
}

TEST(SerialBitsTest, SpeedsAtBothEndsOfTheirRangeAreSafe) {
  constexpr int kFastest = 2'147'483'647;
  EXPECT_EQ(heard_at("abc", kFastest, 1), "\xFF");
  EXPECT_NE(heard_at("abc", 1, kFastest), "abc");
}

}  // namespace
