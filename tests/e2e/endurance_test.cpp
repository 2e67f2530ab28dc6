// A day, and ten thousand stations: the server holds no more at the end than at the beginning.
#include <chrono>

#include "tests/e2e/hostile_station.h"

namespace {

using namespace std::chrono_literals;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

class EnduranceTest : public HostileStationTest {
 protected:
  /// To be the last of a test. Four pages are room for five hundred of the smallest blocks, of 32 bytes: far
  /// less than one for each connection, prompt or request.
  static void expect_same_memory(std::size_t after, std::size_t before) {
    constexpr std::size_t kSomeKilobytes = 16;
    RecordProperty("kilobytes_before", std::to_string(before));
    RecordProperty("kilobytes_after", std::to_string(after));
    if (kSanitized) GTEST_SKIP() << "all but the memory was compared: a sanitizer keeps what is freed";
    EXPECT_LE(after, before + kSomeKilobytes);
  }
};

TEST_F(EnduranceTest, TenThousandStationsInARowLeaveMemoryDescriptorsAndThreadsAsTheyWere) {
  constexpr int kStations = kSanitized ? 2000 : 10000;  // with a sanitizer each takes several times as long
  constexpr int kQuarter = kStations / 4;               // by then every buffer has the size that it needs
  std::size_t memory = 0;
  for (int i = 0; i < kStations; ++i) {
    if (i == kQuarter) memory = board.memory();
    Station station(board);
    station.take_greeting();
    switch (i % 4) {
      case 0:
        station.send_at_once(record_of(request_of(kQuit)));
        board.lines_until("recv q command");
        board.advance(1s);
        EXPECT_EQ(station.records_until_close(), Records());
        break;
      case 1:
        station.reset_at_once();
        break;
      case 2:
        station.send_at_once(length_field(513));
        EXPECT_EQ(station.records_until_close(), Records());
        break;
      default:
        station.send_at_once(record_of(request_of(kTemperature)));
        EXPECT_EQ(station.next_record(), golden::kTemperature);
        station.reset_at_once();
    }
  }
  EXPECT_EQ(board.now(), kStations / 4 * 1s) << "nothing but the quit requests takes time";
  EXPECT_EQ(board.trace_of(" accept ").size(), kStations + 1);
  expect_all_as_before();
  expect_same_memory(board.memory(), memory);
}

TEST_F(EnduranceTest, ADayOfPromptsAndRequestsLeavesMemoryDescriptorsAndThreadsAsTheyWere) {
  std::size_t after_an_hour = 0;
  std::size_t at_the_end = 0;
  {
    Station station(board);
    station.take_greeting();
    for (int minute = 1; minute <= 24 * 60; ++minute) {
      board.advance(60s);
      station.expect_prompts(12);
      station.send_at_once(record_of(request_of(kTemperature)));
      EXPECT_EQ(station.next_record(), golden::kTemperature);
      if (minute == 60) after_an_hour = board.memory();
    }
    EXPECT_EQ(board.now(), 24h);
    at_the_end = board.memory();
    station.reset();
  }
  expect_all_as_before();
  expect_same_memory(at_the_end, after_an_hour);
}

}  // namespace
