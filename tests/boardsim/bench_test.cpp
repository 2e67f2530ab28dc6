// Boards on the factory's bench: which jig is in place, what its wires do, and their faults.
#include "boardsim/jigs/bench.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <array>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/board.h"

namespace {

using namespace boardsim;

template <std::size_t N>
void request(const char* node, std::uint32_t number, std::array<std::uint32_t, N> record) {
  const int fd = open(node, O_RDWR);
  ASSERT_GE(fd, 0) << node;
  EXPECT_EQ(ioctl(fd, number, record.data()), 0) << node;
  close(fd);
}

void switch_test_control(std::uint32_t on) {
  request<1>("/dev/qznitc", 0x888B, {on});
}
void write_fpga(std::uint32_t address, std::uint32_t value) {
  request<2>("/dev/fpga", 0x40044603, {address, value});
}
void set_alarms(std::uint32_t state) {
  request<3>("/dev/alarm", 0x40044101, {0x46554C4C, state, 0});
}
void drive_line(std::uint32_t line, std::uint32_t level) {
  request<2>("/dev/qznio", 0x40044702, {line, level});
}

/// A board in the middle of a test.
class BenchTest : public testing::Test {
 protected:
  void plug_in(std::string_view family) {
    board_.reset();
    board_.emplace(family);
    switch_test_control(1);
  }
  /// Levels of these inputs, one digit each.
  std::string levels(const std::vector<std::string>& inputs) {
    std::string text;
    for (const std::string& input : inputs) text += std::to_string((*board_)->bench.input_level(input));
    return text;
  }
  std::string five() { return levels({"T1", "T2", "T3", "T4", "SYNC"}); }
  std::string four() { return levels({"T1", "T2", "T3", "T4"}); }
  std::string eight() { return levels({"T1", "T2", "T3", "T4", "T5", "T6", "T7", "SYNC"}); }
  std::string ten() { return levels({"T1", "T2", "T3", "T4", "T5", "T6", "T7", "T8", "T9", "T10"}); }

