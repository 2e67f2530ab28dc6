// The checks of single ports on boards with eight inputs: T1 to T7 as elsewhere, SYNC the other way round.
#include <chrono>
#include <string>
#include <vector>

#include "tests/peripheral/alarm_port_board.h"
#include "tests/peripheral/alarm_texts.h"
#include "tests/peripheral/hardware_script.h"

namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

const std::vector<unsigned> kLines = {74, 76, 77, 78, 20, 17, 15, 94};
constexpr unsigned kSync = 128;
constexpr unsigned kAll = 0xFF;

class AlarmKPortTest : public AlarmPortBoard {
 protected:
  AlarmKPortTest() : AlarmPortBoard("k", "/dev/fpga", kLines) {}

  int run(unsigned mask) {
    return alarm_test_everyport_k(fd, 0x11111, 0x33333, 0x22222, 0x44444, buffer.data(), mask);
  }
  /// Runs a check with two readings of the input word, and expects how it ends.
  void check(unsigned mask, unsigned first, unsigned second, int result, const std::string& printed,
             const std::string& description) {
    console.clear();
    buffer.fill(kUntouched);
    show(first, mask == kSync ? 600ms : 300ms, second);
    EXPECT_EQ(run(mask), result);
    EXPECT_EQ(console.flushed(), printed) << "printed and flushed";
    EXPECT_EQ(text(), description);
    EXPECT_TRUE(buffer_is_respected());
  }
  static void pattern_1(HardwareScript& script) {
    script.fpga(0x2018, 0x33333).fpga(0x2002, 0x11111).fpga(81, 1).fpga(82, 1);
  }
  static void pattern_2(HardwareScript& script) {
    script.fpga(0x2018, 0x44444).fpga(0x2002, 0x22222).fpga(81, 0).fpga(82, 0);
  }
};

class AlarmKNumberedPortTest : public AlarmKPortTest, public ::testing::WithParamInterface<PortTexts> {
 protected:
  const PortTexts& port = GetParam();
  const unsigned mask = port.mask;
};

INSTANTIATE_TEST_SUITE_P(Ports, AlarmKNumberedPortTest,
                         ::testing::ValuesIn(kEightPorts.begin(), kEightPorts.end() - 1),
                         [](const auto& test) { return std::string(test.param.port); });

TEST_P(AlarmKNumberedPortTest, AnInputThatFollowsItsOutputPassesEitherWayRound) {
  check(mask, mask, 0, 0, port.success() + "\n", "");
  check(mask, 0, mask, 0, port.success() + "\n", "");
}

TEST_P(AlarmKNumberedPortTest, AnInputThatStaysSetIsCalledOpen) {
  check(mask, kAll, kAll, 1, std::string(port.open_console) + "\n", port.open_description);
}

TEST_P(AlarmKNumberedPortTest, AnInputThatStaysClearIsCalledShorted) {
  check(mask, 0, 0, 1, std::string(port.short_console) + "\n", port.short_description);
}

TEST_P(AlarmKNumberedPortTest, TheOtherInputsDoNotMatter) {
  check(mask, kAll, mask, 1, std::string(port.open_console) + "\n", port.open_description);
  check(mask, kAll & ~mask, 0, 1, std::string(port.short_console) + "\n", port.short_description);
}

TEST_P(AlarmKNumberedPortTest, ThePatternsComeInTheirOrderWithTheRelaysOnFirst) {
  show(0);
  run(mask);
  HardwareScript expected;
  pattern_1(expected);
  expected.wait(200ms).read_eight();
  pattern_2(expected);
  expected.wait(300ms).read_eight();
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
  EXPECT_EQ(board.now(), 500ms);
}

// ---- SYNC ------------------------------------------------------------------------------------------------

TEST_F(AlarmKPortTest, ASyncThatIsSetAndThenClearPasses) {
  check(kSync, 128, 0, 0, "SYNC口报警输入测试成功\n", "");
  check(kSync, kAll, kAll & ~kSync, 0, "SYNC口报警输入测试成功\n", "");
}

TEST_F(AlarmKPortTest, ASyncThatIsClearFirstIsShortedAndItsLineHasNoEnd) {
  check(kSync, 0, 0, 1, "SYNC口短路", "测试失败:SYNC口短路!!!");
}

TEST_F(AlarmKPortTest, ASyncThatFollowsTheOtherWayRoundIsCalledShorted) {
  check(kSync, 0, 128, 1, "SYNC口短路", "测试失败:SYNC口短路!!!");
}

TEST_F(AlarmKPortTest, ASyncThatStaysSetIsNotConnected) {
  check(kSync, kAll, kAll, 1, "SYNC不通\n", "测试失败:SYNC不通!!!");
}

TEST_F(AlarmKPortTest, SyncGetsTheSecondPatternFirst) {
  show(kAll);
  run(kSync);
  HardwareScript expected;
  pattern_2(expected);
  expected.wait(400ms).read_eight();
  pattern_1(expected);
  expected.wait(400ms).read_eight();
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
  EXPECT_EQ(board.now(), 800ms);
}

TEST_F(AlarmKPortTest, AShortedSyncGetsNoOtherPattern) {
  show(0);
  run(kSync);
  HardwareScript expected;
  pattern_2(expected);
  expected.wait(400ms).read_eight();
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
  EXPECT_EQ(board.now(), 400ms);
}

TEST_F(AlarmKPortTest, AT4ThatStaysSetNamesTheFourthOutputHere) {
  check(8, kAll, kAll, 1, "T4口不通或F4+、F4-短路!!!\n", "测试失败:T4不通或(F4+F4-)短路!!!");
}

TEST_F(AlarmKPortTest, InputsThatCannotBeReadCountAsLow) {
  show(kAll);
  board.fault("ioctl /dev/qznio 0x80044703");
  EXPECT_EQ(run(kSync), 1);
  EXPECT_EQ(text(), "测试失败:SYNC口短路!!!");
  EXPECT_EQ(run(64), 1);
  EXPECT_EQ(text(), "测试失败:(F7+F7-)或(T5T7)或(T7、SYNC)短路!!!");
}

TEST_F(AlarmKPortTest, TheMa533BoardsReadTheirOwnLines) {
  board.set_type(0xA6006);
  run(1);
  Lines expected;
  for (const int line : {25, 26, 27, 28, 20, 17, 15, 29}) {
    expected.push_back("ioctl /dev/qznio 0x80044703 {" + std::to_string(line) + ", 0} = 0");
  }
  Lines reads;
  for (const boardsim::Call& call : board.trace()) {
    if (call.name == "ioctl" && call.request == 0x80044703 && reads.size() < 8) reads.push_back(call.text());
  }
  EXPECT_EQ(reads, expected);
}

}  // namespace
