// A line typed on the console, and on a console that fails.
#include "t1_sdk/util/console_line.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <termios.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <chrono>
#include <climits>
#include <iterator>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tests/harness/console.h"
#include "tests/harness/gbk.h"
#include "tests/harness/on_board.h"
#include "tests/util/typed_console.h"

namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using Kind = TypedConsole::Kind;
using Lines = std::vector<std::string>;

/// The two readers behind one signature.
struct Reader {
  const char* name;
  void (*read)(char* buffer, int length);
  bool reports;  ///< its failures
};

// clang-format off
const Reader kSigned =   {"Signed",   [](char* buffer, int length) { readline(buffer, length); }, false};
const Reader kUnsigned = {"Unsigned", [](char* buffer, int length) {
                                        readline(reinterpret_cast<unsigned char*>(buffer), length); }, true};
// clang-format on

void PrintTo(const Reader& reader, std::ostream* out) {
  *out << reader.name;
}

/// Everything of a terminal's settings that a program can change.
std::vector<unsigned> as_words(const termios& settings) {
  std::vector<unsigned> words = {settings.c_iflag, settings.c_oflag,  settings.c_cflag,
                                 settings.c_lflag, settings.c_ispeed, settings.c_ospeed};
  words.insert(words.end(), std::begin(settings.c_cc), std::end(settings.c_cc));
  return words;
}

class ConsoleLineTest : public OnBoard, public ::testing::WithParamInterface<Reader> {
 protected:
  /// Reads a line into the middle of a buffer; what lies around it must stay as it is.
  std::string line(int length = 64) {
    room.fill(kUntouched);
    GetParam().read(&room[kFront], length);
    const std::size_t end = kFront + static_cast<std::size_t>(std::max(length, 0));
    for (std::size_t i = 0; i < room.size(); ++i) {
      if (i >= kFront && i < end) continue;
      EXPECT_EQ(room[i], kUntouched) << "byte " << i << " was stored to";
    }
    return {&room[kFront], std::find(&room[kFront], &room[end], '\0')};
  }
  /// A text that only the reporting reader prints.
  std::string reported(const std::string& text) const {
    return GetParam().reports ? "<T1> ERR:readline:" + text + "\n" : "";
  }

  static constexpr char kUntouched = '~';
  static constexpr std::size_t kFront = 64;

  std::array<char, 256> room{};
  Console console;
};

