// The commands of a trim on healthy boards: their traces, their texts, their limits, and whom they refuse.
#include "t1_sdk/boardtest/sensor/vsub/trim.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/sensor/vsub_trims.h"

namespace {

using ::testing::HasSubstr;

/// Each command on a board of its model, whose eMMC holds the model's base code.
class VsubTrimTest : public VsubRun, public ::testing::WithParamInterface<TrimCommand> {
 protected:
  const TrimCommand& command = GetParam();
  const TrimModel& model = command.model;

  VsubTrimTest() : VsubRun(GetParam().model.family) { store(model.base, model.base, model.voltage); }

  void run_and_pass() {
    command.run();
    expect_reply(command.code, "Pass", "测试成功");
  }
  void expect_stands_at(std::uint32_t code) {
    for (int slot = 0; slot < 3; ++slot) {
      EXPECT_EQ(g_base_vsub[slot], slot == model.slot ? static_cast<int>(model.base) : 0) << slot;
      EXPECT_EQ(g_trim_vsub[slot], slot == model.slot ? static_cast<int>(code) : 0) << slot;
    }
    EXPECT_EQ(board->substrate_voltage.code(), command.saves() ? 0U : code);
  }
};

INSTANTIATE_TEST_SUITE_P(By, VsubTrimTest, ::testing::ValuesIn(kTrimCommands),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(VsubTrimTest, TheFirstReadsTheStoreAppliesAndSaves) {
  const std::uint32_t code = command.trimmed();
  run_and_pass();
  expect_console(command.entry + loaded_line(model.base) + step_lines(command, code) + model.says +
                 (command.saves() ? saved_line(code) : ""));
  EXPECT_EQ(on_flash(), vsub::record(code, model.base, model.voltage));
  expect_stands_at(code);
  VsubScript expected;
  expected.open("/dev/fpga");
  load_trim(expected);
  trim(expected, command, code);
  expected.close("/dev/fpga");
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
}

TEST_P(VsubTrimTest, ALaterOneGoesOnWithoutReadingTheStore) {
  const std::uint32_t code = command.trimmed(2);
  command.run();
  forget();
  run_and_pass();
  expect_console(command.entry + step_lines(command, code) + model.says +
                 (command.saves() ? saved_line(code) : ""));
  EXPECT_EQ(on_flash(), vsub::record(code, model.base, model.voltage));
  expect_stands_at(code);
  VsubScript expected;
  expected.open("/dev/fpga");
  trim(expected, command, code);
  expected.close("/dev/fpga");
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
}

TEST_P(VsubTrimTest, OnAnMaBoardWhatWasSavedIsReadBack) {
  next_board("ma");
  store(model.base, model.base, model.voltage);
  run_and_pass();
  EXPECT_EQ(on_emmc(), vsub::record(command.trimmed(), model.base, model.voltage));
  EXPECT_EQ(on_flash(), never_written());
  VsubScript expected;
  expected.open("/dev/fpga");
  load_trim(expected);
  trim(expected, command, command.trimmed(), true);
  expected.close("/dev/fpga");
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
}

TEST_P(VsubTrimTest, ABaseInNoRowIsSavedWithoutAVoltage) {
  store(model.base + 1, model.base + 1, "7.6");
  run_and_pass();
  EXPECT_EQ(on_flash(), vsub::record(command.trimmed() + 1, model.base + 1, ""));
}

TEST_P(VsubTrimTest, TheRealCodeMustLieBetween0xA00And0xAFF) {
  for (const std::uint32_t code : {0xA00U, 0xA01U, 0xAFEU, 0xAFFU}) {
    next_board(model.family);
    store(code, model.base, model.voltage);
    run_and_pass();
  }
  for (const std::uint32_t code : {0x9FFU, 0xB00U, 0U, 0xA86A86U, 0xFFFFFFFFU, 0x80000A86U}) {
    SCOPED_TRACE(code);
    next_board(model.family);
    store(code, model.base, model.voltage);
    command.run();
    expect_reply(command.code, "Fail", "vsub value error");
    expect_console(command.entry + loaded_line(model.base) + "vsub value error = " + hex_code(code) +
                   "\nfail num = 2\n");
    VsubScript expected;
    expected.open("/dev/fpga");
    load_trim(expected);
    expected.close("/dev/fpga");
    EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
    EXPECT_EQ(g_base_vsub[model.slot], 0) << "the next command reads the store again";
    EXPECT_EQ(g_trim_vsub[model.slot], 0);
  }
}

TEST_P(VsubTrimTest, AnOriginalCodeAtTheEdgeOfTheNumbersHarmsNothing) {
  for (const std::uint32_t base : {0x7FFFFFFFU, 0x80000000U, 0x80000001U, 0xFFFFFFFFU}) {
    next_board(model.family);
    store(model.base, base, "");
    command.run();
    EXPECT_EQ(station.records().size(), 1U) << base;
  }
}

// ---- the words of the store ---------------------------------------------------------------

class VsubTrimWordsTest : public VsubRun {};

TEST_F(VsubTrimWordsTest, TheTrimStartsFromTheOriginalCodeNotFromTheRealOne) {
  store(kStored - 7, kStored);
  t1_sdk_addVsub6455();
  EXPECT_THAT(console.out(), HasSubstr(loaded_line(kStored)));
  EXPECT_EQ(board->substrate_voltage.code(), kStored - 1);
}

TEST_F(VsubTrimWordsTest, TheOriginalCodeIsNotChecked) {
  store(kStored, 5, "");
  t1_sdk_addVsub6455();
  expect_reply(11009, "Pass", "测试成功");
  EXPECT_EQ(board->substrate_voltage.code(), 4U);
}

TEST_F(VsubTrimWordsTest, AnOriginalCodeOfZeroIsReadAnewByEveryStep) {
  store(kStored, 0, "");
  for (int step = 0; step < 2; ++step) {
    forget();
    t1_sdk_decVsub6455();
    expect_reply(11010, "Pass", "测试成功");
    EXPECT_THAT(console.out(), HasSubstr("vsub = 0x0\n"));
    EXPECT_EQ(board->substrate_voltage.code(), 1U);
  }
}

// ---- saving a trimmed code ----------------------------------------------------------------

class VsubSaveTest : public VsubRun {};

TEST_F(VsubSaveTest, OnABoardWithFlashTheConsoleShowsTheFactorysCodeAndNothingIsApplied) {
  for (int step = 0; step < 3; ++step) t1_sdk_addVsub6455();
  board->fpga.set_reg(0x2001, 0);
  forget();
  t1_sdk_saveVsub6455();
  expect_reply(11011, "Pass", "测试成功");
  expect_console("t1_sdk_save_trim_vsub\nQN_5RX6455\nsuccess trim vsub success: 0xa86\n");
  EXPECT_EQ(on_flash(), vsub::record(kStored - 3, kStored, "7.6"));
  EXPECT_EQ(board->fpga.reg(0x2001), 0U);
}

TEST_F(VsubSaveTest, OnAnMaBoardTheConsoleShowsTheTrimmedCode) {
  next_board("ma");
  for (int step = 0; step < 3; ++step) t1_sdk_decVsub6455();
  forget();
  t1_sdk_saveVsub6455();
  expect_console("t1_sdk_save_trim_vsub\nQN_5RX6455\nsuccess trim vsub success: 0xa89\n");
  EXPECT_EQ(on_emmc(), vsub::record(kStored + 3, kStored, "7.6"));
}

// ---- models without a trim ----------------------------------------------------------------

class VsubTrimDeviceTest : public VsubRun {
 protected:
  struct Command {
    const char* name;
    void (*run)(int dev, int code);
  };
  static constexpr Command kCommands[] = {
      {kAddLine, t1_sdk_add_trim_vsub}, {kDecLine, t1_sdk_dec_trim_vsub}, {kSaveLine, t1_sdk_save_trim_vsub}};

  /// Each command fails on this model before it asks the hardware for anything.
  void expect_all_refused(int dev, const std::string& description, const std::string& line) {
    for (const Command& command : kCommands) {
      SCOPED_TRACE(command.name + std::to_string(dev));
      forget();
      command.run(dev, 1234);
      expect_reply(1234, "Fail", description);
      expect_console(command.name + line + "fail num = 2\n");
      EXPECT_EQ(board.hardware_trace(), Lines{});
    }
  }
};

TEST_F(VsubTrimDeviceTest, AModelThatIsNotTrimmedIsRefused) {
  for (const int dev : {0x9606, 0x960A, 0x960E, 0x9602, 0x9610, 0x9702, 0x9709, 0, -1, INT_MAX, INT_MIN}) {
    expect_all_refused(dev, "error type dev", "error type dev: " + std::to_string(dev) + "\n");
  }
}

TEST_F(VsubTrimDeviceTest, TheKVariantOfThe6484HasALimitButNoSlot) {
  expect_all_refused(0x960F, "t1_sdk_get_trim_vsub error", "t1_sdk_get_trim_vsub error");
}

TEST_F(VsubTrimDeviceTest, EachTrimmedModelHasASlotOfItsOwnAndNoOtherModelHasOne) {
  for (const auto& [dev, slot] : {std::pair{0x9603, 0}, {0x9605, 1}, {0x9604, 2}}) {
    EXPECT_EQ(t1_sdk_get_trim_vsub(dev), &g_trim_vsub[slot]);
    EXPECT_EQ(t1_sdk_get_base_vsub(dev), &g_base_vsub[slot]);
  }
  for (const int dev : {0, -1, 1, 2, 0x9602, 0x9606, 0x960E, 0x960F, 0x9709, INT_MAX, INT_MIN}) {
    EXPECT_EQ(t1_sdk_get_trim_vsub(dev), nullptr) << dev;
    EXPECT_EQ(t1_sdk_get_base_vsub(dev), nullptr) << dev;
  }
}

TEST_F(VsubTrimDeviceTest, ResettingClearsAllSlots) {
  for (int slot = 0; slot < 3; ++slot) g_trim_vsub[slot] = g_base_vsub[slot] = 7 + slot;
  t1_sdk_reset_trim_vsub();
  for (int slot = 0; slot < 3; ++slot) {
    EXPECT_EQ(g_trim_vsub[slot], 0);
    EXPECT_EQ(g_base_vsub[slot], 0);
  }
}

}  // namespace
