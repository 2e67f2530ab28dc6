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
using Words = std::vector<std::int32_t>;

constexpr std::uint32_t kCommand = 0x23;

/// A reply of `size` bytes that begins with these words.
std::string reply_of(const Words& words, std::size_t size = 516) {
  std::string bytes;
  for (const std::int32_t word : words) bytes += length_field(word);
  bytes.resize(size, '\0');
  return bytes;
}

class MaTest : public SensorRun {
 protected:
  MaTest() : SensorRun("ma") { test_item = {}; }
  ~MaTest() override { test_item = {}; }

  /// Runs the test. The description is that of success whatever comes of it.
  void run_and_expect(const std::string& value) {
    forget();
    t1_sdk_ma();
    expect_reply(station, 0x2A11, "MA test", value, "测试成功");
  }
  /// The application answers 0x23 with one reply of these words.
  void expect_verdict(const Words& words, const std::string& value, std::size_t size = 516) {
    SCOPED_TRACE(::testing::PrintToString(words));
    board->application.set_answer(kCommand, {{20ms, reply_of(words, size)}});
    run_and_expect(value);
  }
  void expect_said(const std::string& behind_the_opening) {
    expect_console("t1_sdk_ma\nt1_sdk_ma will begin\n" + behind_the_opening);
  }
};

TEST_F(MaTest, AHealthyApplicationPasses) {
  run_and_expect("Pass");
  expect_said("MAtest:CMD:35, maHeart:1, maStartOK:0x3\nMA 测试成功\n");
  EXPECT_EQ(board->application.commands(), (std::vector<boardsim::Application::Command>{{12, kCommand, 0}}));
  EXPECT_EQ(board.hardware_trace(), Lines{}) << "no node is asked";
}

TEST_F(MaTest, TheVerdictFollows50MillisecondsAfterTheApplicationHasAnsweredHoweverLate) {
  board->application.set_answer(kCommand, {{30s, reply_of({0x23, 1, 3})}});
  run_and_expect("Pass");
  Lines waits;
  for (const boardsim::Call& call : board.trace()) {
    if (call.name == "usleep" || call.name == "sleep") waits.push_back(call.timed_text());
  }
  EXPECT_EQ(waits, Lines{"30.000000 usleep 50000"});
  EXPECT_EQ(board.now(), 30s + 50ms);
}

TEST_F(MaTest, ANoHeartbeatFailsAndTheDescriptionStaysThatOfSuccess) {
  expect_verdict({0x23, 0, 3}, "Fail");
  expect_said("MAtest:CMD:35, maHeart:0, maStartOK:0x3\nMA 测试失败\nfail num = 1\n");
  for (const std::int32_t heart : {1, 2, 1000, -1}) expect_verdict({0x23, heart, 3}, "Pass");
}

TEST_F(MaTest, AStartThatIsNot3Fails) {
  for (const std::int32_t start : {0, 1, 2, 4, 7, 0x103, -1}) expect_verdict({0x23, 1, start}, "Fail");
}

TEST_F(MaTest, TheReplyToAnotherCommandFails) {
  for (const std::int32_t command : {0, 0x22, 0x24, 0x123, 0x23000000, -1}) {
    expect_verdict({command, 1, 3}, "Fail");
  }
}

TEST_F(MaTest, AnApplicationThatDoesNotAnswerFails) {
  board.fault("app refused");
  run_and_expect("Fail");
  expect_said("connect failre errno=111MA 测试失败\nfail num = 1\n");
  EXPECT_EQ(board.now(), 50ms);
  board.clear_faults();
  board.fault("app closes");
  run_and_expect("Fail");
  expect_said("MA 测试失败\nfail num = 1\n");
}

TEST_F(MaTest, AnApplicationThatIsGoneKeepsTheVerdictOfItsLastReply) {
  run_and_expect("Pass");
  board.fault("app refused");
  run_and_expect("Pass");
  expect_said("connect failre errno=111MA 测试成功\n");
}

TEST_F(MaTest, AReplyOf12BytesIsEnoughAndOneOf8BorrowsNoStartFromTheOneBeforeIt) {
  expect_verdict({0x23, 1, 3}, "Pass", 12);
  expect_verdict({0x23, 1}, "Fail", 8);
  expect_said("MAtest:CMD:35, maHeart:1, maStartOK:0x0\nMA 测试失败\nfail num = 1\n");
}

}  // namespace
