// The auto-iris on boards that are not healthy.
#include <gtest/gtest.h>
#include <algorithm>
#include <string>
#include <vector>

#include "tests/peripheral/iris_report.h"
#include "tests/platform/open_node.h"

namespace {

using Iris = boardsim::Iris::State;

// ---- a drive that cannot be had ---------------------------------------------------------------------

class IrisFaultTest : public IrisRun {
 protected:
  /// Runs a test on its board with a fault laid over it.
  void run_with(const IrisTest& test, const std::string& fault) {
    next_board(test.family);
    board.fault(fault);
    test.run();
  }
  /// The iris was never asked for, so there is nothing to give back, and no time goes by.
  void expect_untouched() {
    EXPECT_EQ(board->application.commands(), Commands{});
    EXPECT_EQ(board.now(), 0s);
    EXPECT_EQ(board->iris.state(), Iris::unset);
  }
};

TEST_F(IrisFaultTest, WithoutTheFpgaTheTestFails) {
  run_with(kFpgaIris, "open /dev/fpga");
  EXPECT_EQ(console.out(), "auto_iris_test_65xx\nOpen /dev/fpga error.\nfail num = 1\n");
  EXPECT_EQ(console.err(), "");
  expect_fail("打开/dev/fpga失败");
  expect_untouched();
}

TEST_F(IrisFaultTest, WithoutTheMotorChipTheTestFailsAndNamesAnotherNode) {
  run_with(kChipIris, "open /dev/motor");
  EXPECT_EQ(console.out(), "auto_iris_test_65xx\nOpen /dev/motor error.\nfail num = 1\n");
  EXPECT_EQ(console.err(), "");
  expect_fail("打开/dev/qznio失败");
  expect_untouched();
}

TEST_F(IrisFaultTest, AMotorChipThatRefusesItsConfigurationFailsTheTest) {
  run_with(kChipIris, "ioctl /dev/motor 0x40044301");
  EXPECT_EQ(console.out(),
            "auto_iris_test_65xx\nMOTORS_SET_CONFIG, ret=-1\nAA83477_init失败\nfail num = 2\n");
  EXPECT_EQ(console.err(), "");
  expect_fail("AA83477_init失败");
  expect_untouched();
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"open /dev/motor = ok", "ioctl /dev/motor 0x40044301 {3, 3, 0} = -1 EIO",
                   "close /dev/motor = 0"}));
}

TEST_F(IrisFaultTest, WithoutTheGpioDriverTheTestFailsAndTheDescriptionStillSaysSuccess) {
  run_with(kGpioIris, "open /dev/motor1");
  EXPECT_EQ(console.out(), "auto_iris_test_68xx\nOpen /dev/motor1 error.\nfail num = 1\n");
  EXPECT_EQ(console.err(), "");
  expect_fail("测试成功");
  expect_untouched();
}

TEST_F(IrisFaultTest, AGpioDriverThatRefusesItsConfigurationFailsAndTheDescriptionStillSaysSuccess) {
  run_with(kGpioIris, "ioctl /dev/motor1 0x40044301");
  EXPECT_EQ(console.out(), "auto_iris_test_68xx\nMOTORS_SET_CONFIG, ret=-1\nfail num = 2\n");
  EXPECT_EQ(console.err(), "");
  expect_fail("测试成功");
  expect_untouched();
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"open /dev/motor1 = ok", "ioctl /dev/motor1 0x40044301 {1, 3, 0} = -1 EIO",
                   "close /dev/motor1 = 0"}));
}

TEST_F(IrisFaultTest, TheShellVariantNeedsNoNodeAndPasses) {
  next_board("63xx");
  for (const char* node : {"/dev/fpga", "/dev/motor", "/dev/motor1", "/dev/qznio"}) {
    board.fault(std::string("open ") + node);
  }
  auto_iris_test_63xx();
  expect_pass();
}

// ---- an iris that does not move ---------------------------------------------------------------------

