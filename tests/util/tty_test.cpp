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
  /// What the terminal was asked, by name, since the trace was cleared.
  Lines asked() const {
    Lines names;
    for (const boardsim::Call& call : board.trace()) {
      if (call.node == "/dev/ttyS1") names.push_back(call.name);
    }
    return names;
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

TEST_F(TtyTest, TheSpeedIsSetInBothDirections) {
  for (const speed_t speed : std::initializer_list<speed_t>{B9600, B1200, B115200, B19200}) {
    EXPECT_EQ(tty_speed_set(fd, static_cast<int>(speed)), 0);
    const termios now = settings();
    EXPECT_EQ(cfgetispeed(&now), speed);
    EXPECT_EQ(cfgetospeed(&now), speed);
  }
  EXPECT_EQ(console.out(), "");
}

TEST_F(TtyTest, TheSpeedThatDropsTheLineReachesTheLineToo) {
  tty_speed_set(fd, B9600);
  EXPECT_EQ(tty_speed_set(fd, B0), 0);  // input at B0 means: as output
  const termios now = settings();
  EXPECT_EQ(cfgetospeed(&now), static_cast<speed_t>(B0));
}

TEST_F(TtyTest, TheSpeedChangesNothingElse) {
  termios expected = all_set();
  set(expected);
  expected = settings();
  EXPECT_EQ(tty_speed_set(fd, B19200), 0);
  const termios now = settings();
  EXPECT_EQ(now.c_iflag, expected.c_iflag);
  EXPECT_EQ(now.c_oflag, expected.c_oflag);
  EXPECT_EQ(now.c_lflag, expected.c_lflag);
  EXPECT_EQ(now.c_cflag & ~static_cast<tcflag_t>(CBAUD), expected.c_cflag & ~static_cast<tcflag_t>(CBAUD));
  EXPECT_TRUE(std::equal(std::begin(now.c_cc), std::end(now.c_cc), std::begin(expected.c_cc)));
}

TEST_F(TtyTest, TheLineIsFlushedBeforeAndAfterTheSpeedIsSet) {
  tty_speed_set(fd, B9600);
  EXPECT_EQ(asked(), (Lines{"tcgetattr", "tcflush", "tcsetattr", "tcflush"}));
  std::vector<std::uint32_t> queues;
  for (const boardsim::Call& call : board.trace()) {
    if (call.name == "tcflush" && !call.record.empty()) queues.push_back(call.record.front());
  }
  EXPECT_EQ(queues, (std::vector<std::uint32_t>{TCIOFLUSH, TCIOFLUSH})) << "both directions";
}

TEST_F(TtyTest, BytesThatWaitedBeforeTheSpeedWasSetAreGone) {
  tty_parity_set(fd, 8, 1, 0);
  receive("old");
  EXPECT_EQ(tty_speed_set(fd, B9600), 0);
  EXPECT_EQ(waiting(), 0);
}

TEST_F(TtyTest, ASpeedThatCannotBeSetIsNotNoticed) {
  const speed_t before = [now = settings()] { return cfgetospeed(&now); }();
  board.fault("tcsetattr");
  EXPECT_EQ(tty_speed_set(fd, before == B1200 ? B9600 : B1200), 0);
  EXPECT_EQ(console.out(), "");
  const termios now = settings();
  EXPECT_EQ(cfgetospeed(&now), before);
}

TEST_F(TtyTest, SettingsThatCannotBeReadLeaveTheSpeedAsItIs) {
  board.fault("tcgetattr");
  EXPECT_EQ(tty_speed_set(fd, B9600), -10);
  EXPECT_EQ(console.out(), "tcgetattr Input/output error\n");
  EXPECT_EQ(asked(), Lines{"tcgetattr"}) << "neither flushed nor set, nor tried again";
}

TEST_F(TtyTest, TheReasonIsNamedWhenTheSpeedCannotBeSet) {
  EXPECT_EQ(tty_speed_set(-1, B9600), -10);
  EXPECT_EQ(console.out(), "tcgetattr Bad file descriptor\n");
  console.clear();
  board.fault("tcgetattr ENOTTY");
  EXPECT_EQ(tty_speed_set(fd, B9600), -10);
  EXPECT_EQ(console.out(), "tcgetattr Inappropriate ioctl for device\n");
}

// ---- raw mode -----------------------------------------------------------------------------------------

TEST_F(TtyTest, TheLineHas8DataBitsNoParityAndOneStopBit) {
  set(all_set());
  EXPECT_EQ(tty_parity_set(fd, 8, 1, 0), 0);
  const tcflag_t control = settings().c_cflag;
  EXPECT_EQ(control & CSIZE, static_cast<tcflag_t>(CS8));
  EXPECT_EQ(control & PARENB, 0U);
  EXPECT_EQ(control & CSTOPB, 0U);
  EXPECT_EQ(console.out(), "");
}

TEST_F(TtyTest, SevenDataBitsTwoStopBitsAndParityStillYield8N1) {
  set(all_set());
  EXPECT_EQ(tty_parity_set(fd, 7, 2, 1), 0);
  const tcflag_t control = settings().c_cflag;
  EXPECT_EQ(control & CSIZE, static_cast<tcflag_t>(CS8));
  EXPECT_EQ(control & (PARENB | CSTOPB), 0U);
}

TEST_F(TtyTest, TheThreeNumbersAreIgnored) {
  tty_parity_set(fd, 8, 1, 0);
  const termios expected = settings();
  const int numbers[][3] = {{7, 2, 1}, {5, 1, 2}, {6, 0, 'E'}, {0, 0, 0}, {-1, -1, -1}, {8, 2, 'O'}};
  for (const auto& [data, stop, parity] : numbers) {
    set(all_set());
    EXPECT_EQ(tty_parity_set(fd, data, stop, parity), 0);
    const termios now = settings();
    EXPECT_EQ(now.c_cflag & (CSIZE | PARENB | CSTOPB), expected.c_cflag & (CSIZE | PARENB | CSTOPB));
    EXPECT_EQ(now.c_cc[VTIME], 50);
    EXPECT_EQ(now.c_cc[VMIN], 0);
  }
}

TEST_F(TtyTest, TheLineIsRaw) {
  set(all_set());
  tty_parity_set(fd, 8, 1, 0);
  const termios now = settings();
  EXPECT_EQ(now.c_lflag & (ICANON | ECHO | ECHOE | ISIG), 0U);
  EXPECT_EQ(now.c_oflag & OPOST, 0U);
  EXPECT_EQ(now.c_iflag & (INPCK | INLCR | IGNCR | ICRNL | IXON | IXOFF), 0U);
}

TEST_F(TtyTest, OtherFlagsStayAsTheyAre) {
  set(all_set());
  const termios before = settings();
  tty_parity_set(fd, 8, 1, 0);
  const termios now = settings();
  EXPECT_EQ(now.c_lflag, before.c_lflag & ~static_cast<tcflag_t>(ICANON | ECHO | ECHOE | ISIG));
  EXPECT_EQ(now.c_oflag, before.c_oflag & ~static_cast<tcflag_t>(OPOST));
  EXPECT_EQ(now.c_iflag,
            before.c_iflag & ~static_cast<tcflag_t>(INPCK | INLCR | IGNCR | ICRNL | IXON | IXOFF));
  EXPECT_EQ(now.c_cflag, (before.c_cflag & ~static_cast<tcflag_t>(CSIZE | PARENB | CSTOPB)) | CS8);
}

TEST_F(TtyTest, AReadWaitsFor5SecondsAndForNoByte) {
  set(all_set());
  termios expected = settings();
  tty_parity_set(fd, 8, 1, 0);
  expected.c_cc[VTIME] = 50;
  expected.c_cc[VMIN] = 0;
  const termios now = settings();
  for (std::size_t i = 0; i < std::size(now.c_cc); ++i) EXPECT_EQ(now.c_cc[i], expected.c_cc[i]) << i;
}

TEST_F(TtyTest, AReadOnASilentLineEndsAfter5Seconds) {
  tty_parity_set(fd, 8, 1, 0);
  char byte = 0;
  EXPECT_EQ(::read(fd, &byte, 1), 0);
  EXPECT_EQ(board.now(), std::chrono::seconds(5));
}

TEST_F(TtyTest, TheSpeedStaysWhenTheLineIsMadeRaw) {
  tty_speed_set(fd, B1200);
  tty_parity_set(fd, 8, 1, 0);
  const termios now = settings();
  EXPECT_EQ(cfgetispeed(&now), static_cast<speed_t>(B1200));
  EXPECT_EQ(cfgetospeed(&now), static_cast<speed_t>(B1200));
}

TEST_F(TtyTest, PendingInputIsFlushedBeforeTheLineIsMadeRaw) {
  tty_parity_set(fd, 8, 1, 0);
  EXPECT_EQ(asked(), (Lines{"tcgetattr", "tcflush", "tcsetattr"}));
  const boardsim::Call flush = board.trace().at(1);
  EXPECT_EQ(flush.record, (std::vector<std::uint32_t>{TCIFLUSH})) << "input alone";
  receive("old");
  EXPECT_EQ(tty_parity_set(fd, 8, 1, 0), 0);
  EXPECT_EQ(waiting(), 0);
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

TEST_F(TtyTest, ARawLineThatCannotBeSetIsNotNoticed) {
  const termios before = settings();
  board.fault("tcsetattr");
  EXPECT_EQ(tty_parity_set(fd, 8, 1, 0), 0);
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(settings().c_lflag, before.c_lflag);
}

TEST_F(TtyTest, SettingsThatCannotBeReadLeaveTheLineAsItIs) {
  board.fault("tcgetattr");
  EXPECT_EQ(tty_parity_set(fd, 8, 1, 0), -1);
  EXPECT_EQ(console.out(), "tcgetattr Input/output error\n");
  EXPECT_EQ(asked(), Lines{"tcgetattr"}) << "neither flushed nor set, nor tried again";
}

TEST_F(TtyTest, TheReasonIsNamedWhenTheLineCannotBeMadeRaw) {
  EXPECT_EQ(tty_parity_set(-1, 8, 1, 0), -1);
  EXPECT_EQ(console.out(), "tcgetattr Bad file descriptor\n");
}

}  // namespace
