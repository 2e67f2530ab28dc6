// Boards whose RS485 ports are wired to one another: nodes that do not open, calls that fail.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <algorithm>
#include <string>

#include "tests/comm/rs485_ring.h"

namespace {

using namespace rs485;

class Rs485RingFaultsTest : public RingRun, public ::testing::WithParamInterface<Ring> {
 protected:
  const Ring& ring = GetParam();

  /// The ports of the variant that open when these do not.
  Lines ports_without(const std::vector<unsigned>& missing) const {
    Lines nodes;
    for (unsigned number = 1; number <= ring.ports; ++number) {
      if (std::ranges::find(missing, number) == missing.end()) nodes.push_back(port(number));
    }
    return nodes;
  }
  void run_without(const std::vector<unsigned>& missing) {
    for (const unsigned number : missing) board.fault("open " + port(number));
    expect_open(ports_without(missing));
    ring.run();
  }
  /// What is printed when these ports do not open.
  std::string open_errors(const std::vector<unsigned>& missing) const {
    std::string text;
    for (const unsigned number : missing) text += "<t1>打开RS485口【" + port(number) + "】错误\n";
    for (const std::string& line : ring.open_errors) text += line + "\n";
    return text;
  }
};

INSTANTIATE_TEST_SUITE_P(By, Rs485RingFaultsTest, ::testing::ValuesIn(rings()),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(Rs485RingFaultsTest, WithoutTheIoDriverNothingElseIsTried) {
  board.fault("open /dev/qznio");
  ring.run();
  EXPECT_EQ(console.out(), "rs485_test_" + std::string(ring.name) + "\n打开/dev/qznio失败\nfail num = 1\n");
  EXPECT_EQ(console.err(), "Open /dev/qznio: No such device\n");
  expect_fail("打开/dev/qznio失败");
  EXPECT_EQ(board->application.commands().size(), 0U);
  EXPECT_EQ(board.now(), 0s);
  EXPECT_EQ(board.hardware_trace(), Lines{"open /dev/qznio = -1 ENODEV"});
  EXPECT_EQ(gpiofd, -1);
}

TEST_P(Rs485RingFaultsTest, EachPortThatDoesNotOpenIsNamedAndTheOthersStayOpen) {
  for (unsigned number = 1; number <= ring.ports; ++number) {
    SCOPED_TRACE(number);
    next_board();
    run_without({number});
    EXPECT_EQ(console.out(), beginning(ring) + open_errors({number}) + "fail num = 2\n");
    EXPECT_EQ(console.err(), "");
    expect_fail(ring.open_error);
    EXPECT_EQ(board.open_nodes(), ports_without({number}));
    EXPECT_EQ(gpiofd, -1);
    EXPECT_EQ(calls("write"), 0U);
  }
}

TEST_P(Rs485RingFaultsTest, AllPortsAreTriedBeforeAnyResultIsLookedAt) {
  std::vector<unsigned> all;
  for (unsigned number = 1; number <= ring.ports; ++number) all.push_back(number);
  run_without(all);
  EXPECT_EQ(console.out(), beginning(ring) + open_errors(all) + "fail num = 2\n");
  expect_fail(ring.open_error);
  EXPECT_EQ(count("close /dev/qznio = 0"), 1U);
  EXPECT_EQ(count("close -1 = -1 EBADF"), all.size()) << "by each further port, and by the test itself";
  for (const unsigned number : all) EXPECT_EQ(count("open " + port(number) + " = -1 ENODEV"), 1U) << number;
}

TEST_P(Rs485RingFaultsTest, ThePortThatDoesNotOpenHasClosedTheIoDriverAndTheTestClosesNothingMore) {
  run_without({1});
  const Lines trace = board.hardware_trace();
  EXPECT_EQ(count("close /dev/qznio = 0"), 1U);
  const auto closed = std::ranges::find(trace, "close /dev/qznio = 0");
  const auto missing = std::ranges::find(trace, "open /dev/uart1 = -1 ENODEV");
  ASSERT_NE(missing, trace.end());
  EXPECT_EQ(closed, missing + 1);
  for (auto call = closed + 1; call < trace.end(); ++call) {
    if (call->starts_with("close")) {
      EXPECT_EQ(*call, "close -1 = -1 EBADF");
    }
  }
  EXPECT_EQ(trace.back(), "close -1 = -1 EBADF") << "the test's own close finds nothing to close";
}

TEST_P(Rs485RingFaultsTest, APortThatIsBusyCountsAsOneThatIsMissing) {
  board.fault("open /dev/uart1 EBUSY");
  expect_open(ports_without({1}));
  ring.run();
  expect_fail(ring.open_error);
}

TEST_P(Rs485RingFaultsTest, APortThatRefusesItsSetUpIsUsedAllTheSame) {
  board.fault("ioctl /dev/uart1 0x40045501");
  wire(ring, steps_of(ring));
  ring.run();
  expect_pass();
}

TEST_P(Rs485RingFaultsTest, AnApplicationThatIsNotThereIsSaidAndDoesNotMatter) {
  board.fault("app refused");
  wire(ring, steps_of(ring));
  ring.run();
  EXPECT_TRUE(console.out().starts_with("rs485_test_" + std::string(ring.name) +
                                        "\nconnect failre errno=111" + kWaiting));
  expect_pass();
}

TEST_P(Rs485RingFaultsTest, AFailedWriteIsSaidAndTheOtherPortStillListenedTo) {
  board.fault("write " + port(ring.pairs[0].from) + " #1");
  wire(ring, steps_of(ring));
  ring.run();
  expect_pass();
  EXPECT_NE(console.out().find("<t1>write failed have write -1\n </dev/uart1>发送完毕\n"), std::string::npos);
}

TEST_P(Rs485RingFaultsTest, OnItsFixtureAFailedOrShortWriteFailsThePair) {
  for (const Pair& pair : ring.pairs) {
    for (const char* const how : {" #1", " #1 EINTR", " #1 short 14"}) {
      SCOPED_TRACE(pair.error + how);
      next_board(ring.family);
      board->rs485.set_fixture(ring.fixture);
      board.fault("write " + port(pair.from) + how);
      ring.run();
      expect_fail(pair.described[0]);
    }
  }
}

TEST_P(Rs485RingFaultsTest, AFailedReadFailsThePair) {
  for (std::size_t step = 0; step < steps_of(ring); ++step) {
    const std::size_t group = step / ring.pairs.size();
    const Pair& pair = ring.pairs[step % ring.pairs.size()];
    for (const char* const how : {"", " EINTR", " short 2"}) {
      SCOPED_TRACE(pair.error + how);
      next_board();
      board.fault("read " + port(pair.to) + (group == 0 ? " #1" : " #3") + how);
      wire(ring, steps_of(ring));
      ring.run();
      expect_fail(pair.described[group]);
      EXPECT_TRUE(console.out().ends_with(pair.error + "\n" + failed(pair.codes[group])));
    }
  }
}

TEST_P(Rs485RingFaultsTest, AFailedWaitFailsThePairInWhichItHappens) {
  for (std::size_t step = 0; step < steps_of(ring); ++step) {
    const std::size_t group = step / ring.pairs.size();
    const Pair& pair = ring.pairs[step % ring.pairs.size()];
    for (const char* const how : {" EBADF", " EINTR"}) {
      SCOPED_TRACE(pair.error + how);
      next_board();
      board.fault("select #" + std::to_string(2 * step + 1) + how);
      wire(ring, steps_of(ring));
      ring.run();
      expect_fail(pair.described[group]);
    }
  }
}

TEST_P(Rs485RingFaultsTest, AReceiverThatCannotBeEmptiedDoesNotMatter) {
  for (unsigned number = 1; number <= ring.ports; ++number) board.fault("ioctl " + port(number) + " 0x5503");
  wire(ring, steps_of(ring));
  ring.run();
  expect_pass();
}

TEST_P(Rs485RingFaultsTest, AStationThatHasGoneDoesNotLeaveANodeOpen) {
  wire(ring, steps_of(ring));
  station.reset();
  ring.run();
  EXPECT_EQ(board.open_nodes(), Lines{});
  EXPECT_EQ(gpiofd, -1);
}

// ---- the open-error texts, one by one
// ----------------------------------------------------------------------

class Rs485OpenErrorTest : public RingRun {
 protected:
  std::string said_by(void (*run)(), const Lines& left_open) {
    board.fault("open /dev/uart1");
    expect_open(left_open);
    run();
    const std::string out = console.out();
    return out.substr(std::min(out.size(), out.find(kWaiting) + kWaiting.size()));
  }
};

TEST_F(Rs485OpenErrorTest, FivePortsSayItOnceWithAStop) {
  EXPECT_EQ(said_by(rs485_test_Ex, {port(2), port(3), port(4), port(5)}),
            "<t1>打开RS485口【/dev/uart1】错误\n<t1>打开RS485口错误.\nfail num = 2\n");
  expect_fail("<t1>打开RS485口错误.");
}

TEST_F(Rs485OpenErrorTest, ThreePortsSayItTwiceAndDescribeItWithoutAStop) {
  EXPECT_EQ(said_by(rs485_test_u, {port(2), port(3)}),
            "<t1>打开RS485口【/dev/uart1】错误\n<t1>打开RS485口错误.\n<t1>打开RS485口错误\nfail num = 2\n");
  expect_fail("<t1>打开RS485口错误");
}

TEST_F(Rs485OpenErrorTest, TwoPortsSayItTwiceAndDescribeItWithoutAStop) {
  EXPECT_EQ(said_by(rs485_test_rkd537, {port(2)}),
            "<t1>打开RS485口【/dev/uart1】错误\n<t1>打开RS485口错误.\n<t1>打开RS485口错误\nfail num = 2\n");
  expect_fail("<t1>打开RS485口错误");
}

TEST_F(Rs485OpenErrorTest, OnePortDescribesItWithItsNumber) {
  EXPECT_EQ(said_by(rs485_test_rkd037, {}),
            "<t1>打开RS485口【/dev/uart1】错误\n<t1>打开RS485口错误.\nfail num = 2\n");
  expect_fail("<t1>打开RS485_1 口错误");
}

}  // namespace
