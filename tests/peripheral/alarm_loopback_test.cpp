// The loopback variants for a station: console, reply, how errors are counted.
#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/peripheral/alarm_loopback_board.h"

namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

class AlarmLoopbackTest : public AlarmLoopbackBoard, public ::testing::WithParamInterface<Loopback> {
 protected:
  AlarmLoopbackTest() : AlarmLoopbackBoard(GetParam().family) {}

  void run(unsigned mode = 0) { variant.run(mode, kCode); }
  /// Runs with faults in either cycle, and expects all that is said about it.
  void expect_failure(const PortFaults& first, const PortFaults& second, int errors,
                      const std::string& description) {
    run();
    EXPECT_EQ(console_without_words(), run_console(variant, 0, first, second) + "fail num = 10\n");
    EXPECT_EQ(console.err(), summary(errors));
    expect_reply("Fail", description);
  }
  const PortTexts& port(std::size_t index) const { return variant.ports.at(index); }
  void in_pause(std::function<void()> event) {
    board.at(std::chrono::milliseconds(variant.cycle_ms + variant.pause_ms / 2), std::move(event));
  }

  const Loopback& variant = GetParam();
};

INSTANTIATE_TEST_SUITE_P(Variants, AlarmLoopbackTest, ::testing::ValuesIn(loopbacks()),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(AlarmLoopbackTest, AHealthyBoardPassesInEveryModeAndSaysSoToTheLastLine) {
  for (unsigned mode = 0; mode <= variant.last_mode; ++mode) {
    console.clear();
    station.forget();
    run(mode);
    EXPECT_EQ(console_without_words(), run_console(variant, mode, {}, {})) << "mode " << mode;
    EXPECT_EQ(console.err(), summary(0));
    expect_reply("Pass", "测试成功");
  }
}

TEST_P(AlarmLoopbackTest, AModeBehindTheLastIsAnErrorBeforeAnyNodeIsOpened) {
  for (const unsigned mode : {variant.last_mode + 1, variant.last_mode + 2, 0x80000000U, 0xFFFFFFFFU}) {
    console.clear();
    station.forget();
    board.clear_trace();
    run(mode);
    EXPECT_EQ(console.out(), std::string(variant.banner) + "\n扩展板模式出错\nfail num = 1\n");
    EXPECT_EQ(console.err(), "");
    expect_reply("Fail", "扩展板模式出错");
    EXPECT_EQ(board.hardware_trace(), Lines{});
    EXPECT_EQ(board.now(), 0ms);
  }
}

TEST_P(AlarmLoopbackTest, TheReplyCarriesTheCodeThatItIsGiven) {
  variant.run(0, 69634);
  EXPECT_EQ(station.reply().code, 69634);
}

TEST_P(AlarmLoopbackTest, TheReplyComesAfterTheLastPause) {
  const int end = 2 * (variant.cycle_ms + variant.pause_ms) + 500;
  bool looked = false;
  board.at(std::chrono::milliseconds(end - 1), [&] {
    looked = true;
    EXPECT_EQ(station.bytes(), "");
  });
  run();
  EXPECT_TRUE(looked);
  EXPECT_EQ(board.now(), std::chrono::milliseconds(end));
  expect_reply("Pass", "测试成功");
}

TEST_P(AlarmLoopbackTest, TestControlIsOnWhileCyclesRunAndOffAfterwards) {
  board.at(1ms, [this] { EXPECT_TRUE(board->test_control.is_on()); });
  board.at(std::chrono::milliseconds(2 * (variant.cycle_ms + variant.pause_ms) + 499),
           [this] { EXPECT_TRUE(board->test_control.is_on()); });
  run();
  EXPECT_FALSE(board->test_control.is_on());
  EXPECT_EQ(gpiofd, -1);
}

// ---- ports -----------------------------------------------------------------------------------------------

TEST_P(AlarmLoopbackTest, EachInputStuckHighIsFoundOpenByItsOwnPortAlone) {
  for (const PortTexts& port : variant.ports) {
    SCOPED_TRACE(port.port);
    console.clear();
    station.forget();
    board.clear_faults();
    board.fault(std::string("input ") + port.port + " stuck high");
    const PortFaults faults = {{port.port, PortFault::open}};
    expect_failure(faults, faults, 2, port.open_description);
  }
}

TEST_P(AlarmLoopbackTest, EachInputStuckLowIsFoundShortedByItsOwnPortAlone) {
  for (const PortTexts& port : variant.ports) {
    SCOPED_TRACE(port.port);
    console.clear();
    station.forget();
    board.clear_faults();
    board.fault(std::string("input ") + port.port + " stuck low");
    const PortFaults faults = {{port.port, PortFault::shorted}};
    expect_failure(faults, faults, 2, port.short_description);
  }
}

TEST_P(AlarmLoopbackTest, EachCutWireIsFoundOpenByItsOwnPortAlone) {
  for (const PortTexts& port : variant.ports) {
    SCOPED_TRACE(port.port);
    console.clear();
    station.forget();
    board.clear_faults();
    board.fault(std::string("wire ") + port.port + " cut");
    const PortFaults faults = {{port.port, PortFault::open}};
    expect_failure(faults, faults, 2, port.open_description);
  }
}

TEST_P(AlarmLoopbackTest, AnInputShortedToGroundIsFoundShorted) {
  for (const PortTexts& port : variant.ports) {
    SCOPED_TRACE(port.port);
    console.clear();
    station.forget();
    board.clear_faults();
    board.fault(std::string("short ") + port.port + " GND");
    PortFaults faults = {{port.port, PortFault::shorted}};
    if (std::string_view(variant.name) == "Normal" && port.mask >= 4) {  // these three are one net
      faults = {{"T3", PortFault::shorted}, {"T4", PortFault::shorted}, {"SYNC", PortFault::shorted}};
    }
    expect_failure(faults, faults, 2, last_description(variant, faults));
  }
}

TEST_P(AlarmLoopbackTest, ABoardWhoseInputsAllFloatNamesItsLastPort) {
  PortFaults faults;
  for (const PortTexts& port : variant.ports) {
    board.fault(std::string("wire ") + port.port + " cut");
    faults[port.port] = PortFault::open;
  }
  expect_failure(faults, faults, 2, variant.ports.back().open_description);
}

TEST_P(AlarmLoopbackTest, InputsThatCannotBeReadCountAsShorted) {
  board.fault("ioctl /dev/qznio 0x80044703");
  PortFaults faults;
  for (const PortTexts& port : variant.ports) faults[port.port] = PortFault::shorted;
  expect_failure(faults, faults, 2, variant.ports.back().short_description);
}

TEST_P(AlarmLoopbackTest, WithoutTestControlNoOutputReachesItsInput) {
  board.fault("ioctl /dev/qznitc 0x888b #1");
  PortFaults faults;
  for (const PortTexts& port : variant.ports) faults[port.port] = PortFault::open;
  expect_failure(faults, faults, 2, variant.ports.back().open_description);
}

TEST_P(AlarmLoopbackTest, OneReadingThatFailsMakesItsPortLookShorted) {
  board.fault("ioctl /dev/qznio 0x80044703 #1");
  expect_failure({{"T1", PortFault::shorted}}, {}, variant.carries_errors ? 2 : 1, port(0).short_description);
}

TEST_P(AlarmLoopbackTest, OneWriteThatFailsMakesItsPortLookOpen) {
  // The write that should close the first output, counted from the first on the node.
  const std::map<std::string, int> number = {{"Normal", 7}, {"K", 11}, {"Ma", 8}, {"Driver", 2}};
  board.fault(std::string("ioctl ") + variant.node + " #" + std::to_string(number.at(variant.name)));
  expect_failure({{"T1", PortFault::open}}, {}, variant.carries_errors ? 2 : 1, port(0).open_description);
}

TEST_P(AlarmLoopbackTest, TestControlThatCannotBeSwitchedOffGoesUnnoticed) {
  board.fault("ioctl /dev/qznitc 0x888b #2");
  run();
  expect_reply("Pass", "测试成功");
  EXPECT_TRUE(board->test_control.is_on());
}

TEST_P(AlarmLoopbackTest, AReplyThatCannotBeSentLeavesNothingOpen) {
  board.fault("send #1 EPIPE");
  run();
  EXPECT_EQ(station.bytes(), "");
  EXPECT_EQ(gpiofd, -1);
  EXPECT_FALSE(board->test_control.is_on());
}

// ---- counting --------------------------------------------------------------------------------------------

TEST_P(AlarmLoopbackTest, AFailureInTheSecondCycleOnlyCountsOne) {
  in_pause([this] { board.fault("input T2 stuck low"); });
  expect_failure({}, {{"T2", PortFault::shorted}}, 1, port(1).short_description);
}

TEST_P(AlarmLoopbackTest, AFailureInTheFirstCycleOnlyCountsOneOrIsCarriedOver) {
  board.fault("input T2 stuck low");
  in_pause([this] { board.clear_faults(); });
  expect_failure({{"T2", PortFault::shorted}}, {}, variant.carries_errors ? 2 : 1, port(1).short_description);
}

TEST_P(AlarmLoopbackTest, ManyFailedPortsInACycleCountOne) {
  in_pause([this] {
    board.fault("input T1 stuck low");
    board.fault("input T3 stuck high");
    board.fault("input SYNC stuck high");
  });
  expect_failure({}, {{"T1", PortFault::shorted}, {"T3", PortFault::open}, {"SYNC", PortFault::open}}, 1,
                 variant.ports.back().open_description);
}

TEST_P(AlarmLoopbackTest, TheDescriptionIsThatOfTheLastFailingPort) {
  board.fault("input T4 stuck high");
  board.fault("input T2 stuck low");
  const PortFaults faults = {{"T2", PortFault::shorted}, {"T4", PortFault::open}};
  expect_failure(faults, faults, 2, port(3).open_description);
}

TEST_P(AlarmLoopbackTest, TheDescriptionIsThatOfTheLastFailingCycle) {
  board.fault("input T4 stuck high");
  in_pause([this] {
    board.clear_faults();
    board.fault("input T1 stuck low");
  });
  expect_failure({{"T4", PortFault::open}}, {{"T1", PortFault::shorted}}, 2, port(0).short_description);
}

TEST_P(AlarmLoopbackTest, AFailureIsForgottenByTheNextRun) {
  board.fault("input SYNC stuck low");
  run();
  board.clear_faults();
  station.forget();
  console.clear();
  run();
  expect_reply("Pass", "测试成功");
  EXPECT_EQ(console.err(), summary(0));
}

// ---- the differences -------------------------------------------------------------------------------------

class AlarmVariantTest : public AlarmLoopbackBoard {};

TEST_F(AlarmVariantTest, Mode3IsAnErrorOnNormalBoardsOnly) {
  alarm_test_64xx(3, kCode);
  expect_reply("Fail", "扩展板模式出错");
  station.forget();
  with_family("k");
  alarm_test_64xx_k(3, kCode);
  EXPECT_NE(console.out().find("\n九路报警输出无扩展板..\n"), std::string::npos);
}

TEST_F(AlarmVariantTest, FailingCyclesOfFivePortBoardsAreCountedNotTheirPorts) {
  board.fault("input T1 stuck low");
  board.fault("input T4 stuck high");
  alarm_test_64xx(0, kCode);
  EXPECT_EQ(console.err(), summary(2));
}

TEST_F(AlarmVariantTest, MaBoardsCountTwoEvenIfOnlyTheFirstCycleFailed) {
  with_family("ma");
  board.fault("input T1 stuck high");
  board.at(2700ms, [this] { board.clear_faults(); });
  alarm_test_64xx_19(0, kCode);
  EXPECT_EQ(console.err(), summary(2));
}

TEST_F(AlarmVariantTest, AT4StuckHighNamesF3OnFivePortsAndF4OnSeven) {
  board.fault("input T4 stuck high");
  alarm_test_64xx(0, kCode);
  EXPECT_NE(console.out().find("T4口不通或F3+、F3-短路!!!\n"), std::string::npos);
  expect_reply("Fail", "测试失败:T4不通或(F3+F3-)短路!!!");

  station.forget();
  console.clear();
  with_family("k");
  board.fault("input T4 stuck high");
  alarm_test_64xx_k(3, kCode);
  EXPECT_NE(console.out().find("T4口不通或F4+、F4-短路!!!\n"), std::string::npos);
  expect_reply("Fail", "测试失败:T4不通或(F4+F4-)短路!!!");
}

TEST_F(AlarmVariantTest, AShortedSyncOfAKBoardLeavesItsLineOpenForTheEmptyOne) {
  with_family("k");
  board.fault("input SYNC stuck low");
  alarm_test_64xx_k(0, kCode);
  EXPECT_NE(console.out().find("SYNC口短路\n第2次测试\n"), std::string::npos);
  EXPECT_NE(console.out().find("SYNC口短路\nfail num = 10\n"), std::string::npos);
}

TEST_F(AlarmVariantTest, MaBoardsPrintTheInputWordsOfEveryPort) {
  with_family("ma");
  alarm_test_64xx_19(0, kCode);
  Lines words;
  for (const std::string& line : console.lines()) {
    if (line.substr(0, 2) == "0x") words.push_back(line);
  }
  const Lines cycle = {"0x1", "0xfe", "0x2", "0xfd", "0x4", "0xfb", "0x8", "0xf7", "0xf0", "0xf"};
  Lines both = cycle;
  both.insert(both.end(), cycle.begin(), cycle.end());
  EXPECT_EQ(words, both);
}

TEST_F(AlarmVariantTest, SyncOfMaBoardsDependsOnLine114Only) {
  with_family("ma");
  for (const unsigned line : {17U, 18U, 19U, 20U, 94U}) {
    board.fault("gpio " + std::to_string(line) + " stuck high");
  }
  alarm_test_64xx_19(0, kCode);
  EXPECT_NE(console.out().find("SYNC口报警输入测试成功\n"), std::string::npos);
  expect_reply("Fail", "测试失败:T4不通或(F3+F3-)短路!!!");

  board.clear_faults();
  board.fault("gpio 114 stuck high");
  station.forget();
  console.clear();
  alarm_test_64xx_19(0, kCode);
  expect_reply("Fail", "测试失败:SYNC不通或(F3+F3-)短路!!!");
}

}  // namespace
