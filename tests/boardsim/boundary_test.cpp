// Ways past the board: paths, descriptors and sockets in calls that it does not answer.
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <poll.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "boardsim/board.h"
#include "tests/harness/own_directory.h"

namespace {

using boardsim::Board;
using Lines = std::vector<std::string>;

/// Standard error is captured: every call here is said there too.
class BoundaryTest : public testing::Test {
 protected:
  BoundaryTest() : folder_(std::filesystem::current_path()) { testing::internal::CaptureStderr(); }
  ~BoundaryTest() override {
    testing::internal::GetCapturedStderr();
    std::filesystem::current_path(folder_);
  }
  /// The calls that were reported, each without the words that all of them end with.
  Lines reported() const {
    Lines calls;
    for (const std::string& text : board.violations())
      calls.push_back(text.substr(0, text.find(" is nothing ")));
    return calls;
  }

  Board board;

 private:
  std::filesystem::path folder_;
};

TEST_F(BoundaryTest, WhatWouldChangeTheBoardsPathsIsReported) {
  EXPECT_EQ(rename("/dev/rtc", "/tmp/rtc"), -1);
  EXPECT_EQ(errno, EPERM);
  EXPECT_EQ(rename("/tmp/none", "/dev/rtc"), -1);
  EXPECT_EQ(renameat(AT_FDCWD, "/dev/led", AT_FDCWD, "/tmp/led"), -1);
  EXPECT_EQ(remove("/mnt/test"), -1);
  EXPECT_EQ(unlinkat(AT_FDCWD, "/mnt/test", 0), -1);
  EXPECT_EQ(mkdirat(AT_FDCWD, "/mnt/test", 0700), -1);
  EXPECT_EQ(mkfifo("/dev/pipe", 0600), -1);
  EXPECT_EQ(truncate("/devinfo/file", 0), -1);
  EXPECT_EQ(symlink("/dev/rtc", "/tmp/none"), -1) << "it would hide a node";
  EXPECT_EQ(link("/dev/rtc", "/tmp/none"), -1);
  EXPECT_EQ(chmod("/dev/rtc", 0600), -1);
  EXPECT_EQ(chown("/dev/rtc", 0, 0), -1);
  EXPECT_EQ(utimensat(AT_FDCWD, "/dev/rtc", nullptr, 0), -1);
  EXPECT_EQ(reported(),
            (Lines{"rename of /dev/rtc", "rename of /dev/rtc", "renameat of /dev/led", "remove of /mnt/test",
                   "unlinkat of /mnt/test", "mkdirat of /mnt/test", "mkfifo of /dev/pipe",
                   "truncate of /devinfo/file", "symlink of /dev/rtc", "link of /dev/rtc",
                   "chmod of /dev/rtc", "chown of /dev/rtc", "utimensat of /dev/rtc"}));
}

TEST_F(BoundaryTest, WhatLooksAtTheBoardsPathsOtherwiseIsReported) {
  char text[8];
  struct statvfs system {};
  struct statx status {};
  EXPECT_EQ(opendir("/dev"), nullptr) << "the PC's nodes are not the board's";
  EXPECT_EQ(opendir("/proc/debug"), nullptr);
  EXPECT_EQ(readlink("/dev/rtc", text, sizeof text), -1);
  EXPECT_EQ(faccessat(AT_FDCWD, "/dev/rtc", F_OK, 0), -1);
  EXPECT_EQ(statx(AT_FDCWD, "/dev/rtc", 0, STATX_MODE, &status), -1);
  EXPECT_EQ(statvfs("/mnt/test", &system), -1);
  EXPECT_EQ(chdir("/mnt"), -1);
  EXPECT_EQ(reported(),
            (Lines{"opendir of /dev", "opendir of /proc/debug", "readlink of /dev/rtc",
                   "faccessat of /dev/rtc", "statx of /dev/rtc", "statvfs of /mnt/test", "chdir of /mnt"}));
}

TEST_F(BoundaryTest, PathsOfThePcAreLeftToThePc) {
  const OwnDirectory directory;
  const std::string path = directory.file("file");
  std::fclose(std::fopen(path.c_str(), "w"));
  EXPECT_EQ(chmod(path.c_str(), 0600), 0);
  EXPECT_EQ(rename(path.c_str(), (path + "2").c_str()), 0);
  EXPECT_EQ(remove((path + "2").c_str()), 0);
  DIR* const folder = opendir("/proc/self");
  ASSERT_NE(folder, nullptr);
  closedir(folder);
  EXPECT_EQ(reported(), Lines{});
}

TEST_F(BoundaryTest, ANodeIsFoundUnderARelativePath) {
  ASSERT_EQ(chdir("/"), 0);
  const int from_here = open("dev/rtc", O_RDONLY);
  const int root = open("/", O_RDONLY | O_DIRECTORY);
  const int from_folder = openat(root, "tmp/../dev/led", O_RDWR);
  struct stat status {};
  EXPECT_EQ(fstatat(root, "dev/fpga", &status, 0), 0);
  EXPECT_EQ(access("dev/fpga", F_OK), 0);
  EXPECT_EQ(board.open_nodes(), (Lines{"/dev/rtc", "/dev/led"}));
  for (const int fd : {from_here, root, from_folder}) close(fd);
  EXPECT_EQ(open("dev/foo", O_RDWR), -1);
  EXPECT_EQ(board.violations(), Lines{"unknown node /dev/foo (open)"});
}

TEST_F(BoundaryTest, ANodesDescriptorDoesNothingThatTheBoardDoesNotAnswer) {
  const int fd = open("/dev/led", O_RDWR);
  EXPECT_EQ(fcntl(fd, F_DUPFD, 0), -1);
  EXPECT_EQ(fcntl(fd, F_DUPFD_CLOEXEC, 0), -1);
  EXPECT_EQ(dup2(fd, 100), -1);
  EXPECT_EQ(ftruncate(fd, 0), -1);
  EXPECT_EQ(fchmod(fd, 0600), -1);
  EXPECT_EQ(fchown(fd, 0, 0), -1);
  EXPECT_EQ(epoll_create1(0), -1) << "nothing would move time in its wait";
  EXPECT_EQ(reported(),
            (Lines{"fcntl(F_DUPFD) of a node", "fcntl(F_DUPFD) of a node", "dup2 of a node",
                   "ftruncate of a node", "fchmod of a node", "fchown of a node", "epoll_create1"}));
  EXPECT_EQ(fcntl(fd, F_SETFD, FD_CLOEXEC), 0);
  EXPECT_EQ(board.violations().size(), 7U);
  close(fd);
}

// The thread sanitizer keeps mmap for itself.
#ifndef __SANITIZE_THREAD__
TEST_F(BoundaryTest, ANodeCannotBeMapped) {
  const int fd = open("/dev/led", O_RDWR);
  EXPECT_EQ(mmap(nullptr, 4096, PROT_READ, MAP_SHARED, fd, 0), MAP_FAILED);
  EXPECT_EQ(reported(), Lines{"mmap of a node"});
  void* const memory = mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  EXPECT_NE(memory, MAP_FAILED);
  munmap(memory, 4096);
  EXPECT_EQ(board.violations().size(), 1U);
  close(fd);
}
#endif

TEST_F(BoundaryTest, AStreamReadsTheNodeHoweverItWasOpened) {
  for (std::FILE* const file :
       {std::fopen("/proc/debug/temp1", "r"), fdopen(open("/proc/debug/temp1", O_RDONLY), "r")}) {
    ASSERT_NE(file, nullptr);
    int value = 0;
    EXPECT_EQ(std::fscanf(file, "%d", &value), 1);
    EXPECT_EQ(value, 45500);
    std::fclose(file);
  }
  EXPECT_EQ(board.open_nodes(), Lines{});
}

TEST_F(BoundaryTest, TransfersThatGoAroundTheBoardsTimeAreReported) {
  int wire[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, wire), 0);
  char byte = 0;
  iovec part{&byte, 1};
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  EXPECT_EQ(sendto(wire[0], &byte, 1, 0, nullptr, 0), -1);
  EXPECT_EQ(sendmsg(wire[0], &message, 0), -1);
  EXPECT_EQ(recvfrom(wire[1], &byte, 1, 0, nullptr, nullptr), -1);
  EXPECT_EQ(recvmsg(wire[1], &message, 0), -1);
  EXPECT_EQ(reported(), (Lines{"sendto", "sendmsg", "recvfrom", "recvmsg"}));
  close(wire[0]);
  close(wire[1]);
}

