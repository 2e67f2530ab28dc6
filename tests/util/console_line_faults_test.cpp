// A line typed on a console that fails.
#include <gtest/gtest.h>
#include <stdio.h>
#include <unistd.h>
#include <chrono>
#include <string>
#include <utility>

#include "tests/util/console_line_board.h"

namespace {

using namespace std::chrono_literals;

// ---- the reader without error reports --------------------------------------------------------------------

class QuietConsoleLineTest : public ConsoleLineBoard {};

TEST_F(QuietConsoleLineTest, SettingsThatCannotBeReadOrSetAreNotReported) {
  TypedConsole keys(board, TypedConsole::Kind::pipe);
  keys.type(10ms, "ab\n");
  EXPECT_EQ(read_line(kSigned), "ab");
  EXPECT_EQ(console.out(), "ab");
}

TEST_F(QuietConsoleLineTest, SettingsThatCannotBeRestoredAreNotReported) {
  TypedConsole keys(board);
  board.fault("tcsetattr #2");
  keys.type(10ms, "ab\n");
  EXPECT_EQ(read_line(kSigned), "ab");
  EXPECT_EQ(console.out(), "ab");
}

TEST_F(QuietConsoleLineTest, AnInputThatEndsEndsTheLine) {
  TypedConsole keys(board, TypedConsole::Kind::pipe);
  keys.type(10ms, "ab");
  keys.end(2500ms);
  EXPECT_EQ(read_line(kSigned), "ab");
  EXPECT_EQ(board.now(), 2500ms);
  EXPECT_EQ(console.out(), "ab");
}

TEST_F(QuietConsoleLineTest, ATerminalThatIsHungUpEndsTheLine) {
  TypedConsole keys(board);
  keys.type(10ms, "ab");
  keys.end(2500ms);
  EXPECT_EQ(read_line(kSigned), "ab");
  EXPECT_EQ(console.out(), "ab");
}

TEST_F(QuietConsoleLineTest, WithoutABufferNothingIsRead) {
  TypedConsole keys(board);
  readline(static_cast<char*>(nullptr), 10);
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(board.now(), 0s);
}

// ---- the reader with error reports -----------------------------------------------------------------------

class ReportingConsoleLineTest : public ConsoleLineBoard {};

TEST_F(ReportingConsoleLineTest, SettingsThatCannotBeReadAreReported) {
  TypedConsole keys(board);
  const auto before = as_words(TypedConsole::settings());
  board.fault("tcgetattr");
  keys.type(10ms, "ab\n");
  EXPECT_EQ(read_line(kUnsigned), "ab");
  EXPECT_EQ(console.lines().at(0), "<T1> ERR:readline:tcgetattr");
  board.clear_faults();
  EXPECT_EQ(as_words(TypedConsole::settings()), before) << "no settings that nobody read are applied";
}

TEST_F(ReportingConsoleLineTest, SettingsThatCannotBeSetAreReported) {
  TypedConsole keys(board);
  const auto before = as_words(TypedConsole::settings());
  board.fault("tcsetattr #1");
  keys.type(10ms, "ab\n");
  EXPECT_EQ(read_line(kUnsigned), "ab");
  EXPECT_EQ(console.out(), "<T1> ERR:readline:tcsetattr\nab");
  EXPECT_EQ(as_words(TypedConsole::settings()), before);
}

TEST_F(ReportingConsoleLineTest, SettingsThatCannotBeRestoredAreReported) {
  TypedConsole keys(board);
  board.fault("tcsetattr #2");
  keys.type(10ms, "ab\n");
  EXPECT_EQ(read_line(kUnsigned), "ab");
  EXPECT_EQ(console.out(), "ab<T1> ERR:readline:tcsetattr 2\n");
}

TEST_F(ReportingConsoleLineTest, SettingsThatCannotBeSetNorRestoredAreReportedTwice) {
  TypedConsole keys(board);
  board.fault("tcsetattr");
  keys.type(10ms, "ab\n");
  EXPECT_EQ(read_line(kUnsigned), "ab");
  EXPECT_EQ(console.out(), "<T1> ERR:readline:tcsetattr\nab<T1> ERR:readline:tcsetattr 2\n");
}

TEST_F(ReportingConsoleLineTest, AnInputThatEndsIsReportedWithThePositionAndStoresNoZero) {
  TypedConsole keys(board, TypedConsole::Kind::pipe);
  keys.type(10ms, "ab");
  keys.end(2500ms);
  read_raw(kUnsigned, 64);
  EXPECT_EQ(std::string(&room[kFront], 4), "ab~~");
  EXPECT_NE(console.out().find("ab<T1> ERR:readline:read,i=2\n"), std::string::npos) << console.out();
  EXPECT_EQ(board.now(), 2500ms);
}

TEST_F(ReportingConsoleLineTest, AnInputThatEndsAtOnceIsReportedAtPosition0) {
  TypedConsole keys(board, TypedConsole::Kind::pipe);
  keys.end(0s);
  read_raw(kUnsigned, 64);
  EXPECT_EQ(room[kFront], kUntouched);
  EXPECT_NE(console.out().find("<T1> ERR:readline:read,i=0\n"), std::string::npos) << console.out();
}

TEST_F(ReportingConsoleLineTest, ATerminalThatIsHungUpIsReported) {
  TypedConsole keys(board);
  keys.type(10ms, "ab");
  keys.end(2500ms);
  read_raw(kUnsigned, 64);
  EXPECT_EQ(std::string(&room[kFront], 4), "ab~~");
  EXPECT_EQ(console.out(), "ab<T1> ERR:readline:read,i=2\n<T1> ERR:readline:tcsetattr 2\n");
}

TEST_F(ReportingConsoleLineTest, AHealthyTerminalIsNotReported) {
  TypedConsole keys(board);
  keys.type(10ms, "ab\b\n");
  EXPECT_EQ(read_line(kUnsigned), "a");
  EXPECT_EQ(console.out(), "ab\b \b");
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

TEST_F(ReportingConsoleLineTest, AKeyThatCannotBeEchoedIsReportedAndTheLineGoesOn) {
  TypedConsole keys(board);
  keys.type(10ms, "ab\n");
  FailingOutput output(false);
  EXPECT_EQ(read_line(kUnsigned), "ab");
  EXPECT_EQ(output.text, "<T1> ERR:readline:fputc\nb");
}

TEST_F(ReportingConsoleLineTest, AnEchoThatCannotBeFlushedIsReportedAndTheLineGoesOn) {
  TypedConsole keys(board);
  keys.type(10ms, "ab\n");
  FailingOutput output(true);
  EXPECT_EQ(read_line(kUnsigned), "ab");
  EXPECT_EQ(output.text, "<T1> ERR:readline:fflush\nb");
}

TEST_F(QuietConsoleLineTest, AKeyThatCannotBeEchoedIsNotReported) {
  for (const bool buffered : {false, true}) {
    TypedConsole keys(board);
    keys.type(board.now() + 10ms, "ab\n");
    FailingOutput output(buffered);
    EXPECT_EQ(read_line(kSigned), "ab");
    EXPECT_EQ(output.text, "b");
  }
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
