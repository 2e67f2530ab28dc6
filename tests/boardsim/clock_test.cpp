// Virtual time: sleeps, select, events, paces and threads.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <mutex>
#include <thread>

#include "boardsim/board.h"

namespace {

using boardsim::Board;
using boardsim::Pace;
using boardsim::Time;
using namespace std::chrono_literals;

Time monotonic() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::chrono::seconds(now.tv_sec) +
         std::chrono::duration_cast<Time>(std::chrono::nanoseconds(now.tv_nsec));
}

/// A connected pair of sockets; [0] is the board's end.
struct Wire {
  int ends[2] = {-1, -1};
  Wire() { socketpair(AF_UNIX, SOCK_STREAM, 0, ends); }
  ~Wire() {
    close(ends[0]);
    close(ends[1]);
  }
  Wire(const Wire&) = delete;
  Wire& operator=(const Wire&) = delete;
};

int select_readable(int fd, timeval* timeout, fd_set* set) {
  FD_ZERO(set);
  FD_SET(fd, set);
  return select(fd + 1, set, nullptr, nullptr, timeout);
}

TEST(ClockTest, EverySleepIsOverAtOnceAndMovesTimeByItsLength) {
  Board board;
  EXPECT_EQ(sleep(3), 0U);
  EXPECT_EQ(board.now(), 3s);
  EXPECT_EQ(usleep(500'000), 0);
  EXPECT_EQ(board.now(), 3500ms);
  const timespec span{1, 250'000'000};
  EXPECT_EQ(nanosleep(&span, nullptr), 0);
  EXPECT_EQ(board.now(), 4750ms);
  EXPECT_EQ(clock_nanosleep(CLOCK_MONOTONIC, 0, &span, nullptr), 0);
  EXPECT_EQ(board.now(), 6s);
  const timespec impossible{0, 1'000'000'000};
  EXPECT_EQ(nanosleep(&impossible, nullptr), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(board.now(), 6s);
}

TEST(ClockTest, ASleepUntilAPointOfTimeEndsThere) {
  const Board board;
  timespec end{};
  clock_gettime(CLOCK_MONOTONIC, &end);
  end.tv_sec += 7;
  EXPECT_EQ(clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr), 0);
  EXPECT_EQ(board.now(), 7s);
  EXPECT_EQ(clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr), 0);
  EXPECT_EQ(board.now(), 7s) << "it has passed already";
}

TEST(ClockTest, TheMonotonicClockFollowsVirtualTimeAndDoesNotBeginAtZero) {
  const Board board;
  const Time before = monotonic();
  EXPECT_GT(before, 0s);
  sleep(1800);
  EXPECT_EQ(monotonic() - before, 1800s);
}

TEST(ClockTest, TheWallClockStaysThatOfThePc) {
  const Board board;
  const time_t before = time(nullptr);
  sleep(1'000'000);
  EXPECT_LT(time(nullptr) - before, 100'000);
}

TEST(ClockTest, ASelectOrPollThatNothingEndsTimesOutInVirtualTime) {
  const Board board;
  const Wire wire;
  fd_set set;
  timeval timeout{100, 0};
  EXPECT_EQ(select_readable(wire.ends[0], &timeout, &set), 0);
  EXPECT_FALSE(FD_ISSET(wire.ends[0], &set));
  EXPECT_EQ(board.now(), 100s);
  EXPECT_EQ(timeout.tv_sec, 0);
  EXPECT_EQ(timeout.tv_usec, 0);
  pollfd awaited{wire.ends[0], POLLIN, 0};
  EXPECT_EQ(poll(&awaited, 1, 2500), 0);
  EXPECT_EQ(board.now(), 102500ms);
}

TEST(ClockTest, ASelectWritesBackWhatIsLeftOfItsTimeOut) {
  Board board;
  const Wire wire;
  board.at(30500ms, [&] { send(wire.ends[1], "x", 1, 0); });
  fd_set set;
  timeval timeout{100, 0};
  EXPECT_EQ(select_readable(wire.ends[0], &timeout, &set), 1);
  EXPECT_TRUE(FD_ISSET(wire.ends[0], &set));
  EXPECT_EQ(board.now(), 30500ms);
  EXPECT_EQ(timeout.tv_sec, 69);
  EXPECT_EQ(timeout.tv_usec, 500'000);
}

TEST(ClockTest, ASelectOfAnotherSystemLeavesItsTimeOutAlone) {
  Board board;
  board.set_select_counts_down(false);
  const Wire wire;
  fd_set set;
  timeval timeout{5, 7};
  EXPECT_EQ(select_readable(wire.ends[0], &timeout, &set), 0);
  EXPECT_EQ(timeout.tv_sec, 5);
  EXPECT_EQ(timeout.tv_usec, 7);
}

TEST(ClockTest, ASelectCountsEachReadySetAndClearsTheRest) {
  const Board board;
  const Wire wire;
  const Wire silent;
  send(wire.ends[1], "x", 1, 0);
  fd_set readable;
  fd_set writable;
  FD_ZERO(&readable);
  FD_ZERO(&writable);
  FD_SET(wire.ends[0], &readable);
  FD_SET(silent.ends[0], &readable);
  FD_SET(wire.ends[0], &writable);
  const int highest = std::max(wire.ends[0], silent.ends[0]);
  EXPECT_EQ(select(highest + 1, &readable, &writable, nullptr, nullptr), 2);
  EXPECT_TRUE(FD_ISSET(wire.ends[0], &readable));
  EXPECT_TRUE(FD_ISSET(wire.ends[0], &writable));
  EXPECT_FALSE(FD_ISSET(silent.ends[0], &readable));
  EXPECT_EQ(board.now(), 0s);
}

TEST(ClockTest, AClosedPeerMakesSelectReadable) {
  Board board;
  Wire wire;
  board.at(2s, [&] { shutdown(wire.ends[1], SHUT_RDWR); });
  fd_set set;
  timeval timeout{100, 0};
  EXPECT_EQ(select_readable(wire.ends[0], &timeout, &set), 1);
  EXPECT_EQ(board.now(), 2s);
}

TEST(ClockTest, AClosedPeerThatNobodyAskedAboutDoesNotEndASelect) {
  const Board board;
  const Wire wire;
  shutdown(wire.ends[1], SHUT_RDWR);
  fd_set exceptional;
  FD_ZERO(&exceptional);
  FD_SET(wire.ends[0], &exceptional);
  timeval timeout{4, 0};
  EXPECT_EQ(select(wire.ends[0] + 1, nullptr, nullptr, &exceptional, &timeout), 0);
  EXPECT_EQ(board.now(), 4s);
}

TEST(ClockTest, ASelectOnAClosedDescriptorOrWithANegativeTimeOutFails) {
  const Board board;
  int closed = -1;
  {
    const Wire wire;
    closed = wire.ends[0];
  }
  fd_set set;
  timeval timeout{1, 0};
  EXPECT_EQ(select_readable(closed, &timeout, &set), -1);
  EXPECT_EQ(errno, EBADF);
  timeout = {-1, 0};
  EXPECT_EQ(select(0, nullptr, nullptr, nullptr, &timeout), -1);
  EXPECT_EQ(errno, EINVAL);
}

TEST(ClockTest, EventsRunInTheOrderOfTheirTimes) {
  Board board;
  std::vector<Time> seen;
  board.at(5s, [&] { seen.push_back(board.now()); });
  board.at(2s, [&] {
    seen.push_back(board.now());
    board.at(3s, [&] { seen.push_back(board.now()); });
  });
  sleep(4);
  EXPECT_EQ(seen, (std::vector<Time>{2s, 3s}));
  sleep(4);
  EXPECT_EQ(seen, (std::vector<Time>{2s, 3s, 5s}));
  board.at(3s, [&] { seen.push_back(board.now()); });
  EXPECT_EQ(seen.size(), 3U) << "its time has passed: it runs in the next wait";
  usleep(1);
  EXPECT_EQ(seen.back(), 8s);
}

TEST(ClockTest, ASteppedBoardStandsStillUntilItIsAdvancedAndRunsEventsAndThreadsInOrder) {
  Board board("normal", Pace::stepped);
  std::vector<std::string> order;
  board.at(7s, [&] { order.emplace_back("event"); });
  std::thread heartbeat([&] {
    for (int i = 0; i < 3; ++i) {
      sleep(5);
      order.emplace_back("beat");
    }
  });
  using Order = std::vector<std::string>;
  ASSERT_TRUE(board.settle());
  ASSERT_TRUE(board.advance(4999ms));
  EXPECT_EQ(order, Order{});
  ASSERT_TRUE(board.advance(1ms));
  EXPECT_EQ(order, Order{"beat"});
  ASSERT_TRUE(board.advance(10s));
  EXPECT_EQ(order, (Order{"beat", "event", "beat", "beat"}));
  EXPECT_EQ(board.now(), 15s);
  heartbeat.join();
}

TEST(ClockTest, AScaledBoardRunsAsOftenFasterThanThePc) {
  Board board("normal", Pace::scaled, 100'000);
  std::atomic<bool> ran = false;
  board.at(5s, [&] { ran = true; });
  sleep(1000);
  EXPECT_GE(board.now(), 1000s);
  EXPECT_TRUE(ran);
}

TEST(ClockTest, AnUnknownFamilyASpeedOfZeroAndAdvancingABoardThatIsNotSteppedAreRefused) {
  try {
    const Board board("nonsense");
    FAIL() << "there is no such family";
  } catch (const std::invalid_argument& error) {
    EXPECT_THAT(error.what(),
                testing::StartsWith("boardsim: there is no board \"nonsense\"; known are normal k "));
  }
  EXPECT_THROW(Board("normal", Pace::scaled, 0), std::invalid_argument);
  Board board;
  EXPECT_THROW(board.advance(1s), std::logic_error);
}

TEST(ClockTest, ASecondBoardIsRefusedWhileOneLives) {
  {
    const Board board;
    EXPECT_THROW(Board("loop"), std::logic_error);
    EXPECT_EQ(Board::current(), &board);
  }
  EXPECT_EQ(Board::current(), nullptr);
  const Board next("loop");
  EXPECT_EQ(Board::current(), &next);
}

// ---- threads of a program share one virtual time, and none that waits for another stops it --------------

TEST(ThreadsTest, TwoThreadsShareOneTime) {
  Board board;
  std::vector<Time> woken;
  std::thread other([&] {
    for (int i = 0; i < 3; ++i) {
      sleep(5);
      woken.push_back(board.now());
    }
  });
  EXPECT_EQ(board.live_threads(), 1);
  sleep(12);
  EXPECT_EQ(board.now(), 12s);
  other.join();
  EXPECT_EQ(woken, (std::vector<Time>{5s, 10s, 15s}));
  EXPECT_EQ(board.live_threads(), 0);
}

TEST(ThreadsTest, AThreadBlockedOnAMutexDoesNotStopTime) {
  const Board board;
  std::mutex mutex;
  Time entered{};
  std::unique_lock lock(mutex);
  std::thread other([&] {
    const std::lock_guard its_lock(mutex);
    entered = board.now();
  });
  sleep(3);
  lock.unlock();
  sleep(100);
  EXPECT_EQ(entered, 3s) << "the thread that was let in runs before time moves again";
  other.join();
}

void* sleep_for_ever(void* /*unused*/) {
  for (;;) sleep(5);
}

TEST(ThreadsTest, ACancelledSleepingThreadUnwindsItsObjectsAndIsGone) {
  const Board board;
  static std::atomic<bool> unwound;
  unwound = false;
  const auto body = [](void*) -> void* {
    struct Guard {
      ~Guard() { unwound = true; }
    } const guard;
    return sleep_for_ever(nullptr);
  };
  pthread_t heartbeat{};
  ASSERT_EQ(pthread_create(&heartbeat, nullptr, body, nullptr), 0);
  sleep(7);
  EXPECT_EQ(board.live_threads(), 1);
  EXPECT_EQ(pthread_cancel(heartbeat), 0);
  void* result = nullptr;
  EXPECT_EQ(pthread_join(heartbeat, &result), 0);
  EXPECT_EQ(result, PTHREAD_CANCELED);
  EXPECT_TRUE(unwound);
  EXPECT_EQ(board.live_threads(), 0);
  EXPECT_EQ(board.now(), 7s);
}

TEST(ThreadsTest, AThreadWithoutADescriptorDoesNotStart) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer looks at exceptions through a pipe of its own";
#endif
  const Board board;
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit none{0, limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  pthread_t thread{};
  const int error = pthread_create(&thread, nullptr, sleep_for_ever, nullptr);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_EQ(error, EAGAIN);
  EXPECT_EQ(board.live_threads(), 0);
}

TEST(ThreadsTest, AThreadThatOutlivesItsBoardEndsByItself) {
  std::atomic<bool> over = false;
  std::thread other;
  {
    const Board board;
    other = std::thread([&] {
      usleep(20'000);
      usleep(20'000);
      over = true;
    });
  }
  other.join();
  EXPECT_TRUE(over);
}

}  // namespace
