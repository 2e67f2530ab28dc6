// The automatic level on boards whose hardware, store or application does not play along.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/sensor/vsub_store_faults.h"
#include "tests/sensor/vsub_sweep_board.h"

namespace {

using namespace std::chrono_literals;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

class VsubSweepFaultsTest : public SweepRun {};

// ---- the command --------------------------------------------------------------------------

TEST_F(VsubSweepFaultsTest, WithoutTheIoDriverTheCommandFailsWithCode1) {
  board.fault("open /dev/qznio");
  t1_sdk_autoCCDLevel();
  expect_auto("Fail", "open /dev/qznio error");
  EXPECT_EQ(console.out(), "t1_sdk_autoCCDLevel\nopen /dev/qznio error.\nfail num = 1\n");
  EXPECT_EQ(board.hardware_trace(), Lines{"open /dev/qznio = -1 ENODEV"});
  EXPECT_EQ(board->application.commands(), Commands{});
}

TEST_F(VsubSweepFaultsTest, WithoutABootBlockTheCommandFailsWithCode2) {
  board.fault("ioctl /dev/qznio 0x80044801");
  t1_sdk_autoCCDLevel();
  expect_auto("Fail", "ioctl error");
  EXPECT_EQ(console.out(), "t1_sdk_autoCCDLevel\nioctl error,ret = -1\nfail num = 2\n");
  EXPECT_EQ(board.hardware_trace(), (Lines{"open /dev/qznio = ok", "ioctl /dev/qznio 0x80044801 {} = -1 EIO",
                                           "close /dev/qznio = 0"}));
  EXPECT_EQ(board->application.commands(), Commands{});
}

TEST_F(VsubSweepFaultsTest, TheCommandPassesWithoutTheFpga) {
  for (const std::string_view family : {"6455", "normal"}) {
    next_board(family);
    board.fault("open /dev/fpga");
    t1_sdk_autoCCDLevel();
    expect_auto();
    EXPECT_EQ(console.out(), "t1_sdk_autoCCDLevel\nOpen /dev/fpga error.\n");
    EXPECT_EQ(board->application.commands(), Commands{});
    EXPECT_EQ(flash_saves(), 0U);
  }
}

TEST_F(VsubSweepFaultsTest, TheCommandPassesWithoutTheTimingGenerator) {
  for (const std::string_view family : {"6455", "normal"}) {
    next_board(family);
    board.fault("open /dev/tg");
    t1_sdk_autoCCDLevel();
    expect_auto();
    EXPECT_EQ(console.out(), "t1_sdk_autoCCDLevel\nOpen /dev/tg error.\n");
    EXPECT_EQ(board->application.commands(), Commands{});
    EXPECT_EQ(board.open_nodes(), Lines{}) << "the FPGA is closed again";
  }
}

TEST_F(VsubSweepFaultsTest, TheCommandPassesWithoutAStoredVoltage) {
  board.fault("record vsub none");
  t1_sdk_autoCCDLevel();
  expect_auto();
  EXPECT_EQ(console.out(), "t1_sdk_autoCCDLevel\nRead vsub from flash error ret = -11\n");
}

// ---- the sweep's own failures -------------------------------------------------------------

TEST_F(VsubSweepFaultsTest, ASweepWithoutTheFpgaOpensNothingElse) {
  board.fault("open /dev/fpga");
  SetVsubGetLuma();
  EXPECT_EQ(board.hardware_trace().front(), "open /dev/fpga = -1 ENODEV");
  EXPECT_EQ(board.hardware_trace().size(), 1U);
}

TEST_F(VsubSweepFaultsTest, ASweepWithoutTheTimingGeneratorClosesTheFpga) {
  for (void (*const measure)() : {SetVsubGetLuma, SetNonVsubGetLuma}) {
    next_board("6455");
    board.fault("open /dev/tg");
    measure();
    EXPECT_EQ(board.hardware_trace(),
              (Lines{"open /dev/fpga = ok", "open /dev/tg = -1 ENODEV", "close /dev/fpga = 0"}));
    EXPECT_EQ(board.now(), 0s);
  }
}

TEST_F(VsubSweepFaultsTest, ASweepWithoutAValidRecordTouchesNothing) {
  struct {
    const char* fault;
    int code;
  } const cases[] = {{"record vsub magic", -11},
                     {"record vsub checksum", -13},
                     {"open /dev/mmcblk0p7", -1},
                     {"lseek /dev/mmcblk0p7", -1},
                     {"read /dev/mmcblk0p7", -1}};
  for (const auto& [fault, code] : cases) {
    SCOPED_TRACE(fault);
    next_board("6455");
    board.fault(fault);
    SetVsubGetLuma();
    EXPECT_EQ(console.out(), "Read vsub from flash error ret = " + std::to_string(code) + "\n");
    EXPECT_EQ(board->application.commands(), Commands{}) << "the application is not paused";
    EXPECT_EQ(board->substrate_voltage.code(), 0U);
    EXPECT_EQ(flash_saves(), 0U);
    EXPECT_EQ(board.now(), 0s);
    EXPECT_EQ(board.open_nodes(), Lines{});
  }
}

TEST_F(VsubSweepFaultsTest, PairsThatCannotBeSavedAreReportedAndEverythingIsPutBack) {
  struct {
    void (*measure)();
    const char* opening;
    const char* text;
  } const kinds[] = {
      {SetVsubGetLuma, "flash vsub: 0xa86\n", "write vsub luma to flash error ret = "},
      {SetNonVsubGetLuma, "", "write luma to flash error ret = "},
  };
  for (const auto& [measure, opening, text] : kinds) {
    for (const StoreFault& fault : kFlashSaveFaults) {
      SCOPED_TRACE(std::string(text) + fault.call);
      next_board("6455");
      board.fault(fault.on(1));
      measure();
      EXPECT_EQ(console.out(), std::string(opening) + kPaused + fault.line + text +
                                   std::to_string(fault.result) + "\n" + kResumed);
      EXPECT_THAT(console.err(), Not(HasSubstr("blkNum"))) << "they are not read back";
      expect_paused_and_resumed();
      expect_left_behind();
    }
  }
}

TEST_F(VsubSweepFaultsTest, AnMaBoardHasNoPlaceForThePairs) {
  struct {
    void (*measure)();
    const char* text;
  } const kinds[] = {{SetVsubGetLuma, "write vsub luma to flash error ret = -1\n"},
                     {SetNonVsubGetLuma, "write luma to flash error ret = -1\n"}};
  for (const auto& [measure, text] : kinds) {
    next_board("ma");
    measure();
    EXPECT_THAT(console.out(), HasSubstr(std::string(kPaused) + text + kResumed));
    EXPECT_EQ(console.err(), "blkNum 21 offset : 64576 error\n");
    EXPECT_EQ(luma_on_flash(), never_written(vsub::kLumaSize));
    expect_left_behind();
  }
}

TEST_F(VsubSweepFaultsTest, CodesThatCannotBeAppliedDoNotEndTheSweep) {
  board.fault("open /dev/fpga #2+");
  SetVsubGetLuma();
  std::string refused;
  for (int step = 0; step < 19; ++step) refused += "Open /dev/fpga error.\n";
  EXPECT_EQ(console.out(), std::string("flash vsub: 0xa86\n") + kPaused + refused + kNoLumaBack + kResumed);
  EXPECT_EQ(pairs().size(), 19U);
  EXPECT_EQ(pairs().back().code, kStored + 18) << "the pair names the code that was meant";
  EXPECT_EQ(board->substrate_voltage.code(), 0U);
}

TEST_F(VsubSweepFaultsTest, ABrightnessThatCannotBeReadIsZero) {
  for (void (*const measure)() : {SetVsubGetLuma, SetNonVsubGetLuma}) {
    next_board("6455");
    board.fault("ioctl /dev/fpga 0x80044602");
    measure();
    for (const vsub::Pair& pair : pairs()) EXPECT_EQ(pair.luma, 0U);
    EXPECT_EQ(pairs().size(), 19U);
  }
}

TEST_F(VsubSweepFaultsTest, ABrightnessThatCannotBeReadOnceIsZeroOnce) {
  board.fault("fpga 0xb0 stuck 50");
  board.fault("ioctl /dev/fpga 0x80044602 #3");
  SetNonVsubGetLuma();
  std::vector<vsub::Pair> expected = samples_of(50);
  expected[2].luma = 0;
  EXPECT_EQ(pairs(), expected);
}

TEST_F(VsubSweepFaultsTest, RegistersThatRefuseEveryWriteDoNotEndTheSampling) {
  board.fault("ioctl /dev/tg");
  board.fault("ioctl /dev/fpga 0x40044603");
  SetNonVsubGetLuma();
  EXPECT_EQ(console.out(), std::string(kPaused) + kNoLumaBack + kResumed);
  EXPECT_EQ(pairs().size(), 19U);
}

// ---- the application ----------------------------------------------------------------------

TEST_F(VsubSweepFaultsTest, ASweepGoesOnWhenNobodyListensToItsCommands) {
  board.fault("app refused");
  SetVsubGetLuma();
  EXPECT_EQ(console.out(), std::string("flash vsub: 0xa86\nconnect failre errno=111") + kNoLumaBack +
                               "connect failre errno=111");
  EXPECT_EQ(pairs().size(), 19U);
  EXPECT_EQ(board.now(), 50ms + 19 * 200ms);
  expect_left_behind();
}

TEST_F(VsubSweepFaultsTest, SamplingGoesOnWhenNobodyListensToItsCommands) {
  board.fault("app refused");
  t1_sdk_autoCCDLevel();
  expect_auto();
  EXPECT_EQ(pairs().size(), 19U);
}

TEST_F(VsubSweepFaultsTest, ASlowApplicationHoldsTheSweepTwice) {
  board.fault("app slow 30");
  SetVsubGetLuma();
  EXPECT_EQ(board.now(), 2 * 30020ms + 50ms + 19 * 200ms);
  EXPECT_EQ(console.out(), std::string("flash vsub: 0xa86\n") + kPaused + kNoLumaBack + kResumed);
}

TEST_F(VsubSweepFaultsTest, AnApplicationThatAnswersAfterAnHourHoldsTheBoardForTheHour) {
  board->application.set_answer(kPause, {{1h, std::string(516, '\0')}});
  t1_sdk_autoCCDLevel();
  expect_auto();
  EXPECT_EQ(board.now(), 2h + 50ms + 19 * 200ms);
  EXPECT_THAT(console.out(), HasSubstr("MAtest:CMD:0, maHeart:0, maStartOK:0x0\n"));
}

TEST_F(VsubSweepFaultsTest, WhatTheApplicationAnswersDoesNotMatter) {
  board.fault("app closes");
  t1_sdk_autoCCDLevel();
  expect_auto();
  EXPECT_EQ(console.out(), std::string("t1_sdk_autoCCDLevel\nflash vsub: 0xa86\n") + kNoLumaBack);
  EXPECT_EQ(pairs().size(), 19U);
}

TEST_F(VsubSweepFaultsTest, TheReplyThatCannotBeSentEndsTheSweepAllTheSame) {
  board.at(1s, [&] { station.reset(); });
  t1_sdk_autoCCDLevel();
  expect_left_behind();
  EXPECT_EQ(pairs().size(), 19U);
}

}  // namespace
