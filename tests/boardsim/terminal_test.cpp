// The serial terminal /dev/ttyS1, and the settings of terminals.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>

#include "boardsim/board.h"

namespace {

using boardsim::Board;
using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

/// One read of at most 100 bytes; "failed" when it fails.
std::string read_some(int fd) {
  std::array<char, 100> buffer{};
  const ssize_t got = read(fd, buffer.data(), buffer.size());
  return got < 0 ? "failed" : std::string(buffer.data(), static_cast<std::size_t>(got));
}

void put(int fd, std::string_view bytes) {
  EXPECT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

termios settings_of(int fd) {
  termios settings{};
  EXPECT_EQ(tcgetattr(fd, &settings), 0);
  return settings;
}

/// No line editing, no echo, nothing translated; a read ends as VMIN and VTIME say.
void make_raw(int fd, cc_t minimum, cc_t tenths) {
  termios settings = settings_of(fd);
  cfmakeraw(&settings);
  settings.c_cc[VMIN] = minimum;
  settings.c_cc[VTIME] = tenths;
  EXPECT_EQ(tcsetattr(fd, TCSANOW, &settings), 0);
}

bool is_readable(int fd, timeval limit) {
  fd_set set;
  FD_ZERO(&set);
  FD_SET(fd, &set);
  return select(fd + 1, &set, nullptr, nullptr, &limit) == 1;
}

class TerminalTest : public testing::Test {
 protected:
  ~TerminalTest() override { close(fd_); }

  Board board_;
  int fd_ = open("/dev/ttyS1", O_RDWR | O_NOCTTY);
};

TEST_F(TerminalTest, BytesPassInBothDirections) {
  make_raw(fd_, 1, 0);
  put(board_->terminal.far_end(), "to the board");
  EXPECT_EQ(read_some(fd_), "to the board");
  put(fd_, "from the board\n");
  EXPECT_EQ(read_some(board_->terminal.far_end()), "from the board\n");
  EXPECT_EQ(read_some(board_->terminal.far_end()), "failed") << "the far end does not wait";
  EXPECT_EQ(errno, EAGAIN);
}

TEST_F(TerminalTest, LinesAreEditedAndEchoed) {
  put(board_->terminal.far_end(),
      "ab\x7f"
      "c\n");
  EXPECT_EQ(read_some(fd_), "ac\n");
  EXPECT_EQ(read_some(board_->terminal.far_end()), "ab\b \bc\r\n");
  board_.at(90s, [&] { put(board_->terminal.far_end(), "d\n"); });
  EXPECT_EQ(read_some(fd_), "d\n") << "a line is waited for without end";
  EXPECT_EQ(board_.now(), 90s);
}

TEST_F(TerminalTest, AReadEndsWhenTheTerminalSaysSo) {
  make_raw(fd_, 0, 50);
  EXPECT_EQ(read_some(fd_), "");
  EXPECT_EQ(board_.now(), 5s);
  board_.at(8s, [&] { put(board_->terminal.far_end(), "key"); });
  EXPECT_EQ(read_some(fd_), "key");
  EXPECT_EQ(board_.now(), 8s);
  make_raw(fd_, 0, 0);
  EXPECT_EQ(read_some(fd_), "");
  EXPECT_EQ(board_.now(), 8s);
  make_raw(fd_, 1, 0);
  const int other = open("/dev/ttyS1", O_RDWR | O_NONBLOCK);
  EXPECT_EQ(read_some(other), "failed") << "this opening must not wait";
  EXPECT_EQ(errno, EAGAIN);
  close(other);
}

TEST_F(TerminalTest, AReadWaitsForAsManyBytesAsTheTerminalSays) {
  make_raw(fd_, 3, 0);
  board_.at(1s, [&] { put(board_->terminal.far_end(), "a"); });
  board_.at(2s, [&] { put(board_->terminal.far_end(), "bc"); });
  EXPECT_EQ(read_some(fd_), "abc");
  EXPECT_EQ(board_.now(), 2s);
}

TEST_F(TerminalTest, SelectWaitsInVirtualTime) {
  make_raw(fd_, 1, 0);
  EXPECT_FALSE(is_readable(fd_, {5, 0}));
  EXPECT_EQ(board_.now(), 5s);
  board_.at(6s, [&] { put(board_->terminal.far_end(), "a"); });
  EXPECT_TRUE(is_readable(fd_, {5, 0}));
  EXPECT_EQ(board_.now(), 6s);
}

TEST_F(TerminalTest, SettingsAndBytesOutliveClosing) {
  make_raw(fd_, 1, 0);
  put(fd_, "kept");
  close(fd_);
  EXPECT_EQ(read_some(board_->terminal.far_end()), "kept");
  put(board_->terminal.far_end(), "back");
  fd_ = open("/dev/ttyS1", O_RDWR);
  EXPECT_EQ(read_some(fd_), "back");
}

TEST_F(TerminalTest, ALineToNobodyLosesItsBytes) {
  make_raw(fd_, 1, 0);
  const std::string block(1000, 'x');
  for (int i = 0; i < 200; ++i) put(fd_, block);
  EXPECT_EQ(board_.now(), 0s);
  EXPECT_FALSE(read_some(board_->terminal.far_end()).empty());
}

TEST_F(TerminalTest, ItTakesTheRequestsOfTerminals) {
  make_raw(fd_, 1, 0);
  put(board_->terminal.far_end(), "abc");
  int count = 0;
  EXPECT_EQ(ioctl(fd_, FIONREAD, &count), 0);
  EXPECT_EQ(count, 3);
  EXPECT_EQ(ioctl(fd_, 0x5499UL, 0), -1);
  EXPECT_EQ(board_.violations().size(), 1U);
  board_.clear_violations();
}

TEST_F(TerminalTest, OtherNodesAreNoTerminals) {
  EXPECT_EQ(isatty(fd_), 1);
  const int fd = open("/dev/uart1", O_RDWR);
  termios settings{};
  EXPECT_EQ(tcgetattr(fd, &settings), -1);
  EXPECT_EQ(errno, ENOTTY);
  close(fd);
}

/// A terminal of the PC in the place of standard input.
class ConsoleTest : public testing::Test {
 protected:
  ConsoleTest() {
    grantpt(keyboard_);
    unlockpt(keyboard_);
    const int console = open(ptsname(keyboard_), O_RDWR | O_NOCTTY);
    dup2(console, STDIN_FILENO);
    close(console);
  }
  ~ConsoleTest() override {
    dup2(before_, STDIN_FILENO);
    close(before_);
    close(keyboard_);
  }

  int before_ = dup(STDIN_FILENO);
  int keyboard_ = posix_openpt(O_RDWR | O_NOCTTY);
  Board board_;
};

TEST_F(ConsoleTest, ItsSettingsAreThePcsOwnAndNotTheHardwares) {
  make_raw(STDIN_FILENO, 1, 0);
  EXPECT_EQ(settings_of(STDIN_FILENO).c_lflag & ICANON, 0U);
  EXPECT_EQ(board_.hardware_trace(), Lines{});
}

TEST_F(ConsoleTest, ItsSettingsCanFail) {
  termios settings = settings_of(STDIN_FILENO);
  board_.fault("tcgetattr #1");
  board_.fault("tcsetattr #2 EINTR");
  EXPECT_EQ(tcgetattr(STDIN_FILENO, &settings), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(tcsetattr(STDIN_FILENO, TCSANOW, &settings), 0);
  EXPECT_EQ(tcsetattr(STDIN_FILENO, TCSANOW, &settings), -1);
  EXPECT_EQ(errno, EINTR);
}

TEST_F(ConsoleTest, AKeyIsWaitedForInVirtualTimeAsLongAsTheTerminalSays) {
  make_raw(STDIN_FILENO, 1, 0);
  board_.at(90s, [&] { put(keyboard_, "k"); });
  EXPECT_EQ(read_some(STDIN_FILENO), "k");
  EXPECT_EQ(board_.now(), 90s);
  make_raw(STDIN_FILENO, 0, 20);
  EXPECT_EQ(read_some(STDIN_FILENO), "");
  EXPECT_EQ(board_.now(), 92s);
}

}  // namespace
