// Receiving one request: lengths, idle waits, and everything that arrives only in part.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <algorithm>
#include <array>
#include <climits>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/protocol/message.h"
#include "t1_sdk/boardtest/service/server.h"
#include "tests/harness/gbk.h"
#include "tests/harness/station_run.h"

namespace {

using namespace boardtest;
using namespace std::chrono_literals;
using ::testing::MatchesRegex;

constexpr int kBehind = 16;
constexpr char kSendError[] = "send error,errno=[0-9]+\n";

class ReceiveTest : public StationRun {
 protected:
  ReceiveTest() {
    g_iTimeCount = 0;
    std::fill_n(behind(), kBehind, 'B');
  }
  ~ReceiveTest() override { g_iTimeCount = 0; }

  void TearDown() override {
    EXPECT_EQ(std::count(behind(), behind() + kBehind, 'B'), kBehind) << "written behind the buffer";
    StationRun::TearDown();
  }

  int receive() { return recv_client_operation(memory.data()); }
  std::string start_of_buffer(std::size_t size) const {
    return {reinterpret_cast<const char*>(memory.data()), size};
  }
  bool buffer_is_untouched() const {
    return std::all_of(memory.data(), memory.data() + kMaxRequest,
                       [](unsigned char byte) { return byte == 0; });
  }
  unsigned char* behind() { return memory.data() + kMaxRequest; }
  boardsim::Time elapsed() const { return board.now() - start; }

