// The IR-cut filter that the motor driver moves.
#include <gtest/gtest.h>
#include <array>
#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/peripheral/motor.h"
#include "tests/peripheral/ircut_report.h"

namespace {

using namespace std::chrono_literals;

// The driver's numbers.
static_assert(GPIO == 0 && BU24025MWV == 1 && AN41908A == 2 && AA88347 == 3 && DRV8835 == 4 &&
              GPIO_IRIS == 5);

constexpr const char* kHome = "到光电开关位置失败";
constexpr const char* kFull = "红外截止满屏失败";
constexpr const char* kBack = "返回到光电开关位置失败";

/// What a variant sends to the motor and says of it.
struct MotorTest {
  const char* name;
  void (*run)();
  std::string banner;
  std::array<const char*, 5> requests;
  std::array<const char*, 5> travels;
  std::chrono::milliseconds rest;
  std::array<const char*, 5> failures;
};

constexpr const char* kTo = "0x40044901";
constexpr const char* kFro = "0x40044902";

// clang-format off
const MotorTest kTravel175 = {"Travel175", [] { ircut_test(175); }, "ircut_test_64xx\n",
                              {kTo, kTo, kTo, kTo, kTo}, {"0", "175", "0", "175", "0"}, 10ms,
                              {kHome, kFull, kBack, kFull, kBack}};
const MotorTest kTravel90 =  {"Travel90", [] { ircut_test(90); }, "ircut_test_64xx\n",
                              {kTo, kTo, kTo, kTo, kTo}, {"0", "90", "0", "90", "0"}, 10ms,
                              {kHome, kFull, kBack, kFull, kBack}};
const MotorTest kRkd =       {"Rkd", ircut_test_rkd, "ircut_test_rkd\nICR 测试开始\n",
                              {kTo, kFro, kTo, kFro, kTo}, {"180", "180", "180", "180", "180"}, 200ms,
                              {kHome, kFull, kFull, kFull, kFull}};
// clang-format on

void PrintTo(const MotorTest& test, std::ostream* out) {
  *out << test.name;
}

class IrCutMotorTest : public IrCutRun, public ::testing::WithParamInterface<MotorTest> {
 protected:
  const MotorTest& test = GetParam();

  static std::string indices(int skipped = -1) {
    std::string text;
    for (int move = 0; move < 5; ++move) {
      if (move != skipped) text += std::to_string(move) + "\n";
    }
    return text;
  }
  /// The line of the last move alone.
  static std::string last_failed(int error) {
    return " back to e error, ret=-1, errno:" + std::to_string(error) + "\n";
  }
};

INSTANTIATE_TEST_SUITE_P(By, IrCutMotorTest, ::testing::Values(kTravel175, kTravel90, kRkd),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(IrCutMotorTest, IsConfiguredAndMovedFiveTimesAndPassesOnAHealthyBoard) {
  HardwareScript expected;
  expected.open("/dev/motor");
  expected.call("ioctl /dev/motor 0x40044301 {0, 7, 0} = 0");
  for (std::size_t move = 0; move < 5; ++move) {
    expected.call(std::string("ioctl /dev/motor ") + test.requests[move] + " {" + test.travels[move] +
                  "} = 0");
    expected.wait(test.rest);
  }
  expected.close("/dev/motor");
  test.run();
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
  expect_opened_read_write("/dev/motor", 1);
  expect_console(test.banner + indices() + "ICR TEST SUCCESS\n");
  expect_pass();
}

TEST_P(IrCutMotorTest, FailsAtOnceWithoutItsNodeOrItsConfiguration) {
  board.fault("open /dev/motor");
  test.run();
  expect_console(test.banner + "打开/dev/motor失败\nfail num = 1\n");
  expect_fail("打开/dev/motor失败");
  next_board("normal");
  board.fault("ioctl /dev/motor 0x40044301");
  test.run();
  expect_console(test.banner + "设置/dev/motor失败\nfail num = -1\n");
  expect_fail("设置/dev/motor失败");
  EXPECT_EQ(board.timed_hardware_trace(),
            (Lines{"0.000000 open /dev/motor = ok", "0.000000 ioctl /dev/motor 0x40044301 {0, 7, 0} = -1 EIO",
                   "0.000000 close /dev/motor = 0"}));
}

TEST_P(IrCutMotorTest, GoesOnAfterEachMoveThatFailsAndReportsIt) {
  for (int move = 0; move < 5; ++move) {
    SCOPED_TRACE(move);
    next_board("normal");
    board.fault("motor rejects move " + std::to_string(move + 1));
    test.run();
    expect_console(test.banner + indices(move) + (move == 4 ? last_failed(5) : "") +
                   "ICR TEST SUCCESS\nfail num = -1\n");
    expect_fail(test.failures[static_cast<std::size_t>(move)]);
    EXPECT_EQ(board->motor.moves(), 4U);
    EXPECT_EQ(board.now(), 5 * test.rest) << "it rests after a failed move too";
  }
}

TEST_P(IrCutMotorTest, ReportsTheLastOfTwoMovesThatFail) {
  board.fault("motor rejects move 1");
  board.fault("motor rejects move 4");
  test.run();
  expect_console(test.banner + "1\n2\n4\nICR TEST SUCCESS\nfail num = -1\n");
  expect_fail(test.failures[3]);
}

TEST_P(IrCutMotorTest, SaysSuccessAndTheErrorOfTheLastMoveAndRepliesFailWhenEveryMoveIsRejected) {
  board.fault("ioctl /dev/motor #2+ EBUSY");
  test.run();
  expect_console(test.banner + last_failed(16) + "ICR TEST SUCCESS\nfail num = -1\n");
  expect_fail(test.failures[4]);
}

}  // namespace
