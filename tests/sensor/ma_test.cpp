// The self-test of the camera's application: the verdict in its last reply.
#include "t1_sdk/boardtest/sensor/ma.h"

#include <chrono>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/platform/app_channel.h"
#include "tests/harness/framing.h"
#include "tests/sensor/sensor_run.h"

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t kCommand = 0x23;

/// A reply of `size` bytes that begins with these words.
std::string reply_of(const std::vector<std::int32_t>& words, std::size_t size = 516) {
  std::string bytes;
  for (const std::int32_t word : words) bytes += length_field(word);
  bytes.resize(size, '\0');
  return bytes;
}

class MaTest : public SensorRun {
 protected:
  MaTest() : SensorRun("ma") { test_item = {}; }
  ~MaTest() override { test_item = {}; }

  void expect_pass() { SensorRun::expect_reply(0x2A11, "MA test", "Pass", "测试成功"); }
  /// The description stays that of success.
  void expect_fail() { SensorRun::expect_reply(0x2A11, "MA test", "Fail", "测试成功"); }
  void expect_console(const std::string& behind_the_opening) {
    EXPECT_EQ(console.out(), "t1_sdk_ma\nt1_sdk_ma will begin\n" + behind_the_opening);
    EXPECT_EQ(console.err(), "");
  }
  /// The application answers 0x23 with one reply of these words.
  void run_with(const std::vector<std::int32_t>& words, std::size_t size = 516) {
    board->application.set_answer(kCommand, {{20ms, reply_of(words, size)}});
    forget();
    t1_sdk_ma();
  }
};

TEST_F(MaTest, AHealthyApplicationPasses) {
  t1_sdk_ma();
  expect_pass();
  expect_console("MAtest:CMD:35, maHeart:1, maStartOK:0x3\nMA 测试成功\n");
}

TEST_F(MaTest, OneCommandIsSentWithTheValue0) {
  t1_sdk_ma();
  EXPECT_EQ(board->application.commands(), (std::vector<boardsim::Application::Command>{{12, kCommand, 0}}));
}

TEST_F(MaTest, TheVerdictFollows50MillisecondsAfterTheApplicationHasAnswered) {
  t1_sdk_ma();
  EXPECT_EQ(board.now(), 20ms + 50ms);
  EXPECT_EQ(board.hardware_trace(), Lines{}) << "no node is asked";
}

TEST_F(MaTest, TheWaitIsOne) {
  t1_sdk_ma();
  Lines waits;
  for (const boardsim::Call& call : board.trace()) {
    if (call.name == "usleep" || call.name == "sleep") waits.push_back(call.timed_text());
  }
  EXPECT_EQ(waits, Lines{"0.020000 usleep 50000"});
}

TEST_F(MaTest, EveryBoardHasThisTest) {
  for (const boardsim::Family& family : boardsim::families()) {
    SCOPED_TRACE(family.name);
    next_board(family.name);
    test_item = {};
    t1_sdk_ma();
    expect_pass();
  }
}

TEST_F(MaTest, AnyHeartbeatButZeroPasses) {
  for (const std::int32_t heart : {1, 2, 1000, -1}) {
    SCOPED_TRACE(heart);
    run_with({0x23, heart, 3});
    expect_pass();
  }
}

TEST_F(MaTest, ANoHeartbeatFailsAndTheDescriptionStaysThatOfSuccess) {
  run_with({0x23, 0, 3});
  expect_fail();
  expect_console("MAtest:CMD:35, maHeart:0, maStartOK:0x3\nMA 测试失败\nfail num = 1\n");
}

TEST_F(MaTest, AStartThatIsNot3Fails) {
  for (const std::int32_t start : {0, 1, 2, 4, 7, 0x103, -1}) {
    SCOPED_TRACE(start);
    run_with({0x23, 1, start});
    expect_fail();
  }
}

TEST_F(MaTest, TheReplyToAnotherCommandFails) {
  for (const std::int32_t command : {0, 0x22, 0x24, 0x123, 0x23000000, -1}) {
    SCOPED_TRACE(command);
    run_with({command, 1, 3});
    expect_fail();
  }
}

TEST_F(MaTest, TheLastOfSeveralRepliesDecides) {
  board->application.set_answer(kCommand, {{20ms, reply_of({0x23, 1, 3})}, {20ms, reply_of({0x23, 1, 2})}});
  t1_sdk_ma();
  expect_fail();
  board->application.set_answer(kCommand, {{20ms, reply_of({0x23, 0, 0})}, {20ms, reply_of({0x23, 1, 3})}});
  forget();
  t1_sdk_ma();
  expect_pass();
}

TEST_F(MaTest, AnApplicationThatIsNotThereFails) {
  board.fault("app refused");
  t1_sdk_ma();
  expect_fail();
  expect_console("connect failre errno=111MA 测试失败\nfail num = 1\n");
  EXPECT_EQ(board.now(), 50ms);
}

TEST_F(MaTest, AnApplicationThatIsGoneKeepsTheVerdictOfItsLastReply) {
  t1_sdk_ma();
  board.fault("app refused");
  forget();
  t1_sdk_ma();
  expect_pass();
  expect_console("connect failre errno=111MA 测试成功\n");
}

TEST_F(MaTest, AnApplicationThatClosesWithoutAReplyFails) {
  board.fault("app closes");
  t1_sdk_ma();
  expect_fail();
  expect_console("MA 测试失败\nfail num = 1\n");
}

TEST_F(MaTest, AnApplicationThatClosesWithoutAReplyKeepsTheVerdictOfItsLastOne) {
  t1_sdk_ma();
  board.fault("app closes");
  forget();
  t1_sdk_ma();
  expect_pass();
}

TEST_F(MaTest, ASlowApplicationIsWaitedFor) {
  board->application.set_answer(kCommand, {{30s, reply_of({0x23, 1, 3})}});
  t1_sdk_ma();
  expect_pass();
  EXPECT_EQ(board.now(), 30s + 50ms);
}

TEST_F(MaTest, AReplyOf8BytesLacksTheStartAndFails) {
  board.fault("app short");
  t1_sdk_ma();
  expect_fail();
  expect_console("MAtest:CMD:35, maHeart:1, maStartOK:0x0\nMA 测试失败\nfail num = 1\n");
}

TEST_F(MaTest, AReplyOf8BytesBorrowsNoStartFromTheOneBeforeIt) {
  t1_sdk_ma();
  board.fault("app short");
  forget();
  t1_sdk_ma();
  expect_fail();
}

TEST_F(MaTest, AReplyOf12BytesIsEnough) {
  run_with({0x23, 1, 3}, 12);
  expect_pass();
}

TEST_F(MaTest, OfALongReplyTheFirst516BytesCount) {
  run_with({0x23, 1, 3}, 4000);
  expect_pass();
  EXPECT_EQ(test_item.test_data[127], 0U);
}

TEST_F(MaTest, AFailureIsForgottenByTheNextRun) {
  run_with({0x23, 0, 0});
  run_with({0x23, 1, 3});
  expect_pass();
}

}  // namespace
