// Which RS485 test a board is given.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <cstdint>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/comm/rs485/rs485.h"
#include "tests/comm/rs485_run.h"

namespace {

using namespace rs485;

/// Boards that are given one test, which says its own name first.
struct Choice {
  const char* test;
  std::vector<std::uint32_t> codes;
};

const std::vector<Choice>& choices() {
  static const std::vector<Choice> all = {
      {"rs485_test_u", {0x96C0, 0xA6001, 0xA6002, 0xA6003, 0xA6004}},
      {"rs485_test_Ex",
       {0x960B, 0x9B05, 0x960F, 0x960E, 0x9B08, 0x9B09, 0x9B0A, 0x970F, 0x9715, 0x9713, 0x9614, 0x9615,
        0x9716, 0x9725, 0x9726, 0x9C0A}},
      {"rs485_test_63xx", {0x27201, 0x97C0}},
      {"rs485_test_rkd537", {0xA60A0}},
      {"rs485_unit_test", {0xA60A3}},
      {"rs485_test", {0,       1,       0x9601,  0x9602,  0x9603,  0x9604,  0x9605,  0x960D, 0x970E,  0x97C2,
                      0x96C1,  0x96C2,  0x96C3,  0x96C4,  0x96C5,  0x9A01,  0x9A03,  0x9C0B, 0x27202, 0x27251,
                      0x27252, 0x27254, 0xA6000, 0xA6005, 0xA6006, 0xA60A1, 0xA60A2, 0xA60A4}},
  };
  return all;
}

class Rs485ChoiceTest : public Rs485Run {
 protected:
  /// The name that the test of such a board says. The ports hear nothing.
  std::string test_of(std::uint32_t code, std::uint8_t alarm_outputs = 2) {
    next_board();
    board.set_type(code);
    board.set_alarm_outputs(alarm_outputs);
    t1_sdk_rs485_test();
    const Reply reply = station.reply();
    EXPECT_EQ(reply.code, 1024);
    const Lines lines = console.lines();
    return lines.empty() ? "" : lines[0];
  }
};

TEST_F(Rs485ChoiceTest, EveryBoardIsGivenItsTestAndNoneThatOfOnePort) {
  for (const Choice& choice : choices()) {
    for (const std::uint32_t code : choice.codes) EXPECT_EQ(test_of(code), choice.test) << std::hex << code;
  }
}

TEST_F(Rs485ChoiceTest, A6444BoardWith7AlarmOutputsIsEchoed) {
  EXPECT_EQ(test_of(0x96C0, 7), "rs485_test");
  for (const int outputs : {0, 2, 6, 8, 255}) {
    EXPECT_EQ(test_of(0x96C0, static_cast<std::uint8_t>(outputs)), "rs485_test_u");
  }
}

TEST_F(Rs485ChoiceTest, ABoardThatCannotBeIdentifiedSaysSoForEachQuestionAndIsEchoed) {
  board.set_type(0x960B);
  board.fault("ioctl /dev/qznio 0x80044801");
  t1_sdk_rs485_test();
  // Its type alone, twice whether it is a 6444 board, once each for MA, K, 65xx and 63xx, twice for RKD.
  EXPECT_THAT(console.out(), ::testing::StartsWith(repeated("ioctl error,ret = -1\n", 9) + "rs485_test\n"));
  expect_fail("第一次接收错误");
}

}  // namespace