TEST_F(IrisFaultTest, AnIrisThatNeverMovesPasses) {
  run_with(kFpgaIris, "ioctl /dev/fpga");
  EXPECT_EQ(board->iris.state(), Iris::unset);
  expect_pass();
  run_with(kShellIris, "system");
  EXPECT_EQ(board->iris.state(), Iris::unset);
  expect_pass();
  run_with(kChipIris, "ioctl /dev/motor 0x40046901");
  EXPECT_EQ(board->iris.state(), Iris::unset);
  expect_pass();
  run_with(kGpioIris, "ioctl /dev/motor1 0x40046901");
  EXPECT_EQ(board->iris.state(), Iris::unset);
  expect_pass();
}

TEST_F(IrisFaultTest, ARegisterThatIsStuckPasses) {
  run_with(kFpgaIris, "fpga 0x2001 stuck 0");
  expect_pass();
}

TEST_F(IrisFaultTest, ShellCommandsThatFailAreNotReported) {
  run_with(kShellIris, "system");
  EXPECT_EQ(console.out(),
            kShellIris.banner + kShellIris.off_line() + kIrisCycles + kShellIris.on_line() + kIrisEnd);
  EXPECT_EQ(calls("system"), 4U);
}

TEST_F(IrisFaultTest, WritesThatTheFpgaRefusesAreNotReported) {
  run_with(kFpgaIris, "ioctl /dev/fpga");
  EXPECT_EQ(console.out(),
            kFpgaIris.banner + kFpgaIris.off_line() + kIrisCycles + kFpgaIris.on_line() + kIrisEnd);
  EXPECT_EQ(board.hardware_trace().size(), 7U) << "five writes between opening and closing";
}

TEST_F(IrisFaultTest, ValuesThatTheMotorChipRefusesAreReportedAndTheTestGoesOn) {
  run_with(kChipIris, "ioctl /dev/motor 0x40046901");
  const std::string refused = "IRIS_OUT failed, ret=-1\n";
  EXPECT_EQ(console.out(), kChipIris.banner + kChipIris.off_line() + refused + "第1次测试开始:关闭光圈...\n" +
                               refused + "打开光圈...\n" + refused + "第2次测试开始:关闭光圈...\n" + refused +
                               "打开光圈...\n" + refused + kChipIris.on_line() + kIrisEnd);
  EXPECT_EQ(board.now(), 10s + 2 * kAppAnswer + kIrisPause);
  EXPECT_EQ(board->application.commands(), kChipIris.commands());
}

TEST_F(IrisFaultTest, ValuesThatTheGpioDriverRefusesAreReportedAndTheTestGoesOn) {
  run_with(kGpioIris, "ioctl /dev/motor1 0x40046901");
  const std::string refused = "IRIS_OUT failed, ret=-1\n";
  EXPECT_EQ(console.out(), kGpioIris.banner + kGpioIris.off_line() + "第1次测试开始:关闭光圈...\n" + refused +
                               "打开光圈...\n" + refused + "第2次测试开始:关闭光圈...\n" + refused +
                               "打开光圈...\n" + refused + kGpioIris.on_line() + kIrisEnd);
  EXPECT_EQ(board.now(), 8500ms + 2 * kAppAnswer + kIrisPause);
}

TEST_F(IrisFaultTest, OneRefusedValueIsNotTriedAgain) {
  run_with(kChipIris, "ioctl /dev/motor 0x40046901 #2");
  EXPECT_EQ(board.hardware_trace().size(), 8U)
      << "one configuration and five values between opening and closing";
  EXPECT_EQ(board->iris.state(), Iris::open);
  expect_pass();
}

// ---- the camera's application ---------------------------------------------------------------------

class IrisApplicationTest : public IrisDriveRun {};

