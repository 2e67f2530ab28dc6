// The auto-iris on healthy boards.
#include "t1_sdk/boardtest/peripheral/iris.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "tests/peripheral/iris_report.h"
#include "tests/platform/open_node.h"

namespace {

using Iris = boardsim::Iris::State;

class IrisDriveTest : public IrisDriveRun {
 protected:
  /// The time that one run takes.
  std::chrono::milliseconds duration() const {
    return kAppAnswer + kIrisPause + 2 * test.after_close + test.after_open + test.after_last_open +
           kAppAnswer;
  }
};

INSTANTIATE_TEST_SUITE_P(By, IrisDriveTest, ::testing::Values(kFpgaIris, kShellIris, kChipIris, kGpioIris),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(IrisDriveTest, IsAskedForTheseCallsAtTheseTimes) {
  HardwareScript expected;
  if (*test.node != '\0') expected.open(test.node);
  if (test.configure != nullptr) expected.call(test.configure);
  expected.wait(kAppAnswer + kIrisPause);
  if (test.prepare != nullptr) expected.call(test.prepare);
  for (const auto after_open : {test.after_open, test.after_last_open}) {
    expected.call(test.close);
    expected.wait(test.after_close);
    expected.call(test.open);
    expected.wait(after_open);
  }
  if (*test.node != '\0') expected.close(test.node);
  test.run();
  EXPECT_EQ(timed_calls(), expected.lines());
  EXPECT_EQ(board.now(), duration());
}

TEST_P(IrisDriveTest, PassesOnAHealthyBoard) {
  test.run();
  EXPECT_EQ(console.out(), test.banner + test.off_line() + kIrisCycles + test.on_line() + kIrisEnd);
  EXPECT_EQ(console.err(), "");
  expect_pass();
}

TEST_P(IrisDriveTest, IsClosedAndOpenedTwice) {
  const auto start = kAppAnswer + kIrisPause;
  const auto second = start + test.after_close + test.after_open;
  const std::vector<std::pair<std::chrono::milliseconds, Iris>> expected = {
      {start - 1ms, Iris::unset},
      {start + 1ms, Iris::closed},
      {start + test.after_close - 1ms, Iris::closed},
      {start + test.after_close + 1ms, Iris::open},
      {second - 1ms, Iris::open},
      {second + 1ms, Iris::closed},
      {second + test.after_close + 1ms, Iris::open},
  };
  std::vector<Iris> seen;
  for (const auto& [when, iris] : expected) {
    board.at(when, [&] { seen.push_back(board->iris.state()); });
  }
  test.run();
  ASSERT_EQ(seen.size(), expected.size());
  for (std::size_t i = 0; i < seen.size(); ++i) {
    EXPECT_EQ(seen[i], expected[i].second) << expected[i].first.count() << " ms";
  }
  EXPECT_EQ(board->iris.state(), Iris::open);
}

TEST_P(IrisDriveTest, IsTakenFromTheApplicationBeforeAndGivenBackAfterwards) {
  test.run();
  EXPECT_EQ(board->application.commands(), test.commands());
  std::vector<boardsim::Time> connected;
  for (const boardsim::Call& call : board.trace()) {
    if (call.name == "connect") connected.push_back(call.at);
  }
  EXPECT_EQ(connected, (std::vector<boardsim::Time>{0ms, duration() - kAppAnswer}));
}

TEST_P(IrisDriveTest, AnnouncesEachMoveAsItBegins) {
  std::string at_first_open;
  std::string at_second_close;
  const auto start = kAppAnswer + kIrisPause;
  board.at(start + 1ms,
           [&] { EXPECT_EQ(console.out(), test.banner + test.off_line() + "第1次测试开始:关闭光圈...\n"); });
  board.at(start + test.after_close + 1ms, [&] { at_first_open = console.out(); });
  board.at(start + test.after_close + test.after_open + 1ms, [&] { at_second_close = console.out(); });
  test.run();
  EXPECT_EQ(at_first_open, test.banner + test.off_line() + "第1次测试开始:关闭光圈...\n打开光圈...\n");
  EXPECT_EQ(at_second_close, test.banner + test.off_line() +
                                 "第1次测试开始:关闭光圈...\n打开光圈...\n第2次测试开始:关闭光圈...\n");
}

// ---- waits ---------------------------------------------------------------------------------------

class IrisWaitTest : public IrisRun {
 protected:
  /// Time from each opening of the iris to the next call.
  std::vector<std::chrono::milliseconds> waits_after(const std::string& opening) const {
    std::vector<boardsim::Call> calls;
    for (const boardsim::Call& call : board.trace()) {
      if (call.name == "system" || call.name == "connect" || call.node.starts_with("/"))
        calls.push_back(call);
    }
    std::vector<std::chrono::milliseconds> waits;
    for (std::size_t i = 0; i + 1 < calls.size(); ++i) {
      if (calls[i].text() != opening) continue;
      waits.push_back(std::chrono::duration_cast<std::chrono::milliseconds>(calls[i + 1].at - calls[i].at));
    }
    return waits;
  }
};

TEST_F(IrisWaitTest, TheFirstOpenIrisIsShownFor3500MillisecondsAndTheSecondFor2000) {
  for (const IrisTest& test : {kFpgaIris, kShellIris, kGpioIris}) {
    SCOPED_TRACE(test.name);
    next_board(test.family);
    test.run();
    EXPECT_EQ(waits_after(test.open), (std::vector<std::chrono::milliseconds>{3500ms, 2000ms}));
  }
}

TEST_F(IrisWaitTest, BothOpenIrisesOfTheMotorChipAreShownFor2000Milliseconds) {
  next_board("65xx");
  auto_iris_test_65xx();
  EXPECT_EQ(waits_after(kChipIris.open), (std::vector<std::chrono::milliseconds>{2000ms, 2000ms}));
}

// ---- quirks ----------------------------------------------------------------------------------------

class IrisTextTest : public IrisRun {};

TEST_F(IrisTextTest, TheFpgasBannerIsThatOfAnotherBoard) {
  auto_iris_test();
  EXPECT_EQ(console.lines().front(), "auto_iris_test_65xx");
}

TEST_F(IrisTextTest, TheShellVariantTakesTheIrisWithCommand40AndGivesItBackWith39) {
  next_board("63xx");
  auto_iris_test_63xx();
  EXPECT_EQ(board->application.commands(), (Commands{{12, 40, 0}, {12, 39, 1}}));
}

TEST_F(IrisTextTest, TheGpioIrisIsOpenedWithTheRequestThatCloses) {
  next_board("68xx");
  auto_iris_test_68xx();
  std::vector<std::uint32_t> values;
  for (const boardsim::Call& call : board.trace()) {
    EXPECT_NE(call.request, 0x40046902U);
    EXPECT_NE(call.request, 0x40046903U);
    if (call.request == 0x40046901) values.push_back(call.record.at(0));
  }
  EXPECT_EQ(values, (std::vector<std::uint32_t>{512, 767, 512, 767}));
}

// ---- which drive a board has ------------------------------------------------------------------------

class IrisEntryTest : public IrisRun {
 protected:
  /// Runs the entry on the board and expects it to do what this drive's test does.
  void expect_drive(const IrisTest& test) {
    t1_sdk_auto_iris_test();
    EXPECT_EQ(console.out(), test.banner + test.off_line() + kIrisCycles + test.on_line() + kIrisEnd);
    EXPECT_EQ(board->application.commands(), test.commands());
    const Lines calls = untimed_calls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), test.close), 2);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), test.open), 2);
    EXPECT_EQ(board->iris.state(), Iris::open);
    expect_pass();
  }
  Lines untimed_calls() const {
    Lines calls;
    for (const boardsim::Call& call : board.trace()) calls.push_back(call.text());
    return calls;
  }
};

