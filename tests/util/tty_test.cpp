// Line settings of the terminal /dev/ttyS1.
#include "t1_sdk/util/tty.h"

#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <termios.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <chrono>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/harness/console.h"
#include "tests/harness/on_board.h"
#include "tests/platform/open_node.h"

namespace {

using Lines = std::vector<std::string>;

class TtyTest : public OnBoard {
 protected:
  void TearDown() override {
    node.reset();
    OnBoard::TearDown();
  }

  /// The settings in force now.
  termios settings() const {
    termios now = {};
    if (::tcgetattr(fd, &now) != 0) throw std::runtime_error("the terminal's settings cannot be read");
    return now;
  }
  void set(const termios& wanted) const { ASSERT_EQ(::tcsetattr(fd, TCSANOW, &wanted), 0); }
  /// Bytes stand at the board's receiver when this returns.
  void receive(const std::string& bytes) {
    ASSERT_EQ(::write(board->terminal.far_end(), bytes.data(), bytes.size()),
              static_cast<ssize_t>(bytes.size()));
    // By number: not in the board's time.
    for (int looks = 0; waiting() < static_cast<int>(bytes.size()) && looks < 10000; ++looks) {
      ::syscall(SYS_poll, nullptr, 0, 1, 0, 0, 0);
    }
    ASSERT_EQ(waiting(), static_cast<int>(bytes.size()));
  }
  int waiting() const {
    int count = 0;
    ::ioctl(fd, FIONREAD, &count);
    return count;
  }
  /// What the terminal was asked since the trace was cleared.
  Lines asked() const {
    Lines calls;
    for (const boardsim::Call& call : board.trace()) {
      if (call.node == "/dev/ttyS1" && call.name.starts_with("tc")) calls.push_back(call.text());
    }
    return calls;
  }
  /// The settings of a line on which each flag that this test knows is set.
  termios all_set() const {
    termios every = settings();
    every.c_iflag |= INPCK | INLCR | IGNCR | ICRNL | IXON | IXOFF | IXANY | IGNBRK | IGNPAR | ISTRIP;
    every.c_oflag |= OPOST | ONLCR;
    every.c_cflag |= CSTOPB | CREAD | CLOCAL;
    every.c_lflag |= ICANON | ECHO | ECHOE | ISIG | ECHOK | IEXTEN | NOFLSH;
    every.c_cc[VTIME] = 1;
    every.c_cc[VMIN] = 200;
    return every;
  }

  std::optional<OpenNode> node{std::in_place, board, "/dev/ttyS1"};
  int fd = node->fd();
  Console console;
};

// ---- speed -----------------------------------------------------------------------------------------

TEST_F(TtyTest, TheSpeedIsSetInBothDirectionsAndNothingElseChanges) {
  set(all_set());
  const termios expected = settings();
  for (const speed_t speed : std::initializer_list<speed_t>{B9600, B1200, B115200, B19200}) {
    EXPECT_EQ(tty_speed_set(fd, static_cast<int>(speed)), 0);
    const termios now = settings();
    EXPECT_EQ(cfgetispeed(&now), speed);
    EXPECT_EQ(cfgetospeed(&now), speed);
    EXPECT_EQ(now.c_iflag, expected.c_iflag);
    EXPECT_EQ(now.c_oflag, expected.c_oflag);
    EXPECT_EQ(now.c_lflag, expected.c_lflag);
    EXPECT_EQ(now.c_cflag & ~static_cast<tcflag_t>(CBAUD), expected.c_cflag & ~static_cast<tcflag_t>(CBAUD));
    EXPECT_TRUE(std::equal(std::begin(now.c_cc), std::end(now.c_cc), std::begin(expected.c_cc)));
  }
  EXPECT_EQ(console.out(), "");
}

TEST_F(TtyTest, TheSpeedThatDropsTheLineReachesTheLineToo) {
  tty_speed_set(fd, B9600);
  EXPECT_EQ(tty_speed_set(fd, B0), 0);  // input at B0 means: as output
  const termios now = settings();
  EXPECT_EQ(cfgetospeed(&now), static_cast<speed_t>(B0));
}

TEST_F(TtyTest, TheLineIsFlushedInBothDirectionsBeforeAndAfterTheSpeedIsSet) {
  tty_parity_set(fd, 8, 1, 0);
  receive("old");
  board.clear_trace();
  EXPECT_EQ(tty_speed_set(fd, B9600), 0);
  EXPECT_EQ(waiting(), 0);
  EXPECT_EQ(asked(), (Lines{"tcgetattr /dev/ttyS1 = 0", "tcflush /dev/ttyS1 2 = 0",
                            "tcsetattr /dev/ttyS1 0 = 0", "tcflush /dev/ttyS1 2 = 0"}));
}

// ---- raw mode -----------------------------------------------------------------------------------------

TEST_F(TtyTest, SevenDataBitsTwoStopBitsAndParityStillYield8N1) {
  const int numbers[][3] = {{8, 1, 0}, {7, 2, 1},    {5, 1, 2},  {6, 0, 'E'},
                            {0, 0, 0}, {-1, -1, -1}, {8, 2, 'O'}};
  set(all_set());
  const termios before = settings();
  termios raw = before;
  raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ECHOE | ISIG);
  raw.c_oflag &= ~static_cast<tcflag_t>(OPOST);
  raw.c_iflag &= ~static_cast<tcflag_t>(INPCK | INLCR | IGNCR | ICRNL | IXON | IXOFF);
  raw.c_cflag = (raw.c_cflag & ~static_cast<tcflag_t>(CSIZE | PARENB | CSTOPB)) | CS8;
  raw.c_cc[VTIME] = 50;  // a read waits for 5 seconds and for no byte
  raw.c_cc[VMIN] = 0;
  for (const auto& [data, stop, parity] : numbers) {
    SCOPED_TRACE(data);
    set(before);
    EXPECT_EQ(tty_parity_set(fd, data, stop, parity), 0);
    const termios now = settings();
    EXPECT_EQ(now.c_lflag, raw.c_lflag);
    EXPECT_EQ(now.c_oflag, raw.c_oflag);
    EXPECT_EQ(now.c_iflag, raw.c_iflag);
    EXPECT_EQ(now.c_cflag, raw.c_cflag) << "other flags and the speed stay as they are";
    EXPECT_TRUE(std::equal(std::begin(now.c_cc), std::end(now.c_cc), std::begin(raw.c_cc)));
  }
  EXPECT_EQ(console.out(), "");
}

