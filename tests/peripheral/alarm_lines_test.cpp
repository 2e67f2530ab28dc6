// The alarm lines: the calls on the alarm driver; which GPIO line is which input, on which board.
#include <fcntl.h>
#include <unistd.h>
#include <climits>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/peripheral/alarm/lines.h"
#include "tests/peripheral/alarm_room.h"

namespace {

// ---- the alarm driver ------------------------------------------------------------------------------------

class AlarmDriverTest : public AlarmRoom {
 protected:
  static constexpr std::uint32_t kAll = 0x46554C4C;

  AlarmDriverTest() : AlarmRoom("loop") {}

  /// Expects that one request was made, whatever came of it, and what was printed.
  void expect_one_request(const std::string& printed) {
    Lines names;
    for (const boardsim::Call& call : board.trace()) names.push_back(call.name + " " + call.node);
    EXPECT_EQ(names, (Lines{"open /dev/alarm", "ioctl /dev/alarm", "close /dev/alarm"}));
    EXPECT_EQ(console.out(), printed);
  }
  /// Expects that the driver did not open, and what was printed.
  void expect_no_request(const std::string& printed) {
    EXPECT_EQ(board.hardware_trace(), Lines{"open /dev/alarm = -1 ENODEV"});
    EXPECT_EQ(console.out(), printed);
  }
};

TEST_F(AlarmDriverTest, AllOutputsAreSetInOneRecord) {
  EXPECT_EQ(alarm_all_set(27), 0);
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"open /dev/alarm = ok", "ioctl /dev/alarm 0x40044101 {0x46554c4c, 27, 0} = 0",
                   "close /dev/alarm = 0"}));
  EXPECT_EQ(console.out(), "");
}

TEST_F(AlarmDriverTest, EveryBitOfTheStateReachesTheDriverAndComesBack) {
  for (const int state : {0, 1, 15, 27, INT_MAX, -1, INT_MIN}) {
    alarm_all_set(state);
    EXPECT_EQ(alarm_get_all_value(), state);
  }
  EXPECT_EQ(console.out(), "");
}

TEST_F(AlarmDriverTest, OutputsThatCannotBeSetAreSaidWithTheReasonOfTheRequest) {
  board.fault("ioctl /dev/alarm 0x40044101 EBUSY");
  board.fault("close /dev/alarm EIO");
  EXPECT_EQ(alarm_all_set(15), -1);
  expect_one_request("set alarm out stat fail!(Device or resource busy)\n");
}

TEST_F(AlarmDriverTest, AnAlarmIsReadInOneRequest) {
  alarm_ctrl record = {2, 0, HAL_ALARM_OUT};
  EXPECT_EQ(alarm_get(&record), 0);
  EXPECT_EQ(board.trace().at(1).request, 0x80044102U);
  EXPECT_EQ(board.trace().at(1).record.at(0), 2U);
  expect_one_request("");
}

TEST_F(AlarmDriverTest, TheStateOfAllAlarmsIsAskedForInOneRecord) {
  alarm_get_all_value();
  EXPECT_EQ(board.trace().at(1).request, 0x80044102U);
  EXPECT_EQ(board.trace().at(1).record, (std::vector<std::uint32_t>{kAll, 0, 0}));
  expect_one_request("");
}

TEST_F(AlarmDriverTest, AnAlarmThatCannotBeReadIsSaidAsInputOrOutput) {
  board.fault("ioctl /dev/alarm 0x80044102 EBUSY");
  alarm_ctrl record = {1, 0, 0};
  EXPECT_EQ(alarm_get(&record), -1);
  expect_one_request("get alarm out stat fail!(Device or resource busy)\n");
  record.direction = 1;
  console.clear();
  EXPECT_EQ(alarm_get(&record), -1);
  EXPECT_EQ(console.out(), "get alarm in stat fail!(Device or resource busy)\n");
}

TEST_F(AlarmDriverTest, AStateThatCannotBeReadIsSaidTwiceAndNegative) {
  board.fault("ioctl /dev/alarm 0x80044102");
  EXPECT_EQ(alarm_get_all_value(), -1);
  expect_one_request("get alarm out stat fail!(Input/output error)\nget all_alarm stat fail!(-1)\n");
}

TEST_F(AlarmDriverTest, SettingOutputsWithoutADriverGivesZero) {
  board.fault("open /dev/alarm");
  EXPECT_EQ(alarm_all_set(15), 0);
  expect_no_request("open /dev/alarm error.\n");
}

TEST_F(AlarmDriverTest, ReadingAnAlarmWithoutADriverGivesZeroAndLeavesTheRecord) {
  board.fault("open /dev/alarm");
  alarm_ctrl record = {1, 77, HAL_ALARM_OUT};
  EXPECT_EQ(alarm_get(&record), 0);
  EXPECT_EQ(record.state, 77U);
  expect_no_request("boardtest:alarm_get,open /dev/alarm error.\n");
}

