// Boards on the factory's bench: which jig is in place, what holds its inputs, and faults that no alarm test
// shows. What each wire, output and short of each jig does is the alarm tests' matter, docs/fault-matrix.md.
#include "boardsim/jigs/bench.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <optional>
#include <set>
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

  std::optional<Board> board_{};
};

// ---- the choice of a jig --------------------------------------------------------------------------------

TEST_F(BenchTest, AJigIsChosenByWhatTheProgramDrives) {
  const auto jig = [this](std::string_view family, auto... steps) {
    plug_in(family);
    (steps(), ...);
    return (*board_)->bench.jig().name;
  };
  const auto relay = [](std::uint32_t number) { return [number] { write_fpga(number, 1); }; };
  const auto relay_off = [](std::uint32_t number) { return [number] { write_fpga(number, 0); }; };
  const auto bits = [] { write_fpga(0x2018, 0x1800C0); };
  const auto alarms = [] { set_alarms(0); };
  const auto line = [](std::uint32_t number) { return [number] { drive_line(number, 0); }; };
  EXPECT_EQ(jig("normal"), "5in3out");
  EXPECT_EQ(jig("normal", relay(81), relay(83)), "4in5out");
  EXPECT_EQ(jig("normal", relay(81), relay_off(81), relay_off(84)), "4in5out")
      << "switching off tells nothing";
  EXPECT_EQ(jig("normal", line(21)), "1in1out");
  EXPECT_EQ(jig("6444", relay(84)), "4in7out");
  EXPECT_EQ(jig("6444-j", alarms), "3in2out");
  EXPECT_EQ(jig("k", bits), "8in9out");
  EXPECT_EQ(jig("65xx", bits), "10in10out-switch");
  EXPECT_EQ(jig("65xx-level", bits), "10in10out-level");
  EXPECT_EQ(jig("rkd1", line(77)), "2in4out");
  EXPECT_EQ(jig("rkd2", line(79)), "1in3out");
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
  EXPECT_EQ(levels({"T1", "T5", "T6", "T7", "SYNC"}), "01111");
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
  EXPECT_THROW((*board_)->bench.input_level("T5"), std::invalid_argument) << "a terminal that the jig lacks";
  EXPECT_THROW((*board_)->bench.output_driven("F4"), std::invalid_argument);
}

// ---- levels ---------------------------------------------------------------------------------------------