TEST_F(IrisEntryTest, EveryFamilyHasItsDrive) {
  const std::vector<std::pair<const char*, const IrisTest*>> drives = {
      {"normal", &kFpgaIris},    {"k", &kFpgaIris},    {"63xx", &kShellIris},  {"68xx", &kGpioIris},
      {"68xx-fpga", &kFpgaIris}, {"6444", &kFpgaIris}, {"6444-j", &kFpgaIris}, {"loop", &kShellIris},
      {"loop-c", &kFpgaIris},    {"ma", &kFpgaIris},   {"65xx", &kChipIris},   {"65xx-level", &kChipIris},
      {"rkd1", &kGpioIris},      {"rkd2", &kGpioIris}, {"6455", &kFpgaIris},   {"6485", &kFpgaIris},
      {"6484", &kFpgaIris}};
  EXPECT_EQ(drives.size(), boardsim::families().size());
  for (const auto& [family, test] : drives) {
    SCOPED_TRACE(family);
    next_board(family);
    expect_drive(*test);
  }
}

TEST_F(IrisEntryTest, EveryCodeOfTheSpecialBoardsHasItsDrive) {
  const std::vector<std::pair<std::uint32_t, const IrisTest*>> drives = {
      {0x9C0A, &kChipIris},  {0x27201, &kShellIris}, {0x97C0, &kShellIris}, {0x96C1, &kShellIris},
      {0x96C2, &kShellIris}, {0x96C3, &kShellIris},  {0x27252, &kGpioIris}, {0x9A01, &kGpioIris},
      {0x27254, &kGpioIris}, {0x9A03, &kGpioIris},   {0xA6005, &kGpioIris}, {0xA6006, &kGpioIris},
      {0xA60A0, &kGpioIris}, {0xA60A3, &kGpioIris},  {0x27251, &kFpgaIris}, {0x96C4, &kFpgaIris},
      {0x96C5, &kFpgaIris},  {0x1234, &kFpgaIris}};
  for (const auto& [code, test] : drives) {
    SCOPED_TRACE(code);
    next_board("normal");
    board.set_type(code);
    expect_drive(*test);
  }
}

