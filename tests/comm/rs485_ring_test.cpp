// Boards whose RS485 ports are wired to one another: what passes, and what is said of each pair that fails.
#include <gtest/gtest.h>
#include <algorithm>
#include <string>

#include "tests/comm/rs485_ring.h"

namespace {

using namespace rs485;

class Rs485RingTest : public RingRun, public ::testing::WithParamInterface<Ring> {
 protected:
  const Ring& ring = GetParam();

  /// Goes on with a board on which everything goes well before a step, and this is heard in it.
  void run_until(std::size_t step, const std::string& bytes) {
    next_board();
    wire(ring, step);
    if (!bytes.empty()) hear(ring, step, bytes);
    ring.run();
  }
  /// The test stopped with what this step has for its failure; `said` is what the step itself printed last.
  void expect_failure(std::size_t step, const std::string& said) {
    const int group = static_cast<int>(step / ring.pairs.size());
    const Pair& pair = ring.pairs[step % ring.pairs.size()];
    const int code = pair.codes.at(static_cast<std::size_t>(group));
    EXPECT_EQ(console.out(), beginning(ring) + opened(ring) + exchanges_before(ring, step) +
                                 sent(pair, group) + said + pair.error + "\n" + failed(code));
    EXPECT_EQ(console.err(), "");
    expect_fail(pair.described.at(static_cast<std::size_t>(group)));
    EXPECT_EQ(gpiofd, -1);
    EXPECT_EQ(frames_sent(), step + 1) << "nothing is sent behind a failure";
  }
  std::size_t frames_sent() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(board.trace(), [](const auto& call) { return call.name == "write"; }));
  }
  const Pair& pair_of(std::size_t step) const { return ring.pairs[step % ring.pairs.size()]; }
  const std::string& frame_in(std::size_t step) const {
    return frame(static_cast<int>(step / ring.pairs.size()));
  }
};

