// Stations that wear the server down: many connections, a whole day, one that never reads. Memory and
// descriptors must be the same in the end.
#include <gtest/gtest.h>
#include <malloc.h>
#include <filesystem>
#include <iterator>
#include <optional>

#include "tests/service/serving.h"

namespace {

using namespace boardtest;
using namespace std::chrono_literals;

/// What the process holds at a moment at which nothing is going on.
struct Holdings {
  std::size_t bytes;  ///< allocated from the heap; 0 under a sanitizer, whose heap does not tell
  std::ptrdiff_t descriptors;
  int threads;
};

// The heap gives a larger block than was asked for when no smaller one is at hand, which makes some hundred
// bytes of difference. The smallest block that can leak takes 32: one lost for each of the 70 stations that
// never read, the fewest that are compared, is more than this; for each prompt or connection it is a hundred
// times as much.
constexpr double kSomeBytes = 2000;

/// A span of time and the least that is held in it: how far a thread has come in its end, or with its prompt,
/// makes a difference of some kilobytes from moment to moment.
class Least {
 public:
  void look(const Holdings& now) {
    if (!least_ || now.bytes < least_->bytes) least_ = now;
  }
  const Holdings& held() const { return least_.value(); }

 private:
  std::optional<Holdings> least_;
};

/// To be the last of a test.
void expect_same(const Least& late, const Least& early) {
  const Holdings& after = late.held();
  const Holdings& before = early.held();
  EXPECT_EQ(after.descriptors, before.descriptors);
  EXPECT_EQ(after.threads, before.threads);
  ::testing::Test::RecordProperty("bytes_before", std::to_string(before.bytes));
  ::testing::Test::RecordProperty("bytes_after", std::to_string(after.bytes));
  if (after.bytes == 0) GTEST_SKIP() << "all but the memory was compared: a sanitizer's heap does not tell";
  EXPECT_NEAR(static_cast<double>(after.bytes), static_cast<double>(before.bytes), kSomeBytes);
}

class HostileTest : public ServerTest {
 protected:
  /// Does something again and again, from `first` to `last`.
  void every(boardsim::Time span, boardsim::Time first, boardsim::Time last, std::function<void()> action) {
    if (first > last) return;
    at(first, [this, span, first, last, action] {
      action();
      every(span, first + span, last, action);
    });
  }
  /// Looks at the process; the board's own record of calls, and what the station has read, do not count.
  Holdings holdings(Station* station) {
    if (station != nullptr) station->forget();
    board.clear_trace();
    const std::filesystem::directory_iterator open_files("/proc/self/fd");
    const std::ptrdiff_t descriptors = std::distance(begin(open_files), end(open_files));
    return {mallinfo2().uordblks, descriptors, board.live_threads()};
  }
};

TEST_F(HostileTest, ADayOfPromptsAndRequestsLeavesMemoryAndDescriptorsAsTheyWere) {
  Station& station = connect_at(0s);
  Least early;
  Least late;
  long prompted = 0;
  every(1min, 30s, 24h, [&] { station.request(7426); });
  every(1h, 1h, 23h, [&] {
    prompted += prompts(station);
    const Holdings now = holdings(&station);
    // By noon every buffer has the size that it needs.
    if (elapsed() > 9h && elapsed() <= 12h) early.look(now);
    if (elapsed() > 20h) late.look(now);
  });
  at(24h, [&] { station.request(kQuit); });
  run();
  EXPECT_GE(prompted, 23 * 720);
  EXPECT_LE(prompted, 23 * 720 + 1);
  EXPECT_EQ(elapsed(), 24h + 1s);
  expect_same(late, early);
}

TEST_F(HostileTest, TenThousandConnectionsInARowLeaveMemoryAndDescriptorsAsTheyWere) {
  constexpr int kConnections = 10000;
  const int last = kConnections - 1;
  const int half = kConnections / 2 - 1;
  board.fault("accept #" + std::to_string(kConnections + 1) + " EMFILE");
  Station* station = nullptr;
  Least early;
  Least late;
  int connected = 0;
  every(2s, 0s, 2s * last, [&] {
    delete station;
    station = new Station;
    board.clear_trace();
    if (connected > half - 20 && connected <= half) early.look(holdings(nullptr));
    if (connected > last - 20) late.look(holdings(nullptr));
    ++connected;
    station->connect(address, kPort);
    if (connected % 2 == 0) {
      station->request(kQuit);
    } else {
      station->send(length_field(513));
    }
  });
  EXPECT_EQ(run_server(), -1);
  EXPECT_TRUE(station->closed_by_board());
  delete station;
  EXPECT_EQ(printed(kHeartbeatStarted), kConnections);
  expect_same(late, early);
}

TEST_F(HostileTest, StationsThatNeverReadLoseTheirRepliesAfter100SecondsAndLeaveNothingBehind) {
  constexpr int kStations = 100;
  board.fault("accept #" + std::to_string(kStations + 1) + " EMFILE");
  auto deaf = std::make_unique<Station>();
  Least early;
  Least late;
  int served = 0;
  every(1000s, 0s, 1000s * (kStations - 1), [&] {
    deaf = std::make_unique<Station>();
    deaf->connect(address, kPort);
    at(elapsed() + 2s, [] { wire::fill(g_iSockClient); });
    at(elapsed() + 3s, [&] { deaf->request(7426); });
    at(elapsed() + 103s - 1ms, [&] { EXPECT_EQ(calls("send"), 3U) << "banner, menu, prompt"; });
    at(elapsed() + 150s, [&] {
      ++served;
      const Holdings now = holdings(nullptr);  // each time, since the record of calls keeps its room
      if (served > kStations / 4 - 5 && served <= kStations / 4) early.look(now);
      if (served > kStations - 5) late.look(now);
    });
    at(elapsed() + 210s, [&] { deaf->reset(); });
  });
  EXPECT_EQ(run_server(), -1);
  EXPECT_EQ(printed("T1_TESTCODE_TEMP"), kStations);
  EXPECT_EQ(elapsed(), 1000s * (kStations - 1) + 210s);
  expect_same(late, early);
}

}  // namespace
