// The automatic level: the sweep of voltages, and the sampling without one.
#include "t1_sdk/boardtest/sensor/vsub/sweep.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/sensor/vsub_store_faults.h"
#include "tests/sensor/vsub_sweeps.h"

namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::Not;

class VsubSweepTest : public VsubRun, public ::testing::WithParamInterface<Sweep> {
 protected:
  const Sweep& sweep = GetParam();

  /// All that is printed when so much is said between the pausing and the going on of the application.
  std::string said(const std::string& between) const {
    return sweep.opening + (kPaused + between) + kResumed;
  }
};

INSTANTIATE_TEST_SUITE_P(By, VsubSweepTest, ::testing::ValuesIn(kSweeps),
                         [](const auto& row) { return std::string(row.param.name); });

// ---- healthy boards -----------------------------------------------------------------------

TEST_P(VsubSweepTest, AsksTheHardwareIn19StepsOf200Milliseconds) {
  VsubScript expected;
  sweep_script(expected, sweep, kStored);
  sweep.run();
  Lines calls = board.timed_hardware_trace();
  ASSERT_GE(calls.size(), 2U);
  for (int node = 0; node < 2; ++node) {  // the order in which they are closed is nobody's business
    EXPECT_THAT(calls.back(), HasSubstr(" close /dev/"));
    calls.pop_back();
  }
  EXPECT_EQ(calls, expected.lines());
  EXPECT_EQ(board.now(), 20ms + 50ms + 19 * 200ms + 20ms);
}

TEST_P(VsubSweepTest, SaysWhatItStartsFromAndThatItsPairsCannotBeReadBack) {
  sweep.run();
  expect_console(said(kNoLumaBack), "blkNum 21 offset : 64576 error\n");
  EXPECT_EQ(station.bytes(), "") << "the reply belongs to the command";
  expect_put_back(board);
}

TEST_P(VsubSweepTest, StoresItsPairsAndNoVoltage) {
  board.fault("fpga 0xb0 stuck 0xfffffffe");      // a brightness may take all 32 bits
  for (const std::uint32_t real : {2700U, 5U}) {  // codes wrap around 0
    store(real, 2694);
    sweep.run();
    EXPECT_EQ(stored_pairs(board), sweep.pairs(real, 0xFFFFFFFE));
    EXPECT_EQ(board->substrate_voltage.code(), sweep.has_voltage ? real + 18 : 0U)
        << "the last code stays applied";
    EXPECT_EQ(on_flash(), never_written());
    EXPECT_EQ(on_emmc(), vsub::record(real, 2694, "7.6"));
  }
}

TEST_P(VsubSweepTest, ReadsEachBrightnessAnewBehindItsCode) {
  // The sensor's brightness changes between the applying and the reading of the fifth code.
  board.at(70ms + 4 * 200ms + 100ms, [&] { board.fault("fpga 0xb0 stuck 7"); });
  board.fault("fpga 0xb0 stuck 300");
  sweep.run();
  std::vector<vsub::Pair> expected = sweep.pairs(kStored, 7);
  for (std::size_t pair = 0; pair < 4; ++pair) expected[pair].luma = 300;
  EXPECT_EQ(stored_pairs(board), expected);
}

// ---- hardware and stores that fail --------------------------------------------------------

TEST_P(VsubSweepTest, TouchesNothingWithoutItsTwoNodesAndTheCommandPasses) {
  const struct {
    const char* fault;
    const char* said;
    Lines calls;
  } cases[] = {{"open /dev/fpga", "Open /dev/fpga error.\n", {"open /dev/fpga = -1 ENODEV"}},
               {"open /dev/tg",
                "Open /dev/tg error.\n",
                {"open /dev/fpga = ok", "open /dev/tg = -1 ENODEV", "close /dev/fpga = 0"}}};
  for (const auto& [fault, said, calls] : cases) {
    SCOPED_TRACE(fault);
    next_board(sweep.family);
    board.fault(fault);
    sweep.run();
    EXPECT_EQ(board.hardware_trace(), calls);
    EXPECT_EQ(board.now(), 0s) << "the application is not paused";
    forget();
    t1_sdk_autoCCDLevel();
    expect_reply(kAutoLevel, "Pass", "测试成功");
    expect_console(std::string("t1_sdk_autoCCDLevel\n") + said);
  }
}