TEST_F(IrisEntryTest, ABoardThatCannotBeIdentifiedIsTestedThroughItsFpga) {
  board.fault("ioctl /dev/qznio 0x80044801");
  t1_sdk_auto_iris_test();
  EXPECT_EQ(board->application.commands(), kFpgaIris.commands());
  const Lines calls = untimed_calls();
  EXPECT_EQ(std::count(calls.begin(), calls.end(), kFpgaIris.close), 2);
  expect_pass();
}

// ---- requests --------------------------------------------------------------------------------------

class IrisRequestTest : public OnBoard {
 protected:
  using Lines = std::vector<std::string>;

  Console console;
};

TEST_F(IrisRequestTest, TheMotorChipIsConfiguredInEntry3) {
  const OpenNode motor(board, "/dev/motor");
  EXPECT_EQ(AA83477_init(motor.fd()), 0);
  EXPECT_EQ(board.hardware_trace(), (Lines{"ioctl /dev/motor 0x40044301 {3, 3, 0} = 0"}));
  EXPECT_EQ(console.out(), "");
}

TEST_F(IrisRequestTest, TheGpioDriverIsConfiguredInEntry1) {
  const OpenNode motor(board, "/dev/motor1");
  EXPECT_EQ(GPIO_IRIS_init(motor.fd()), 0);
  EXPECT_EQ(board.hardware_trace(), (Lines{"ioctl /dev/motor1 0x40044301 {1, 3, 0} = 0"}));
  EXPECT_EQ(console.out(), "");
}

TEST_F(IrisRequestTest, ValuesGoToTheDriversThemselves) {
  const OpenNode chip(board, "/dev/motor");
  const OpenNode gpio(board, "/dev/motor1");
  AA83477_init(chip.fd());
  GPIO_IRIS_init(gpio.fd());
  board.clear_trace();
  EXPECT_EQ(set_AA83477_val(chip.fd(), 0xCFF), 0);
  EXPECT_EQ(set_GPIO_IRIS_close(gpio.fd(), 512), 0);
  EXPECT_EQ(set_GPIO_IRIS_open(gpio.fd(), 100), 0);
  EXPECT_EQ(set_GPIO_IRIS_speed(gpio.fd(), 7), 0);
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"ioctl /dev/motor 0x40046901 {3327} = 0", "ioctl /dev/motor1 0x40046901 {512} = 0",
                   "ioctl /dev/motor1 0x40046902 {100} = 0", "ioctl /dev/motor1 0x40046903 {7} = 0"}));
  EXPECT_EQ(console.out(), "");
}

TEST_F(IrisRequestTest, ValuesAreUnsigned32BitWords) {
  const OpenNode chip(board, "/dev/motor");
  AA83477_init(chip.fd());
  board.clear_trace();
  set_AA83477_val(chip.fd(), 0xFFFFFFFF);
  EXPECT_EQ(board.trace().at(0).record, (std::vector<std::uint32_t>{0xFFFFFFFF}));
}

}  // namespace
