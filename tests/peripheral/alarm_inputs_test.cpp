// The input readers: which line is which bit, on which board.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <cstdint>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/peripheral/alarm/lines.h"
#include "tests/harness/console.h"
#include "tests/harness/on_board.h"
#include "tests/peripheral/hardware_script.h"

namespace {

using Lines = std::vector<std::string>;

/// A reader on a board: the line of each bit, from bit 0 on.
struct Reader {
  const char* name;
  void (*read)(int fd, std::uint32_t* word);
  std::uint32_t type;  ///< device type code of the board
  std::vector<unsigned> lines;
};

// clang-format off
const Reader kReaders[] = {
    {"FiveInputsOfANormalBoard",  getTriggerIn,      0x9601,  {74, 76, 77, 78, 94}},
    {"FiveInputsOfAKBoard",       getTriggerIn,      0x960B,  {74, 76, 77, 78, 94}},
    {"FiveInputsOfAnMaBoard",     getTriggerIn,      0xA6001, {74, 76, 77, 78, 94}},
    {"FiveInputsOfA68xxBoard",    getTriggerIn,      0x27252, {74, 76, 77, 78, 94}},
    {"FiveInputsOfBoardA6005",    getTriggerIn,      0xA6005, {25, 26, 27, 28, 29}},
    {"FiveInputsOfBoardA6006",    getTriggerIn,      0xA6006, {25, 26, 27, 28, 29}},
    {"FiveInputsOfBoardA60A0",    getTriggerIn,      0xA60A0, {25, 26, 27, 28, 29}},
    {"FiveInputsOfBoardA60A3",    getTriggerIn,      0xA60A3, {25, 26, 27, 28, 29}},
    {"TenInputsOfA65xxBoard",     getTriggerIn_Ex,   0x9C0A,  {74, 76, 77, 78, 20, 17, 15, 8, 59, 94}},
    {"EightInputsOfANormalBoard", getTriggerIn_Ex,   0x9601,  {74, 76, 77, 78, 20, 17, 15, 94}},
    {"EightInputsOfAKBoard",      getTriggerIn_Ex,   0x960B,  {74, 76, 77, 78, 20, 17, 15, 94}},
    {"EightInputsOfALoopBoard",   getTriggerIn_Ex,   0x96C1,  {74, 76, 77, 78, 20, 17, 15, 94}},
    {"EightInputsOfBoardA6005",   getTriggerIn_Ex,   0xA6005, {25, 26, 27, 28, 20, 17, 15, 29}},
    {"EightInputsOfBoardA60A3",   getTriggerIn_Ex,   0xA60A3, {25, 26, 27, 28, 20, 17, 15, 29}},
    {"InputsOfAnMaBoard",         getTriggerIn_6194, 0xA6001, {17, 18, 19, 20, 114, 114, 114, 114}},
    {"InputsOfAnMaBoardElsewhere", getTriggerIn_6194, 0x9601, {17, 18, 19, 20, 114, 114, 114, 114}},
    {"InputsOfTheFirstRkdBoard",  getTriggerInRkd,   0xA60A0, {18, 19}},
    {"InputsOfTheSecondRkdBoard", getTriggerInRkd,   0xA60A3, {18, 19}},
    {"InputsOfNoRkdBoard",        getTriggerInRkd,   0x9601,  {74, 76}},
    {"InputsOfAnMaBoardNotRkd",   getTriggerInRkd,   0xA6005, {74, 76}},
};
// clang-format on

class AlarmInputsTest : public OnBoard {
 protected:
  AlarmInputsTest() : fd_(::open("/dev/qznio", O_RDWR)) { board.clear_trace(); }
  void TearDown() override {
    ::close(fd_);
    OnBoard::TearDown();
  }

  std::uint32_t read(void (*reader)(int fd, std::uint32_t* word)) {
    std::uint32_t word = 0;
    reader(fd_, &word);
    return word;
  }
  void stick(unsigned line, bool high) {
    board.fault("gpio " + std::to_string(line) + " stuck " + (high ? "high" : "low"));
  }
  void stick_all_low() {
    board.clear_faults();
    for (unsigned line = 0; line < 256; ++line) stick(line, false);
  }
  std::vector<unsigned> lines_read() const {
    std::vector<unsigned> lines;
    for (const boardsim::Call& call : board.trace()) {
      if (call.name == "ioctl" && call.request == 0x80044703) lines.push_back(call.record.at(0));
    }
    return lines;
  }

  Console console;
  int fd_;
};

class AlarmReaderTest : public AlarmInputsTest, public ::testing::WithParamInterface<Reader> {
 protected:
  AlarmReaderTest() { board.set_type(GetParam().type); }

