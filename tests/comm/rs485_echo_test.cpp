// The station's frame echoed on the first RS485 port, and the fixed frame that must follow.
#include <gtest/gtest.h>
#include <string>
#include <utility>

#include "tests/comm/rs485_echo.h"

namespace {

using namespace rs485;

class Rs485EchoTest : public EchoRun {};

// ---- a station that does its part -------------------------------------------------------------------------

TEST_F(Rs485EchoTest, TheFrameIsEchoedAndTheSecondOneEndsTheTest) {
  run(kFrameA, kFrameB);
  EXPECT_EQ(console.out(), kStart + kReady + echoing(kFrameA) + kSecondRight + second_data(kFrameB));
  EXPECT_EQ(console.err(), "");
  expect_pass();
  EXPECT_EQ(board->uart(1).sent(), kFrameA);
  EXPECT_EQ(board.now(), 7s);
}

TEST_F(Rs485EchoTest, BytesArePrintedWithoutLeadingZeros) {
  run(kFrameA, kFrameB);
  EXPECT_NE(console.out().find("<t1>第一次开始发送数据:d0 1 6 f 11 62 80 32 34 12 78 56 9a bc 75\n"),
            std::string::npos);
  EXPECT_TRUE(console.out().ends_with("<t1>第二次接收到的数据:d0 1 2 7 5a a5 d9 0 0 0 0 0 0 0 0\n"));
}

TEST_F(Rs485EchoTest, ThePortIsSetTo38400Baud) {
  run(kFrameA, kFrameB);
  EXPECT_EQ(board->uart(1).setup(), (boardsim::UartSetup{38400, 3, 0, 0, 0}));
}

TEST_F(Rs485EchoTest, TheIoDriverIsHeldWhileTheTestRuns) {
  gpiofd = -1;
  for (const auto time : {2000ms, 6500ms}) board.at(time, [] { EXPECT_GE(gpiofd, 0); });
  run(kFrameA, kFrameB);
  EXPECT_EQ(gpiofd, -1);
}

TEST_F(Rs485EchoTest, EveryNodeIsOpenedForReadingAndWriting) {
  run(kFrameA, kFrameB);
  expect_opened_both_ways();
}

TEST_F(Rs485EchoTest, TheDetectorThreadIsStoppedAndFiveSecondsGoBy) {
  run(kFrameA, kFrameB);
  EXPECT_EQ(board->application.commands(), (std::vector<boardsim::Application::Command>{{12, 0x1333D0D, 0}}));
  EXPECT_EQ(calls("sleep"), 1U);
}

TEST_F(Rs485EchoTest, EachReceiveWaits60Seconds) {
  run(kFrameA, kFrameB);
  EXPECT_EQ(waits(), (std::vector<std::vector<std::uint32_t>>(4, {60, 0})));
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

TEST_F(Rs485EchoTest, OnItsFixtureTheTestPasses) {
  board->rs485.set_fixture("partner");
  rs485_test();
  EXPECT_EQ(console.out(), kStart + kReady + echoing(kFrameA) + kSecondRight + second_data(kFrameB));
  expect_pass();
}

TEST_F(Rs485EchoTest, BothFramesMayWaitTogether) {
  run(kFrameA + kFrameB);
  expect_pass();
  EXPECT_EQ(board.now(), 6s);
}

TEST_F(Rs485EchoTest, AnySealedFrameIsEchoed) {
  for (std::size_t length = 5; length <= 128; ++length) {
    SCOPED_TRACE(length);
    run_anew(frame_of(length, '\x99'), kFrameB);
    ASSERT_EQ(board->uart(1).sent(), frame_of(length, '\x99'));
    expect_pass();
  }
}

TEST_F(Rs485EchoTest, OfALongFrame15BytesAreShown) {
  run(frame_of(100), kFrameB);
  EXPECT_NE(console.out().find("发送数据:" + printed(frame_of(100).substr(0, 15), false) + "\n"),
            std::string::npos);
}

TEST_F(Rs485EchoTest, AFrameOf4BytesIsEchoed) {
  run(kShortestFrame);
  EXPECT_EQ(board->uart(1).sent(), kShortestFrame);
}

// ---- the first frame ----------------------------------------------------------------------------------

TEST_F(Rs485EchoTest, WithoutAnyInputTheTestFailsAfter60Seconds) {
  run();
  EXPECT_EQ(console.out(), kStart + kReady + kFirstMissing + failed(6));
  expect_fail("第一次接收错误");
  EXPECT_EQ(board.now(), 65020ms);
  EXPECT_EQ(board->uart(1).sent(), "");
}

TEST_F(Rs485EchoTest, AnyOtherFirstByteFailsWhateverFollows) {
  for (int byte = 0; byte < 256; ++byte) {
    if (byte == 0xD0) continue;
    SCOPED_TRACE(byte);
    run_anew(sealed(with_byte(kFrameA, 0, static_cast<char>(byte))), kFrameB);
    ASSERT_EQ(console.out(), kStart + kReady + kFirstMissing + failed(6));
    expect_fail("第一次接收错误");
  }
}

TEST_F(Rs485EchoTest, AnIncompleteHeaderFails) {
  for (std::size_t size = 1; size < 4; ++size) {
    run_anew(kFrameA.substr(0, size));
    EXPECT_EQ(console.out(), kStart + kReady + kFirstMissing + failed(6));
    expect_fail("第一次接收错误");
  }
}

TEST_F(Rs485EchoTest, AWrongChecksumFailsAndNothingIsEchoed) {
  for (std::size_t byte = 4; byte < 15; ++byte) {
    SCOPED_TRACE(byte);
    run_anew(with_byte(kFrameA, byte, '\xEE'), kFrameB);
    EXPECT_EQ(console.out(), kStart + kReady + kFirstWrong + failed(5));
    expect_first_wrong();
  }
}

TEST_F(Rs485EchoTest, AFirstFrameThatEndsEarlyFails) {
  for (std::size_t size = 4; size < 15; ++size) {
    SCOPED_TRACE(size);
    run_anew(kFrameA.substr(0, size));
    expect_first_wrong();
  }
  EXPECT_EQ(board.now(), 6s) << "of the last one something had arrived";
}

TEST_F(Rs485EchoTest, AHeaderAloneIsWaitedFor60Seconds) {
  run(kFrameA.substr(0, 4));
  expect_first_wrong();
  EXPECT_EQ(board.now(), 66s);
}

TEST_F(Rs485EchoTest, AFirstLengthBelow4IsNoFrame) {
  for (char length = 0; length < 4; ++length) {
    SCOPED_TRACE(static_cast<int>(length));
    run_anew({'\xD0', '\x01', '\xD1', length});
    expect_first_wrong();
  }
}

TEST_F(Rs485EchoTest, AFirstLengthAbove128FailsHoweverTheFrameIsSealed) {
  for (std::size_t length = 129; length < 256; ++length) {
    SCOPED_TRACE(length);
    run_anew(frame_of(length), kFrameB);
    expect_first_wrong();
  }
}

TEST_F(Rs485EchoTest, EveryFirstLengthStandsAFlood) {
  for (int length = 0; length < 256; ++length) {
    SCOPED_TRACE(length);
    std::string flood(4096, '\xEE');
    flood.replace(0, 4, {'\xD0', '\x01', '\x01', static_cast<char>(length)});
    run_anew(flood);
    ASSERT_EQ(station.reply().code, 1024);
  }
}

// ---- the second frame -----------------------------------------------------------------------------------

TEST_F(Rs485EchoTest, WithoutASecondFrameTheTestFailsAfterAnother60Seconds) {
  run(kFrameA);
  EXPECT_EQ(console.out(), kStart + kReady + echoing(kFrameA) + kSecondMissing + failed(4));
  expect_fail("第二次接收数据错误");
  EXPECT_EQ(board.now(), 66s);
}

TEST_F(Rs485EchoTest, ASecondFrameWithoutAStartMarkFails) {
  run(kFrameA, sealed(with_byte(kFrameB, 0, '\xD1')));
  EXPECT_EQ(console.out(), kStart + kReady + echoing(kFrameA) + kSecondMissing + failed(4));
  expect_fail("第二次接收数据错误");
}

TEST_F(Rs485EchoTest, AnIncompleteSecondHeaderFails) {
  for (std::size_t size = 1; size < 4; ++size) {
    run_anew(kFrameA, kFrameB.substr(0, size));
    EXPECT_TRUE(console.out().ends_with(kSecondMissing + failed(4)));
    expect_fail("第二次接收数据错误");
  }
}

TEST_F(Rs485EchoTest, ASecondFrameThatDiffersInAnyByteFails) {
  for (std::size_t byte = 1; byte < 7; ++byte) {
    if (byte == 3) continue;
    SCOPED_TRACE(byte);
    const std::string wrong = with_byte(kFrameB, byte, '\x11');
    run_anew(kFrameA, wrong);
    EXPECT_EQ(console.out(),
              kStart + kReady + echoing(kFrameA) + kSecondWrong + second_data(wrong) + failed(3));
    expect_second_wrong(wrong);
  }
}

TEST_F(Rs485EchoTest, ASealedSecondFrameThatIsAnotherFails) {
  run(kFrameA, frame_of(7));
  expect_second_wrong(frame_of(7));
}

TEST_F(Rs485EchoTest, TheFirstFrameSentAgainIsNotTheSecondOne) {
  run(kFrameA, kFrameA);
  expect_second_wrong(kFrameA);
}

TEST_F(Rs485EchoTest, ASecondFrameThatEndsEarlyFails) {
  for (std::size_t size = 4; size < 7; ++size) {
    SCOPED_TRACE(size);
    run_anew(kFrameA, kFrameB.substr(0, size));
    expect_second_wrong(kFrameB.substr(0, size));
  }
}

TEST_F(Rs485EchoTest, ASecondLengthOf3ComparesThreeBytesAndPasses) {
  const std::string header("\xD0\x01\x02\x03", 4);
  run(kFrameA, header);
  expect_second_right(header);
  EXPECT_EQ(board.now(), 67s) << "the rest is waited for, although there is none to come";
}

TEST_F(Rs485EchoTest, ASecondLengthBelow4IsFollowedByAReceiveOfNothing) {
  for (const char* const length : {"\x01", "\x02", "\x03"}) {
    run_anew(kFrameA, std::string("\xD0\x01\x02") + length + "left");
    EXPECT_EQ(board.now(), 7s);
    EXPECT_EQ(waits().size(), 4U);
    EXPECT_EQ(count("read /dev/uart1 0 = 0"), 1U);
  }
}

TEST_F(Rs485EchoTest, AFirstLengthBelow4IsFollowedByAReceiveOfNothing) {
  run({'\xD0', '\x01', '\xD1', '\x03'});
  expect_first_wrong();
  EXPECT_EQ(board.now(), 66s);
  EXPECT_EQ(waits(), (std::vector<std::vector<std::uint32_t>>(2, {60, 0})));
}

TEST_F(Rs485EchoTest, ASecondLengthBelow4ComparesOnlyTheBytesThatItClaims) {
  for (std::size_t length = 0; length < 4; ++length) {
    // Byte 3 is the length, and never among the bytes compared.
    std::string header("\xD0\x01\x02\x00", 4);
    header[3] = static_cast<char>(length);
    SCOPED_TRACE(length);
    run_anew(kFrameA, header);
    expect_second_right(header);
    for (std::size_t byte = 1; byte < 3; ++byte) {
      const std::string other = with_byte(header, byte, '\x77');
      SCOPED_TRACE(byte);
      run_anew(kFrameA, other);
      if (byte < length) {
        expect_second_wrong(other);
      } else {
        expect_second_right(other);
      }
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
    run_anew(kFrameA, wrong);
    ASSERT_NE(console.out().find(kSecondWrong), std::string::npos);
    ASSERT_TRUE(console.out().ends_with(failed(3)));
    expect_fail("第二次接收数据并且校验错误");
  }
}

TEST_F(Rs485EchoTest, EverySecondLengthStandsAFlood) {
  for (int length = 0; length < 256; ++length) {
    SCOPED_TRACE(length);
    std::string flood(4096, '\xEE');
    flood.replace(0, 4, {'\xD0', '\x01', '\x02', static_cast<char>(length)});
    run_anew(kFrameA, flood);
    ASSERT_EQ(station.reply().value, length < 4 ? "Pass" : "Fail");
  }
}

TEST_F(Rs485EchoTest, TheSecondFramesBufferIsZeroedFirst) {
  run(kFrameA, kFrameB);
  EXPECT_TRUE(console.out().ends_with(second_data(kFrameB))) << "nothing of the first frame is left";
}

}  // namespace