TEST_F(AlarmDriverTest, TheStateOfAllAlarmsWithoutADriverIsZero) {
  board.fault("open /dev/alarm");
  EXPECT_EQ(alarm_get_all_value(), 0);
  expect_no_request("boardtest:alarm_get,open /dev/alarm error.\n");
}

// ---- inputs ----------------------------------------------------------------------------------------------

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

void PrintTo(const Reader& reader, std::ostream* out) {
  *out << reader.name;
}

class AlarmInputsTest : public AlarmRoom, public ::testing::WithParamInterface<Reader> {
 protected:
  AlarmInputsTest() : io_(::open("/dev/qznio", O_RDWR)) {
    board.clear_trace();
    board.set_type(reader.type);
  }
  void TearDown() override {
    ::close(io_);
    AlarmRoom::TearDown();
  }

  std::uint32_t read() {
    std::uint32_t word = 0;
    reader.read(io_, &word);
    return word;
  }
  void stick(unsigned line, bool high) {
    board.fault("gpio " + std::to_string(line) + " stuck " + (high ? "high" : "low"));
  }
  /// All lines of a board, other inputs among them, are at one level.
  void stick_all(bool high) {
    board.clear_faults();
    for (unsigned line = 0; line < 128; ++line) stick(line, high);
  }

  const Reader& reader = GetParam();
  const std::uint32_t all_bits = (1U << reader.lines.size()) - 1;

 private:
  int io_;
};

INSTANTIATE_TEST_SUITE_P(Boards, AlarmInputsTest, ::testing::ValuesIn(kReaders),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(AlarmInputsTest, LinesAreReadInTheOrderOfTheirBits) {
  read();
  EXPECT_EQ(lines_read(), reader.lines);
}

TEST_P(AlarmInputsTest, ALineThatIsHighSetsItsBitsAndNoOther) {
  stick_all(false);
  EXPECT_EQ(read(), 0U);
  for (const unsigned line : reader.lines) {
    std::uint32_t bits = 0;
    for (std::size_t bit = 0; bit < reader.lines.size(); ++bit) {
      if (reader.lines[bit] == line) bits |= 1U << bit;
    }
    stick_all(false);
    stick(line, true);
    EXPECT_EQ(read(), bits) << "line " << line;
  }
  stick_all(true);
  EXPECT_EQ(read(), all_bits);
}

TEST_P(AlarmInputsTest, ALineThatCannotBeReadCountsAsLowAndTouchesNoOtherBit) {
  for (std::size_t bit = 0; bit < reader.lines.size(); ++bit) {
    stick_all(true);
    board.fault("ioctl /dev/qznio 0x80044703 #" + std::to_string(bit + 1));
    EXPECT_EQ(read(), all_bits & ~(1U << bit)) << "bit " << bit;
  }
  board.fault("ioctl /dev/qznio 0x80044703");
  EXPECT_EQ(read(), 0U);
  EXPECT_EQ(console.out(), "");
}

// ---- who the board is ------------------------------------------------------------------------------------

class AlarmQuestionsTest : public AlarmRoom {
 protected:
  AlarmQuestionsTest() : io_(::open("/dev/qznio", O_RDWR)) {}
  void TearDown() override {
    ::close(io_);
    AlarmRoom::TearDown();
  }
  /// The lines that are read of the MA533 boards with a fault.
  std::vector<unsigned> read_with(const std::string& fault, void (*reader)(int fd, std::uint32_t* word)) {
    board.set_type(0xA60A0);
    board.clear_trace();
    board.clear_faults();
    board.fault(fault);
    std::uint32_t word = 0;
    reader(io_, &word);
    return lines_read();
  }

 private:
  int io_;
};

TEST_F(AlarmQuestionsTest, EachQuestionThatIsNotAnsweredMovesTheInputBehindIt) {
  const std::vector<unsigned> ma533 = {25, 26, 27, 28, 29}, others = {74, 76, 77, 78, 94};
  for (std::size_t bit = 0; bit < ma533.size(); ++bit) {
    std::vector<unsigned> five = ma533;
    five[bit] = others[bit];
    EXPECT_EQ(read_with("open /dev/qznio #" + std::to_string(bit + 1), getTriggerIn), five) << "bit " << bit;

    std::vector<unsigned> eight = five;
    eight.insert(eight.end() - 1, {20, 17, 15});
    // The first question there is whether the board has ten inputs.
    EXPECT_EQ(read_with("open /dev/qznio #" + std::to_string(bit + 2), getTriggerIn_Ex), eight)
        << "bit " << bit;
  }
}

TEST_F(AlarmQuestionsTest, ABoardThatCannotSayWhoItIsReadsTheUsualLines) {
  const std::string deaf = "ioctl /dev/qznio 0x80044801";
  EXPECT_EQ(read_with(deaf, getTriggerIn), (std::vector<unsigned>{74, 76, 77, 78, 94}));
  EXPECT_EQ(read_with(deaf, getTriggerIn_Ex), (std::vector<unsigned>{74, 76, 77, 78, 20, 17, 15, 94}));
  EXPECT_EQ(read_with(deaf, getTriggerInRkd), (std::vector<unsigned>{74, 76}));
}

}  // namespace