  /// The bits that are read on a line.
  std::uint32_t bits_of(unsigned line) const {
    std::uint32_t bits = 0;
    for (std::size_t bit = 0; bit < GetParam().lines.size(); ++bit) {
      if (GetParam().lines[bit] == line) bits |= 1U << bit;
    }
    return bits;
  }
};

INSTANTIATE_TEST_SUITE_P(Boards, AlarmReaderTest, ::testing::ValuesIn(kReaders),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(AlarmReaderTest, ALineThatIsHighSetsItsBitAndNoOther) {
  stick_all_low();
  for (unsigned line = 0; line < 256; ++line) {
    stick(line, true);
    EXPECT_EQ(read(GetParam().read), bits_of(line)) << "line " << line;
    stick(line, false);
  }
}

TEST_P(AlarmReaderTest, AllLinesHighSetAllBits) {
  for (unsigned line = 0; line < 256; ++line) stick(line, true);
  EXPECT_EQ(read(GetParam().read), (1U << GetParam().lines.size()) - 1);
}

TEST_P(AlarmReaderTest, LinesAreReadInTheOrderOfTheirBits) {
  read(GetParam().read);
  EXPECT_EQ(lines_read(), GetParam().lines);
}

TEST_P(AlarmReaderTest, LinesThatCannotBeReadCountAsLow) {
  for (unsigned line = 0; line < 256; ++line) stick(line, true);
  board.fault("ioctl /dev/qznio 0x80044703");
  EXPECT_EQ(read(GetParam().read), 0U);
  EXPECT_EQ(console.out(), "");
}

TEST_P(AlarmReaderTest, ALineThatCannotBeReadTouchesNoOtherBit) {
  const std::uint32_t all = (1U << GetParam().lines.size()) - 1;
  for (unsigned bit = 0; bit < GetParam().lines.size(); ++bit) {
    board.clear_faults();
    for (unsigned line = 0; line < 256; ++line) stick(line, true);
    board.fault("ioctl /dev/qznio 0x80044703 #" + std::to_string(bit + 1));
    EXPECT_EQ(read(GetParam().read), all & ~(1U << bit)) << "bit " << bit;
  }
}

// ---- who the board is ------------------------------------------------------------------------------------

TEST_F(AlarmInputsTest, TheBoardIsAskedAgainForEachOfFiveInputs) {
  read(getTriggerIn);
  HardwareScript expected;
  expected.query_and_read({74, 76, 77, 78, 94});
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
}

TEST_F(AlarmInputsTest, AQuestionThatFailsMovesItsOwnInputOnly) {
  board.set_type(0xA6005);
  board.fault("ioctl /dev/qznio 0x80044801 #3");
  read(getTriggerIn);
  EXPECT_EQ(lines_read(), (std::vector<unsigned>{25, 26, 77, 28, 29}));
  EXPECT_EQ(console.out(), "ioctl error,ret = -1\n");
}

TEST_F(AlarmInputsTest, EachOfFiveInputsIsMovedByTheQuestionBeforeIt) {
  const std::vector<unsigned> ma533 = {25, 26, 27, 28, 29}, others = {74, 76, 77, 78, 94};
  board.set_type(0xA60A0);
  for (std::size_t bit = 0; bit < ma533.size(); ++bit) {
    board.clear_trace();
    board.clear_faults();
    board.fault("open /dev/qznio #" + std::to_string(bit + 1));
    read(getTriggerIn);
    std::vector<unsigned> expected = ma533;
    expected[bit] = others[bit];
    EXPECT_EQ(lines_read(), expected) << "bit " << bit;
  }
}

TEST_F(AlarmInputsTest, TheBoardIsAskedAgainForEachMovedInputOfEight) {
  board.set_type(0xA6005);
  // Each answer that is lost can move one input at most, and every input that has two lines can be moved.
  std::vector<unsigned> moved(8);
  for (int question = 1; question <= 12; ++question) {
    board.clear_trace();
    board.clear_faults();
    board.fault("ioctl /dev/qznio 0x80044801 #" + std::to_string(question));
    read(getTriggerIn_Ex);
    const std::vector<unsigned> lines = lines_read();
    const std::vector<unsigned> ma533 = {25, 26, 27, 28, 20, 17, 15, 29};
    ASSERT_EQ(lines.size(), ma533.size());
    unsigned changes = 0;
    for (std::size_t bit = 0; bit < lines.size(); ++bit) {
      if (lines[bit] == ma533[bit]) continue;
      ++changes;
      moved[bit] = lines[bit];
    }
    EXPECT_LE(changes, 1U) << "question " << question;
  }
  EXPECT_EQ(moved, (std::vector<unsigned>{74, 76, 77, 78, 0, 0, 0, 94}));
}

TEST_F(AlarmInputsTest, TheInputsOfMaBoardsAreReadWithoutAnyQuestion) {
  read(getTriggerIn_6194);
  HardwareScript expected;
  expected.read({17, 18, 19, 20, 114, 114, 114, 114});
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
}

TEST_F(AlarmInputsTest, Line114IsReadOnceForEachOfItsFourBits) {
  for (unsigned line = 0; line < 256; ++line) stick(line, true);
  board.fault("ioctl /dev/qznio 0x80044703 #8");
  EXPECT_EQ(read(getTriggerIn_6194), 0x7FU) << "the fourth reading alone decides about SYNC";
}

TEST_F(AlarmInputsTest, ABoardThatCannotSayWhoItIsReadsTheUsualLines) {
  board.fault("ioctl /dev/qznio 0x80044801");
  board.set_type(0xA60A0);
  read(getTriggerIn);
  EXPECT_EQ(lines_read(), (std::vector<unsigned>{74, 76, 77, 78, 94}));
  board.clear_trace();
  read(getTriggerIn_Ex);
  EXPECT_EQ(lines_read(), (std::vector<unsigned>{74, 76, 77, 78, 20, 17, 15, 94}));
  board.clear_trace();
  read(getTriggerInRkd);
  EXPECT_EQ(lines_read(), (std::vector<unsigned>{74, 76}));
}

}  // namespace
