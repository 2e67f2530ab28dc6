// A line typed on the console.
#include <gtest/gtest.h>
#include <termios.h>
#include <unistd.h>
#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "tests/harness/gbk.h"
#include "tests/util/console_line_board.h"

namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using Lines = std::vector<std::string>;

class ConsoleLineTest : public ConsoleLineBoard, public ::testing::WithParamInterface<Reader> {
 protected:
  std::string line(int length = 64) { return read_line(GetParam(), length); }

  TypedConsole keys{board};
};

INSTANTIATE_TEST_SUITE_P(By, ConsoleLineTest, ::testing::Values(kSigned, kUnsigned),
                         [](const auto& row) { return std::string(row.param.name); });

// ---- what ends a line --------------------------------------------------------------------------

TEST_P(ConsoleLineTest, ALineEndsWithALineFeedThatIsNotEchoed) {
  keys.type(10ms, "hello\n");
  EXPECT_EQ(line(), "hello");
  EXPECT_EQ(console.out(), "hello");
}

TEST_P(ConsoleLineTest, ALineEndsWithATabThatIsNotEchoed) {
  keys.type(10ms, "hello\t");
  EXPECT_EQ(line(), "hello");
  EXPECT_EQ(console.out(), "hello");
}

TEST_P(ConsoleLineTest, ALineFeedAloneIsAnEmptyLine) {
  keys.type(10ms, "\n");
  EXPECT_EQ(line(), "");
  EXPECT_EQ(console.out(), "");
}

TEST_P(ConsoleLineTest, ALineEndsWhenOneByteOfTheBufferIsLeft) {
  keys.type(10ms, "abcdef\n");
  EXPECT_EQ(line(5), "abcd");
  EXPECT_EQ(console.out(), "abcd");
  EXPECT_EQ(line(5), "ef") << "keys that were typed on are the next line's";
}

TEST_P(ConsoleLineTest, AFullLineDoesNotWaitForItsEnd) {
  keys.type(10ms, "a");
  keys.type(20ms, "b");
  keys.type(30ms, "c");
  EXPECT_EQ(line(3), "ab");
  EXPECT_EQ(board.now(), 20ms);
}

TEST_P(ConsoleLineTest, ABufferOfOneByteTakesOneKeyAndYieldsAnEmptyLine) {
  keys.type(10ms, "x");
  EXPECT_EQ(line(1), "");
  EXPECT_EQ(console.out(), "x");
  EXPECT_EQ(board.now(), 10ms);
}

TEST_P(ConsoleLineTest, ABufferOfOneByteTakesALineFeedToo) {
  keys.type(10ms, "\n");
  EXPECT_EQ(line(1), "");
  EXPECT_EQ(console.out(), "");
}

TEST_P(ConsoleLineTest, ABufferOfTwoBytesTakesOneKeyAndYieldsIt) {
  keys.type(10ms, "xy");
  EXPECT_EQ(line(2), "x");
  EXPECT_EQ(console.out(), "x");
}

TEST_P(ConsoleLineTest, ABufferOfNoBytesIsNotTouchedAndNothingIsRead) {
  for (const int length : {0, -1, -2147483647 - 1}) {
    SCOPED_TRACE(length);
    read_raw(GetParam(), length);
    EXPECT_EQ(console.out(), "");
    EXPECT_EQ(board.now(), 0s);
    EXPECT_EQ(calls("select"), 0U);
  }
}

TEST_P(ConsoleLineTest, EveryBufferUpTo100BytesIsRespected) {
  for (int length = 1; length <= 100; ++length) {
    SCOPED_TRACE(length);
    keys.type(board.now() + 10ms, std::string(static_cast<std::size_t>(std::max(length - 1, 1)), 'x'));
    EXPECT_EQ(line(length), std::string(static_cast<std::size_t>(length - 1), 'x'));
  }
}

// ---- echo and backspace ----------------------------------------------------------------------------

TEST_P(ConsoleLineTest, EachKeyIsEchoedAndFlushedAtOnce) {
  Lines seen;
  keys.type(1s, "a");
  keys.type(2s, "b");
  keys.type(3s, "\b");
  keys.type(4s, "c\n");
  for (const auto when : {1500ms, 2500ms, 3500ms}) {
    board.at(when, [&] { seen.push_back(console.flushed()); });
  }
  EXPECT_EQ(line(), "ac");
  EXPECT_EQ(seen.at(0), "a");
  EXPECT_EQ(seen.at(1), "ab");
  EXPECT_EQ(console.flushed(), "ab\b \bc");
}

TEST_P(ConsoleLineTest, ABackspaceTakesTheLastKeyBackOnTheScreenToo) {
  keys.type(10ms, "ab\bc\n");
  EXPECT_EQ(line(), "ac");
  EXPECT_EQ(console.out(), "ab\b \bc");
}

TEST_P(ConsoleLineTest, ABackspaceAtTheStartIsIgnored) {
  keys.type(10ms, "\b\ba\n");
  EXPECT_EQ(line(), "a");
  EXPECT_EQ(console.out(), "a");
}

