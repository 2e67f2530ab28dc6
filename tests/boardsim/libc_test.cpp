// The C library's boundary: the network stays on this PC, and what would harm the PC is refused.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/reboot.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <thread>

#include "boardsim/board.h"

namespace {

using boardsim::Board;
using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

sockaddr_in place(const char* address, std::uint16_t port = 0) {
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_port = htons(port);
  inet_pton(AF_INET, address, &result.sin_addr);
  return result;
}

const sockaddr* generic(const sockaddr_in& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

sockaddr_in own_place(int fd) {
  sockaddr_in result{};
  socklen_t size = sizeof result;
  getsockname(fd, reinterpret_cast<sockaddr*>(&result), &size);
  return result;
}

TEST(LibcTest, AProgramThatBindsEveryAddressGetsLoopbackOnlyAndCannotBindOneOfANetwork) {
  const Board board;
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  const sockaddr_in every = place("0.0.0.0");
  ASSERT_EQ(bind(fd, generic(every), sizeof every), 0);
  EXPECT_EQ(own_place(fd).sin_addr.s_addr, htonl(INADDR_LOOPBACK));
  close(fd);
  const int other = socket(AF_INET, SOCK_STREAM, 0);
  const sockaddr_in outside = place("192.0.2.1");
  EXPECT_EQ(bind(other, generic(outside), sizeof outside), -1);
  EXPECT_EQ(errno, EADDRNOTAVAIL);
  close(other);
}

TEST(LibcTest, ConnectingToANetworkIsReportedAndNotDone) {
  const Board board;
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  const sockaddr_in outside = place("192.0.2.1", 80);
  testing::internal::CaptureStderr();
  EXPECT_EQ(connect(fd, generic(outside), sizeof outside), -1);
  EXPECT_EQ(errno, ENETUNREACH);
  sockaddr_in6 peer{};
  peer.sin6_family = AF_INET6;
  peer.sin6_port = htons(80);
  peer.sin6_addr = in6addr_loopback;
  EXPECT_EQ(connect(fd, reinterpret_cast<const sockaddr*>(&peer), sizeof peer), -1);
  peer.sin6_family = AF_NETLINK;
  EXPECT_EQ(connect(fd, reinterpret_cast<const sockaddr*>(&peer), sizeof peer), -1);
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(board.violations(),
            (Lines{"connecting to 192.0.2.1:80 would leave the PC (connect)",
                   "connecting to [::1]:80 would leave the PC (connect)",
                   "connecting to an address of family 16 would leave the PC (connect)"}));
  close(fd);
}

TEST(LibcTest, AStationConnectsSendsAndIsAnswered) {
  const Board board;
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  const sockaddr_in any = place("127.0.0.1");
  ASSERT_EQ(bind(listener, generic(any), sizeof any), 0);
  ASSERT_EQ(listen(listener, 8), 0);
  const sockaddr_in address = own_place(listener);
  std::thread station([&] {
    sleep(4);
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_EQ(connect(fd, generic(address), sizeof address), 0);
    sleep(3);
    send(fd, "ping", 4, 0);
    char answer[8];
    EXPECT_EQ(recv(fd, answer, sizeof answer, 0), 4);
    close(fd);
  });
  const int fd = accept(listener, nullptr, nullptr);
  EXPECT_EQ(board.now(), 4s);
  char text[8];
  EXPECT_EQ(read(fd, text, sizeof text), 4);
  EXPECT_EQ(board.now(), 7s);
  sleep(1);
  EXPECT_EQ(write(fd, "pong", 4), 4);
  EXPECT_EQ(recv(fd, text, sizeof text, 0), 0) << "the station has closed";
  station.join();
  close(fd);
  close(listener);
}

TEST(LibcTest, ASendThatDoesNotFitWaitsForTheReader) {
  Board board;
  int wire[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, wire), 0);
  const std::string much(1'000'000, 'x');
  std::thread reader([&] {
    std::string part(65536, ' ');
    std::size_t total = 0;
    while (total < much.size()) {
      usleep(100'000);
      total += static_cast<std::size_t>(recv(wire[1], part.data(), part.size(), 0));
    }
  });
  EXPECT_EQ(send(wire[0], much.data(), much.size(), 0), static_cast<ssize_t>(much.size()));
  EXPECT_GT(board.now(), 0s);
  reader.join();
  close(wire[0]);
  close(wire[1]);
}

TEST(LibcTest, WhatWouldHarmThePcIsRefusedAndReported) {
  const Board board;
  struct statfs status {};
  timeval now{};
  char name[] = "true";
  char* const arguments[] = {name, nullptr};
  pid_t pid = 0;
  testing::internal::CaptureStderr();
  EXPECT_EQ(system("true"), -1);
  EXPECT_EQ(popen("true", "r"), nullptr);
  EXPECT_EQ(fork(), -1);
  EXPECT_EQ(execv("/bin/true", arguments), -1);
  EXPECT_EQ(execl("/bin/true", "true", nullptr), -1);
  EXPECT_EQ(posix_spawn(&pid, "/bin/true", nullptr, nullptr, arguments, environ), EPERM);
  EXPECT_EQ(mount("none", "/nowhere", "tmpfs", 0, nullptr), -1);
  EXPECT_EQ(umount("/nowhere"), -1);
  EXPECT_EQ(statfs("/", &status), -1);
  EXPECT_EQ(mkdir("/nowhere", 0700), -1);
  EXPECT_EQ(rmdir("/nowhere"), -1);
  EXPECT_EQ(unlink("/nowhere"), -1);
  EXPECT_EQ(sethostname("x", 1), -1);
  EXPECT_EQ(settimeofday(&now, nullptr), -1);
  EXPECT_EQ(kill(1, 0), -1);
  EXPECT_EQ(syscall(SYS_mount, "none", "/nowhere", "tmpfs", 0, nullptr), -1);
  EXPECT_EQ(syscall(SYS_getpid), getpid()) << "an ordinary call by its number goes through";
  const std::string shown = testing::internal::GetCapturedStderr();
  Lines reported;
  for (const std::string& text : board.violations()) {
    EXPECT_NE(shown.find("boardsim: " + text + "\n"), std::string::npos) << shown;
    reported.push_back(text.substr(0, text.find(" is nothing that a program may do on this board")));
  }
  EXPECT_EQ(reported,
            (Lines{"system of true", "popen", "fork", "execv", "execl", "posix_spawn", "mount of /nowhere",
                   "umount of /nowhere", "statfs of /", "mkdir of /nowhere", "rmdir of /nowhere",
                   "unlink of /nowhere", "sethostname", "settimeofday", "kill", "syscall(mount)"}));
}

TEST(LibcTest, WithoutABoardProgramsCanBeStartedAndPathsAreThePcs) {
  EXPECT_EQ(open("/dev/qznio", O_RDWR), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(system("exit 3") >> 8, 3);
  const pid_t pid = fork();
  if (pid == 0) _exit(5);
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_EQ(WEXITSTATUS(status), 5);
}

}  // namespace