TEST_F(TtyTest, AReadOnASilentLineEndsAfter5Seconds) {
  tty_parity_set(fd, 8, 1, 0);
  char byte = 0;
  EXPECT_EQ(::read(fd, &byte, 1), 0);
  EXPECT_EQ(board.now(), std::chrono::seconds(5));
}

TEST_F(TtyTest, PendingInputIsFlushedBeforeTheLineIsMadeRaw) {
  tty_parity_set(fd, 8, 1, 0);
  receive("old");
  board.clear_trace();
  EXPECT_EQ(tty_parity_set(fd, 8, 1, 0), 0);
  EXPECT_EQ(waiting(), 0);
  EXPECT_EQ(asked(),
            (Lines{"tcgetattr /dev/ttyS1 = 0", "tcflush /dev/ttyS1 0 = 0", "tcsetattr /dev/ttyS1 0 = 0"}));
}

TEST_F(TtyTest, EveryByteGoesThroughARawLineAsItIs) {
  tty_parity_set(fd, 8, 1, 0);
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) bytes.push_back(static_cast<char>(byte));
  receive(bytes);
  std::array<char, 300> received{};
  ASSERT_EQ(::read(fd, received.data(), received.size()), 256);
  EXPECT_EQ(std::string(received.data(), 256), bytes);
}

// ---- settings that are refused ----------------------------------------------------------------------------

TEST_F(TtyTest, SettingsThatAreNotTakenAreNotNoticed) {
  board.fault("tcsetattr");
  EXPECT_EQ(tty_speed_set(fd, B1200), 0);
  EXPECT_EQ(tty_parity_set(fd, 8, 1, 0), 0);
  EXPECT_EQ(console.out(), "");
}

TEST_F(TtyTest, SettingsThatCannotBeReadLeaveTheLineAsItIsAndTheReasonIsNamed) {
  board.fault("tcgetattr");
  EXPECT_EQ(tty_speed_set(fd, B9600), -10);
  EXPECT_EQ(tty_parity_set(fd, 8, 1, 0), -1);
  EXPECT_EQ(asked().size(), 2U) << "neither flushed nor set, nor tried again";
  board.clear_faults();
  EXPECT_EQ(tty_speed_set(-1, B9600), -10);
  EXPECT_EQ(tty_parity_set(-1, 8, 1, 0), -1);
  EXPECT_EQ(console.out(),
            "tcgetattr Input/output error\ntcgetattr Input/output error\n"
            "tcgetattr Bad file descriptor\ntcgetattr Bad file descriptor\n");
}

}  // namespace
