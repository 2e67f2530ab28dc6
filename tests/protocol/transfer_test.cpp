// Blocking transfers: what they return, and the 100 seconds they have in all.
#include "t1_sdk/boardtest/protocol/transfer.h"

#include <gtest/gtest.h>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>

#include "t1_sdk/boardtest/protocol/message.h"
#include "tests/harness/on_board.h"
#include "tests/harness/station_link.h"
#include "tests/harness/wire.h"

namespace {

using namespace std::chrono_literals;

/// The tests of the budget run on both kinds of kernel: one whose select counts its time-out down and one
/// whose select leaves it alone.
class TransferTest : public OnBoard, public ::testing::WithParamInterface<bool> {
 protected:
  TransferTest() { board.set_select_counts_down(GetParam()); }

  int read(int count) { return tcp_readn(g_iSockClient, buffer.data(), count); }
  int write(std::string bytes) {
    return tcp_writen(g_iSockClient, bytes.data(), static_cast<int>(bytes.size()));
  }
  std::string read_so_far(int count) const { return {buffer.data(), static_cast<std::size_t>(count)}; }
  void send_at(boardsim::Time when, const std::string& bytes) {
    board.at(start + when, [this, bytes] { station.send(bytes); });
  }
  /// The station reads all that has arrived, until the board can send again.
  void read_at_station(boardsim::Time when) {
    board.at(start + when, [this] {
      station.forget();
      wire::wait_until_writable(g_iSockClient);
    });
  }
  boardsim::Time elapsed() const { return board.now() - start; }
  /// The moments at which calls of that name were made.
  std::set<boardsim::Time> times_of(std::string_view name) const {
    std::set<boardsim::Time> times;
    for (const boardsim::Call& call : board.trace()) {
      if (call.name == name) times.insert(call.at - start);
    }
    return times;
  }