TEST_F(BenchTest, InputsFloatHighWithoutTestControlButTheOneThatALineDrives) {
  plug_in("normal");
  write_fpga(0x2002, 0x3811C0);
  EXPECT_TRUE((*board_)->test_control.is_on());
  EXPECT_EQ(five(), "11000");
  switch_test_control(0);
  EXPECT_FALSE((*board_)->test_control.is_on());
  EXPECT_EQ(five(), "11111");
  EXPECT_TRUE((*board_)->bench.output_driven("F3")) << "the output itself is driven as before";
  plug_in("63xx");
  switch_test_control(0);
  drive_line(21, 1);
  EXPECT_EQ((*board_)->general_io.level(20), 0);
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

TEST_F(BenchTest, RelaysInARowConductTogetherOnlyAndSideBySideEachAlone) {
  plug_in("ma");
  write_fpga(0x2018, 0x40);
  write_fpga(0x2002, 0x1000);
  EXPECT_EQ(five(), "11111") << "SYNC hangs behind two";
  plug_in("6444");
  write_fpga(0x2002, 0x80000018);
  for (const std::uint32_t relay : {81U, 82U, 83U, 84U}) write_fpga(relay, 1);
  EXPECT_EQ(four(), "0000");
  write_fpga(83, 0);
  EXPECT_EQ(four(), "0001") << "one of three in a row is open";
  write_fpga(85, 1);
  EXPECT_EQ(four(), "0000") << "another leads past it";
}

TEST_F(BenchTest, ALineHeldFromOutsideIsHeldAgainstTheJig) {
  plug_in("normal");
  write_fpga(0x2002, 0x400);
  EXPECT_EQ((*board_)->general_io.level(74), 0);
  (*board_)->general_io.set_level(74, 1);
  EXPECT_EQ((*board_)->general_io.level(74), 1);
}

// ---- faults beside one another ----------------------------------------------------------------------------

TEST_F(BenchTest, AStuckInputReadsSoWhateverItIsShortedTo) {
  plug_in("normal");
  write_fpga(0x2002, 0x400);
  board_->fault("short T1 T3");
  board_->fault("input T1 stuck high");
  board_->fault("input T2 stuck low");
  EXPECT_EQ(five(), "10000")
      << "T3 hears of F1 through the short, as do T4 and SYNC, which hang on its contact";
  board_->clear_faults();
  board_->fault("input T3 stuck low");
  EXPECT_EQ(five(), "01011") << "it is no matter of its net";
}

TEST_F(BenchTest, InputsOnOneContactAreOneNetAndACutWireLeavesIt) {
  plug_in("normal");
  write_fpga(0x2002, 0x400);
  board_->fault("short T3 GND");
  EXPECT_EQ(five(), "01000");
  board_->fault("wire T4 cut");
  EXPECT_EQ(five(), "01010");
  board_->fault("short T4 SYNC");
  EXPECT_EQ(five(), "01000") << "a short leads it back";
  plug_in("6444-j");
  set_alarms(1);
  EXPECT_EQ((*board_)->alarm.state(), 1U);
  board_->fault("short T1 T3");
  EXPECT_EQ(four(), "0100");
}

TEST_F(BenchTest, InputsBehindContactsOfTheirOwnAreNotJoined) {
  plug_in("rkd1");
  for (const std::uint32_t line : {76U, 77U, 78U, 79U}) drive_line(line, 0);
  board_->fault("short T1 GND");
  EXPECT_EQ(levels({"T1", "T2"}), "01");
}

TEST_F(BenchTest, ShortsLeadOnThroughAChainInAnyOrder) {
  plug_in("normal");
  write_fpga(0x2002, 0x400);
  board_->fault("short T2 SYNC");
  board_->fault("short SYNC T4");
  EXPECT_EQ(five(), "01111");
  board_->fault("short T1 T4");
  EXPECT_EQ(five(), "00000");
}

TEST_F(BenchTest, AnOutputsContactsFailThoughItsCoilIsDriven) {
  plug_in("normal");
  write_fpga(0x2002, 0x800);
  board_->fault("output F2 dead");
  board_->fault("output F1 closed");
  EXPECT_EQ(five(), "01111");
  board_->fault("output F1 open");
  EXPECT_EQ(five(), "11111") << "the fault laid last counts";
  EXPECT_TRUE((*board_)->bench.output_driven("F2"));
}

TEST_F(BenchTest, FaultsOfTerminalsThatNoJigOfTheBoardHasAreRefused) {
  plug_in("normal");
  for (const char* text : {"input T8 stuck high", "output F10 dead", "wire T9 cut", "short T1 T1",
                           "short GND T1", "short T1 T9"}) {
    EXPECT_THROW(board_->fault(text), std::invalid_argument) << text;
  }
  EXPECT_EQ(five(), "11111");
  EXPECT_NO_THROW(board_->fault("input T7 stuck high")) << "another jig of this board has it";
}

// ---- the tables -------------------------------------------------------------------------------------------

template <class Rows>
std::set<std::string_view> names(const Rows& rows) {
  std::set<std::string_view> result;
  for (const auto& row : rows) {
    EXPECT_FALSE(row.name.empty());
    EXPECT_TRUE(result.insert(row.name).second) << row.name << " stands there twice";
  }
  return result;
}

TEST(JigTest, EveryInputAndOutputIsWiredOnceButT2OfTheThreeInputs) {
  for (const JigChoice& choice : jig_choices()) {
    const Jig& jig = choice.jig;
    SCOPED_TRACE(jig.name);
    std::set<std::string_view> inputs;
    std::set<std::string_view> outputs;
    for (const JigWire& wire : jig.wires) {
      EXPECT_FALSE(wire.contacts[0].empty()) << wire.input << " is wired to ground";
      inputs.insert(wire.input);
      for (const std::string_view contact : wire.contacts)
        outputs.insert(contact.substr(contact.starts_with('/')));
    }
    outputs.erase("");
    if (jig.name == "3in2out") {
      EXPECT_TRUE(inputs.insert("T2").second);
    }
    EXPECT_EQ(inputs, names(jig.inputs));
    EXPECT_EQ(outputs, names(jig.outputs));
    for (const std::uint32_t type : {0x9601U, 0xA6005U}) {
      std::set<unsigned> lines;
      for (const JigInput& input : jig.inputs) {
        EXPECT_TRUE(lines.insert(line_of(input, hardware_of(type))).second) << input.name << " shares a line";
      }
    }
  }
}

TEST(JigTest, InputsHaveOtherLinesOnSomeBoards) {
  const JigInput input{"T1", 74, 25};
  for (const std::uint32_t type : {0xA6005U, 0xA6006U, 0xA60A0U, 0xA60A3U})
    EXPECT_EQ(line_of(input, hardware_of(type)), 25U);
  for (const std::uint32_t type : {0x9601U, 0x27252U, 0xA6001U, 0x9C0AU})
    EXPECT_EQ(line_of(input, hardware_of(type)), 74U);
  EXPECT_EQ(line_of({"T5", 20}, hardware_of(0xA6005)), 20U);
}

}  // namespace