TEST_F(BoundaryTest, WaitsWithASignalMaskAreReported) {
  const sigset_t none{};
  const timespec at_once{};
  pollfd nothing{-1, POLLIN, 0};
  EXPECT_EQ(pselect(0, nullptr, nullptr, nullptr, &at_once, &none), -1);
  EXPECT_EQ(errno, EPERM);
  EXPECT_EQ(ppoll(&nothing, 1, &at_once, &none), -1);
  EXPECT_EQ(errno, EPERM);
  EXPECT_EQ(reported(), (Lines{"pselect with a signal mask", "ppoll with a signal mask"}));
  EXPECT_EQ(pselect(0, nullptr, nullptr, nullptr, &at_once, nullptr), 0);
  EXPECT_EQ(ppoll(&nothing, 1, &at_once, nullptr), 0);
  EXPECT_EQ(board.violations().size(), 2U);
}

TEST_F(BoundaryTest, ARequestThatSocketsDoNotKnowAndOneForTheConsoleAreReported) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  int count = 0;
  ifreq request{};
  EXPECT_EQ(ioctl(fd, FIONREAD, &count), -1);
  EXPECT_EQ(errno, ENOTTY);
  EXPECT_EQ(ioctl(fd, SIOCSIFADDR, &request), -1);
  const int terminal = open("/dev/null", O_RDWR);
  EXPECT_EQ(ioctl(terminal, TIOCCONS, nullptr), -1) << "a terminal of the PC would take its console";
  EXPECT_EQ(reported(),
            (Lines{"unknown request 0x0000541b on socket (ioctl)",
                   "unknown request 0x00008916 on socket (ioctl)", "TIOCCONS on a file of the PC"}));
  close(terminal);
  close(fd);
}

}  // namespace
