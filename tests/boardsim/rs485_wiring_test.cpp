// The RS485 lines between the board's ports: fixtures, the time that bytes take, and faults.
#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <set>
#include <stdexcept>
#include <utility>
#include <vector>

#include "boardsim/board.h"
#include "boardsim/jigs/rs485_fixtures.h"
#include "boardsim/jigs/serial_bits.h"
#include "tests/boardsim/rs485_line.h"

namespace {

using namespace boardsim;
using namespace std::chrono_literals;
using boardsim::test::Port;

// ---- which fixture a board has -----------------------------------------------------------------------

TEST(Rs485FixturesTest, EveryFamilyIsWiredAsItsTestNeedsIt) {
  const std::map<std::string_view, std::string_view> expected{
      {"normal", "partner"},    {"k", "ring5"},      {"63xx", "partner"}, {"68xx", "partner"},
      {"68xx-fpga", "partner"}, {"6444", "partner"}, {"6444-j", "ring3"}, {"loop", "partner"},
      {"loop-c", "partner"},    {"ma", "ring3"},     {"65xx", "ring5"},   {"65xx-level", "ring5"},
      {"rkd1", "ring2"},        {"rkd2", "partner"}, {"6455", "partner"}, {"6485", "partner"},
      {"6484", "partner"}};
  for (const Family& family : families()) {
    const Board board(family.name);
    ASSERT_TRUE(expected.contains(family.name)) << family.name;
    EXPECT_EQ(board->rs485.fixture().name, expected.at(family.name)) << family.name;
  }
}

TEST(Rs485FixturesTest, ABoardOfAnotherTypeIsWiredAsThatTypeNeedsIt) {
  Board board;
  for (const std::uint32_t type : {0x960BU, 0x9B05U, 0x960FU, 0x960EU, 0x9B08U, 0x9B09U, 0x9B0AU, 0x970FU,
                                   0x9715U, 0x9713U, 0x9614U, 0x9615U, 0x9716U, 0x9725U, 0x9726U}) {
    board.set_type(type);
    EXPECT_EQ(board->rs485.fixture().name, "ring5") << std::hex << type;
  }
  for (const std::uint32_t type : {0xA6001U, 0xA6002U, 0xA6003U, 0xA6004U}) {
    board.set_type(type);
    EXPECT_EQ(board->rs485.fixture().name, "ring3") << std::hex << type;
  }
  for (const std::uint32_t type : {0x97C0U, 0xA6005U, 0xA6006U, 0x96C5U, 0x9A01U, 0U}) {
    board.set_type(type);
    EXPECT_EQ(board->rs485.fixture().name, "partner") << std::hex << type;
  }
}

TEST(Rs485FixturesTest, TheAlarmOutputsTellTheTwo6444BoardsApart) {
  Board board("6444");
  board.set_alarm_outputs(6);
  EXPECT_EQ(board->rs485.fixture().name, "ring3");
  board.set_alarm_outputs(7);
  EXPECT_EQ(board->rs485.fixture().name, "partner");
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
  EXPECT_THROW(board.fault("rs485 fixture ring4"), std::invalid_argument);
}

// ---- where bytes go -----------------------------------------------------------------------------------

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

TEST_F(Rs485WiringTest, BytesArriveAsTheyWereSent) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all.push_back(static_cast<char>(byte));
  EXPECT_EQ(over(all), all);
  EXPECT_EQ(board_->uart(1).sent(), all);
}