TEST_P(VsubSweepTest, ReportsPairsThatCannotBeSavedAndPutsEverythingBack) {
  for (const StoreFault& fault : flash_save_faults()) {
    SCOPED_TRACE(fault.call);
    next_board("6455");
    board.fault(fault.on(1));
    sweep.run();
    EXPECT_EQ(console.out(), said(fault.line + (sweep.write_failed + std::to_string(fault.result)) + "\n"));
    EXPECT_THAT(console.err(), Not(HasSubstr("blkNum"))) << "they are not read back";
    expect_put_back(board);
  }
}

TEST_P(VsubSweepTest, TakesABrightnessThatCannotBeReadForZero) {
  board.fault("fpga 0xb0 stuck 50");
  board.fault("ioctl /dev/fpga 0x80044602 #3");
  sweep.run();
  std::vector<vsub::Pair> expected = sweep.pairs(kStored, 50);
  expected[2].luma = 0;
  EXPECT_EQ(stored_pairs(board), expected);
}

TEST_P(VsubSweepTest, GoesOnWhenRegistersRefuseEveryWrite) {
  board.fault("ioctl /dev/tg");
  board.fault("ioctl /dev/fpga 0x40044603");
  sweep.run();
  EXPECT_EQ(console.out(), said(kNoLumaBack));
  EXPECT_EQ(stored_pairs(board).size(), 19U);
}

TEST_P(VsubSweepTest, GoesOnWhenNoApplicationListens) {
  board.fault("app refused");
  sweep.run();
  EXPECT_EQ(console.out(), std::string(sweep.opening) + "connect failre errno=111" + kNoLumaBack +
                               "connect failre errno=111");
  EXPECT_EQ(stored_pairs(board).size(), 19U);
  EXPECT_EQ(board.now(), 50ms + 19 * 200ms);
}

// ---- the command --------------------------------------------------------------------------

class VsubAutoLevelTest : public VsubRun {
 protected:
  static constexpr std::uint32_t kNoVsub[] = {0x9601, 0x9602, 0x9606, 0x960E,  0x9610,  0x9701,
                                              0x9704, 0x970F, 0x9C0A, 0xA6005, 0x39603, 0};
  void expect_auto(const std::string& value = "Pass", const std::string& description = "测试成功") {
    expect_reply(kAutoLevel, value, description);
  }
  void expect_chosen(std::uint32_t type, const Sweep& sweep) {
    SCOPED_TRACE(type);
    next_board("normal");
    board.set_type(type);
    board.fault("fpga 0xb0 stuck 5");
    t1_sdk_autoCCDLevel();
    expect_auto();
    EXPECT_EQ(stored_pairs(board), sweep.pairs(kStored, 5));
    EXPECT_EQ(console.out(),
              std::string("t1_sdk_autoCCDLevel\n") + sweep.opening + kPaused + kNoLumaBack + kResumed);
  }
};

TEST_F(VsubAutoLevelTest, AModelWithASubstrateVoltageIsSweptAndAnyOtherSampled) {
  for (const std::uint32_t type : {0x9702U, 0x9604U, 0x9703U, 0x9605U, 0x9603U, 0x960FU, 0x9709U}) {
    expect_chosen(type, kSweeps[0]);
  }
  for (const std::uint32_t type : kNoVsub) expect_chosen(type, kSweeps[1]);
}

