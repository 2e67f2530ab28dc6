// Saving a trim.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/sensor/vsub_store_faults.h"
#include "tests/sensor/vsub_trim_model.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class VsubSaveTest : public TrimRun, public ::testing::WithParamInterface<TrimModel> {
 protected:
  const TrimModel& model = GetParam();

  VsubSaveTest() : TrimRun(GetParam()) {}

  void fresh_board(std::string_view family) { next_model_board(model, family); }
  void expect_saved() { expect_reply(model.save_code, kTrimName, "Pass", "测试成功"); }
  void expect_save_fails(const std::string& description) {
    expect_reply(model.save_code, kTrimName, "Fail", description);
  }
  std::string said_before_saving() const {
    return "t1_sdk_save_trim_vsub\n" + loaded_line(model.base) + model.says;
  }
  static std::string success(std::uint32_t code) {
    return "success trim vsub success: " + hex_code(code) + "\n";
  }
  void expect_fpga_left() {
    const Lines calls = board.hardware_trace();
    EXPECT_EQ(calls.at(calls.size() - 2), "ioctl /dev/fpga 0x40044603 {209, 0} = 0");
    EXPECT_EQ(calls.back(), "close /dev/fpga = 0");
  }
};

INSTANTIATE_TEST_SUITE_P(Of, VsubSaveTest, ::testing::Values(k6455Trim, k6485Trim, k6484Trim),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(VsubSaveTest, AFirstSaveStoresTheBaseAsItIs) {
  model.save();
  expect_saved();
  EXPECT_EQ(console.out(), said_before_saving() + success(model.base));
  EXPECT_EQ(console.err(), "");
  EXPECT_EQ(on_flash(), vsub::record(model.base, model.base, model.voltage));
}

TEST_P(VsubSaveTest, AFirstSaveReadsTheStoreSavesAndReadsBack) {
  model.save();
  VsubScript expected;
  expected.open("/dev/fpga");
  load(expected);
  expected.flash_save();
  expected.emmc_read(64);
  expected.fpga(0xD1, 0);
  expected.close("/dev/fpga");
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
}

TEST_P(VsubSaveTest, ALaterSaveDoesNotReadTheWordsAgain) {
  model.add();
  forget();
  model.save();
  expect_saved();
  VsubScript expected;
  expected.open("/dev/fpga");
  expected.flash_save();
  expected.emmc_read(64);
  expected.fpga(0xD1, 0);
  expected.close("/dev/fpga");
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
}

TEST_P(VsubSaveTest, TheTrimmedCodeIsSavedAndNothingIsApplied) {
  for (int step = 0; step < 3; ++step) model.add();
  board->fpga.set_reg(0x2001, 0);
  forget();
  model.save();
  expect_saved();
  EXPECT_EQ(on_flash(), vsub::record(model.base - 3, model.base, model.voltage));
  EXPECT_EQ(g_trim_vsub[model.slot], static_cast<int>(model.base) - 3);
  EXPECT_EQ(board->fpga.reg(0x2001), 0U);
}

TEST_P(VsubSaveTest, OnABoardWithFlashTheConsoleShowsTheFactorysCode) {
  for (int step = 0; step < 3; ++step) model.add();
  forget();
  model.save();
  EXPECT_EQ(console.out(), "t1_sdk_save_trim_vsub\n" + std::string(model.says) + success(model.base));
}

TEST_P(VsubSaveTest, OnAnMaBoardTheConsoleShowsTheTrimmedCode) {
  fresh_board("ma");
  for (int step = 0; step < 3; ++step) model.dec();
  forget();
  model.save();
  expect_saved();
  EXPECT_EQ(console.out(), "t1_sdk_save_trim_vsub\n" + std::string(model.says) + success(model.base + 3));
  EXPECT_EQ(on_emmc(), vsub::record(model.base + 3, model.base, model.voltage));
}

TEST_P(VsubSaveTest, SavingTwiceStoresTheSameTwice) {
  model.add();
  model.save();
  forget();
  model.save();
  expect_saved();
  EXPECT_EQ(on_flash(), vsub::record(model.base - 1, model.base, model.voltage));
}

TEST_P(VsubSaveTest, TheLimitIsNotMentioned) {
  model.save();
  EXPECT_THAT(console.out(), Not(HasSubstr("只能微调上下")));
  EXPECT_THAT(console.out(), Not(HasSubstr("after trim vsub")));
}

TEST_P(VsubSaveTest, ABaseInNoRowIsSavedWithoutAVoltage) {
  store(model.base + 1, model.base + 1, "7.6");
  model.save();
  expect_saved();
  EXPECT_EQ(on_flash(), vsub::record(model.base + 1, model.base + 1, ""));
}

TEST_P(VsubSaveTest, FailsWithoutTheFpga) {
  board.fault("open /dev/fpga");
  model.save();
  expect_save_fails("Open fpgaFd error");
  EXPECT_EQ(console.out(), "t1_sdk_save_trim_vsub\nOpen /dev/fpga error.\nfail num = 2\n");
  EXPECT_EQ(board.hardware_trace(), Lines{"open /dev/fpga = -1 ENODEV"});
}

TEST_P(VsubSaveTest, FailsWhenAWordCannotBeRead) {
  const char* const texts[] = {"read vsub error", "read vsub2 error"};
  for (const StoreFault& fault : kEmmcReadFaults) {
    for (const int access : {1, 2}) {
      SCOPED_TRACE(fault.on(access));
      fresh_board(model.family);
      board.fault(fault.on(access));
      model.save();
      expect_save_fails(texts[access - 1]);
      EXPECT_EQ(console.out(), std::string("t1_sdk_save_trim_vsub\n") + texts[access - 1] + " = " +
                                   std::to_string(fault.result) + "\nfail num = 2\n");
      EXPECT_EQ(flash_saves(), 0U);
      EXPECT_EQ(g_base_vsub[model.slot], 0);
      EXPECT_EQ(board.hardware_trace().back(), "close /dev/fpga = 0");
    }
  }
}

TEST_P(VsubSaveTest, FailsWhenTheStoredCodeIsOutOfRange) {
  for (const std::uint32_t code : {0x9FFU, 0xB00U}) {
    fresh_board(model.family);
    store(code, model.base, model.voltage);
    model.save();
    expect_save_fails("vsub value error");
    EXPECT_EQ(console.out(), "t1_sdk_save_trim_vsub\n" + loaded_line(model.base) +
                                 "vsub value error = " + hex_code(code) + "\nfail num = 2\n");
    EXPECT_EQ(g_base_vsub[model.slot], 0);
    EXPECT_EQ(flash_saves(), 0U);
  }
}

TEST_P(VsubSaveTest, FailsWhenTheRecordCannotBeSavedAndLeavesTheFpga) {
  for (const StoreFault& fault : kFlashSaveFaults) {
    SCOPED_TRACE(fault.call);
    fresh_board(model.family);
    board.fault(fault.on(1));
    model.save();
    expect_save_fails("Save vsub to flash error");
    EXPECT_EQ(console.out(), said_before_saving() + fault.line + "Save vsub to flash error = " +
                                 std::to_string(fault.result) + "\nfail num = 2\n");
    expect_fpga_left();
  }
}

TEST_P(VsubSaveTest, FailsWhenTheRecordCannotBeReadBackAndLeavesTheFpga) {
  for (const StoreFault& fault : kEmmcReadFaults) {
    SCOPED_TRACE(fault.call);
    fresh_board(model.family);
    board.fault(fault.on(3));
    model.save();
    expect_save_fails("Read vsub from flash error");
    EXPECT_EQ(console.out(), said_before_saving() + "Read vsub from flash error = " +
                                 std::to_string(fault.result) + "\nfail num = 2\n");
    expect_fpga_left();
  }
}

TEST_P(VsubSaveTest, FailsWhenWhatIsReadBackIsNoRecord) {
  vsub::Bytes bytes = vsub::record(model.base, model.base, model.voltage);
  bytes[40] ^= 1;
  board->emmc.set_bytes(vsub::kEmmcVsub, bytes);
  model.save();
  expect_save_fails("Read vsub from flash error");
  EXPECT_EQ(console.out(), said_before_saving() + "Read vsub from flash error = -13\nfail num = 2\n");
  EXPECT_EQ(on_flash(), vsub::record(model.base, model.base, model.voltage));
  expect_fpga_left();
}

TEST_P(VsubSaveTest, AFailedSaveLeavesTheTrimWhereItStands) {
  model.add();
  board.fault("write /dev/mtd4 #1");
  model.save();
  EXPECT_EQ(g_trim_vsub[model.slot], static_cast<int>(model.base) - 1);
  EXPECT_EQ(g_base_vsub[model.slot], static_cast<int>(model.base));
}

}  // namespace
