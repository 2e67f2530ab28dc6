// The trace: what stands in it and how it reads.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

#include "boardsim/board.h"

namespace {

using boardsim::Board;
using boardsim::Call;
using Lines = std::vector<std::string>;

Lines texts(const Board& board) {
  Lines lines;
  for (const Call& call : board.trace()) lines.push_back(call.text());
  return lines;
}

TEST(TraceTest, ACallReadsAsItWasMade) {
  const auto text = [](Call call) { return call.text(); };
  EXPECT_EQ(text({.name = "open", .node = "/dev/rtc", .result = 3}), "open /dev/rtc = ok");
  EXPECT_EQ(text({.name = "open", .node = "/dev/rtc", .result = -1, .error = ENODEV}),
            "open /dev/rtc = -1 ENODEV");
  EXPECT_EQ(text({.name = "ioctl", .node = "/dev/qznio", .request = 0x40044d02, .record = {0, 10000, 5000}}),
            "ioctl /dev/qznio 0x40044d02 {0, 10000, 5000} = 0");
  EXPECT_EQ(text({.name = "ioctl", .node = "/dev/qznio", .request = 0x80044801}),
            "ioctl /dev/qznio 0x80044801 {} = 0");
  EXPECT_EQ(text({.name = "close", .node = "/dev/qznio"}), "close /dev/qznio = 0");
  EXPECT_EQ(text({.name = "sleep", .record = {10}}), "sleep 10");
  EXPECT_EQ(text({.name = "usleep", .record = {500'000}}), "usleep 500000");
  EXPECT_EQ(text({.name = "reboot", .record = {0x1234567}}), "reboot 0x1234567 = 0");
  EXPECT_EQ(text({.name = "stat", .node = "/proc/debug/temp1"}), "stat /proc/debug/temp1 = 0");
  EXPECT_EQ(text({.name = "read", .node = "/proc/debug/temp1", .record = {32}, .result = 6}),
            "read /proc/debug/temp1 32 = 6");
  const Call call{.at = boardsim::Time(1'800'000'042), .name = "open", .node = "/dev/rtc"};
  EXPECT_EQ(call.timed_text(), "1800.000042 open /dev/rtc = ok");
}

TEST(TraceTest, AnOpenKeepsItsFlagsButDoesNotShowThem) {
  const Board board;
  ::close(::open("/dev/alarm", O_RDWR | O_NONBLOCK));
  const std::vector<Call> calls = board.trace();
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_EQ(calls[0].record, std::vector<std::uint32_t>{O_RDWR | O_NONBLOCK});
  EXPECT_EQ(calls[0].text(), "open /dev/alarm = ok");
  EXPECT_EQ(::close(-1), -1);
  EXPECT_EQ(board.hardware_trace().back(), "close -1 = -1 EBADF") << "one that was never opened shows too";
}

TEST(TraceTest, SmallWordsAreNumbersAndLargeOnesAreHexadecimal) {
  const auto record = [](std::uint32_t word) {
    return Call{.name = "ioctl", .node = "/dev/fpga", .request = 1, .record = {word}}.text();
  };
  EXPECT_EQ(record(0xFFFFFFFFU), "ioctl /dev/fpga 0x00000001 {-1} = 0");
  EXPECT_EQ(record(65535), "ioctl /dev/fpga 0x00000001 {65535} = 0");
  EXPECT_EQ(record(65536), "ioctl /dev/fpga 0x00000001 {0x00010000} = 0");
  EXPECT_EQ(record(0x80000000U), "ioctl /dev/fpga 0x00000001 {0x80000000} = 0");
}

TEST(TraceTest, TheHardwareDoesNotSeeSleepsSocketsAndThreads) {
  const Board board;
  int ends[2];
  socketpair(AF_UNIX, SOCK_STREAM, 0, ends);
  send(ends[1], "abc", 3, 0);
  char text[8];
  recv(ends[0], text, sizeof text, 0);
  fd_set set;
  FD_ZERO(&set);
  FD_SET(ends[0], &set);
  timeval timeout{100, 5};
  select(ends[0] + 1, &set, nullptr, nullptr, &timeout);
  sleep(2);
  std::thread([] { usleep(5); }).join();
  close(ends[0]);
  close(ends[1]);
  EXPECT_EQ(board.hardware_trace(), Lines{});
  EXPECT_EQ(texts(board), (Lines{"socketpair = 0", "send station 3 = 3", "recv station 8 = 3",
                                 "select station 100 5 = 0", "sleep 2", "thread started", "usleep 5",
                                 "thread ended", "close station = 0", "close station = 0"}));
}

}  // namespace
