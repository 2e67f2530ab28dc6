// Nodes, descriptors and paths: what belongs to the board, what to the PC, and what is nobody's.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <string>
#include <thread>

#include "boardsim/board.h"

namespace {

using boardsim::Board;
using Lines = std::vector<std::string>;

TEST(DescriptorsTest, OpenNodesAreListedInTheOrderOfOpening) {
  const Board board;
  const int first = open("/dev/led", O_RDWR);
  const int second = open("/dev/fpga", O_RDWR);
  close(first);
  const int third = open("/dev/qznio", O_RDWR);
  EXPECT_EQ(third, first) << "the lowest free number is taken again";
  EXPECT_EQ(access("/dev/qznio", R_OK | W_OK), 0);
  EXPECT_EQ(board.open_nodes(), (Lines{"/dev/fpga", "/dev/qznio"}));
  close(second);
  EXPECT_EQ(close(third), 0);
  EXPECT_EQ(board.open_nodes(), Lines{});
  EXPECT_EQ(close(third), -1);
  EXPECT_EQ(errno, EBADF);
}

TEST(DescriptorsTest, EveryFormOfOpenReachesTheBoard) {
  const Board board;
  const std::array opened{open("/dev/led", O_RDWR),
                          open64("/dev/led", O_RDWR),
                          openat(AT_FDCWD, "/dev/led", O_RDWR),
                          openat64(AT_FDCWD, "/dev/led", O_RDWR),
                          creat("/dev/led", 0600),
                          open("/dev//./../dev/led", O_RDONLY)};
  EXPECT_EQ(board.open_nodes(), Lines(opened.size(), "/dev/led"));
  for (const int fd : opened) close(fd);
}

TEST(DescriptorsTest, UnknownPathsOfTheBoardAreReportedLoudlyByEveryCall) {
  Board board;
  struct stat status {};
  testing::internal::CaptureStderr();
  EXPECT_EQ(open("/dev/foo", O_RDWR), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "boardsim: unknown node /dev/foo (open)\n");
  testing::internal::CaptureStderr();
  EXPECT_EQ(stat("/dev/foo", &status), -1);
  EXPECT_EQ(access("/mnt/test", F_OK), -1);
  EXPECT_EQ(std::fopen("/mnt/none.bin", "r"), nullptr);
  EXPECT_EQ(lstat("/dev/bar", &status), -1);
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(open("/proc/debug/temp7", O_RDONLY), -1) << "a sensor that a board lacks is nothing unusual";
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(board.violations(),
            (Lines{"unknown node /dev/foo (open)", "unknown node /dev/foo (stat)",
                   "unknown node /mnt/test (access)", "unknown node /mnt/none.bin (fopen)",
                   "unknown node /dev/bar (lstat)"}));
  board.clear_violations();
  EXPECT_EQ(board.violations(), Lines{});
}

TEST(DescriptorsTest, CallsThatANodeDoesNotKnowAreReportedLoudly) {
  const Board board;
  const int fd = open("/dev/led", O_RDWR);
  char byte = 0;
  testing::internal::CaptureStderr();
  EXPECT_EQ(ioctl(fd, 0x1234U, nullptr), -1);
  EXPECT_EQ(errno, ENOTTY);
  EXPECT_EQ(read(fd, &byte, 1), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(write(fd, &byte, 1), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(dup(fd), -1);
  EXPECT_EQ(pread(fd, &byte, 1, 0), -1);
  testing::internal::GetCapturedStderr();
  const Lines violations = board.violations();
  ASSERT_EQ(violations.size(), 5U);
  EXPECT_EQ(violations[0], "unknown request 0x00001234 on /dev/led (ioctl)");
  EXPECT_EQ(violations[1], "reading /dev/led is not known (read)");
  EXPECT_EQ(violations[2], "writing /dev/led is not known (write)");
  EXPECT_EQ(board.hardware_trace()[1], "ioctl /dev/led 0x00001234 {} = -1 ENOTTY");
  close(fd);
}

TEST(DescriptorsTest, ASensorIsARegularFileWithAPosition) {
  const Board board;
  struct stat status {};
  ASSERT_EQ(stat("/proc/debug/temp1", &status), 0);
  EXPECT_TRUE(S_ISREG(status.st_mode));
  const int fd = open("/proc/debug/temp1", O_RDONLY);
  char text[8] = "";
  EXPECT_EQ(read(fd, text, 3), 3);
  EXPECT_STREQ(text, "455");
  EXPECT_EQ(lseek(fd, 1, SEEK_SET), 1);
  EXPECT_EQ(read(fd, text, sizeof text), 5);
  EXPECT_EQ(read(fd, text, sizeof text), 0);
  ASSERT_EQ(fstat(fd, &status), 0);
  EXPECT_TRUE(S_ISREG(status.st_mode));
  close(fd);
}

TEST(DescriptorsTest, FilesOfThePcAreLeftToThePc) {
  const Board board;
  const int fd = open("/dev/null", O_RDWR);
  ASSERT_GE(fd, 0);
  char byte = 0;
  EXPECT_EQ(read(fd, &byte, 1), 0);
  EXPECT_EQ(write(fd, "x", 1), 1);
  EXPECT_EQ(close(fd), 0);
  std::FILE* file = std::fopen("/proc/self/status", "r");
  ASSERT_NE(file, nullptr);
  std::fclose(file);
  EXPECT_EQ(board.open_nodes(), Lines{});
  EXPECT_EQ(board.hardware_trace(), Lines{});
  EXPECT_EQ(board.violations(), Lines{});
}

TEST(DescriptorsTest, AnOpenNodeIsReadyInAPoll) {
  const Board board;
  const int fd = open("/dev/rtc", O_RDONLY);
  pollfd awaited{fd, POLLIN, 0};
  EXPECT_EQ(poll(&awaited, 1, 1000), 1);
  close(fd);
}

TEST(DescriptorsTest, ManyThreadsOpenAndCloseSideBySide) {
  const Board board;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int n = 0; n < 200; ++n) close(open("/dev/led", O_RDWR));
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(board.open_nodes(), Lines{});
  EXPECT_EQ(board.hardware_trace().size(), 1600U);
}

TEST(DescriptorsTest, ANodeThatAnotherThreadClosesMeanwhileIsNoNodeAnyMore) {
  const Board board;
  const int fd = open("/dev/led", O_RDWR);
  close(fd);
  std::thread other([] {
    for (int n = 0; n < 500; ++n) close(open("/dev/led", O_RDWR));
  });
  for (int n = 0; n < 500; ++n) {
    std::uint32_t record[2] = {1, 1};
    struct stat status {};
    const int result = ioctl(fd, 0x40044C01U, record);
    // The last is what an emulator of another processor says of requests that it does not know.
    EXPECT_TRUE(result == 0 || errno == EBADF || errno == ENOTTY || errno == ENOSYS) << errno;
    fstat(fd, &status);
    lseek(fd, 0, SEEK_SET);
  }
  other.join();
  EXPECT_EQ(board.violations(), Lines{});
}

TEST(DescriptorsTest, APipeOfThePcIsWaitedForInVirtualTime) {
  Board board;
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  board.at(std::chrono::seconds(9), [&] { EXPECT_EQ(write(ends[1], "x", 1), 1); });
  char byte = 0;
  EXPECT_EQ(read(ends[0], &byte, 1), 1);
  EXPECT_EQ(board.now(), std::chrono::seconds(9));
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
