// The station's frame echoed on the first RS485 port, and the fixed frame that must follow.
#include <gtest/gtest.h>
#include <string>
#include <utility>

#include "t1_sdk/boardtest/comm/rs485/variants.h"
#include "tests/comm/rs485_run.h"

namespace {

using namespace rs485;

const std::string kReady =
    "rs485_test\n" + kAnswered + kWaiting + "车检器检测线程已经停止，请在60秒内输入485测试数据\n";

/// What each code tells the station; 0 is a pass.
const char* description_of(int code) {
  switch (code) {
    case 6:
      return "第一次接收错误";
    case 5:
      return "第一次接收数据并且校验错误";
    case 4:
      return "第二次接收数据错误";
    case 3:
      return "第二次接收数据并且校验错误";
    default:
      return "测试成功";
  }
}

/// 15 fields, without leading zeros.
std::string fields(std::string bytes) {
  bytes.resize(15, '\0');
  return printed(bytes, false) + "\n";
}

std::string echoing(const std::string& frame) {
  return "<t1>第一次接收数据并且校验正确\n<t1>第一次开始发送数据:" + fields(frame);
}

class Rs485EchoTest : public Rs485Run {
 protected:
  /// A board and a station that sends one frame after the other, if any. The port is open since 5.02 s.
  void run(const std::string& first = "", const std::string& second = "") {
    next_board();
    run_here(first, second);
  }
  void run_here(const std::string& first, const std::string& second) {
    if (!first.empty()) arrive(6s, 1, first);
    if (!second.empty()) arrive(7s, 1, second);
    rs485_test();
  }
  void expect_code(int code) {
    expect_reply(code == 0 ? "Pass" : "Fail", description_of(code));
    EXPECT_EQ(console.out().ends_with(failed(code)), code != 0);
  }
  /// The first frame fails and is not echoed.
  void expect_first(int code) {
    expect_code(code);
    EXPECT_EQ(console.out(), kReady + "<t1>" + description_of(code) + "\n" + failed(code));
    EXPECT_EQ(board->uart(1).sent(), "");
  }
  /// What comes of the second frame behind kFrameA.
  void expect_second(int code, const std::string& bytes) {
    expect_code(code);
    const std::string said = code == 0 ? "第二次接收数据并且校验正确。测试完成" : description_of(code);
    const std::string data = code == 4 ? "" : "<t1>第二次接收到的数据:" + fields(bytes);
    EXPECT_EQ(console.out(),
              kReady + echoing(kFrameA) + "<t1>" + said + "\n" + data + (code == 0 ? "" : failed(code)));
  }
};

TEST_F(Rs485EchoTest, AnEchoFromTheFirstCallToTheLast) {
  HardwareScript script = opened_io();
  open_port(script, 1);
  script.wait(980ms);
  receive(script, 1, 4);
  receive(script, 1, 11);
  send(script, 1, 15);
  script.wait(1s);
  receive(script, 1, 4);
  receive(script, 1, 3);
  script.close(port(1)).close("/dev/qznio");

  gpiofd = -1;
  for (const auto time : {2000ms, 6500ms}) board.at(time, [] { EXPECT_GE(gpiofd, 0); });
  run_here(kFrameA, kFrameB);
  EXPECT_EQ(gpiofd, -1);
  EXPECT_EQ(board.timed_hardware_trace(), script.lines());
  EXPECT_EQ(console.lines(),
            (Lines{"rs485_test", "MAtest:CMD:20135181, maHeart:0, maStartOK:0x0", "等待车检器检测线程停止...",
                   "车检器检测线程已经停止，请在60秒内输入485测试数据", "<t1>第一次接收数据并且校验正确",
                   "<t1>第一次开始发送数据:d0 1 6 f 11 62 80 32 34 12 78 56 9a bc 75",
                   "<t1>第二次接收数据并且校验正确。测试完成",
                   "<t1>第二次接收到的数据:d0 1 2 7 5a a5 d9 0 0 0 0 0 0 0 0"}));
  EXPECT_EQ(console.err(), "");
  EXPECT_EQ(board->uart(1).sent(), kFrameA);
  expect_pass();
  expect_detector_stopped_and_nodes_opened_both_ways();
}

TEST_F(Rs485EchoTest, AStationMayTakeAlmost60SecondsForEachPart) {
  arrive(65s, 1, kFrameA.substr(0, 4));
  arrive(124s, 1, kFrameA.substr(4));
  arrive(183s, 1, kFrameB.substr(0, 4));
  arrive(242s, 1, kFrameB.substr(4));
  rs485_test();
  expect_pass();
  EXPECT_EQ(board.now(), 242s);
}

TEST_F(Rs485EchoTest, BothFramesMayWaitTogether) {
  run(kFrameA + kFrameB);
  expect_pass();
  EXPECT_EQ(board.now(), 6s);
}

TEST_F(Rs485EchoTest, AnySealedFrameOf4To128BytesIsEchoedAnd15BytesOfItShown) {
  for (std::size_t length = 4; length <= 128; ++length) {
    SCOPED_TRACE(length);
    const std::string frame = length == 4 ? kShortestFrame : frame_of(length, '\x99');
    run(frame, kFrameB);
    ASSERT_EQ(board->uart(1).sent(), frame);
    ASSERT_TRUE(console.out().starts_with(kReady + echoing(frame)));
  }
}

// ---- the first frame ----------------------------------------------------------------------------------

TEST_F(Rs485EchoTest, WithoutAHeaderTheTestFailsWithCode6) {
  run();
  expect_first(6);
  EXPECT_EQ(board.now(), 65020ms);
  for (std::size_t size = 1; size < 4; ++size) {
    run(kFrameA.substr(0, size));
    expect_first(6);
  }
  for (int byte = 0; byte < 256; ++byte) {
    if (byte == 0xD0) continue;
    SCOPED_TRACE(byte);
    run(sealed(with_byte(kFrameA, 0, static_cast<char>(byte))), kFrameB);
    expect_first(6);
  }
}

TEST_F(Rs485EchoTest, AFirstFrameThatIsNotSealedFailsWithCode5AndIsNotEchoed) {
  for (std::size_t byte = 4; byte < 15; ++byte) {
    SCOPED_TRACE(byte);
    run(with_byte(kFrameA, byte, '\xEE'), kFrameB);
    expect_first(5);
    run(kFrameA.substr(0, byte));
    expect_first(5);
    EXPECT_EQ(board.now(), byte == 4 ? 66s : 6s) << "a header alone is waited for";
  }
}

TEST_F(Rs485EchoTest, AFirstLengthBelow4OrAbove128FailsHoweverTheFrameIsSealed) {
  for (char length = 0; length < 4; ++length) {
    SCOPED_TRACE(static_cast<int>(length));
    run({'\xD0', '\x01', '\xD1', length});
    expect_first(5);
    EXPECT_EQ(board.now(), 66s);
  }
  for (std::size_t length = 129; length < 256; ++length) {
    SCOPED_TRACE(length);
    run(frame_of(length), kFrameB);
    expect_first(5);
  }
}

// ---- the second frame -----------------------------------------------------------------------------------

TEST_F(Rs485EchoTest, WithoutASecondHeaderTheTestFailsWithCode4) {
  run(kFrameA);
  expect_second(4, "");
  EXPECT_EQ(board.now(), 66s);
  for (const std::string& bytes : {sealed(with_byte(kFrameB, 0, '\xD1')), kFrameB.substr(0, 1),
                                   kFrameB.substr(0, 2), kFrameB.substr(0, 3)}) {
    SCOPED_TRACE(printed(bytes));
    run(kFrameA, bytes);
    expect_second(4, "");
  }
}

TEST_F(Rs485EchoTest, ASecondFrameThatDiffersOrEndsEarlyFailsWithCode3) {
  Lines others{frame_of(7), kFrameA, kFrameB.substr(0, 4), kFrameB.substr(0, 5), kFrameB.substr(0, 6)};
  for (const std::size_t byte : {1U, 2U, 4U, 5U, 6U}) others.push_back(with_byte(kFrameB, byte, '\x11'));
  for (const std::string& other : others) {
    SCOPED_TRACE(printed(other));
    run(kFrameA, other);
    expect_second(3, other);
  }
}

TEST_F(Rs485EchoTest, ASecondLengthBelow4ComparesOnlyTheBytesThatItClaims) {
  for (std::size_t length = 0; length < 4; ++length) {
    SCOPED_TRACE(length);
    // Byte 3 is the length, and never among the bytes compared.
    const std::string header = with_byte(kFrameB.substr(0, 4), 3, static_cast<char>(length));
    run(kFrameA, header);
    expect_second(0, header);
    EXPECT_EQ(board.now(), 67s) << "the rest is waited for, although there is none to come";
    for (std::size_t byte = 1; byte < 3; ++byte) {
      const std::string other = with_byte(header, byte, '\x77');
      run(kFrameA, other + "left");
      expect_second(byte < length ? 3 : 0, other);
      EXPECT_EQ(board.now(), 7s);
      EXPECT_EQ(count("read /dev/uart1 0 = 0"), 1U);
    }
  }
}

TEST_F(Rs485EchoTest, EverySecondLengthFrom4OnExcept7Fails) {
  for (std::size_t length = 4; length < 256; ++length) {
    if (length == 7) continue;
    SCOPED_TRACE(length);
    std::string wrong = kFrameB + std::string(248, '\x11');
    wrong[3] = static_cast<char>(length);
    wrong.resize(length);
    run(kFrameA, wrong);
    expect_second(3, wrong);
  }
}

// ---- calls that fail, and a fixture that does not do its part ---------------------------------------------

TEST_F(Rs485EchoTest, AnEchoThatCannotBeSentIsSaidAndTheSecondFrameAwaited) {
  for (const auto& [fault, written] :
       {std::pair{"write /dev/uart1", -1}, {"write /dev/uart1 EINTR", -1}, {"write /dev/uart1 short 3", 3}}) {
    SCOPED_TRACE(fault);
    next_board();
    board.fault(fault);
    run_here(kFrameA, kFrameB);
    EXPECT_TRUE(console.out().starts_with(kReady + echoing(kFrameA) + "<t1>write failed have write " +
                                          std::to_string(written) + "\n <t1>第二次接收数据并且校验正确"));
    expect_pass();
  }
}

TEST_F(Rs485EchoTest, EachWaitOrReadThatFailsOrIsShortEndsTheTest) {
  for (int call = 1; call <= 4; ++call) {
    const std::string number = " #" + std::to_string(call);
    for (const std::string& fault :
         {"select" + number + " EBADF", "select" + number + " EINTR", "read /dev/uart1" + number,
          "read /dev/uart1" + number + " EINTR", "read /dev/uart1" + number + " short 2"}) {
      SCOPED_TRACE(fault);
      next_board();
      board.fault(fault);
      run_here(kFrameA, kFrameB);
      expect_code(7 - call);
      EXPECT_EQ(console.out().find("<t1>: select error retRd = -1\n") != std::string::npos,
                fault.starts_with("select"));
    }
  }
}

TEST_F(Rs485EchoTest, OnItsFixtureEachFaultOfTheLineHasItsCode) {
  const std::pair<const char*, int> rows[] = {{"", 0},
                                              {"rs485 partner late 58000", 0},
                                              {"rs485 partner silent", 6},
                                              {"rs485 partner 1 open", 6},
                                              {"rs485 partner flips 1", 6},
                                              {"rs485 partner late 60000", 6},
                                              {"rs485 partner flips 3", 5},
                                              {"rs485 partner flips 15", 5},
                                              {"rs485 partner loses 15", 5},
                                              {"rs485 1 partner open", 4},
                                              {"rs485 1 flips 15", 4},
                                              {"uart 1 driver dead", 4},
                                              {"rs485 partner loses 16", 4},
                                              {"rs485 partner wrong", 3},
                                              {"rs485 partner flips 20", 3},
                                              {"rs485 partner loses 22", 3}};
  for (const auto& [fault, code] : rows) {
    SCOPED_TRACE(fault);
    next_board_on("normal", "partner", fault);
    rs485_test();
    expect_code(code);
  }
}

}  // namespace