INSTANTIATE_TEST_SUITE_P(By, ConsoleLineTest, ::testing::Values(kSigned, kUnsigned),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(ConsoleLineTest, WhatIsTypedIsStoredAndEchoedUpToTheEndOfTheLine) {
  struct {
    std::string keys;
    int length;
    std::string stored, echoed;
  } const rows[] = {{"hello\n", 64, "hello", "hello"},
                    {"hello\t", 64, "hello", "hello"},
                    {"\n", 64, "", ""},
                    {"\n", 1, "", ""},
                    {"xy", 2, "x", "x"},
                    {"ab\bc\n", 64, "ac", "ab\b \bc"},
                    {"\b\ba\n", 64, "a", "a"},
                    {"abc\b\b\b\b\n", 64, "", "abc\b \b\b \b\b \b"},
                    {"ab\bcd", 4, "acd", "ab\b \bcd"},  // a backspace makes room for another key
                    {"a\x7f\n", 64, "a\x7f", "a\x7f"},
                    {gbk("左边界") + "\n", 64, gbk("左边界"), "左边界"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.keys);
    TypedConsole keys(board);
    console.clear();
    keys.type(board.now() + 10ms, row.keys);
    EXPECT_EQ(line(row.length), row.stored);
    EXPECT_EQ(console.out(), row.echoed);
  }
}

TEST_P(ConsoleLineTest, ALineEndsWhenOneByteOfTheBufferIsLeft) {
  TypedConsole keys(board);
  keys.type(10ms, "abcd");
  keys.type(20ms, "ef\n");
  EXPECT_EQ(line(5), "abcd");
  EXPECT_EQ(board.now(), 10ms) << "a full line does not wait for its end";
  EXPECT_EQ(line(5), "ef");
}

TEST_P(ConsoleLineTest, ABufferOfOneByteTakesOneKeyAndYieldsAnEmptyLine) {
  TypedConsole keys(board);
  keys.type(10ms, "x");
  EXPECT_EQ(line(1), "");
  EXPECT_EQ(console.out(), "x");
  EXPECT_EQ(board.now(), 10ms);
}

TEST_P(ConsoleLineTest, ABufferOfNoBytesIsNotTouchedAndNothingIsRead) {
  const TypedConsole keys(board);
  for (const int length : {0, -1, INT_MIN}) {
    SCOPED_TRACE(length);
    line(length);
    EXPECT_EQ(console.out(), "");
    EXPECT_EQ(calls("select"), 0U);
  }
}

TEST_P(ConsoleLineTest, EveryBufferUpTo100BytesIsRespected) {
  TypedConsole keys(board);
  for (int length = 1; length <= 100; ++length) {
    SCOPED_TRACE(length);
    keys.type(board.now() + 10ms, std::string(static_cast<std::size_t>(std::max(length - 1, 1)), 'x'));
    EXPECT_EQ(line(length), std::string(static_cast<std::size_t>(length - 1), 'x'));
  }
}

TEST_P(ConsoleLineTest, EachKeyIsEchoedAndFlushedAtOnce) {
  TypedConsole keys(board);
  Lines seen;
  keys.type(1s, "a");
  keys.type(2s, "b");
  keys.type(3s, "\b");
  keys.type(4s, "c\n");
  for (const auto when : {1500ms, 2500ms, 3500ms}) {
    board.at(when, [&] { seen.push_back(console.flushed()); });
  }
  EXPECT_EQ(line(), "ac");
  EXPECT_EQ(seen, (Lines{"a", "ab", "ab\b \b"}));
  EXPECT_EQ(console.flushed(), "ab\b \bc");
}

TEST_P(ConsoleLineTest, AZeroByteIsAnOrdinaryKeyAndNothingBehindTheLastOneIsStored) {
  TypedConsole keys(board);
  keys.type(10ms, "a\0b\n"s);
  line();
  EXPECT_EQ(std::string(&room[kFront], 5), "a\0b\0~"s);
  EXPECT_EQ(console.out(), "a\0b"s);
}

// ---- waiting -----------------------------------------------------------------------------------------

TEST_P(ConsoleLineTest, KeysMayComeAnHourApart) {
  TypedConsole keys(board);
  keys.type(10s, "a");
  keys.type(3610s, "b\n");
  EXPECT_EQ(line(), "ab");
  EXPECT_EQ(board.now(), 3610s);
}

TEST_P(ConsoleLineTest, AWaitThatFailsLosesNoKey) {
  TypedConsole keys(board);
  board.fault("select #2 EINTR");
  keys.type(1500ms, "ab\n");
  EXPECT_EQ(line(), "ab");
}

TEST_P(ConsoleLineTest, AKeyIsWaitedForASecondAtATime) {
  TypedConsole keys(board);
  keys.type(5500ms, "a\n");
  EXPECT_EQ(line(), "a");
  std::size_t waits = 0;
  for (const boardsim::Call& call : board.trace()) {
    if (call.name != "select") continue;
    EXPECT_EQ(call.record, (std::vector<std::uint32_t>{1, 0})) << call.text();
    ++waits;
  }
  EXPECT_EQ(waits, 7U) << "five in vain, one for each of the two keys";
}

// ---- the terminal's settings ---------------------------------------------------------------------------

TEST_P(ConsoleLineTest, WhileKeysAreTypedTheTerminalNeitherEchoesNorWaitsForLinesAndIsRestored) {
  for (const std::string typed : {"a\n", "abc"}) {  // ended, and full
    SCOPED_TRACE(typed);
    TypedConsole keys(board);
    termios before = TypedConsole::settings();
    before.c_iflag &= ~static_cast<tcflag_t>(ICRNL | IXON);
    before.c_cc[VMIN] = 7;
    ASSERT_EQ(tcsetattr(STDIN_FILENO, TCSANOW, &before), 0);
    termios meanwhile = {};
    board.at(board.now() + 500ms, [&] { meanwhile = TypedConsole::settings(); });
    keys.type(board.now() + 1s, typed);
    line(4);
    EXPECT_EQ(as_words(TypedConsole::settings()), as_words(before));
    before.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    before.c_cc[VMIN] = 1;
    EXPECT_EQ(as_words(meanwhile), as_words(before)) << "and nothing else changes";
  }
}

TEST_P(ConsoleLineTest, SettingsThatCannotBeReadSetOrRestoredAreReportedAndTheLineIsRead) {
  const std::string unset = reported("tcsetattr");
  const std::string unrestored = reported("tcsetattr 2");
  const std::pair<const char*, std::string> rows[] = {{"tcgetattr", reported("tcgetattr") + "ab"},
                                                      {"tcsetattr #1", unset + "ab"},
                                                      {"tcsetattr #2", "ab" + unrestored},
                                                      {"tcsetattr", unset + "ab" + unrestored}};
  for (const auto& [fault, said] : rows) {
    SCOPED_TRACE(fault);
    TypedConsole keys(board);
    const auto before = as_words(TypedConsole::settings());
    console.clear();
    board.fault(fault);
    keys.type(board.now() + 10ms, "ab\n");
    EXPECT_EQ(line(), "ab");
    EXPECT_EQ(console.out(), said);
    board.clear_faults();
    if (std::string(fault) != "tcsetattr #2") {
      EXPECT_EQ(as_words(TypedConsole::settings()), before) << "no settings that nobody read are applied";
    }
  }
}

// ---- a console that fails ------------------------------------------------------------------------------

TEST_P(ConsoleLineTest, AnInputThatEndsIsReportedWithThePositionAndThenStoresNoZero) {
  for (const Kind kind : {Kind::terminal, Kind::pipe}) {
    for (const std::string typed : {"ab", ""}) {
      SCOPED_TRACE(typed);
      TypedConsole keys(board, kind);
      console.clear();
      const auto start = board.now();
      if (!typed.empty()) keys.type(start + 10ms, typed);
      keys.end(start + 2500ms);
      line();
      EXPECT_EQ(board.now(), start + 2500ms);
      EXPECT_EQ(std::string(&room[kFront], 4).substr(0, typed.size() + 1),
                typed + (GetParam().reports ? '~' : '\0'));
      const bool pipe = kind == Kind::pipe;  // has no settings
      EXPECT_EQ(console.out(), (pipe ? reported("tcgetattr") : "") + typed +
                                   reported("read,i=" + std::to_string(typed.size())) +
                                   (pipe ? "" : reported("tcsetattr 2")));
    }
  }
}

/// Standard output whose first write fails; what is written afterwards stays in `text`.
class FailingOutput {
 public:
  /// Without a buffer each character is a write; with one only a flush is.
  explicit FailingOutput(bool buffered)
      : original_(stdout), stream_(fopencookie(this, "w", {nullptr, write, nullptr, nullptr})) {
    setvbuf(stream_, nullptr, buffered ? _IOFBF : _IONBF, buffered ? BUFSIZ : 0);
    stdout = stream_;
  }
  ~FailingOutput() {
    stdout = original_;
    fclose(stream_);
  }
  FailingOutput(const FailingOutput&) = delete;
  FailingOutput& operator=(const FailingOutput&) = delete;

  std::string text;

 private:
  static ssize_t write(void* self, const char* bytes, std::size_t size) {
    auto& output = *static_cast<FailingOutput*>(self);
    if (!std::exchange(output.failed_, true)) return 0;
    output.text.append(bytes, size);
    return static_cast<ssize_t>(size);
  }

  FILE* original_;
  FILE* stream_;
  bool failed_ = false;
};

TEST_P(ConsoleLineTest, AKeyThatCannotBeEchoedIsReportedAndTheLineGoesOn) {
  for (const bool buffered : {false, true}) {
    TypedConsole keys(board);
    keys.type(board.now() + 10ms, "ab\n");
    FailingOutput output(buffered);
    EXPECT_EQ(line(), "ab");
    EXPECT_EQ(output.text, reported(buffered ? "fflush" : "fputc") + "b");
  }
}

TEST(ConsoleLineExitTest, TheQuietReaderWithoutABufferReadsNothing) {
  readline(static_cast<char*>(nullptr), 10);
}

TEST(ConsoleLineExitTest, TheReportingReaderWithoutABufferEndsTheProcessWithStatus1) {
  EXPECT_EXIT(
      {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        readline(static_cast<unsigned char*>(nullptr), 10);
      },
      ::testing::ExitedWithCode(1), "<T1> ERR:readline:NULL == buf\n$");
}

}  // namespace
