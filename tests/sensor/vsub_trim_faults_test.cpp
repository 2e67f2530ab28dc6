// Trims on boards whose hardware or store does not play along.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/sensor/vsub_store_faults.h"
#include "tests/sensor/vsub_trim_model.h"

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

/// A step in one direction on one model.
struct Step {
  const char* name;
  const TrimModel& model;
  void (*run)();
  int code;
  int change;
  const char* says;
};

const Step kSteps[] = {
    {"Add6455", k6455Trim, t1_sdk_addVsub6455, 0x2B01, -1, "t1_sdk_add_trim_vsub\n"},
    {"Dec6455", k6455Trim, t1_sdk_decVsub6455, 0x2B02, +1, "t1_sdk_dec_trim_vsub\n"},
    {"Add6485", k6485Trim, t1_sdk_addVsub6485, 0x2C01, -1, "t1_sdk_add_trim_vsub\n"},
    {"Dec6485", k6485Trim, t1_sdk_decVsub6485, 0x2C02, +1, "t1_sdk_dec_trim_vsub\n"},
    {"Add6484", k6484Trim, t1_sdk_addVsub6484, 0x2D01, -1, "t1_sdk_add_trim_vsub\n"},
    {"Dec6484", k6484Trim, t1_sdk_decVsub6484, 0x2D02, +1, "t1_sdk_dec_trim_vsub\n"},
};

void PrintTo(const Step& step, std::ostream* out) {
  *out << step.name;
}

class VsubTrimFaultsTest : public TrimRun, public ::testing::WithParamInterface<Step> {
 protected:
  const Step& step = GetParam();
  const TrimModel& model = step.model;
  const std::uint32_t trimmed = model.base + static_cast<std::uint32_t>(step.change);

  VsubTrimFaultsTest() : TrimRun(GetParam().model) {}

  void fresh_board() { next_model_board(model, model.family); }
  void expect_step_fails(const std::string& description) {
    expect_reply(step.code, kTrimName, "Fail", description);
  }
  /// What a step says before it meets the store for the second time.
  std::string said_before_saving() const {
    return step.says + loaded_line(model.base) + range_line(model.range) + trimmed_line(trimmed) + model.says;
  }
  /// The step was made: the trim stands at the new code, the FPGA is out of trimming again.
  void expect_step_made() {
    EXPECT_EQ(board->substrate_voltage.code(), trimmed);
    EXPECT_EQ(g_trim_vsub[model.slot], static_cast<int>(trimmed));
    EXPECT_EQ(g_base_vsub[model.slot], static_cast<int>(model.base));
    EXPECT_EQ(board->fpga.reg(0xD1), 0U);
    const Lines calls = board.hardware_trace();
    EXPECT_EQ(calls.at(calls.size() - 2), "ioctl /dev/fpga 0x40044603 {209, 0} = 0");
    EXPECT_EQ(calls.back(), "close /dev/fpga = 0");
  }
  /// Nothing was loaded, applied or saved.
  void expect_nothing_done() {
    EXPECT_EQ(g_trim_vsub[model.slot], 0);
    EXPECT_EQ(g_base_vsub[model.slot], 0);
    EXPECT_EQ(board->substrate_voltage.code(), 0U);
    EXPECT_EQ(flash_saves(), 0U);
    for (const std::string& call : board.hardware_trace()) {
      EXPECT_EQ(call.find("0x40044603"), std::string::npos) << call;
    }
    EXPECT_EQ(board.hardware_trace().back(), "close /dev/fpga = 0");
  }
};

