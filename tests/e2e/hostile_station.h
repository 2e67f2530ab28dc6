// Base of the tests of stations that do their worst: what the server holds is the same before and after, and
// the next station is served.
#pragma once

#include <chrono>

#include "tests/e2e/on_server.h"
#include "tests/harness/golden.h"

/// What the server's process holds at a moment at which nothing is going on.
struct Holdings {
  std::size_t descriptors = 0;
  Lines nodes{};
  int threads = 0;
  std::size_t memory = 0;  ///< kilobytes, see BoardUnderTest::memory()
};

/// A server that has served one station before. What it received last, and finds in its buffer behind a
/// request that breaks off, is that station's request for the temperature.
class HostileStationTest : public OnServer {
 protected:
  using Time = BoardUnderTest::Time;

  static constexpr int kTemperature = 7426;  ///< takes no time
  static constexpr int kLight = 14592;       ///< takes ten seconds
  static constexpr int kQuit = 62208;

  HostileStationTest() {
    expect_service();
    before = holdings();
  }

  /// A new station is greeted and tested in no time, and leaves with a reset.
  void expect_service() {
    const Time start = board.now();
    Station station(board);
    station.take_greeting();
    station.request(kTemperature);
    EXPECT_EQ(station.next_record(), golden::kTemperature);
    EXPECT_EQ(board.now(), start);
    station.reset();
  }

  Holdings holdings() {
    board.settle();
    return {board.descriptors(), board.open_nodes(), board.threads(), board.memory()};
  }
  /// All stations have gone: the server holds what it held before, and the next one is served.
  void expect_all_as_before() {
    expect_service();
    const Holdings after = holdings();
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_EQ(after.nodes, before.nodes);
    EXPECT_EQ(after.threads, before.threads);
  }

  Holdings before;
};