TEST_F(Rs485WiringTest, ABlockArrivesWholeAfterTenBitsForEachByte) {
  one_.send(std::string(15, 'a'));  // 150 bits at 38400 a second: 3.906 ms
  usleep(3'905);
  EXPECT_EQ(two_.receive(), "");
  usleep(1);
  EXPECT_EQ(two_.receive(), std::string(15, 'a'));
}

TEST_F(Rs485WiringTest, ASlowerLineTakesLonger) {
  one_.configure(9600);
  two_.configure(9600);
  one_.send("a");
  usleep(1'040);
  EXPECT_EQ(two_.receive(), "");
  usleep(1);
  EXPECT_EQ(two_.receive(), "a");
}

TEST_F(Rs485WiringTest, ABlockWaitsForTheOneBeforeIt) {
  one_.configure(10'000);
  two_.configure(10'000);
  one_.send("ab");
  one_.send("c");
  usleep(2'000);
  EXPECT_EQ(two_.receive(), "ab");
  usleep(999);
  EXPECT_EQ(two_.receive(), "");
  usleep(1);
  EXPECT_EQ(two_.receive(), "c");
  one_.send("d");
  usleep(1'000);
  EXPECT_EQ(two_.receive(), "d") << "the line was free again";
}

TEST_F(Rs485WiringTest, BothDirectionsAreOnWiresOfTheirOwn) {
  one_.send("from one");
  two_.send("from two");
  usleep(10'000);
  EXPECT_EQ(one_.receive(), "from two");
  EXPECT_EQ(two_.receive(), "from one");
}

TEST_F(Rs485WiringTest, APortThatWasNotConfiguredIsNotOnTheLine) {
  board_->rs485.set_fixture("ring3");
  const Port three(3, 0);
  two_.send("to three");
  three.send("to one");
  usleep(100'000);
  EXPECT_EQ(three.receive(), "");
  EXPECT_EQ(one_.receive(), "");
  three.configure(-1);
  three.send("to one");
  usleep(100'000);
  EXPECT_EQ(one_.receive(), "");
}

TEST_F(Rs485WiringTest, APortThatIsNotOpenMissesWhatComes) {
  board_->rs485.set_fixture("ring3");
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
  const std::string fast = over(frame);
  EXPECT_NE(fast.substr(0, 7), frame);
  two_.configure(38'400);
  EXPECT_EQ(over(frame), frame);
}

TEST_F(Rs485WiringTest, TheReceiverCanBeEmptied) {
  board_->uart(2).receive("old");
  EXPECT_EQ(two_.empty(), 0);
  EXPECT_EQ(two_.receive(), "");
  EXPECT_EQ(over("new"), "new");
  EXPECT_EQ(two_.empty(), 0) << "nothing waits";
  EXPECT_EQ(board_.hardware_trace().back(), "ioctl /dev/uart2 0x00005503 {} = 0");
}

TEST_F(Rs485WiringTest, EmptyingTheReceiverTakesNoArgument) {
  board_->uart(2).receive("old");
  int argument = 0;
  EXPECT_EQ(ioctl(two_.fd(), 0x5503UL, &argument), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(two_.receive(), "old") << "nothing was thrown away";
}

// ---- faults ----------------------------------------------------------------------------------------------

TEST_F(Rs485WiringTest, AnOpenPairCarriesNothingAndTheOthersGoOn) {
  board_->rs485.set_fixture("ring5");
  board_.fault("rs485 2 3 open");
  EXPECT_EQ(pairs(), (Pairs{{1, 2}, {3, 4}, {4, 5}, {5, 1}}));
  board_.fault("rs485 5 1 open");
  EXPECT_EQ(pairs(), (Pairs{{1, 2}, {3, 4}, {4, 5}}));
  board_.clear_faults();
  EXPECT_EQ(pairs().size(), 5U);
}

TEST_F(Rs485WiringTest, AnOpenPairIsOpenInOneDirection) {
  board_.fault("rs485 1 2 open");
  EXPECT_EQ(over("x"), "");
  two_.send("y");
  usleep(10'000);
  EXPECT_EQ(one_.receive(), "y");
}

TEST_F(Rs485WiringTest, FlippedBytesArriveInverted) {
  board_.fault("rs485 1 flips 2 4");
  EXPECT_EQ(over("abcde"),
            "a\x9D"
            "c\x9B"
            "e");
  EXPECT_EQ(over("abcde"), "abcde") << "those that were named are through";
  EXPECT_EQ(board_->uart(1).sent(), "abcdeabcde");
}

TEST_F(Rs485WiringTest, LostBytesAreMissing) {
  board_.fault("rs485 1 loses 1 3");
  EXPECT_EQ(over("abcde"), "bde");
  EXPECT_EQ(over("abcde"), "abcde");
}

TEST_F(Rs485WiringTest, BytesAreCountedFromTheFaultOnAcrossBlocks) {
  EXPECT_EQ(over("abc"), "abc");
  board_.fault("rs485 1 loses 4");
  board_.fault("rs485 1 flips 1");
  EXPECT_EQ(over("abc"),
            "\x9E"
            "bc");
  EXPECT_EQ(over("abc"), "bc");
}

TEST_F(Rs485WiringTest, ABlockOfWhichAllIsLostDoesNotArrive) {
  board_.fault("rs485 1 loses 1 2");
  EXPECT_EQ(over("ab"), "");
}

TEST_F(Rs485WiringTest, ALostByteTakesItsTimeAllTheSame) {
  one_.configure(10'000);
  two_.configure(10'000);
  board_.fault("rs485 1 loses 1");
  one_.send("abc");
  usleep(2'999);
  EXPECT_EQ(two_.receive(), "");
  usleep(1);
  EXPECT_EQ(two_.receive(), "bc");
}

TEST_F(Rs485WiringTest, LateBytesArriveSoMuchLater) {
  board_.fault("rs485 1 late 2000");
  one_.send("a");
  two_.send("b");
  usleep(1'999'000);
  EXPECT_EQ(two_.receive(), "");
  EXPECT_EQ(one_.receive(), "b") << "the other port is in time";
  usleep(1'261);
  EXPECT_EQ(two_.receive(), "a");
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

TEST_F(Rs485WiringTest, AFaultThatTheLinesDoNotKnowIsRefused) {
  for (const char* text :
       {"rs485", "rs485 1", "rs485 0 1 open", "rs485 1 6 open", "rs485 6 late 1", "rs485 1 late",
        "rs485 1 late x", "rs485 1 flips", "rs485 1 flips 0", "rs485 1 flips x", "rs485 1 loses",
        "rs485 1 loses -1", "rs485 1 2 shut", "rs485 1 2 open 3", "rs485 partner", "rs485 partner loud",
        "rs485 partner silent now", "rs485 fixture", "rs485 one 2 open"}) {
    EXPECT_THROW(board_.fault(text), std::invalid_argument) << text;
  }
}

TEST_F(Rs485WiringTest, ARefusedFaultChangesNothing) {
  EXPECT_THROW(board_.fault("rs485 1 loses 1 0"), std::invalid_argument);
  EXPECT_EQ(over("ab"), "ab");
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
  const int two = open("/dev/uart2", O_RDWR);
  Port(2).configure(38'400);
  one.send("abc");
  char bytes[8];
  EXPECT_EQ(read(two, bytes, sizeof bytes), 3);
  close(two);
}

// ---- bits on the line
// ---------------------------------------------------------------------------------------

TEST(SerialBitsTest, AnEqualSpeedHearsEveryByte) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all.push_back(static_cast<char>(byte));
  for (const int rate : {300, 9600, 38'400, 115'200}) EXPECT_EQ(heard_at(all, rate, rate), all);
  EXPECT_EQ(heard_at("", 9600, 9600), "");
}

TEST(SerialBitsTest, ASpeedThatIsAFewPercentOffIsGoodEnough) {
  EXPECT_EQ(heard_at("U\x01\x7F\xFE", 38'400, 39'400), "U\x01\x7F\xFE");
  EXPECT_EQ(heard_at("U\x01\x7F\xFE", 38'400, 37'400), "U\x01\x7F\xFE");
}

TEST(SerialBitsTest, HalfTheSpeedSeesTwoBitsAsOne) {
  // Start bit, four ones, four zeros, stop bit. The receiver looks behind the 3rd, 5th, 7th, 9th ... of them.
  EXPECT_EQ(heard_at("\x0F", 19'200, 9600), "\xF9");
}

TEST(SerialBitsTest, TwiceTheSpeedSeesABitAsTwo) {
  EXPECT_EQ(heard_at("\x0F", 9600, 19'200).substr(0, 1), "\xFE");
}

TEST(SerialBitsTest, SpeedsAtBothEndsOfTheirRangeAreSafe) {
  constexpr int kFastest = 2'147'483'647;
  EXPECT_EQ(heard_at("abc", kFastest, 1), "\xFF");
  EXPECT_NE(heard_at("abc", 1, kFastest), "abc");
}

}  // namespace