INSTANTIATE_TEST_SUITE_P(By, VsubTrimFaultsTest, ::testing::ValuesIn(kSteps),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(VsubTrimFaultsTest, FailsWithoutTheFpga) {
  board.fault("open /dev/fpga");
  step.run();
  expect_step_fails("Open fpgaFd error");
  EXPECT_EQ(console.out(), std::string(step.says) + "Open /dev/fpga error.\nfail num = 2\n");
  EXPECT_EQ(board.hardware_trace(), Lines{"open /dev/fpga = -1 ENODEV"});
  EXPECT_EQ(g_base_vsub[model.slot], 0);
}

TEST_P(VsubTrimFaultsTest, FailsWhenTheFirstWordCannotBeRead) {
  for (const StoreFault& fault : kEmmcReadFaults) {
    SCOPED_TRACE(fault.call);
    fresh_board();
    board.fault(fault.on(1));
    step.run();
    expect_step_fails("read vsub error");
    EXPECT_EQ(console.out(), std::string(step.says) + "read vsub error = " + std::to_string(fault.result) +
                                 "\nfail num = 2\n");
    expect_nothing_done();
  }
}

TEST_P(VsubTrimFaultsTest, FailsWhenTheSecondWordCannotBeRead) {
  for (const StoreFault& fault : kEmmcReadFaults) {
    SCOPED_TRACE(fault.call);
    fresh_board();
    board.fault(fault.on(2));
    step.run();
    expect_step_fails("read vsub2 error");
    EXPECT_EQ(console.out(), std::string(step.says) + "read vsub2 error = " + std::to_string(fault.result) +
                                 "\nfail num = 2\n");
    expect_nothing_done();
  }
}

TEST_P(VsubTrimFaultsTest, FailsWhenAWordComesShort) {
  struct {
    const char* fault;
    const char* text;
  } const cases[] = {{"read /dev/mmcblk0p7 #1 short 3", "read vsub error"},
                     {"read /dev/mmcblk0p7 #2 short 7", "read vsub2 error"},
                     {"read /dev/mmcblk0p7 #2 short 4", "read vsub2 error"}};
  for (const auto& [fault, text] : cases) {
    SCOPED_TRACE(fault);
    fresh_board();
    board.fault(fault);
    step.run();
    expect_step_fails(text);
    expect_nothing_done();
  }
}

TEST_P(VsubTrimFaultsTest, ReadsTheStoreAgainAfterAFailedReading) {
  for (const int access : {1, 2}) {
    fresh_board();
    board.fault(kEmmcReadFaults[2].on(access));
    step.run();
    forget();
    step.run();
    expect_reply(step.code, kTrimName, "Pass", "测试成功");
    EXPECT_THAT(console.out(), HasSubstr(loaded_line(model.base)));
    expect_step_made();
  }
}

TEST_P(VsubTrimFaultsTest, FailsWhenTheRecordCannotBeSavedAndKeepsTheStep) {
  for (const StoreFault& fault : kFlashSaveFaults) {
    SCOPED_TRACE(fault.call);
    fresh_board();
    board.fault(fault.on(1));
    step.run();
    expect_step_fails("Save vsub to flash error");
    EXPECT_EQ(console.out(), said_before_saving() + fault.line + "Save vsub to flash error = " +
                                 std::to_string(fault.result) + "\nfail num = 2\n");
    expect_step_made();
  }
}

TEST_P(VsubTrimFaultsTest, FailsWhenTheRecordCannotBeReadBackAndKeepsTheStep) {
  for (const StoreFault& fault : kEmmcReadFaults) {
    SCOPED_TRACE(fault.call);
    fresh_board();
    board.fault(fault.on(3));
    step.run();
    expect_step_fails("Read vsub from flash error");
    EXPECT_EQ(console.out(), said_before_saving() + "Read vsub from flash error = " +
                                 std::to_string(fault.result) + "\nfail num = 2\n");
    expect_step_made();
    EXPECT_EQ(on_flash(), vsub::record(trimmed, model.base, model.voltage)) << "it was saved before";
  }
}

TEST_P(VsubTrimFaultsTest, FailsWhenWhatIsReadBackIsNoRecord) {
  struct {
    std::size_t byte;
    int result;
  } const cases[] = {{16, -11}, {40, -13}};
  for (const auto& [byte, result] : cases) {
    fresh_board();
    vsub::Bytes bytes = vsub::record(model.base, model.base, model.voltage);
    bytes[byte] ^= 1;
    board->emmc.set_bytes(vsub::kEmmcVsub, bytes);
    step.run();
    expect_step_fails("Read vsub from flash error");
    EXPECT_EQ(console.out(), said_before_saving() + "Read vsub from flash error = " + std::to_string(result) +
                                 "\nfail num = 2\n");
    expect_step_made();
  }
}

TEST_P(VsubTrimFaultsTest, GoesOnFromAStepThatCouldNotBeSaved) {
  for (const StoreFault& fault : kFlashSaveFaults) {
    SCOPED_TRACE(fault.call);
    fresh_board();
    board.fault(fault.on(1));
    step.run();
    forget();
    step.run();
    expect_reply(step.code, kTrimName, "Pass", "测试成功");
    const std::uint32_t next = trimmed + static_cast<std::uint32_t>(step.change);
    EXPECT_EQ(board->substrate_voltage.code(), next);
    // A write that failed has left the block erased: the record is all there is now.
    EXPECT_EQ(on_flash(), vsub::record(next, model.base, model.voltage));
  }
}

TEST_P(VsubTrimFaultsTest, PassesWhenTheCodeCannotBeApplied) {
  board.fault("open /dev/fpga #2");
  step.run();
  expect_reply(step.code, kTrimName, "Pass", "测试成功");
  EXPECT_EQ(console.out(), step.says + loaded_line(model.base) + range_line(model.range) +
                               trimmed_line(trimmed) + "Open /dev/fpga error.\n" + model.says);
  EXPECT_EQ(board->substrate_voltage.code(), 0U);
  EXPECT_EQ(on_flash(), vsub::record(trimmed, model.base, model.voltage));
  EXPECT_EQ(board.hardware_trace().back(), "close /dev/fpga = 0");
}

TEST_P(VsubTrimFaultsTest, PassesWhenTheFpgaRefusesEveryWrite) {
  board.fault("ioctl /dev/fpga 0x40044603");
  step.run();
  expect_reply(step.code, kTrimName, "Pass", "测试成功");
  EXPECT_EQ(console.out(), said_before_saving());
  EXPECT_EQ(board->substrate_voltage.code(), 0U);
  EXPECT_EQ(g_trim_vsub[model.slot], static_cast<int>(trimmed));
}

TEST_P(VsubTrimFaultsTest, PowerThatFailsWhileSavingLeavesTheStepUnsaved) {
  for (const char* const cut : {"flash cut erase", "flash cut 0", "flash cut 100"}) {
    SCOPED_TRACE(cut);
    fresh_board();
    board.fault(cut);
    step.run();
    expect_step_fails("Save vsub to flash error");
    expect_step_made();
    EXPECT_EQ(on_flash(), never_written());
  }
}

TEST_P(VsubTrimFaultsTest, OnAnMaBoardAnEmmcThatCannotBeWrittenFailsTheStep) {
  next_model_board(model, "ma");
  board.fault("write /dev/mmcblk0p7 ENOSPC");
  step.run();
  expect_step_fails("Save vsub to flash error");
  EXPECT_EQ(console.out(), said_before_saving() + "Save vsub to flash error = -1\nfail num = 2\n");
  EXPECT_EQ(console.err(), "write: /dev/mmcblk0p7 error: 28 \n");
  expect_step_made();
  EXPECT_EQ(on_emmc(), vsub::record(model.base, model.base, model.voltage));
}

TEST_P(VsubTrimFaultsTest, OnAnMaBoardThatDoesNotKnowItselfTheFlashIsSavedTo) {
  next_model_board(model, "ma");
  board.fault("ioctl /dev/qznio 0x80044801 #2");  // the first query belongs to the applying of the code
  step.run();
  expect_reply(step.code, kTrimName, "Pass", "测试成功");
  EXPECT_EQ(on_flash(), vsub::record(trimmed, model.base, model.voltage));
  EXPECT_EQ(on_emmc(), vsub::record(model.base, model.base, model.voltage));
  EXPECT_THAT(console.out(), EndsWith("ioctl error,ret = -1\n"));
}

}  // namespace