INSTANTIATE_TEST_SUITE_P(By, Rs485RingTest, ::testing::ValuesIn(rings()),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(Rs485RingTest, PassesWhenEveryPairCarriesBothFrames) {
  wire(ring, steps_of(ring));
  ring.run();
  EXPECT_EQ(console.out(),
            beginning(ring) + opened(ring) + exchanges_before(ring, steps_of(ring)) + ending(ring));
  EXPECT_EQ(console.err(), "");
  expect_pass();
  EXPECT_EQ(gpiofd, -1);
  for (unsigned number = 1; number <= 5; ++number) {
    EXPECT_EQ(board->uart(number).sent(), number <= ring.ports ? kFrameA + kFrameB : "") << number;
  }
}

TEST_P(Rs485RingTest, PassesOnItsFixture) {
  with_family(ring.family);
  board->rs485.set_fixture(ring.fixture);
  ring.run();
  EXPECT_EQ(console.out(),
            beginning(ring) + opened(ring) + exchanges_before(ring, steps_of(ring)) + ending(ring));
  expect_pass();
}

TEST_P(Rs485RingTest, StopsTheDetectorThreadAndWaitsFiveSeconds) {
  wire(ring, steps_of(ring));
  ring.run();
  EXPECT_EQ(board->application.commands(), (std::vector<boardsim::Application::Command>{{12, 0x1333D0D, 0}}))
      << "nothing starts it again";
  const auto trace = board.trace();
  const auto sleep = std::ranges::find(trace, "sleep", &boardsim::Call::name);
  ASSERT_NE(sleep, trace.end());
  EXPECT_EQ(sleep->record, std::vector<std::uint32_t>{5});
  EXPECT_EQ(calls("sleep"), 1U);
}

TEST_P(Rs485RingTest, HoldsTheIoDriverWhileItRuns) {
  gpiofd = -1;
  for (const auto time : {2000ms, 6005ms}) board.at(time, [] { EXPECT_GE(gpiofd, 0); });
  wire(ring, steps_of(ring));
  ring.run();
  EXPECT_EQ(gpiofd, -1);
}

TEST_P(Rs485RingTest, OpensEveryNodeForReadingAndWriting) {
  wire(ring, steps_of(ring));
  ring.run();
  expect_opened_both_ways();
}

TEST_P(Rs485RingTest, SetsEveryPortTo38400Baud) {
  wire(ring, steps_of(ring));
  ring.run();
  for (unsigned number = 1; number <= ring.ports; ++number) {
    EXPECT_EQ(board->uart(number).setup(), (boardsim::UartSetup{38400, 3, 0, 0, 0})) << number;
  }
}

TEST_P(Rs485RingTest, NamesEachPairThatStaysSilent) {
  for (std::size_t step = 0; step < steps_of(ring); ++step) {
    SCOPED_TRACE(step);
    run_until(step, "");
    expect_failure(step, "<" + port(pair_of(step).to) + ">接收数据错误.\n");
  }
}

TEST_P(Rs485RingTest, NamesEachPairThatCarriesAWrongStartMark) {
  for (std::size_t step = 0; step < steps_of(ring); ++step) {
    SCOPED_TRACE(step);
    run_until(step, sealed(with_byte(frame_in(step), 0, '\xD1')));
    expect_failure(step, "<" + port(pair_of(step).to) + ">接收数据错误.\n");
  }
}

TEST_P(Rs485RingTest, NamesEachPairThatCarriesAWrongChecksum) {
  for (std::size_t step = 0; step < steps_of(ring); ++step) {
    SCOPED_TRACE(step);
    const std::string to = "<" + port(pair_of(step).to) + ">";
    const std::string wrong = with_byte(frame_in(step), 4, '\x44');
    run_until(step, wrong);
    expect_failure(step, to + "完成接收数据:" + printed(wrong) + "\n" + to + "接收的数据校验失败!!!\n");
  }
}

TEST_P(Rs485RingTest, PassesWithAnyFrameWhoseChecksumIsRight) {
  for (std::size_t step = 0; step < steps_of(ring); ++step) {
    hear(ring, step, frame_of(15 + step, static_cast<char>(step)));
  }
  ring.run();
  expect_pass();
}

TEST_P(Rs485RingTest, PassesWithTheShortestAndTheLongestFrames) {
  for (const std::size_t length : {5U, 128U}) {
    next_board();
    for (std::size_t step = 0; step < steps_of(ring); ++step) hear(ring, step, frame_of(length));
    ring.run();
    expect_pass();
  }
}

TEST_P(Rs485RingTest, FailsWithEveryLengthThatIsNoFramesOrExceedsTheBuffer) {
  for (std::size_t length = 0; length < 256; ++length) {
    if (length >= 4 && length <= 128) continue;
    SCOPED_TRACE(length);
    std::string bytes = frame_of(std::max<std::size_t>(length, 15));
    bytes[3] = static_cast<char>(length);
    run_until(0, bytes);
    expect_fail(ring.pairs[0].described[0]);
    ASSERT_TRUE(console.out().ends_with(ring.pairs[0].error + "\nfail num = 3\n"));
  }
}

TEST_P(Rs485RingTest, ClosesItsPortsAndThenTheIoDriver) {
  wire(ring, steps_of(ring));
  ring.run();
  const Lines trace = board.hardware_trace();
  Lines closed;
  for (const std::string& call : trace) {
    if (call.starts_with("close ")) closed.push_back(call);
  }
  Lines expected;
  for (unsigned number = 1; number <= ring.ports; ++number)
    expected.push_back("close " + port(number) + " = 0");
  expected.push_back("close /dev/qznio = 0");
  std::ranges::sort(closed.begin(), closed.end() - (closed.empty() ? 0 : 1));
  EXPECT_EQ(closed, expected);
  EXPECT_EQ(trace.back(), "close /dev/qznio = 0");
}

// ---- texts that are easily taken for another's
// -------------------------------------------------------------

class Rs485RingTextsTest : public RingRun {
 protected:
  const Ring& ring(const char* name) const {
    return *std::ranges::find_if(rings(), [&](const Ring& one) { return one.name == std::string(name); });
  }
};

TEST_F(Rs485RingTextsTest, TheThirdPairOfThreePortsIsCalled3And5) {
  wire(ring("u"), 2);
  rs485_test_u();
  expect_fail("<t1>ERROR RS485_3/RS485_5测试不通过。");
}

TEST_F(Rs485RingTextsTest, TheLastPairOfFivePortsIsCalled1And5) {
  wire(ring("Ex"), 4);
  rs485_test_Ex();
  expect_fail("<t1>ERROR RS485_1/RS485_5测试不通过.");
}

TEST_F(Rs485RingTextsTest, TheSecondGroupOfOnePortIsCalledTheFirst) {
  wire(ring("rkd037"), 1);
  rs485_test_rkd037();
  EXPECT_TRUE(console.out().ends_with("<t1>ERROR RS485_1 第一组测试不通过。\nfail num = 4\n"));
  expect_fail("<t1>ERROR RS485_1 第一组测试不通过");
}

TEST_F(Rs485RingTextsTest, TheSecondGroupOfTwoPortsBeginsAtCode6) {
  wire(ring("rkd537"), 2);
  rs485_test_rkd537();
  EXPECT_TRUE(console.out().ends_with("fail num = 6\n"));
}

TEST_F(Rs485RingTextsTest, OnePortHearsWhatWaitedBefore) {
  const Ring& one = ring("rkd037");
  hear(one, 0, kFrameA + kFrameB);
  one.run();
  expect_pass();
}

// ---- what a pair's buffer holds from the first group ------------------------------------------------------

class Rs485RingBufferTest : public RingRun, public ::testing::WithParamInterface<Ring> {
 protected:
  const Ring& ring = GetParam();

  /// A frame of its own for each pair in the first group, and only its first bytes for the last in the
  /// second.
  void run_with_last(const std::string& last) {
    const std::size_t pairs = ring.pairs.size();
    for (std::size_t i = 0; i < pairs; ++i) hear(ring, i, first_frame(i));
    for (std::size_t i = 0; i + 1 < pairs; ++i) hear(ring, pairs + i, kFrameB);
    hear(ring, 2 * pairs - 1, last);
    ring.run();
  }
  static std::string first_frame(std::size_t pair) { return frame_of(15, static_cast<char>(0x41 + pair)); }
};

INSTANTIATE_TEST_SUITE_P(By, Rs485RingBufferTest, ::testing::ValuesIn(rings()),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(Rs485RingBufferTest, AHeaderAloneIsFollowedByWhatThePairHeardBefore) {
  const Pair& pair = ring.pairs.back();
  const std::string before = first_frame(ring.pairs.size() - 1);
  run_with_last(before.substr(0, 4));
  if (!ring.tells_success) {  // the port wired to itself has its whole buffer cleared
    expect_fail(pair.described[1]);
    return;
  }
  expect_pass();
  EXPECT_TRUE(console.out().ends_with(heard(ring, pair, before) + ending(ring)));
}

TEST_P(Rs485RingBufferTest, ATailThatIsMissingIsWhatThePairHeardBefore) {
  const Pair& pair = ring.pairs.back();
  const std::string before = ring.tells_success ? first_frame(ring.pairs.size() - 1) : std::string(15, '\0');
  run_with_last(kFrameB.substr(0, 5));
  expect_fail(pair.described[1]);
  EXPECT_NE(console.out().find("完成接收数据:" + printed(kFrameB.substr(0, 5) + before.substr(5, 2)) + "\n"),
            std::string::npos);
}

TEST_F(Rs485RingTextsTest, ATailThatTheLineLosesIsPrintedAsTheFirstGroupLeftIt) {
  next_board("rkd1");
  board->rs485.set_fixture("ring2");
  board.fault("rs485 1 loses 20 21 22");
  rs485_test_rkd537();
  EXPECT_TRUE(console.out().ends_with(
      "</dev/uart2>完成接收数据:d0 01 02 07 11 62 80\n</dev/uart2>接收的数据校验失败!!!\n"
      "<t1>ERROR RS485_1/RS485_2测试不通过。\nfail num = 6\n"));
}

TEST_F(Rs485RingTextsTest, TheHeaderOfTheFirstFramePassesAloneInTheSecondGroup) {
  const Ring& two = ring("rkd537");
  wire(two, 3);
  hear(two, 3, std::string("\xD0\x01\x06\x0F", 4));
  two.run();
  expect_pass();
}

// ---- the fixtures' wires --------------------------------------------------------------------------------

class Rs485FixtureTest : public RingRun, public ::testing::WithParamInterface<Ring> {};

INSTANTIATE_TEST_SUITE_P(By, Rs485FixtureTest, ::testing::ValuesIn(rings()),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(Rs485FixtureTest, NamesEachPairThatIsCut) {
  const Ring& ring = GetParam();
  for (const Pair& pair : ring.pairs) {
    SCOPED_TRACE(pair.error);
    next_board(ring.family);
    board->rs485.set_fixture(ring.fixture);
    board.fault("rs485 " + std::to_string(pair.from) + " " + std::to_string(pair.to) + " open");
    ring.run();
    expect_fail(pair.described[0]);
    EXPECT_TRUE(console.out().ends_with(pair.error + "\n" + failed(pair.codes[0])));
  }
}

TEST_P(Rs485FixtureTest, NamesEachPairThatBreaksInTheSecondGroup) {
  const Ring& ring = GetParam();
  for (const Pair& pair : ring.pairs) {
    SCOPED_TRACE(pair.error);
    next_board(ring.family);
    board->rs485.set_fixture(ring.fixture);
    board.fault("rs485 " + std::to_string(pair.from) + " flips 16");
    ring.run();
    expect_fail(pair.described[1]);
    EXPECT_TRUE(console.out().ends_with(pair.error + "\n" + failed(pair.codes[1])));
  }
}

TEST_P(Rs485FixtureTest, NamesThePairOfADriverThatIsDead) {
  const Ring& ring = GetParam();
  for (const Pair& pair : ring.pairs) {
    SCOPED_TRACE(pair.error);
    next_board(ring.family);
    board->rs485.set_fixture(ring.fixture);
    board.fault("uart " + std::to_string(pair.from) + " driver dead");
    ring.run();
    expect_fail(pair.described[0]);
  }
}

TEST_P(Rs485FixtureTest, NamesThePairThatLosesAByte) {
  const Ring& ring = GetParam();
  for (const Pair& pair : ring.pairs) {
    SCOPED_TRACE(pair.error);
    next_board(ring.family);
    board->rs485.set_fixture(ring.fixture);
    board.fault("rs485 " + std::to_string(pair.from) + " loses 10");
    ring.run();
    expect_fail(pair.described[0]);
  }
}

TEST_P(Rs485FixtureTest, WaitsForAPairThatIsTwoSecondsLateAndNotForOneOfFour) {
  const Ring& ring = GetParam();
  board->rs485.set_fixture(ring.fixture);
  board.fault("rs485 1 late 2000");
  ring.run();
  expect_pass();
  next_board();
  board->rs485.set_fixture(ring.fixture);
  board.fault("rs485 1 late 4000");
  ring.run();
  expect_fail(ring.pairs[0].described[0]);
}

}  // namespace