  /// The 512 bytes that belong to the receiver, and behind them some that it must not see.
  std::array<unsigned char, kMaxRequest + kBehind> memory = {};
  boardsim::Time start = board.now();
};

// ---- whole requests ---------------------------------------------------------------------

TEST_F(ReceiveTest, ARequestIsPutIntoTheBufferAndPrintedAndDoesNotResetTheIdleCounter) {
  const std::string xml = "<TestItem><TestCode>1024</TestCode><Operator>测试</Operator></TestItem>";
  g_iTimeCount = 11;
  station.send_record(gbk(xml));
  EXPECT_EQ(receive(), static_cast<int>(gbk(xml).size()));
  EXPECT_EQ(start_of_buffer(gbk(xml).size()), gbk(xml));
  EXPECT_EQ(console.out(), "RECV COMMANDS:\n" + xml + "\n");
  EXPECT_EQ(g_iTimeCount, 11);
}

TEST_F(ReceiveTest, RequestsThatArriveTogetherAreReceivedOneByOne) {
  station.send(record_of("<first/>") + record_of("<b/>"));
  EXPECT_EQ(receive(), 8);
  EXPECT_EQ(start_of_buffer(8), "<first/>");
  EXPECT_EQ(receive(), 4);
  EXPECT_EQ(start_of_buffer(4), "<b/>");
}

TEST_F(ReceiveTest, LengthAndTextHave100SecondsEach) {
  board.at(start + 99s, [this] { station.send(length_field(4)); });
  board.at(start + 198s, [this] { station.send("<a/>"); });
  EXPECT_EQ(receive(), 4);
  EXPECT_EQ(start_of_buffer(4), "<a/>");
  EXPECT_EQ(elapsed(), 198s);
}

TEST_F(ReceiveTest, TheRestOfALongerRequestStandsBehindAShorterOne) {
  station.send_record("<TestItem><TestCode>1536</TestCode></TestItem>");
  station.send_record("<a/>");
  receive();
  console.clear();
  EXPECT_EQ(receive(), 4);
  EXPECT_EQ(start_of_buffer(46), "<a/>tItem><TestCode>1536</TestCode></TestItem>");
  EXPECT_EQ(console.out(), "RECV COMMANDS:\n<a/>tItem><TestCode>1536</TestCode></TestItem>\n");
}

// ---- lengths ----------------------------------------------------------------------------

TEST_F(ReceiveTest, ALengthOf512IsAccepted) {
  const std::string text(512, 'x');
  station.send_record(text);
  EXPECT_EQ(receive(), 512);
  EXPECT_EQ(start_of_buffer(512), text);
  EXPECT_EQ(console.out(), "RECV COMMANDS:\n" + text + "\n") << "nothing behind the buffer is printed";
}

TEST_F(ReceiveTest, EveryLengthAbove512IsRefused) {
  for (const int length : {513, 514, 2048, 65536, 0x04000000, INT_MAX}) {
    console.clear();
    station.send(length_field(length));
    EXPECT_EQ(receive(), -1) << length;
    EXPECT_THAT(console.out(), MatchesRegex(kSendError)) << length;
    EXPECT_TRUE(buffer_is_untouched()) << length;
  }
}

TEST_F(ReceiveTest, ALengthOfZeroIsARequestWithWhatTheBufferHolds) {
  const std::string earlier = "<earlier/>";
  std::copy(earlier.begin(), earlier.end(), memory.begin());
  station.send(length_field(0));
  EXPECT_EQ(receive(), 0);
  EXPECT_EQ(console.out(), "RECV COMMANDS:\n<earlier/>\n");
  EXPECT_EQ(g_iTimeCount, 0);
  EXPECT_EQ(elapsed(), 0s);
}

TEST_F(ReceiveTest, ANegativeLengthReadsNothingAndIsReturned) {
  for (const int length : {-1, -2, -5, INT_MIN}) {
    console.clear();
    station.send(length_field(length));
    EXPECT_EQ(receive(), length);
    EXPECT_EQ(console.out(), "RECV COMMANDS:\n\n") << length;
    EXPECT_TRUE(buffer_is_untouched()) << length;
    EXPECT_EQ(g_iTimeCount, 0) << length;
  }
}

// ---- lengths and texts that arrive in part ----------------------------------------------

/// Some bytes of a length, and what a close behind them makes of it.
struct PartOfALength {
  std::vector<unsigned char> bytes;
  int result;
};

class PartOfALengthTest : public ReceiveTest, public ::testing::WithParamInterface<PartOfALength> {};

std::string wire_text(const std::vector<unsigned char>& bytes) {
  return {bytes.begin(), bytes.end()};
}

TEST_P(PartOfALengthTest, IsTakenForTheWholeLengthAndNeverReachesBeyondTheBuffer) {
  station.send(wire_text(GetParam().bytes));
  station.shut_down();
  EXPECT_EQ(receive(), GetParam().result);
  if (GetParam().result == -1) {
    EXPECT_THAT(console.out(), MatchesRegex(kSendError));
  } else {
    EXPECT_EQ(console.out(), "RECV COMMANDS:\n\n");
  }
  EXPECT_TRUE(buffer_is_untouched());
  EXPECT_EQ(g_iTimeCount, 0);
}

INSTANTIATE_TEST_SUITE_P(Bytes, PartOfALengthTest,
                         ::testing::ValuesIn(std::vector<PartOfALength>{
                             {{0x00}, 0},
                             {{0x01}, 1},
                             {{0x05}, 5},
                             {{0xff}, 255},
                             {{0x00, 0x00}, 0},
                             {{0x00, 0x01}, 256},
                             {{0xff, 0x01}, 511},
                             {{0x00, 0x02}, 512},
                             {{0x01, 0x02}, -1},
                             {{0xff, 0xff}, -1},
                             {{0x05, 0x00, 0x00}, 5},
                             {{0x00, 0x02, 0x00}, 512},
                             {{0x01, 0x02, 0x00}, -1},
                             {{0x00, 0x00, 0x01}, -1},
                             {{0xff, 0xff, 0xff}, -1},
                         }),
                         [](const auto& row) { return hex(wire_text(row.param.bytes)); });

TEST_F(ReceiveTest, ARequestThatACloseCutsShortCountsAsReceived) {
  const std::string earlier(40, 'e');
  std::copy(earlier.begin(), earlier.end(), memory.begin());
  station.send(length_field(50) + "<TestItem>");
  station.shut_down();
  EXPECT_EQ(receive(), 50);
  EXPECT_EQ(start_of_buffer(40), "<TestItem>" + earlier.substr(10));
  EXPECT_EQ(console.out(), "RECV COMMANDS:\n<TestItem>" + earlier.substr(10) + "\n");
  EXPECT_EQ(elapsed(), 0s);
}

TEST_F(ReceiveTest, ARequestThatStopsInTheMiddleCountsAsReceivedAfter100Seconds) {
  station.send(length_field(50) + "<TestItem>");
  EXPECT_EQ(receive(), 50);
  EXPECT_EQ(start_of_buffer(11), std::string("<TestItem>\0", 11));
  EXPECT_EQ(console.out(), "RECV COMMANDS:\n<TestItem>\n");
  EXPECT_EQ(elapsed(), 100s);
}

// ---- idle waits -------------------------------------------------------------------------

TEST_F(ReceiveTest, ASilentStationIsAnIdleWaitOf100Seconds) {
  EXPECT_EQ(receive(), -2);
  EXPECT_EQ(console.out(), "tcp_readn time_out,goto loop! count =0...\n");
  EXPECT_EQ(g_iTimeCount, 1);
  EXPECT_EQ(elapsed(), 100s);
  EXPECT_TRUE(buffer_is_untouched());
}

TEST_F(ReceiveTest, AStationThatHasClosedIsAnIdleWaitToo) {
  station.shut_down();
  EXPECT_EQ(receive(), -2);
  EXPECT_EQ(console.out(), "tcp_readn time_out,goto loop! count =0...\n");
  EXPECT_EQ(g_iTimeCount, 1);
  EXPECT_EQ(elapsed(), 0s);
}

TEST_F(ReceiveTest, FromThe18thOnAnIdleWaitEndsTheConnection) {
  const std::string half_hour = "T1 exit cause' there is no operation over half an hour!\n";
  for (const int count : {16, 17, 18}) {
    g_iTimeCount = count;
    console.clear();
    EXPECT_EQ(receive(), count < 17 ? -2 : -1);
    EXPECT_EQ(console.out(), "tcp_readn time_out,goto loop! count =" + std::to_string(count) + "...\n" +
                                 (count < 17 ? "" : half_hour));
    EXPECT_EQ(g_iTimeCount, count + 1);
  }
}

TEST_F(ReceiveTest, EighteenWaitsOf100SecondsAreHalfAnHour) {
  for (int wait = 0; wait < 17; ++wait) EXPECT_EQ(receive(), -2);
  EXPECT_EQ(receive(), -1);
  EXPECT_EQ(elapsed(), 30min);
}

// ---- errors -----------------------------------------------------------------------------

TEST_F(ReceiveTest, AConnectionThatWasResetIsGivenUpWithItsErrorNumber) {
  station.reset();
  EXPECT_EQ(receive(), -1);
  EXPECT_EQ(console.out(), "send error,errno=104\n");
  EXPECT_EQ(g_iTimeCount, 0);
}

TEST_F(ReceiveTest, AFailingSelectOrReceiveIsGivenUpWithItsErrorNumber) {
  board.fault("select #1 EBADF");
  board.fault("recv #1 EIO");
  station.request(1536);
  EXPECT_EQ(receive(), -1);
  EXPECT_EQ(receive(), -1);
  EXPECT_EQ(console.out(), "send error,errno=9\nsend error,errno=5\n");
}

TEST_F(ReceiveTest, AnErrorInTheTextIsGivenUpWithoutAWord) {
  board.fault("recv #2 EIO");
  station.request(1536);
  EXPECT_EQ(receive(), -1);
  EXPECT_EQ(console.out(), "");
}

TEST_F(ReceiveTest, WithoutABufferOrAStationNothingIsReceived) {
  EXPECT_EQ(recv_client_operation(nullptr), -1);
  g_iSockClient = -1;
  EXPECT_EQ(receive(), -1);
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(calls("select") + calls("recv"), 0U);
}

}  // namespace