INSTANTIATE_TEST_SUITE_P(By, IrisApplicationTest,
                         ::testing::Values(kFpgaIris, kShellIris, kChipIris, kGpioIris),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(IrisApplicationTest, ThatDoesNotListenIsReportedWithoutALineEndAndTheTestPasses) {
  board.fault("app refused");
  test.run();
  const std::string refused = "connect failre errno=111";
  EXPECT_EQ(console.out(), test.banner + refused + kIrisCycles + refused + kIrisEnd);
  EXPECT_EQ(board.now(), kIrisPause + 2 * test.after_close + test.after_open + test.after_last_open);
  EXPECT_EQ(board->iris.state(), Iris::open);
  expect_pass();
}

TEST_P(IrisApplicationTest, ThatIsSlowHoldsTheTestUp) {
  board.fault("app slow 5");
  test.run();
  EXPECT_EQ(board.now(), kIrisPause + 2 * test.after_close + test.after_open + test.after_last_open +
                             2 * (5s + kAppAnswer));
  expect_pass();
}

TEST_P(IrisApplicationTest, ThatClosesWithoutAnAnswerIsNotReported) {
  board.fault("app closes");
  test.run();
  EXPECT_EQ(console.out(), test.banner + kIrisCycles + kIrisEnd);
  EXPECT_EQ(board->application.commands(), test.commands());
  expect_pass();
}

// ---- requests ------------------------------------------------------------------------------------

class IrisRequestFaultTest : public OnBoard {
 protected:
  Console console;
};

TEST_F(IrisRequestFaultTest, AConfigurationThatIsRefusedIsReported) {
  const OpenNode chip(board, "/dev/motor");
  const OpenNode gpio(board, "/dev/motor1");
  board.fault("ioctl /dev/motor 0x40044301");
  board.fault("ioctl /dev/motor1 0x40044301");
  EXPECT_EQ(AA83477_init(chip.fd()), -1);
  EXPECT_EQ(console.out(), "MOTORS_SET_CONFIG, ret=-1\n");
  console.clear();
  EXPECT_EQ(GPIO_IRIS_init(gpio.fd()), -1);
  EXPECT_EQ(console.out(), "MOTORS_SET_CONFIG, ret=-1\n");
}

TEST_F(IrisRequestFaultTest, AValueThatIsRefusedIsReported) {
  const OpenNode chip(board, "/dev/motor");
  const OpenNode gpio(board, "/dev/motor1");
  board.fault("ioctl /dev/motor");
  board.fault("ioctl /dev/motor1");
  EXPECT_EQ(set_AA83477_val(chip.fd(), 1), -1);
  EXPECT_EQ(console.out(), "IRIS_OUT failed, ret=-1\n");
  console.clear();
  EXPECT_EQ(set_GPIO_IRIS_close(gpio.fd(), 1), -1);
  EXPECT_EQ(console.out(), "IRIS_OUT failed, ret=-1\n");
  console.clear();
  EXPECT_EQ(set_GPIO_IRIS_open(gpio.fd(), 1), -1);
  EXPECT_EQ(console.out(), "IRIS_OUT failed, ret=-1\n");
}

TEST_F(IrisRequestFaultTest, ASpeedThatIsRefusedIsReported) {
  const OpenNode gpio(board, "/dev/motor1");
  board.fault("ioctl /dev/motor1");
  EXPECT_EQ(set_GPIO_IRIS_speed(gpio.fd(), 1), -1);
  EXPECT_EQ(console.out(), "IRIS_SET_SPEED failed, ret=-1\n");
}

TEST_F(IrisRequestFaultTest, PositiveResultsAreReturnedInSilence) {
  const OpenNode chip(board, "/dev/motor");
  const OpenNode gpio(board, "/dev/motor1");
  board.fault("ioctl /dev/motor result 5");
  board.fault("ioctl /dev/motor1 result 5");
  EXPECT_EQ(AA83477_init(chip.fd()), 5);
  EXPECT_EQ(set_AA83477_val(chip.fd(), 1), 5);
  EXPECT_EQ(GPIO_IRIS_init(gpio.fd()), 5);
  EXPECT_EQ(set_GPIO_IRIS_close(gpio.fd(), 1), 5);
  EXPECT_EQ(set_GPIO_IRIS_open(gpio.fd(), 1), 5);
  EXPECT_EQ(set_GPIO_IRIS_speed(gpio.fd(), 1), 5);
  EXPECT_EQ(console.out(), "");
}

TEST_F(IrisRequestFaultTest, WithoutADescriptorEveryRequestFails) {
  EXPECT_EQ(AA83477_init(-1), -1);
  EXPECT_EQ(GPIO_IRIS_init(-1), -1);
  EXPECT_EQ(set_AA83477_val(-1, 1), -1);
  EXPECT_EQ(set_GPIO_IRIS_close(-1, 1), -1);
  EXPECT_EQ(set_GPIO_IRIS_open(-1, 1), -1);
  EXPECT_EQ(set_GPIO_IRIS_speed(-1, 1), -1);
}

}  // namespace