TEST_P(ConsoleLineTest, AsManyBackspacesAsKeysLeaveAnEmptyLine) {
  keys.type(10ms, "abc\b\b\b\b\n");
  EXPECT_EQ(line(), "");
  EXPECT_EQ(console.out(), "abc\b \b\b \b\b \b");
}

TEST_P(ConsoleLineTest, ABackspaceMakesRoomForAnotherKey) {
  keys.type(10ms, "ab\bcd");
  EXPECT_EQ(line(4), "acd");
  EXPECT_EQ(console.out(), "ab\b \bcd");
}

TEST_P(ConsoleLineTest, ADeleteIsAnOrdinaryKey) {
  keys.type(10ms, "a\x7f\n");
  EXPECT_EQ(line(), "a\x7f");
  EXPECT_EQ(console.out(), "a\x7f");
}

TEST_P(ConsoleLineTest, BytesAbove127AreOrdinaryKeys) {
  keys.type(10ms, gbk("左边界") + "\n");
  EXPECT_EQ(line(), gbk("左边界"));
  EXPECT_EQ(console.out(), "左边界");
}

TEST_P(ConsoleLineTest, AZeroByteIsAnOrdinaryKey) {
  keys.type(10ms, "a\0b\n"s);
  line();
  EXPECT_EQ(std::string(&room[kFront], 5), "a\0b\0~"s);
  EXPECT_EQ(console.out(), "a\0b"s);
}

TEST_P(ConsoleLineTest, NothingBehindTheTerminatingZeroIsStored) {
  keys.type(10ms, "ab\n");
  line(20);
  EXPECT_EQ(std::string(&room[kFront], 4), "ab\0~"s);
}

// ---- waiting -----------------------------------------------------------------------------------------

TEST_P(ConsoleLineTest, AKeyThatIsTypedAfter90SecondsStillArrives) {
  keys.type(90s, "late\n");
  EXPECT_EQ(line(), "late");
  EXPECT_EQ(board.now(), 90s);
}

TEST_P(ConsoleLineTest, AKeyIsWaitedForASecondAtATime) {
  keys.type(5500ms, "a\n");
  line();
  std::size_t waits = 0;
  for (const boardsim::Call& call : board.trace()) {
    if (call.name != "select") continue;
    EXPECT_EQ(call.record, (std::vector<std::uint32_t>{1, 0})) << call.text();
    ++waits;
  }
  EXPECT_EQ(waits, 7U) << "five in vain, one for each of the two keys";
}

TEST_P(ConsoleLineTest, KeysMayComeAnHourApart) {
  keys.type(10s, "a");
  keys.type(3610s, "b\n");
  EXPECT_EQ(line(), "ab");
  EXPECT_EQ(board.now(), 3610s);
}

TEST_P(ConsoleLineTest, AWaitThatFailsLosesNoKey) {
  board.fault("select #2 EINTR");
  keys.type(1500ms, "ab\n");
  EXPECT_EQ(line(), "ab");
}

// ---- the terminal's settings ---------------------------------------------------------------------------

TEST_P(ConsoleLineTest, TheTerminalIsRestoredAfterwards) {
  const auto before = as_words(TypedConsole::settings());
  keys.type(10ms, "hello\n");
  line();
  EXPECT_EQ(as_words(TypedConsole::settings()), before);
}

TEST_P(ConsoleLineTest, OddSettingsAreRestoredToo) {
  termios odd = TypedConsole::settings();
  odd.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON | ISIG);
  odd.c_iflag &= ~static_cast<tcflag_t>(ICRNL | IXON);
  odd.c_cc[VMIN] = 7;
  odd.c_cc[VTIME] = 3;
  ASSERT_EQ(tcsetattr(STDIN_FILENO, TCSANOW, &odd), 0);
  keys.type(10ms, "hello\n");
  EXPECT_EQ(line(), "hello");
  EXPECT_EQ(as_words(TypedConsole::settings()), as_words(odd));
}

TEST_P(ConsoleLineTest, WhileKeysAreTypedTheTerminalNeitherEchoesNorWaitsForLines) {
  termios expected = TypedConsole::settings();
  expected.c_cc[VMIN] = 7;
  ASSERT_EQ(tcsetattr(STDIN_FILENO, TCSANOW, &expected), 0);
  expected.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  expected.c_cc[VMIN] = 1;
  termios meanwhile = {};
  board.at(500ms, [&] { meanwhile = TypedConsole::settings(); });
  keys.type(1s, "a\n");
  line();
  EXPECT_EQ(as_words(meanwhile), as_words(expected)) << "and nothing else changes";
}

TEST_P(ConsoleLineTest, TheTerminalIsRestoredWhenTheBufferIsFull) {
  const auto before = as_words(TypedConsole::settings());
  keys.type(10ms, "abc");
  line(3);
  EXPECT_EQ(as_words(TypedConsole::settings()), before);
}

}  // namespace
