// Threads of a program share one virtual time, and none that waits for another stops it.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include "boardsim/board.h"

namespace {

using boardsim::Board;
using boardsim::Time;
using namespace std::chrono_literals;

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

TEST(ThreadsTest, AThreadThatJoinsAnotherDoesNotStopTime) {
  const Board board;
  std::thread other([] { sleep(60); });
  other.join();
  EXPECT_EQ(board.now(), 60s);
}

void* sleep_for_ever(void* /*unused*/) {
  for (;;) sleep(5);
}

TEST(ThreadsTest, ACancelledSleepingThreadIsGone) {
  const Board board;
  pthread_t heartbeat{};
  ASSERT_EQ(pthread_create(&heartbeat, nullptr, sleep_for_ever, nullptr), 0);
  sleep(7);
  EXPECT_EQ(board.live_threads(), 1);
  EXPECT_EQ(pthread_cancel(heartbeat), 0);
  void* result = nullptr;
  EXPECT_EQ(pthread_join(heartbeat, &result), 0);
  EXPECT_EQ(result, PTHREAD_CANCELED);
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

TEST(ThreadsTest, ACancelledThreadUnwindsItsObjects) {
  const Board board;
  static std::atomic<bool> unwound;
  unwound = false;
  const auto body = [](void*) -> void* {
    struct Guard {
      ~Guard() { unwound = true; }
    } const guard;
    sleep(1000);
    return nullptr;
  };
  pthread_t thread{};
  ASSERT_EQ(pthread_create(&thread, nullptr, body, nullptr), 0);
  sleep(1);
  pthread_cancel(thread);
  pthread_join(thread, nullptr);
  EXPECT_TRUE(unwound);
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