  std::optional<Board> board_{};
};

// ---- wires --------------------------------------------------------------------------------------------

TEST_F(BenchTest, ThreeOutputsPullFiveInputs) {
  plug_in("normal");
  write_fpga(0x2002, 0x3819C0);
  EXPECT_EQ(five(), "10000");
  write_fpga(0x2002, 0x3805C0);
  EXPECT_EQ(five(), "01111");
  EXPECT_TRUE((*board_)->bench.output_driven("F1"));
  EXPECT_FALSE((*board_)->bench.output_driven("F3"));
  EXPECT_EQ((*board_)->general_io.level(74), 0);
  EXPECT_EQ((*board_)->general_io.level(94), 1);
}

TEST_F(BenchTest, BoardsWithShortRegistersTakeShortValuesOnly) {
  plug_in("normal");
  board_->set_type(0x27203);
  write_fpga(0x2002, 6);
  EXPECT_EQ(five(), "10000");
  write_fpga(0x2002, 0x3819C0);
  EXPECT_EQ(five(), "11111");
  board_->set_type(0x9601);
  write_fpga(0x2002, 6);
  EXPECT_EQ(five(), "11111");
}

TEST_F(BenchTest, EachOutputOfTheAlarmDriverPullsAnInputOnItsOwnLine) {
  plug_in("68xx");
  set_alarms(0x0FFFFFFB);
  EXPECT_EQ(five(), "00100");
  set_alarms(4);
  EXPECT_EQ(five(), "11011");
  EXPECT_EQ((*board_)->general_io.level(77), 0);
  EXPECT_EQ((*board_)->alarm.state(), 4U);
  plug_in("rkd1");
  set_alarms(4);
  EXPECT_EQ((*board_)->general_io.level(27), 0);
  EXPECT_EQ((*board_)->general_io.level(28), 1);
}

TEST_F(BenchTest, TwoRelaysInARowPullTheSyncOfMaBoards) {
  plug_in("ma");
  write_fpga(0x2018, 0x440);
  write_fpga(0x2002, 0x2C00DC0);
  EXPECT_EQ(five(), "00001");
  write_fpga(0x2018, 0x40);
  write_fpga(0x2002, 0x4C011C0);
  EXPECT_EQ(five(), "11110");
  EXPECT_EQ((*board_)->general_io.level(114), 0);
  write_fpga(0x2002, 0x1000);
  EXPECT_EQ(five(), "11111") << "one of the two is not enough";
}

TEST_F(BenchTest, NineOutputsPullEightInputs) {
  plug_in("k");
  write_fpga(0x2018, 0x1804C0);
  write_fpga(0x2002, 0x6C01DC0);
  write_fpga(81, 1);
  write_fpga(82, 1);
  EXPECT_EQ(eight(), "00000010");
  write_fpga(0x2018, 0x1808C0);
  write_fpga(0x2002, 0xC001C0);
  write_fpga(81, 0);
  EXPECT_EQ(eight(), "11111101") << "one of SYNC's relays is open";
  board_->set_type(0x9615);
  write_fpga(0x2018, 0);
  write_fpga(0x2002, 111);
  EXPECT_EQ(eight(), "00001001");
}

TEST_F(BenchTest, RelaysAndABitThatWorksWhenItIsClearPullFourInputs) {
  plug_in("6444");
  write_fpga(0x2002, 0x80000018);
  for (const std::uint32_t relay : {81U, 82U, 83U, 84U}) write_fpga(relay, 1);
  EXPECT_EQ((*board_)->bench.jig().name, "4in7out");
  EXPECT_EQ(four(), "0000");
  write_fpga(83, 0);
  EXPECT_EQ(four(), "0001") << "one of three relays in a row is open";
  write_fpga(85, 1);
  EXPECT_EQ(four(), "0000");
  write_fpga(0x2002, 0xC0000018);
  EXPECT_EQ(four(), "1100");
}

TEST_F(BenchTest, ThreeRelaysDoTheSameWithFiveOutputs) {
  plug_in("normal");
  write_fpga(0x2002, 0x80000018);
  write_fpga(81, 1);
  write_fpga(83, 1);
  EXPECT_EQ((*board_)->bench.jig().name, "4in5out");
  EXPECT_EQ(four(), "0000");
  write_fpga(83, 0);
  EXPECT_EQ(four(), "0001");
  write_fpga(82, 1);
  EXPECT_EQ(four(), "0000");
  for (const std::uint32_t relay : {81U, 82U, 83U, 84U, 85U}) write_fpga(relay, 0);
  EXPECT_EQ((*board_)->bench.jig().name, "4in5out") << "a relay that is switched off tells nothing";
}

TEST_F(BenchTest, TheAlarmDriverOfLoopBoardsOpensWhatPullsT3AndT4) {
  plug_in("loop-c");
  set_alarms(0);
  EXPECT_EQ(four(), "1100");
  set_alarms(15);
  EXPECT_EQ(four(), "0011");
  set_alarms(27);
  EXPECT_EQ(four(), "0011");
  set_alarms(11);
  EXPECT_EQ(four(), "0010") << "neither F3 nor F5 opens T4's wire";
}

TEST_F(BenchTest, TwoOutputsPullThreeInputsAndT2HasNoWire) {
  plug_in("6444-j");
  set_alarms(0);
  EXPECT_EQ(four(), "1111");
  set_alarms(15);
  EXPECT_EQ(four(), "0100");
}

TEST_F(BenchTest, TenInputsAreSwitchesOrEightOfThemLevels) {
  const auto alarm = [](std::uint32_t on) {
    write_fpga(0x2018, 0x180038);
    write_fpga(0x2002, on != 0 ? 0xC0180038 : 0x80180038);
    write_fpga(81, on);
    write_fpga(82, on);
  };
  plug_in("65xx");
  alarm(0);
  EXPECT_EQ(ten(), "1111111111");
  alarm(1);
  EXPECT_EQ(ten(), "0000000000");
  plug_in("65xx-level");
  alarm(0);
  EXPECT_EQ(ten(), "0000000011");
  alarm(1);
  EXPECT_EQ(ten(), "1111111100");
  EXPECT_EQ((*board_)->bench.jig().name, "10in10out-level");
}

TEST_F(BenchTest, AnRkdInputIsLowBehindAClosedRelayAndALowLine) {
  plug_in("rkd1");
  for (const std::uint32_t line : {76U, 77U, 78U, 79U}) drive_line(line, 0);
  EXPECT_EQ((*board_)->bench.jig().name, "2in4out");
  EXPECT_EQ(levels({"T1", "T2"}), "11");
  drive_line(78, 1);
  EXPECT_EQ(levels({"T1", "T2"}), "01");
  EXPECT_EQ((*board_)->general_io.level(18), 0);
  drive_line(76, 1);
  drive_line(79, 1);
  EXPECT_EQ(levels({"T1", "T2"}), "10");
}

TEST_F(BenchTest, EitherOfTwoRelaysConnectsTheOneRkdInput) {
  plug_in("rkd2");
  for (const std::uint32_t line : {76U, 78U, 79U}) drive_line(line, 0);
  EXPECT_EQ((*board_)->bench.jig().name, "1in3out");
  EXPECT_EQ((*board_)->bench.input_level("T1"), 1);
  drive_line(79, 1);
  EXPECT_EQ((*board_)->bench.input_level("T1"), 0);
  drive_line(79, 0);
  drive_line(78, 1);
  EXPECT_EQ((*board_)->bench.input_level("T1"), 0);
  drive_line(76, 1);
  EXPECT_EQ((*board_)->bench.input_level("T1"), 1);
}

TEST_F(BenchTest, OneLineDrivesAnotherWithoutTestControl) {
  plug_in("63xx");
  switch_test_control(0);
  drive_line(21, 1);
  EXPECT_EQ((*board_)->bench.jig().name, "1in1out");
  EXPECT_EQ((*board_)->general_io.level(20), 0);
  drive_line(21, 0);
  EXPECT_EQ((*board_)->general_io.level(20), 1);
}

// ---- test control and the choice of a jig -------------------------------------------------------------

TEST_F(BenchTest, InputsFloatHighWithoutTestControl) {
  plug_in("normal");
  write_fpga(0x2002, 0x3811C0);
  EXPECT_TRUE((*board_)->test_control.is_on());
  EXPECT_EQ(five(), "11000");
  switch_test_control(0);
  EXPECT_FALSE((*board_)->test_control.is_on());
  EXPECT_EQ(five(), "11111");
  EXPECT_TRUE((*board_)->bench.output_driven("F3")) << "the output itself is driven as before";
}

TEST_F(BenchTest, EveryTestIsGivenItsJigAnew) {
  plug_in("k");
  write_fpga(0x2018, 0x1800C0);
  EXPECT_EQ((*board_)->bench.jig().name, "8in9out");
  switch_test_control(0);
  EXPECT_EQ((*board_)->bench.jig().name, "8in9out") << "it stays until the next test begins";
  switch_test_control(1);
  EXPECT_EQ((*board_)->bench.jig().name, "5in3out");
  set_alarms(0);
  EXPECT_EQ((*board_)->bench.jig().name, "3in2out");
}

TEST_F(BenchTest, AJigCanBePluggedInByHand) {
  plug_in("normal");
  (*board_)->bench.set_jig("8in9out");
  write_fpga(0x2002, 0x400);
  EXPECT_EQ(eight(), "01111111");
  (*board_)->bench.set_jig("auto");
  EXPECT_EQ((*board_)->bench.jig().name, "5in3out");
  board_->fault("jig 4in7out");
  board_->clear_faults();
  EXPECT_EQ((*board_)->bench.jig().name, "4in7out") << "a jig is no fault";
  board_->fault("jig auto");
  EXPECT_EQ((*board_)->bench.jig().name, "5in3out");
}

TEST_F(BenchTest, AJigThatDoesNotFitIsRefusedWithThoseThatDo) {
  plug_in("normal");
  try {
    (*board_)->bench.set_jig("2in4out");
    FAIL() << "there is no such jig for this board";
  } catch (const std::invalid_argument& error) {
    EXPECT_EQ(std::string(error.what()),
              "no jig \"2in4out\" fits this board; there can be auto, 1in1out, 3in2out, 8in9out, 4in7out, "
              "4in5out or 5in3out");
  }
  EXPECT_THROW(board_->fault("jig"), std::invalid_argument);
}

TEST_F(BenchTest, TerminalsThatTheJigLacksAreRefused) {
  plug_in("normal");
  EXPECT_THROW((*board_)->bench.input_level("T5"), std::invalid_argument);
  EXPECT_THROW((*board_)->bench.output_driven("F4"), std::invalid_argument);
}

TEST_F(BenchTest, ALineHeldFromOutsideIsHeldAgainstTheJig) {
  plug_in("normal");
  write_fpga(0x2002, 0x400);
  (*board_)->general_io.set_level(74, 1);
  EXPECT_EQ((*board_)->general_io.level(74), 1);
}

// ---- faults -------------------------------------------------------------------------------------------

TEST_F(BenchTest, AStuckInputReadsSoAndLeavesTheOthersAlone) {
  plug_in("normal");
  write_fpga(0x2002, 0x400);
  board_->fault("short T1 T3");
  board_->fault("input T1 stuck high");
  board_->fault("input T2 stuck low");
  EXPECT_EQ(five(), "10000")
      << "T3 hears of F1 through the short, as do T4 and SYNC, which hang on its contact";
  board_->clear_faults();
  EXPECT_EQ(five(), "01111");
}

TEST_F(BenchTest, ACutWireLetsItsInputFloat) {
  plug_in("normal");
  write_fpga(0x2002, 0x1000);
  board_->fault("wire T4 cut");
  EXPECT_EQ(five(), "11010");
  board_->fault("short T3 T4");
  EXPECT_EQ(five(), "11000") << "it is low again through the short";
}

TEST_F(BenchTest, InputsOnOneContactAreOneNet) {
  plug_in("normal");
  write_fpga(0x2002, 0x400);
  EXPECT_EQ(five(), "01111");
  board_->fault("short T1 T4");
  EXPECT_EQ(five(), "01000");
  board_->clear_faults();
  board_->fault("short T3 GND");
  EXPECT_EQ(five(), "01000");
  board_->fault("wire T4 cut");
  EXPECT_EQ(five(), "01010") << "a cut wire takes its input off the net";
  board_->fault("short T4 SYNC");
  EXPECT_EQ(five(), "01000") << "a short leads it back";
  plug_in("6444-j");
  set_alarms(1);
  board_->fault("short T1 T3");
  EXPECT_EQ(four(), "0100");
}

TEST_F(BenchTest, AStuckInputIsNoMatterOfItsNet) {
  plug_in("normal");
  write_fpga(0x2002, 0x400);
  board_->fault("input T3 stuck low");
  EXPECT_EQ(five(), "01011");
}

TEST_F(BenchTest, InputsBehindContactsOfTheirOwnAreNotJoined) {
  plug_in("rkd1");
  for (const std::uint32_t line : {76U, 77U, 78U, 79U}) drive_line(line, 0);
  board_->fault("short T1 GND");
  EXPECT_EQ(levels({"T1", "T2"}), "01");
}

TEST_F(BenchTest, ShortedInputsAreLowTogether) {
  plug_in("normal");
  write_fpga(0x2002, 0x400);
  board_->fault("short T2 SYNC");
  board_->fault("short SYNC T4");
  EXPECT_EQ(five(), "01111");
  board_->fault("short T1 T4");
  EXPECT_EQ(five(), "00000") << "through a chain of shorts, laid in the wrong order";
  board_->clear_faults();
  board_->fault("short T2 GND");
  EXPECT_EQ(five(), "00111");
}

TEST_F(BenchTest, AnOutputIsDeadClosedOrOpen) {
  plug_in("normal");
  write_fpga(0x2002, 0x800);
  board_->fault("output F2 dead");
  board_->fault("output F1 closed");
  EXPECT_EQ(five(), "01111");
  board_->fault("output F1 open");
  EXPECT_EQ(five(), "11111");
  EXPECT_TRUE((*board_)->bench.output_driven("F2"));
}

TEST_F(BenchTest, ADeadOutputLeavesAContactClosedThatIsClosedAtRest) {
  plug_in("loop");
  set_alarms(15);
  board_->fault("output F4 dead");
  EXPECT_EQ(four(), "0001");
  board_->fault("output F4 open");
  set_alarms(0);
  EXPECT_EQ(four(), "1110");
}

TEST_F(BenchTest, FaultsOfTerminalsThatNoJigOfTheBoardHasAreRefused) {
  plug_in("normal");
  for (const char* text :
       {"input T8 stuck high", "input T1 stuck", "input T1 floats high", "input T1 stuck up",
        "output F10 dead", "output F1 broken", "output F1", "wire T9 cut", "wire T1 torn", "short T1",
        "short T1 T1", "short GND T1", "short T1 T9"}) {
    EXPECT_THROW(board_->fault(text), std::invalid_argument) << text;
  }
  EXPECT_EQ(five(), "11111");
  EXPECT_NO_THROW(board_->fault("input T7 stuck high")) << "another jig of this board has it";
}

}  // namespace
