// The automatic level on healthy boards: the sweep of voltages, and the sampling without one.
#include "t1_sdk/boardtest/sensor/vsub/sweep.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/sensor/vsub/vsub.h"
#include "tests/sensor/vsub_sweep_board.h"

namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class VsubSweepTest : public SweepRun {
 protected:
  /// The order in which two nodes are closed is nobody's business.
  static Lines without_last_closes(Lines lines) {
    for (int node = 0; node < 2 && !lines.empty(); ++node) {
      EXPECT_THAT(lines.back(), HasSubstr(" close /dev/"));
      lines.pop_back();
    }
    return lines;
  }
};

// ---- sweep --------------------------------------------------------------------------------

TEST_F(VsubSweepTest, ASweepAsksTheHardwareIn19StepsOf200Milliseconds) {
  VsubScript expected;
  frame(expected, true, [&](std::uint32_t step) { expected.apply(kStored - 18 + 2 * step); });
  SetVsubGetLuma();
  EXPECT_EQ(without_last_closes(board.timed_hardware_trace()), expected.lines());
  EXPECT_EQ(board.now(), 20ms + 50ms + 19 * 200ms + 20ms);
}

TEST_F(VsubSweepTest, ASweepSaysWhatItStartsFromAndThatItsPairsCannotBeReadBack) {
  SetVsubGetLuma();
  EXPECT_EQ(console.out(), std::string("flash vsub: 0xa86\n") + kPaused + kNoLumaBack + kResumed);
  EXPECT_EQ(console.err(), "blkNum 21 offset : 64576 error\n");
  EXPECT_EQ(station.bytes(), "") << "the reply belongs to the command";
}

TEST_F(VsubSweepTest, ASweepCovers18CodesOnBothSidesOfTheRealOne) {
  store(2700, 2694);
  board.fault("fpga 0xb0 stuck 120");
  SetVsubGetLuma();
  EXPECT_EQ(pairs(), sweep_of(2700, 120));
  EXPECT_EQ(pairs().front().code, 2682U);
  EXPECT_EQ(pairs().back().code, 2718U);
  EXPECT_THAT(console.out(), StartsWith("flash vsub: 0xa8c\n"));
}

TEST_F(VsubSweepTest, TheLastCodeOfASweepStaysApplied) {
  SetVsubGetLuma();
  EXPECT_EQ(board->substrate_voltage.code(), kStored + 18);
}

TEST_F(VsubSweepTest, BrightnessFallsAsTheCodeRises) {
  SetVsubGetLuma();
  const std::vector<vsub::Pair> measured = pairs();
  ASSERT_EQ(measured.size(), 19U);
  for (std::size_t pair = 1; pair < measured.size(); ++pair) {
    EXPECT_LT(measured[pair].luma, measured[pair - 1].luma) << pair;
  }
}

TEST_F(VsubSweepTest, EachBrightnessBelongsToTheCodeThatWasAppliedBefore) {
  // The sensor's brightness changes between the applying and the reading of the fifth code.
  board.at(70ms + 4 * 200ms + 100ms, [&] { board.fault("fpga 0xb0 stuck 7"); });
  board.fault("fpga 0xb0 stuck 300");
  SetVsubGetLuma();
  const std::vector<vsub::Pair> measured = pairs();
  ASSERT_EQ(measured.size(), 19U);
  for (std::size_t pair = 0; pair < measured.size(); ++pair) {
    EXPECT_EQ(measured[pair].luma, pair < 4 ? 300U : 7U) << pair;
  }
}

TEST_F(VsubSweepTest, ABrightnessMayTakeAll32Bits) {
  board.fault("fpga 0xb0 stuck 0xfffffffe");
  SetVsubGetLuma();
  EXPECT_EQ(pairs(), sweep_of(kStored, 0xFFFFFFFE));
}

TEST_F(VsubSweepTest, ARealCodeNearZeroWrapsAround) {
  store(5, 5);
  board.fault("fpga 0xb0 stuck 1");
  SetVsubGetLuma();
  EXPECT_EQ(pairs(), sweep_of(5, 1));
  EXPECT_EQ(pairs().front().code, 0xFFFFFFF3U);
  EXPECT_EQ(board->substrate_voltage.code(), 23U);
}

