// Trims on boards whose hardware or store does not play along. The model makes no difference to that.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <cstdint>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/sensor/vsub_store_faults.h"
#include "tests/sensor/vsub_trims.h"

namespace {

using ::testing::HasSubstr;

class VsubTrimFaultsTest : public VsubRun, public ::testing::WithParamInterface<TrimCommand> {
 protected:
  const TrimCommand& command = GetParam();
  const std::uint32_t trimmed = command.trimmed();

  /// Runs the command on a board with this fault.
  void run_with(const std::string& fault) {
    next_board("6455");
    board.fault(fault);
    command.run();
  }
  void expect_fails(const std::string& description) { expect_reply(command.code, "Fail", description); }
  void expect_passes() { expect_reply(command.code, "Pass", "测试成功"); }
  /// What the command says before it meets the store for the second time.
  std::string said_before_saving() const {
    return command.entry + loaded_line(kStored) + step_lines(command, trimmed) + "QN_5RX6455\n";
  }
  /// The code is applied and counted although saving it failed; the FPGA is out of trimming again.
  void expect_done() {
    EXPECT_EQ(board->substrate_voltage.code(), command.saves() ? 0U : trimmed);
    EXPECT_EQ(g_trim_vsub[0], static_cast<int>(trimmed));
    EXPECT_EQ(g_base_vsub[0], static_cast<int>(kStored));
    const Lines calls = board.hardware_trace();
    EXPECT_EQ(calls.at(calls.size() - 2), "ioctl /dev/fpga 0x40044603 {209, 0} = 0");
    EXPECT_EQ(calls.back(), "close /dev/fpga = 0");
  }
  /// Nothing was loaded, applied or saved.
  void expect_nothing_done() {
    EXPECT_EQ(g_trim_vsub[0], 0);
    EXPECT_EQ(g_base_vsub[0], 0);
    EXPECT_EQ(flash_saves(), 0U);
    for (const std::string& call : board.hardware_trace()) {
      EXPECT_EQ(call.find("0x40044603"), std::string::npos) << call;
    }
    EXPECT_EQ(board.hardware_trace().back(), "close /dev/fpga = 0");
  }
};

INSTANTIATE_TEST_SUITE_P(By, VsubTrimFaultsTest,
                         ::testing::Values(kTrimCommands[0], kTrimCommands[1], kTrimCommands[2]),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(VsubTrimFaultsTest, FailsWithoutTheFpga) {
  run_with("open /dev/fpga");
  expect_fails("Open fpgaFd error");
  expect_console(command.entry + std::string("Open /dev/fpga error.\nfail num = 2\n"));
  EXPECT_EQ(board.hardware_trace(), Lines{"open /dev/fpga = -1 ENODEV"});
  EXPECT_EQ(g_base_vsub[0], 0);
}

TEST_P(VsubTrimFaultsTest, FailsWhenAWordCannotBeReadAndReadsTheStoreAgainTheNextTime) {
  for (const auto& [access, text, cut] : {std::tuple{1, "read vsub error", 3}, {2, "read vsub2 error", 7}}) {
    std::vector<std::string> faults;
    for (const StoreFault& fault : emmc_read_faults()) faults.push_back(fault.on(access));
    faults.push_back("read /dev/mmcblk0p7 #" + std::to_string(access) + " short " + std::to_string(cut));
    for (const std::string& fault : faults) {
      SCOPED_TRACE(fault);
      run_with(fault);
      expect_fails(text);
      EXPECT_EQ(console.out(), command.entry + std::string(text) + " = -1\nfail num = 2\n");
      expect_nothing_done();
    }
    forget();
    command.run();
    expect_passes();
    EXPECT_THAT(console.out(), HasSubstr(loaded_line(kStored)));
    expect_done();
  }
}

TEST_P(VsubTrimFaultsTest, FailsWhenTheRecordCannotBeSavedAndGoesOnFromThere) {
  for (const StoreFault& fault : flash_save_faults()) {
    SCOPED_TRACE(fault.call);
    run_with(fault.on(1));
    expect_fails("Save vsub to flash error");
    EXPECT_EQ(console.out(), said_before_saving() + fault.line + "Save vsub to flash error = " +
                                 std::to_string(fault.result) + "\nfail num = 2\n");
    expect_done();
    forget();
    command.run();
    expect_passes();
    // A write that failed has left the block erased: the record is all there is now.
    EXPECT_EQ(on_flash(), vsub::record(command.trimmed(2), kStored, "7.6"));
  }
}

TEST_P(VsubTrimFaultsTest, FailsWhenTheRecordCannotBeReadBack) {
  for (const StoreFault& fault : emmc_read_faults()) {
    SCOPED_TRACE(fault.call);
    run_with(fault.on(3));
    expect_fails("Read vsub from flash error");
    EXPECT_EQ(console.out(), said_before_saving() + "Read vsub from flash error = -1\nfail num = 2\n");
    expect_done();
    EXPECT_EQ(on_flash(), vsub::record(trimmed, kStored, "7.6")) << "it was saved before";
  }
}

TEST_P(VsubTrimFaultsTest, FailsWhenWhatIsReadBackIsNoRecord) {
  for (const auto& [byte, result] : {std::pair{16U, "-11"}, {40U, "-13"}}) {
    next_board("6455");
    vsub::Bytes bytes = vsub::record(kStored, kStored, "7.6");
    bytes[byte] ^= 1;
    board->emmc.set_bytes(vsub::kEmmcVsub, bytes);
    command.run();
    expect_fails("Read vsub from flash error");
    expect_console(said_before_saving() + "Read vsub from flash error = " + result + "\nfail num = 2\n");
    expect_done();
  }
}

// ---- an FPGA that takes nothing -----------------------------------------------------------

class VsubTrimUnappliedTest : public VsubRun {};

TEST_F(VsubTrimUnappliedTest, AStepPassesWhenItsCodeCannotBeApplied) {
  board.fault("open /dev/fpga #2");
  t1_sdk_addVsub6455();
  expect_reply(11009, "Pass", "测试成功");
  expect_console(kAddLine + loaded_line(kStored) + step_lines(kTrimCommands[0], kStored - 1) +
                 "Open /dev/fpga error.\nQN_5RX6455\n");
  EXPECT_EQ(board->substrate_voltage.code(), 0U);
  EXPECT_EQ(on_flash(), vsub::record(kStored - 1, kStored, "7.6"));
  EXPECT_EQ(board.hardware_trace().back(), "close /dev/fpga = 0");
}

TEST_F(VsubTrimUnappliedTest, AStepPassesWhenTheFpgaRefusesEveryWrite) {
  board.fault("ioctl /dev/fpga 0x40044603");
  t1_sdk_decVsub6455();
  expect_reply(11010, "Pass", "测试成功");
  EXPECT_EQ(board->substrate_voltage.code(), 0U);
  EXPECT_EQ(g_trim_vsub[0], static_cast<int>(kStored) + 1);
}

}  // namespace
