// What a recording of a session on a simulated board holds.
#include <algorithm>
#include <chrono>
#include <optional>

#include "boardrec/session/recording.h"
#include "tests/e2e/as_trace.h"
#include "tests/e2e/board_under_test.h"
#include "tests/harness/own_directory.h"
#include "tests/harness/wire.h"

namespace {

using namespace std::chrono_literals;
using boardrec::Call;
using boardrec::Record;

constexpr int kClock = 1536;
constexpr int kTemperature = 7426;
constexpr int kRestart = -15;

class RecordedSessionTest : public ::testing::Test {
 protected:
  void on(const std::string& family) {
    board_.emplace(std::vector<std::string>{"--board", family, "--record", file_});
  }
  BoardUnderTest& board() { return *board_; }
  boardrec::Recording recording() const { return boardrec::read_recording(file_); }

 private:
  OwnDirectory directory_{};
  std::string file_ = directory_.file("session.rec");
  std::optional<BoardUnderTest> board_{};
};

/// Every byte that came in by, or went out by, calls of this kind.
std::string stream_of(const boardrec::Recording& recording, Call call) {
  std::string bytes;
  for (const Record& record : recording.records) {
    if (record.call != call || record.result <= 0) continue;
    bytes += call == Call::recv ? record.out[0].bytes : record.in[2].bytes;
  }
  return bytes;
}

TEST_F(RecordedSessionTest, EveryCallOfTheTraceIsThereInTheSameOrderAtTheSameTimeWithTheSameEnd) {
  on("k");
  Station station = board().greeted_station();
  board().advance(
      300ms);  // never at the same moment as the heartbeat: two threads may be told of in either order
  for (const int code : {kClock, kTemperature}) {
    station.request(code);
    board().advance(6s);
  }
  station.shut_down();
  board().settle();
  const boardrec::Recording recorded = recording();
  EXPECT_EQ(recorded.broken, "");
  EXPECT_EQ(calls_of(recorded), calls_of(board().trace()));
  // A sleep that has not ended stands in no record.
  std::vector<std::string> slept = sleeps_of(board().trace());
  std::vector<std::string> ended = sleeps_of(recorded);
  EXPECT_GE(ended.size(), 8U);
  std::ranges::sort(slept);
  std::ranges::sort(ended);
  EXPECT_TRUE(std::ranges::includes(slept, ended));
}

TEST_F(RecordedSessionTest, TheStationsBytesAreThereInBothDirections) {
  on("normal");
  Station station = board().station();
  station.request(kTemperature);
  wire::wait_until([&] { return station.bytes().find("<TestCode>7426") != std::string::npos; },
                   "the reply came");
  board().settle();
  const boardrec::Recording recorded = recording();
  EXPECT_EQ(stream_of(recorded, Call::send), station.bytes());
  EXPECT_NE(stream_of(recorded, Call::recv).find(request_of(kTemperature)), std::string::npos);
}

TEST_F(RecordedSessionTest, ADriversRecordIsThereAsItWentInAndAsItCameBack) {
  on("normal");
  Station station = board().greeted_station();
  station.request(kClock);
  board().advance(10s);
  const boardrec::Recording recorded = recording();
  for (const Record& record : recorded.records) {
    if (record.call != Call::ioctl || record.in[1].number != 0x80247009) continue;
    EXPECT_EQ(record.in[2].bytes.size(), 36U);
    ASSERT_EQ(record.out[0].bytes.size(), 36U);
    EXPECT_EQ(record.out[0].bytes[0], 12);  // the seconds of a board's clock that has just been switched on
    EXPECT_EQ(record.out[0].bytes[4], 30);  // its minutes
    return;
  }
  FAIL() << "the clock was never read";
}

TEST_F(RecordedSessionTest, ARestartStandsAtTheEndAsACallThatNeverReturned) {
  on("normal");
  Station station = board().greeted_station();
  station.request(kRestart);
  board().advance_to_its_end(30s);
  EXPECT_EQ(board().exit_status(), 0);
  const boardrec::Recording recorded = recording();
  EXPECT_EQ(recorded.broken, "");
  const Record& last = recorded.records.back();
  EXPECT_EQ(last.call, Call::reboot);
  EXPECT_EQ(last.flags, boardrec::kBegan);
  EXPECT_EQ(last.in[0].number, 0x1234567);
}

TEST_F(RecordedSessionTest, AThreadThatIsCancelledInItsPauseEndsThere) {
  on("normal");
  Station station = board().greeted_station();
  board().advance(1s);
  station.shut_down();
  board().settle();
  const boardrec::Recording recorded = recording();
  std::vector<Call> calls;
  for (const Record& record : recorded.records) {
    if (record.thread == 1) calls.push_back(record.call);
    if (record.thread == 1 && record.call == Call::sleep) {
      EXPECT_EQ(record.flags, boardrec::kCancelled);
    }
  }
  ASSERT_GE(calls.size(), 2U);
  EXPECT_EQ(calls.back(), Call::thread_ended);
  EXPECT_EQ(calls[calls.size() - 2], Call::sleep);
}

TEST_F(RecordedSessionTest, AFileThatCannotBeMadeIsSaidBeforeTheProgramStarts) {
  Child launcher({BOARDSIM_PROGRAM, "--record", "/nonexistent/session.rec", "--", BOARDTEST_PROGRAM});
  EXPECT_EQ(launcher.exit_status(), 70);
  EXPECT_NE(launcher.err().find("the recording /nonexistent/session.rec cannot be written"),
            std::string::npos);
}

}  // namespace