TEST_F(VsubSweepTest, TheApplicationIsPausedForTheTimeOfTheSweep) {
  std::vector<std::size_t> commands;
  for (const auto when : {60ms, 2000ms, 3860ms, 3880ms}) {
    board.at(when, [&] { commands.push_back(board->application.commands().size()); });
  }
  SetVsubGetLuma();
  EXPECT_EQ(commands, (std::vector<std::size_t>{1, 1, 1, 2}));
  expect_paused_and_resumed();
}

TEST_F(VsubSweepTest, TheSensorsRegistersAreSetForTheSweepAndBackAgain) {
  board->timing_generator.set_reg(5, 9);
  board->timing_generator.set_reg(6, 9);
  board->fpga.set_reg(0x80, 9);
  board->fpga.set_reg(0x2000, 9);
  board.at(2s, [&] {
    EXPECT_EQ(board->timing_generator.reg(4), 2U);
    EXPECT_EQ(board->fpga.reg(0xD0), 1U);
  });
  SetVsubGetLuma();
  EXPECT_EQ(board->timing_generator.reg(5), 0U);
  EXPECT_EQ(board->timing_generator.reg(6), 0U);
  EXPECT_EQ(board->fpga.reg(0x80), 0U);
  EXPECT_EQ(board->fpga.reg(0x2000), 0U);
  expect_left_behind();
}

TEST_F(VsubSweepTest, TheStoredVoltageStaysAsItIs) {
  const vsub::Bytes before = on_emmc();
  SetVsubGetLuma();
  EXPECT_EQ(on_emmc(), before);
  EXPECT_EQ(on_flash(), never_written());
}

TEST_F(VsubSweepTest, A65xxBoardIsSweptThroughItsIoDriver) {
  next_board("65xx");
  SetVsubGetLuma();
  std::string applied;
  for (std::uint32_t step = 0; step < 19; ++step) {
    char line[32];
    std::snprintf(line, sizeof line, "set vsub = 0x%x\n", kStored - 18 + 2 * step);
    applied += line;
  }
  EXPECT_EQ(console.out(), std::string("flash vsub: 0xa86\n") + kPaused + applied + kNoLumaBack + kResumed);
  EXPECT_EQ(board->substrate_voltage.code(), kStored + 18);
}

// ---- sampling -----------------------------------------------------------------------------

TEST_F(VsubSweepTest, SamplingAsksTheHardwareIn19StepsOf200Milliseconds) {
  VsubScript expected;
  frame(expected, false, [](std::uint32_t) {});
  SetNonVsubGetLuma();
  EXPECT_EQ(without_last_closes(board.timed_hardware_trace()), expected.lines());
  EXPECT_EQ(board.now(), 20ms + 50ms + 19 * 200ms + 20ms);
}

TEST_F(VsubSweepTest, SamplingSaysOnlyThatItsPairsCannotBeReadBack) {
  SetNonVsubGetLuma();
  EXPECT_EQ(console.out(), std::string(kPaused) + kNoLumaBack + kResumed);
  EXPECT_EQ(console.err(), "blkNum 21 offset : 64576 error\n");
}

TEST_F(VsubSweepTest, SamplesCarryNoCode) {
  board.fault("fpga 0xb0 stuck 77");
  SetNonVsubGetLuma();
  EXPECT_EQ(pairs(), samples_of(77));
}

TEST_F(VsubSweepTest, EachSampleIsReadAnew) {
  board.fault("fpga 0xb0 stuck 300");
  board.at(70ms + 9 * 200ms + 100ms, [&] { board.fault("fpga 0xb0 stuck 7"); });
  SetNonVsubGetLuma();
  const std::vector<vsub::Pair> measured = pairs();
  EXPECT_EQ(std::ranges::count(measured, vsub::Pair{0xFFFF, 300}), 9);
  EXPECT_EQ(std::ranges::count(measured, vsub::Pair{0xFFFF, 7}), 10);
}

TEST_F(VsubSweepTest, SamplingAppliesNoVoltage) {
  SetNonVsubGetLuma();
  EXPECT_EQ(board->substrate_voltage.code(), 0U);
  expect_paused_and_resumed();
  expect_left_behind();
}

TEST_F(VsubSweepTest, SamplingNeedsNoStoredVoltage) {
  board->emmc.set_bytes(vsub::kEmmcVsub, never_written());
  SetNonVsubGetLuma();
  EXPECT_EQ(pairs().size(), 19U);
}