TEST_F(VsubAutoLevelTest, TheDriverStaysOpenOverTheSweep) {
  VsubScript expected;
  expected.open("/dev/qznio").call("ioctl /dev/qznio 0x80044801 {} = 0");
  sweep_script(expected, kSweeps[0], kStored);
  t1_sdk_autoCCDLevel();
  Lines calls = board.timed_hardware_trace();
  ASSERT_GE(calls.size(), 3U);
  EXPECT_EQ(calls.back(), "3.890000 close /dev/qznio = 0");
  calls.resize(calls.size() - 3);
  EXPECT_EQ(calls, expected.lines());
}

TEST_F(VsubAutoLevelTest, WithoutTheIoDriverTheCommandFailsWithCode1) {
  board.fault("open /dev/qznio");
  t1_sdk_autoCCDLevel();
  expect_auto("Fail", "open /dev/qznio error");
  expect_console("t1_sdk_autoCCDLevel\nopen /dev/qznio error.\nfail num = 1\n");
  EXPECT_EQ(board.hardware_trace(), Lines{"open /dev/qznio = -1 ENODEV"});
}

TEST_F(VsubAutoLevelTest, WithoutABootBlockTheCommandFailsWithCode2) {
  board.fault("ioctl /dev/qznio 0x80044801");
  t1_sdk_autoCCDLevel();
  expect_auto("Fail", "ioctl error");
  expect_console("t1_sdk_autoCCDLevel\nioctl error,ret = -1\nfail num = 2\n");
  EXPECT_EQ(board.hardware_trace(), (Lines{"open /dev/qznio = ok", "ioctl /dev/qznio 0x80044801 {} = -1 EIO",
                                           "close /dev/qznio = 0"}));
}

TEST_F(VsubAutoLevelTest, WithoutAValidStoredVoltageTheCommandPassesAndTouchesNothing) {
  struct {
    const char* fault;
    const char* result;
  } const cases[] = {{"record vsub none", "-11"},
                     {"record vsub checksum", "-13"},
                     {"open /dev/mmcblk0p7", "-1"},
                     {"read /dev/mmcblk0p7", "-1"}};
  for (const auto& [fault, result] : cases) {
    SCOPED_TRACE(fault);
    next_board("6455");
    board.fault(fault);
    t1_sdk_autoCCDLevel();
    expect_auto();
    EXPECT_EQ(console.out(),
              std::string("t1_sdk_autoCCDLevel\nRead vsub from flash error ret = ") + result + "\n");
    EXPECT_EQ(board->substrate_voltage.code(), 0U);
    EXPECT_EQ(flash_saves(), 0U);
    EXPECT_EQ(board.now(), 0s) << "the application is not paused";
  }
}

TEST_F(VsubAutoLevelTest, CodesThatCannotBeAppliedDoNotEndTheSweep) {
  board.fault("open /dev/fpga #2+");
  t1_sdk_autoCCDLevel();
  expect_auto();
  std::string refused;
  for (int step = 0; step < 19; ++step) refused += "Open /dev/fpga error.\n";
  EXPECT_EQ(console.out(),
            "t1_sdk_autoCCDLevel\nflash vsub: 0xa86\n" + (kPaused + refused) + kNoLumaBack + kResumed);
  EXPECT_EQ(stored_pairs(board).size(), 19U);
  EXPECT_EQ(stored_pairs(board).back().code, kStored + 18) << "the pair names the code that was meant";
  EXPECT_EQ(board->substrate_voltage.code(), 0U);
}

TEST_F(VsubAutoLevelTest, AnApplicationThatAnswersAfterAnHourHoldsTheBoardForTheHour) {
  board->application.set_answer(kPause, {{1h, std::string(516, '\0')}});
  t1_sdk_autoCCDLevel();
  expect_auto();
  EXPECT_EQ(board.now(), 2h + 50ms + 19 * 200ms);
  EXPECT_THAT(console.out(), HasSubstr("MAtest:CMD:0, maHeart:0, maStartOK:0x0\n")) << "whatever it answers";
}

}  // namespace
