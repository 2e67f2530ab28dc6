// Alarm tests in fixed steps: four inputs behind the FPGA and its relays, or behind the alarm driver.
#include <fcntl.h>
#include <chrono>
#include <cstdio>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "t1_sdk/boardtest/peripheral/alarm/variants.h"
#include "tests/peripheral/alarm_room.h"

namespace {

using namespace std::chrono_literals;

struct Step {
  unsigned outputs;                     ///< register 0x2002, or what is handed to the driver
  unsigned reference;                   ///< what the inputs should then be
  std::vector<unsigned> wide_relays{};  ///< relays 81 to 85, of type 4
  std::vector<unsigned> relays{};       ///< relays 81 to 83, of any other
};

/// One test. Where the device is the alarm driver, the FPGA is not used.
struct Variant {
  const char* name;
  const char* family;
  void (*run)(int type, int code);
  const char* banner;
  int type;
  const char* device;
  unsigned at_rest;  ///< the inputs when all outputs are off
  std::vector<Step> steps;

  bool has_driver() const { return std::string_view(device) == "/dev/alarm"; }
};

const std::vector<Step> kFpgaSteps = {
    {0x80000018, 0x0, {1, 1, 1, 1, 0}, {1, 1, 0}},
    {0xC0000018, 0xF, {0, 0, 0, 0, 0}, {0, 0, 0}},
    {0x80000018, 0x0, {0, 0, 0, 1, 1}, {1, 0, 1}},
    {0xC0000018, 0xF, {0, 0, 0, 0, 0}, {0, 0, 0}},
};

// clang-format off
const Variant kSevenOutputs = {"SevenOutputs", "6444",      alarm_test_64xx_u,  "alarm_test_65xx",    4, "/dev/fpga",  0xF, kFpgaSteps};
const Variant kFiveOutputs  = {"FiveOutputs",  "68xx-fpga", alarm_test_64xx_u,  "alarm_test_65xx",    5, "/dev/fpga",  0xF, kFpgaSteps};
const Variant kLoop         = {"Loop",         "loop",      alarm_test_wpf_u,   "alarm_test_wpf_u",   5, "/dev/alarm", 0x3, {{0, 0x3}, {15, 0xC}, {0, 0x3}, {27, 0xC}}};
// Without a fourth step: the driver is only read once more.
const Variant kThreeInputs  = {"ThreeInputs",  "6444-j",    alarm_test_wpf_u_j, "alarm_test_wpf_u_j", 2, "/dev/alarm", 0xF, {{0, 0xF}, {15, 0x2}, {0, 0xF}}};
// clang-format on

void PrintTo(const Variant& variant, std::ostream* out) {
  *out << variant.name;
}

// ---- what a run asks of the board ------------------------------------------------------------------------

void read_driver(HardwareScript& it) {
  it.open("/dev/alarm").read_outputs().close("/dev/alarm");
}

void step_script(HardwareScript& it, const Variant& variant, int type, const Step& step) {
  if (variant.has_driver()) {
    read_driver(it);
    it.open("/dev/alarm").outputs(step.outputs).close("/dev/alarm");
    read_driver(it);
  } else {
    it.fpga(0x2002, step.outputs);
    unsigned relay = 81;
    for (const unsigned level : type == 4 ? step.wide_relays : step.relays) it.fpga(relay++, level);
  }
  it.wait(500ms).read_eight();
}

HardwareScript run_script(const Variant& variant, int type) {
  HardwareScript it = opened(variant.device);
  if (!variant.has_driver()) set_up_fpga(it, 0);
  it.test_control(1);
  for (int cycle = 0; cycle < 5; ++cycle) {
    for (const Step& step : variant.steps) step_script(it, variant, type, step);
    if (variant.steps.size() == 3) read_driver(it);
  }
  if (!variant.has_driver()) {
    it.fpga(0x2002, 0x80000018);
    for (unsigned relay = 81; relay <= 85; ++relay) it.fpga(relay, 0);
  }
  finish(it);
  return variant.has_driver() ? it.call("close -1 = -1 EBADF") : it.close("/dev/fpga");
}

// ---- what it says ----------------------------------------------------------------------------------------

/// The driver's state, as it is read back.
std::string state_line(unsigned state) {
  char text[32];
  std::snprintf(text, sizeof text, "alarm_all_value:%x\n", state);
  return text;
}

std::string words_line(unsigned word, unsigned reference) {
  char text[64];
  std::snprintf(text, sizeof text, "trigger_in=0x%04x,ref=0x%04x\n", word, reference);
  return (word == reference ? ", 成功," : ", 失败,") + std::string(text);
}

std::string head(const Variant& variant) {
  return std::string(variant.banner) + "\ntype: " + std::to_string(variant.type) + "\n";
}

/// What a step (0 to 3) that read a word prints. `state` is the driver's before it, and then behind it. The
/// register values are those of one FPGA board, whatever the board is.
std::string step_console(const Variant& variant, std::size_t step, unsigned word, unsigned& state) {
  static const char* const kLabels[] = {
      "##1 0x1 0x1 0x1 0x1 0x0 0x80000018",
      "##2 0x0 0x0 0x0 0x0 0x0 0xC0000018",
      "##3 0x0 0x0 0x0 0x1 0x1 0x80000018",
      "##4 0x0 0x0 0x0 0x0 0x0 0xC0000018",
  };
  std::string text;
  if (variant.has_driver()) {
    text += state_line(state);
    state = variant.steps[step].outputs;
    text += std::string(3, static_cast<char>('1' + step)) + state_line(state);
  }
  return text + kLabels[step] + words_line(word, variant.steps[step].reference);
}

/// The console of a run in which each cycle's steps read these words.
std::string run_console(const Variant& variant, const std::vector<unsigned>& words) {
  std::string text = head(variant);
  unsigned state = 0;
  for (int cycle = 1; cycle <= 5; ++cycle) {
    text += cycle_head(cycle);
    for (std::size_t step = 0; step < words.size(); ++step) {
      text += step_console(variant, step, words[step], state);
    }
    if (words.size() == 3) text += state_line(state);
  }
  return text + "\n";
}

// ---- all of them -----------------------------------------------------------------------------------------

class AlarmStepsTest : public AlarmRoom, public ::testing::WithParamInterface<Variant> {
 protected:
  static constexpr int kCode = 518;