// ---- the command --------------------------------------------------------------------------

class VsubAutoLevelTest : public SweepRun {};

TEST_F(VsubAutoLevelTest, AModelWithASubstrateVoltageIsSwept) {
  for (const std::uint32_t type : {0x9702U, 0x9604U, 0x9703U, 0x9605U, 0x9603U, 0x960FU, 0x9709U}) {
    SCOPED_TRACE(type);
    next_board("normal");
    board.set_type(type);
    board.fault("fpga 0xb0 stuck 5");
    t1_sdk_autoCCDLevel();
    expect_auto();
    EXPECT_EQ(pairs(), sweep_of(kStored, 5));
    EXPECT_EQ(console.out(),
              std::string("t1_sdk_autoCCDLevel\nflash vsub: 0xa86\n") + kPaused + kNoLumaBack + kResumed);
  }
}

TEST_F(VsubAutoLevelTest, AnyOtherModelIsSampled) {
  for (const std::uint32_t type : {0x9601U, 0x9602U, 0x9606U, 0x960EU, 0x9610U, 0x9701U, 0x9704U, 0x970FU,
                                   0x9C0AU, 0xA6005U, 0x39603U, 0U}) {
    SCOPED_TRACE(type);
    next_board("normal");
    board.set_type(type);
    board.fault("fpga 0xb0 stuck 5");
    t1_sdk_autoCCDLevel();
    expect_auto();
    EXPECT_EQ(pairs(), samples_of(5));
    EXPECT_EQ(console.out(), std::string("t1_sdk_autoCCDLevel\n") + kPaused + kNoLumaBack + kResumed);
  }
}

TEST_F(VsubAutoLevelTest, TheDriverStaysOpenOverTheSweep) {
  VsubScript sweep;
  frame(sweep, true, [&](std::uint32_t step) { sweep.apply(kStored - 18 + 2 * step); });
  Lines expected{"0.000000 open /dev/qznio = ok", "0.000000 ioctl /dev/qznio 0x80044801 {} = 0"};
  expected.insert(expected.end(), sweep.lines().begin(), sweep.lines().end());
  t1_sdk_autoCCDLevel();
  Lines calls = board.timed_hardware_trace();
  ASSERT_GE(calls.size(), 3U);
  EXPECT_EQ(calls.back(), "3.890000 close /dev/qznio = 0");
  calls.resize(calls.size() - 3);
  EXPECT_EQ(calls, expected);
}

TEST_F(VsubAutoLevelTest, TheStationsRequestLeadsHere) {
  request(11776);
  expect_auto();
  EXPECT_THAT(console.out(), StartsWith("T1_TESTCODE_AUTO_SUB\nt1_sdk_autoCCDLevel\nflash vsub: 0xa86\n"));
}

TEST_F(VsubAutoLevelTest, NoVoltageIsChosenFromThePairs) {
  t1_sdk_autoCCDLevel();
  EXPECT_EQ(on_flash(), never_written());
  EXPECT_EQ(on_emmc(), vsub::record(kStored, kStored, "7.6"));
  EXPECT_EQ(board->substrate_voltage.code(), kStored + 18);
}

TEST_F(VsubAutoLevelTest, AnotherSweepTakesThePlaceOfTheFirst) {
  board.fault("fpga 0xb0 stuck 5");
  t1_sdk_autoCCDLevel();
  forget();
  store(2702, 2702, "7.4");
  t1_sdk_autoCCDLevel();
  expect_auto();
  EXPECT_EQ(pairs(), sweep_of(2702, 5));
}

TEST_F(VsubAutoLevelTest, ThePairsAreSavedBesideATrimmedRecord) {
  t1_sdk_addVsub6455();
  t1_sdk_autoCCDLevel();
  EXPECT_EQ(on_flash(), vsub::record(kStored - 1, kStored, "7.6"));
  EXPECT_EQ(pairs().size(), 19U);
}

TEST_F(VsubAutoLevelTest, NoBoardEverReadsItsPairsBack) {
  for (const boardsim::Family& family : boardsim::families()) {
    SCOPED_TRACE(family.name);
    next_board(family.name);
    t1_sdk_autoCCDLevel();
    expect_auto();
    EXPECT_THAT(console.out(), Not(HasSubstr("pair number")));
    expect_left_behind();
  }
}

}  // namespace