  std::array<char, 64> buffer = {};
  StationLink station;
  boardsim::Time start = board.now();
};

INSTANTIATE_TEST_SUITE_P(Kernels, TransferTest, ::testing::Bool(), [](const auto& kernel) {
  return kernel.param ? std::string("SelectCountsDown") : std::string("SelectLeavesItsTimeoutAlone");
});

// ---- reading ----------------------------------------------------------------------------

TEST_P(TransferTest, BytesThatAreThereAreReadAtOnceAndNoMoreThanWanted) {
  station.send("abcdef");
  EXPECT_EQ(read(4), 4);
  EXPECT_EQ(read_so_far(4), "abcd");
  EXPECT_EQ(read(2), 2);
  EXPECT_EQ(read_so_far(2), "ef");
  EXPECT_EQ(elapsed(), 0s);
}

TEST_P(TransferTest, PiecesThatArriveOneAfterTheOtherAreReadAsOne) {
  send_at(10s, "ab");
  send_at(20s, "c");
  send_at(50s, "def");
  EXPECT_EQ(read(6), 6);
  EXPECT_EQ(read_so_far(6), "abcdef");
  EXPECT_EQ(elapsed(), 50s);
}

TEST_P(TransferTest, ARecordInTwoPiecesLeavesTheNextOneBehindItAlone) {
  send_at(10s, "ab");
  send_at(20s, "cdefnext");
  EXPECT_EQ(read(6), 6);
  EXPECT_EQ(read_so_far(6), "abcdef");
  EXPECT_EQ(read(4), 4);
  EXPECT_EQ(read_so_far(4), "next");
}

TEST_P(TransferTest, AShortOrInterruptedReceiveIsFollowedByAnother) {
  board.fault("recv #1 short 1");
  board.fault("recv #2 EINTR");
  station.send("abcdef");
  EXPECT_EQ(read(6), 6);
  EXPECT_EQ(read_so_far(6), "abcdef");
  EXPECT_EQ(calls("recv"), 3U);
}

TEST_P(TransferTest, ASilentStationIsWaitedForFor100Seconds) {
  EXPECT_EQ(read(4), 0);
  EXPECT_EQ(elapsed(), 100s);
}

TEST_P(TransferTest, ABytePerSecondFor100SecondsIsNotEnoughForMoreThan100Bytes) {
  std::array<char, 200> long_buffer = {};
  for (int i = 0; i < 200; ++i) send_at(1s * i + 500ms, "x");
  EXPECT_EQ(tcp_readn(g_iSockClient, long_buffer.data(), 200), 100);
  EXPECT_EQ(elapsed(), 100s);
}

TEST_P(TransferTest, AByteInTheLastMomentStillCounts) {
  send_at(100s - 1ms, "x");
  EXPECT_EQ(read(1), 1);
  EXPECT_EQ(elapsed(), 100s - 1ms);
}

TEST_P(TransferTest, EveryReadHasItsOwn100Seconds) {
  send_at(90s, "a");
  send_at(180s, "b");
  EXPECT_EQ(read(1), 1);
  EXPECT_EQ(read(1), 1);
  EXPECT_EQ(elapsed(), 180s);
}

TEST_P(TransferTest, AStationThatClosesGivesWhatCameBeforeAtOnceAndThenZeroNotMinusOne) {
  station.send("abc");
  board.at(start + 7s, [this] { station.shut_down(); });
  EXPECT_EQ(read(6), 3);
  EXPECT_EQ(read_so_far(3), "abc");
  EXPECT_EQ(read(4), 0);
  EXPECT_EQ(elapsed(), 7s);
}

TEST_P(TransferTest, AConnectionResetWhileReadingGivesMinusOne) {
  board.at(start + 3s, [this] { station.reset(); });
  EXPECT_EQ(read(4), -1);
  EXPECT_EQ(errno, ECONNRESET);
}

TEST_P(TransferTest, AnErrorAfterSomeBytesGivesMinusOneNotTheirNumber) {
  board.fault("recv #2 EIO");
  send_at(1s, "ab");
  send_at(2s, "cd");
  EXPECT_EQ(read(4), -1);
}

// ---- writing ----------------------------------------------------------------------------

TEST_P(TransferTest, WritingGivesTheNumberOfBytesAndSendsThem) {
  EXPECT_EQ(write("abcdef"), 6);
  EXPECT_EQ(station.bytes(), "abcdef");
  EXPECT_EQ(calls("send"), 1U);
  EXPECT_EQ(elapsed(), 0s);
}

TEST_P(TransferTest, AShortOrInterruptedSendIsFollowedByTheRest) {
  board.fault("send #1 short 2");
  board.fault("send #2 EINTR");
  EXPECT_EQ(write("abcdef"), 6);
  EXPECT_EQ(station.bytes(), "abcdef");
  EXPECT_EQ(calls("send"), 3U);
}

TEST_P(TransferTest, ASendThatFailsAfterSomeBytesGivesMinusOne) {
  board.fault("send #1 short 2");
  board.fault("send #2 EPIPE");
  EXPECT_EQ(write("abcdef"), -1);
  EXPECT_EQ(station.bytes(), "ab");
}

TEST_P(TransferTest, AConnectionThatWasResetCannotBeWritten) {
  station.reset();
  EXPECT_EQ(write("abcdef"), -1);
}

TEST_P(TransferTest, AStationThatNeverReadsIsGivenUpAfter100Seconds) {
  wire::fill(g_iSockClient);
  EXPECT_EQ(write("abcdef"), -1);
  EXPECT_EQ(elapsed(), 100s);
}

TEST_P(TransferTest, AStationThatReadsLateStillGetsItsBytes) {
  wire::fill(g_iSockClient);
  read_at_station(99s);
  EXPECT_EQ(write("abcdef"), 6);
  EXPECT_EQ(station.bytes(), "abcdef");
  EXPECT_EQ(elapsed(), 99s);
}

TEST_P(TransferTest, AStationThatReadsALittleNowAndThenStillGetsItsBytes) {
  board.fault("send #1+ short 16384");
  wire::fill(g_iSockClient);
  for (int second = 1; second < 100; ++second) read_at_station(1s * second);
  EXPECT_EQ(write(std::string(1 << 20, 'x')), 1 << 20);
  EXPECT_GE(times_of("send").size(), 2U) << "there was more than one wait";
  EXPECT_LT(elapsed(), 100s);
}

TEST_P(TransferTest, AStationThatReadsTooLittleDoesNotExtendThe100Seconds) {
  board.fault("send #1+ short 16384");
  wire::fill(g_iSockClient);
  for (const auto when : {30s, 60s, 90s, 120s, 150s}) read_at_station(when);
  EXPECT_EQ(write(std::string(16 << 20, 'x')), -1);
  EXPECT_GE(times_of("send").size(), 3U) << "something went out after each of three waits";
  EXPECT_EQ(elapsed(), 100s);
}

TEST_P(TransferTest, BehindASendThatTookLongerThan100SecondsNothingMoreIsWaitedFor) {
  constexpr int kTaken = 2 << 20;  // more than a connection holds
  board.fault("send #1 short " + std::to_string(kTaken));
  wire::fill(g_iSockClient);
  boardsim::Time last_reading{};
  for (int reading = 0; reading < 1000; ++reading) {
    const auto when = 1s + 150s * reading;
    board.at(start + when, [this, when, &last_reading] {
      station.forget();
      wire::wait_until_writable(g_iSockClient);
      last_reading = when;
    });
  }
  const int written = write(std::string(kTaken + 1, 'x'));
  EXPECT_TRUE(written == -1 || written == kTaken + 1) << "whether the last byte still finds room";
  EXPECT_GT(elapsed(), 100s);
  EXPECT_EQ(elapsed(), last_reading);
  EXPECT_EQ(calls("select"), 2U) << "looked at once more, with no time left";
}

// ---- both -------------------------------------------------------------------------------

TEST_P(TransferTest, AFailingOrInterruptedSelectEndsATransferWithMinusOne) {
  board.fault("select #1 EBADF");
  board.fault("select #2 EINTR");
  board.fault("select #3 EBADF");
  board.fault("select #4 EINTR");
  station.send("abcdef");
  for (int i = 0; i < 2; ++i) EXPECT_EQ(read(6), -1);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(write("abcdef"), -1);
  EXPECT_EQ(calls("recv") + calls("send"), 0U);
}

TEST_P(TransferTest, WithoutABufferOrASocketThatSelectCanWatchNothingIsCalled) {
  EXPECT_EQ(tcp_readn(g_iSockClient, nullptr, 4), -1);
  EXPECT_EQ(tcp_writen(g_iSockClient, nullptr, 4), -1);
  for (const int socket : {-1, INT32_MIN, 1024, INT32_MAX}) {
    errno = 0;
    EXPECT_EQ(tcp_readn(socket, buffer.data(), 4), -1) << socket;
    EXPECT_EQ(errno, EBADF) << socket;
    errno = 0;
    EXPECT_EQ(tcp_writen(socket, buffer.data(), 4), -1) << socket;
    EXPECT_EQ(errno, EBADF) << socket;
  }
  EXPECT_EQ(calls("select") + calls("recv") + calls("send"), 0U);
}

TEST_P(TransferTest, OfACountThatIsNotPositiveNothingIsReadAndItIsHandedBackByAWrite) {
  station.send("abcdef");
  for (const int count : {0, -1, -2, -5, INT32_MIN}) {
    EXPECT_EQ(read(count), 0) << count;
    EXPECT_EQ(tcp_writen(g_iSockClient, buffer.data(), count), count);
  }
  EXPECT_EQ(buffer, (std::array<char, 64>{}));
  EXPECT_EQ(calls("select") + calls("recv") + calls("send"), 0U);
}

}  // namespace