  AlarmStepsTest() : AlarmRoom(GetParam().family) {
    if (variant.has_driver()) expect_open({"/dev/alarm"});
  }

  /// Goes on with another such board, unless this one is still new.
  void next_board() {
    if (!board.trace().empty()) AlarmRoom::next_board(variant.family);
  }
  void run() { variant.run(variant.type, kCode); }
  std::vector<unsigned> healthy() const {
    std::vector<unsigned> words;
    for (const Step& step : variant.steps) words.push_back(step.reference);
    return words;
  }
  int errors_in(const std::vector<unsigned>& words) const {
    int errors = 0;
    for (std::size_t step = 0; step < words.size(); ++step) {
      if (words[step] != variant.steps[step].reference) errors += 5;
    }
    return errors;
  }
  /// Runs, and expects all that is said when each cycle's steps read these words.
  void expect_words(const std::vector<unsigned>& words) {
    run();
    const int errors = errors_in(words);
    EXPECT_EQ(console.out(), run_console(variant, words) + (errors != 0 ? "fail num = 10\n" : ""));
    EXPECT_EQ(console.err(), summary(5, errors));
    expect_reply(kCode, errors != 0 ? "Fail" : "Pass", errors != 0 ? "测试失败" : "测试成功");
  }

  const Variant& variant = GetParam();
};

INSTANTIATE_TEST_SUITE_P(On, AlarmStepsTest,
                         ::testing::Values(kSevenOutputs, kFiveOutputs, kLoop, kThreeInputs),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(AlarmStepsTest, AHealthyBoardPassesWithEachCallInItsTime) {
  expect_words(healthy());
  expect_trace(run_script(variant, variant.type));
  EXPECT_EQ(board.now(), 500ms * (5 * static_cast<int>(variant.steps.size()) + 1));
  EXPECT_EQ(gpiofd, -1);
}

TEST_P(AlarmStepsTest, EveryTypeIsAcceptedAndOnlyTypeFourDrivesFiveRelays) {
  for (const int type : {-1, 0, 3, 4, 5, 2147483647}) {
    SCOPED_TRACE(type);
    next_board();
    variant.run(type, kCode);
    EXPECT_EQ(console.lines().at(1), "type: " + std::to_string(type));
    expect_trace(run_script(variant, type));
  }
}

TEST_P(AlarmStepsTest, EachStepIsSaidWhenItIsDoneAndFlushedUpToTheThird) {
  std::string said = head(variant) + cycle_head(1);
  unsigned state = 0;
  for (std::size_t step = 0; step < variant.steps.size(); ++step) {
    if (step < 3) said += step_console(variant, step, variant.steps[step].reference, state);
    board.at(500ms * static_cast<int>(step + 1) + 1ms, [this, said] { EXPECT_EQ(console.flushed(), said); });
  }
  run();
}

TEST_P(AlarmStepsTest, EachStepInWhichAnInputIsWrongCounts) {
  for (unsigned bit = 0; bit < 4; ++bit) {
    for (const bool high : {false, true}) {
      const std::string fault = "input T" + std::to_string(bit + 1) + (high ? " stuck high" : " stuck low");
      SCOPED_TRACE(fault);
      next_board();
      board.fault(fault);
      std::vector<unsigned> words = healthy();
      for (unsigned& word : words) word = high ? word | 1U << bit : word & ~(1U << bit);
      expect_words(words);
    }
  }
}

TEST_P(AlarmStepsTest, OneBadStepFailsTheTest) {
  const bool is_high = (variant.steps[0].reference & 1U) != 0;
  board.at(100ms, [this, is_high] { board.fault(is_high ? "input T1 stuck low" : "input T1 stuck high"); });
  board.at(600ms, [this] { board.clear_faults(); });
  run();
  EXPECT_EQ(console.err(), summary(5, 1));
  expect_fail(kCode, "测试失败");
}

TEST_P(AlarmStepsTest, OnlyTheFirstFourInputsCount) {
  board.fault("gpio 20 stuck high");
  board.fault("gpio 94 stuck low");
  expect_words(healthy());
}

TEST_P(AlarmStepsTest, InputsThatCannotBeReadAreLow) {
  board.fault("ioctl /dev/qznio 0x80044703");
  expect_words(std::vector<unsigned>(variant.steps.size(), 0));
}

TEST_P(AlarmStepsTest, WithOutputsThatStayOffTheStepsFailInWhichTheyShouldBeOn) {
  board.fault(variant.has_driver() ? "ioctl /dev/alarm 0x40044101 #2+" : "ioctl /dev/fpga");
  run();
  EXPECT_EQ(console.err(),
            summary(5, errors_in(std::vector<unsigned>(variant.steps.size(), variant.at_rest))));
  expect_fail(kCode, "测试失败");
}

// ---- the alarm driver ------------------------------------------------------------------------------------

class AlarmDriverStepsTest : public AlarmRoom {
 protected:
  /// Runs each of the driver's variants with a fault on a board of its own, and hands it over behind that.
  template <class Check>
  void on_each(const char* fault, Check check) {
    for (const Variant& variant : {kLoop, kThreeInputs}) {
      SCOPED_TRACE(variant.name);
      next_board(variant.family);
      expect_open({"/dev/alarm"});
      if (fault != nullptr) board.fault(fault);
      variant.run(variant.type, 518);
      check(variant);
    }
  }
  /// So many lines of the first step.
  Lines first_lines(int count) const {
    const Lines lines = console.lines();
    return {lines.begin() + 4, lines.begin() + 4 + count};
  }
};

TEST_F(AlarmDriverStepsTest, ADescriptorThatWasNeverOpenedIsClosedInThePlaceOfTheAlarmNode) {
  on_each(nullptr, [this](const Variant&) {
    EXPECT_EQ(board.hardware_trace().back(), "close -1 = -1 EBADF");
    for (const int standard : {0, 1, 2}) EXPECT_NE(::fcntl(standard, F_GETFD), -1) << standard;
    EXPECT_NE(::fcntl(station.board_socket(), F_GETFD), -1);
  });
}

TEST_F(AlarmDriverStepsTest, OneMoreAlarmNodeStaysOpenWithEachRun) {
  on_each(nullptr, [this](const Variant& variant) {
    EXPECT_EQ(board.open_nodes(), Lines{"/dev/alarm"});
    variant.run(variant.type, 518);
    expect_open({"/dev/alarm", "/dev/alarm"});
  });
}

TEST_F(AlarmDriverStepsTest, ADriverThatRefusesToSetOutputsIsSaid) {
  on_each("ioctl /dev/alarm 0x40044101 #1 EIO", [this](const Variant&) {
    EXPECT_EQ(first_lines(3), (Lines{"alarm_all_value:0", "set alarm out stat fail!(Input/output error)",
                                     "111alarm_all_value:0"}));
  });
}

TEST_F(AlarmDriverStepsTest, AFailedReadingOfTheDriverIsShownAsAllOnesAndTheTestPasses) {
  on_each("ioctl /dev/alarm 0x80044102 #1 EIO", [this](const Variant&) {
    EXPECT_EQ(first_lines(3), (Lines{"get alarm out stat fail!(Input/output error)",
                                     "get all_alarm stat fail!(-1)", "alarm_all_value:ffffffff"}));
    expect_pass(518);
  });
}

TEST_F(AlarmDriverStepsTest, ADriverThatDoesNotOpenForAReadingIsShownAsZeroAndTheTestPasses) {
  on_each("open /dev/alarm #2", [this](const Variant&) {  // the first one is the test's own
    EXPECT_EQ(first_lines(2), (Lines{"boardtest:alarm_get,open /dev/alarm error.", "alarm_all_value:0"}));
    expect_pass(518);
  });
}

}  // namespace
