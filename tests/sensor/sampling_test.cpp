// The bounds of the sampling window, set by hand on the console.
#include "t1_sdk/boardtest/sensor/sampling.h"

#include <gtest/gtest.h>
#include <chrono>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/platform/test_status.h"
#include "tests/harness/console.h"
#include "tests/harness/on_board.h"
#include "tests/util/typed_console.h"

namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

const std::string kMenu =
    "\n请配置采样窗口边界: \n"
    "\n [1] :采样窗口左边界: \n"
    "\n [2] :采样窗口右边界: \n"
    "\n [q] :回到主选择菜单: \n"
    "\n 请输入选择项: \n";
const char* const kOpen = "open /dev/fpga = ok";
const char* const kLeft = "ioctl /dev/fpga 0x40044603 {4161, 561} = 0";
const char* const kRight = "ioctl /dev/fpga 0x40044603 {4161, 593} = 0";
const char* const kClose = "close /dev/fpga = 0";

class SamplingTest : public OnBoard {
 protected:
  void SetUp() override { test_status = ST_ERROR; }
  void TearDown() override {
    test_status = ST_MAIN_MENU;
    OnBoard::TearDown();
  }
  /// What the FPGA saw of a run in which these keys are typed.
  Lines calls_with(const std::string& typed) {
    board.clear_trace();
    console.clear();
    keys.type(board.now() + 10ms, typed);
    sampling_test();
    Lines calls;
    for (const boardsim::Call& call : board.trace()) {
      if (call.node == "/dev/fpga") calls.push_back(call.text());
    }
    return calls;
  }

  Console console;
  TypedConsole keys{board};
};

TEST_F(SamplingTest, TheMenuIsShownAgainAfterEachChoiceUntilItIsQ) {
  EXPECT_EQ(calls_with("1\nq\n"), (Lines{kOpen, kLeft, kClose}));
  EXPECT_EQ(board->fpga.reg(0x1041), 0x231U);
  EXPECT_EQ(calls_with("1\n2\n1\nq\n"), (Lines{kOpen, kLeft, kRight, kLeft, kClose}));
  EXPECT_EQ(console.out(), kMenu + "1\n" + kMenu + "2\n" + kMenu + "1\n" + kMenu + "q\n");
}

TEST_F(SamplingTest, AnythingElseShowsTheMenuAgain) {
  for (const std::string other : {"3", "0", "Q", "x", " 1", ""}) {
    SCOPED_TRACE(other);
    EXPECT_EQ(calls_with(other + "\nq\n"), (Lines{kOpen, kClose}));
    EXPECT_EQ(console.out(), kMenu + other + "\n" + kMenu + "q\n");
  }
}

TEST_F(SamplingTest, TheFirstCharacterOfALineDecides) {
  EXPECT_EQ(calls_with("2xy\nquit\n"), (Lines{kOpen, kRight, kClose}));
  EXPECT_EQ(console.out(), kMenu + "2xy\n" + kMenu + "quit\n");
}

TEST_F(SamplingTest, ALineEndsWithItsFourthCharacter) {
  keys.type(5s, "q\n");
  EXPECT_EQ(calls_with("1abcq\n"), (Lines{kOpen, kLeft, kClose}));
  EXPECT_EQ(console.out(), kMenu + "1abc\n" + kMenu + "q\n");
  EXPECT_EQ(board.now(), 10ms);
}

TEST_F(SamplingTest, TheStatusIsSamplingAfterABoundWasSetAndTheMainMenuAtTheEnd) {
  for (const char* choice : {"1\n", "2\n"}) {
    test_status = ST_ERROR;
    TEST_ST before = ST_INVALID;
    TEST_ST after = ST_INVALID;
    const boardsim::Time start = board.now();
    board.at(start + 1s, [&] { before = test_status; });
    keys.type(start + 2s, choice);
    board.at(start + 3s, [&] { after = test_status; });
    keys.type(start + 4s, "q\n");
    sampling_test();
    EXPECT_EQ(before, ST_ERROR) << "nothing was chosen yet";
    EXPECT_EQ(after, ST_TEST_SAMPLING);
    EXPECT_EQ(test_status, ST_MAIN_MENU);
  }
}

TEST_F(SamplingTest, AChoiceThatSetsNothingLeavesTheStatusAlone) {
  TEST_ST after = ST_INVALID;
  keys.type(1s, "x\n");
  board.at(2s, [&] { after = test_status; });
  keys.type(3s, "q\n");
  sampling_test();
  EXPECT_EQ(after, ST_ERROR);
}

TEST_F(SamplingTest, WithoutTheFpgaThereIsNoMenu) {
  board.fault("open /dev/fpga");
  sampling_test();
  EXPECT_EQ(console.out(), "Open /dev/fpga error.\n");
  EXPECT_EQ(test_status, ST_ERROR) << "it stays as it was";
  EXPECT_EQ(board.hardware_trace(), (Lines{"open /dev/fpga = -1 ENODEV"}));
}

TEST_F(SamplingTest, ABoundThatTheFpgaRefusesIsNotNoticed) {
  board.fault("ioctl /dev/fpga");
  keys.type(10ms, "1\nq\n");
  sampling_test();
  EXPECT_EQ(console.out(), kMenu + "1\n" + kMenu + "q\n");
  EXPECT_EQ(board->fpga.reg(0x1041), 0U);
  EXPECT_EQ(test_status, ST_MAIN_MENU);
}

}  // namespace
