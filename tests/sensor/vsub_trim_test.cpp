// One step of a trim: its trace, its texts, its limits, and what it refuses.
#include "t1_sdk/boardtest/sensor/vsub/trim.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/sensor/vsub/vsub.h"
#include "tests/sensor/vsub_trim_model.h"

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class VsubTrimTest : public TrimRun, public ::testing::WithParamInterface<TrimModel> {
 protected:
  const TrimModel& model = GetParam();

  VsubTrimTest() : TrimRun(GetParam()) {}

  void expect_trim(int code, const std::string& value = "Pass", const std::string& description = "测试成功") {
    expect_reply(code, kTrimName, value, description);
  }
};

INSTANTIATE_TEST_SUITE_P(Of, VsubTrimTest, ::testing::Values(k6455Trim, k6485Trim, k6484Trim),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(VsubTrimTest, AddingRaisesTheVoltageByOneCodeDownwards) {
  model.add();
  expect_trim(model.add_code);
  EXPECT_EQ(board->substrate_voltage.code(), model.base - 1);
  EXPECT_EQ(console.out(), "t1_sdk_add_trim_vsub\n" + loaded_line(model.base) + range_line(model.range) +
                               trimmed_line(model.base - 1) + model.says);
  EXPECT_EQ(console.err(), "");
}

TEST_P(VsubTrimTest, DecreasingLowersTheVoltageByOneCodeUpwards) {
  model.dec();
  expect_trim(model.dec_code);
  EXPECT_EQ(board->substrate_voltage.code(), model.base + 1);
  EXPECT_EQ(console.out(), "t1_sdk_dec_trim_vsub\n" + loaded_line(model.base) + range_line(model.range) +
                               trimmed_line(model.base + 1) + model.says);
  EXPECT_EQ(console.err(), "");
}

TEST_P(VsubTrimTest, TheNameOfTheTestTravelsInGbk) {
  model.add();
  EXPECT_THAT(station.reply().raw,
              HasSubstr("<TestName>\xCE\xA2\xB5\xF7\x73\x75\x62\xB5\xE7\xD1\xB9</TestName>\r\n"));
}

TEST_P(VsubTrimTest, TheFirstStepReadsTheStoreAppliesAndSaves) {
  model.add();
  VsubScript expected;
  expected.open("/dev/fpga");
  load(expected);
  step(expected, model.base - 1);
  expected.close("/dev/fpga");
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
}

TEST_P(VsubTrimTest, ALaterStepGoesOnWithoutReadingTheStore) {
  model.dec();
  forget();
  model.dec();
  VsubScript expected;
  expected.open("/dev/fpga");
  step(expected, model.base + 2);
  expected.close("/dev/fpga");
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
  EXPECT_EQ(console.out(),
            "t1_sdk_dec_trim_vsub\n" + range_line(model.range) + trimmed_line(model.base + 2) + model.says);
}

TEST_P(VsubTrimTest, AStepSavesTheNewCodeTheBaseAndTheVoltageOfTheBase) {
  model.add();
  EXPECT_EQ(on_flash(), vsub::record(model.base - 1, model.base, model.voltage));
  EXPECT_EQ(flash_saves(), 1U);
}

TEST_P(VsubTrimTest, ABaseInNoRowIsSavedWithoutAVoltage) {
  store(model.base + 1, model.base + 1, "7.6");
  model.add();
  expect_trim(model.add_code);
  EXPECT_EQ(on_flash(), vsub::record(model.base, model.base + 1, ""));
}

TEST_P(VsubTrimTest, OnAnMaBoardWhatWasSavedIsReadBack) {
  next_model_board(model, "ma");
  model.add();
  expect_trim(model.add_code);
  EXPECT_EQ(on_emmc(), vsub::record(model.base - 1, model.base, model.voltage));
  EXPECT_EQ(on_flash(), never_written());
  VsubScript expected;
  expected.open("/dev/fpga");
  load(expected);
  expected.fpga(0xD1, 1);
  expected.apply(model.base - 1);
  expected.emmc_save(64);
  expected.emmc_read(64);
  expected.fpga(0xD1, 0);
  expected.close("/dev/fpga");
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
}

TEST_P(VsubTrimTest, BothSlotsAreLoadedByTheFirstStep) {
  model.add();
  EXPECT_EQ(g_base_vsub[model.slot], static_cast<int>(model.base));
  EXPECT_EQ(g_trim_vsub[model.slot], static_cast<int>(model.base) - 1);
  for (int slot = 0; slot < 3; ++slot) {
    if (slot == model.slot) continue;
    EXPECT_EQ(g_base_vsub[slot], 0) << slot;
    EXPECT_EQ(g_trim_vsub[slot], 0) << slot;
  }
}

TEST_P(VsubTrimTest, TheTrimStartsFromTheOriginalCodeNotFromTheRealOne) {
  store(model.base - 7, model.base, model.voltage);
  model.add();
  EXPECT_THAT(console.out(), HasSubstr(loaded_line(model.base)));
  EXPECT_EQ(board->substrate_voltage.code(), model.base - 1);
}

TEST_P(VsubTrimTest, TheStoredRecordNeedsNoChecksumToStartFrom) {
  vsub::Bytes bytes = vsub::record(model.base, model.base, model.voltage);
  bytes[40] ^= 1;
  board->emmc.set_bytes(vsub::kEmmcVsub, bytes);
  model.add();
  expect_trim(model.add_code, "Fail", "Read vsub from flash error");
  EXPECT_EQ(board->substrate_voltage.code(), model.base - 1) << "the step was made, reading it back failed";
}

TEST_P(VsubTrimTest, TheLimitHoldsOnBothSidesOfTheBase) {
  const int base = static_cast<int>(model.base);
  g_base_vsub[model.slot] = base;
  g_trim_vsub[model.slot] = base - model.range + 1;
  model.add();
  EXPECT_EQ(g_trim_vsub[model.slot], base - model.range);
  model.add();
  EXPECT_EQ(g_trim_vsub[model.slot], base - model.range) << "the step beyond is undone";
  g_trim_vsub[model.slot] = base + model.range - 1;
  model.dec();
  EXPECT_EQ(g_trim_vsub[model.slot], base + model.range);
  model.dec();
  EXPECT_EQ(g_trim_vsub[model.slot], base + model.range);
  EXPECT_EQ(board->substrate_voltage.code(), model.base + static_cast<std::uint32_t>(model.range));
}

TEST_P(VsubTrimTest, TheRealCodeMustLieBetween0xA00And0xAFF) {
  for (const std::uint32_t code : {0xA00U, 0xA01U, 0xAFEU, 0xAFFU}) {
    next_model_board(model, model.family);
    store(code, model.base, model.voltage);
    model.add();
    expect_trim(model.add_code);
  }
  for (const std::uint32_t code : {0x9FFU, 0xB00U, 0U, 0xA86A86U, 0xFFFFFFFFU, 0x80000A86U}) {
    SCOPED_TRACE(code);
    next_model_board(model, model.family);
    store(code, model.base, model.voltage);
    model.add();
    expect_trim(model.add_code, "Fail", "vsub value error");
    EXPECT_EQ(console.out(), "t1_sdk_add_trim_vsub\n" + loaded_line(model.base) +
                                 "vsub value error = " + hex_code(code) + "\nfail num = 2\n");
    EXPECT_EQ(g_base_vsub[model.slot], 0);
    EXPECT_EQ(g_trim_vsub[model.slot], 0);
  }
}

TEST_P(VsubTrimTest, ACodeOutOfRangeIsFoundBeforeAnythingIsApplied) {
  store(0xB00, model.base, model.voltage);
  model.dec();
  expect_trim(model.dec_code, "Fail", "vsub value error");
  VsubScript expected;
  expected.open("/dev/fpga");
  load(expected);
  expected.close("/dev/fpga");
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
}

TEST_P(VsubTrimTest, AfterACodeOutOfRangeTheNextStepReadsTheStoreAgain) {
  store(0x9FF, model.base, model.voltage);
  model.add();
  forget();
  store_base(model);
  model.add();
  expect_trim(model.add_code);
  EXPECT_THAT(console.out(), StartsWith("t1_sdk_add_trim_vsub\n" + loaded_line(model.base)));
  EXPECT_EQ(board->substrate_voltage.code(), model.base - 1);
}

TEST_P(VsubTrimTest, TheOriginalCodeIsNotChecked) {
  store(model.base, 5, "");
  model.add();
  expect_trim(model.add_code);
  EXPECT_EQ(board->substrate_voltage.code(), 4U);
}

TEST_P(VsubTrimTest, AnOriginalCodeOfZeroIsReadAnewByEveryStep) {
  store(model.base, 0, "");
  for (int step = 0; step < 2; ++step) {
    forget();
    model.dec();
    expect_trim(model.dec_code);
    EXPECT_THAT(console.out(), HasSubstr("vsub = 0x0\n"));
    EXPECT_EQ(board->substrate_voltage.code(), 1U);
  }
}

TEST_P(VsubTrimTest, AnOriginalCodeAtTheEdgeOfTheNumbersHarmsNothing) {
  for (const std::uint32_t base : {0x7FFFFFFFU, 0x80000000U, 0x80000001U, 0xFFFFFFFFU}) {
    for (void (*const move)() : {model.add, model.dec, model.save}) {
      next_board(model.family);
      store(model.base, base, "");
      move();
      EXPECT_EQ(station.records().size(), 1U) << base;
    }
  }
}

// ---- models without a trim ----------------------------------------------------------------

class VsubTrimDeviceTest : public TrimRun {
 protected:
  using Trim = void (*)(int dev, int code);
  struct Command {
    const char* name;
    Trim run;
  };
  static constexpr Command kCommands[] = {{"t1_sdk_add_trim_vsub", t1_sdk_add_trim_vsub},
                                          {"t1_sdk_dec_trim_vsub", t1_sdk_dec_trim_vsub},
                                          {"t1_sdk_save_trim_vsub", t1_sdk_save_trim_vsub}};

  VsubTrimDeviceTest() : TrimRun(k6455Trim) {}
};

TEST_F(VsubTrimDeviceTest, EachModelHasASlotOfItsOwn) {
  EXPECT_EQ(t1_sdk_get_trim_vsub(0x9603), &g_trim_vsub[0]);
  EXPECT_EQ(t1_sdk_get_trim_vsub(0x9605), &g_trim_vsub[1]);
  EXPECT_EQ(t1_sdk_get_trim_vsub(0x9604), &g_trim_vsub[2]);
  EXPECT_EQ(t1_sdk_get_base_vsub(0x9603), &g_base_vsub[0]);
  EXPECT_EQ(t1_sdk_get_base_vsub(0x9605), &g_base_vsub[1]);
  EXPECT_EQ(t1_sdk_get_base_vsub(0x9604), &g_base_vsub[2]);
}

TEST_F(VsubTrimDeviceTest, AnyOtherModelHasNoSlot) {
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

TEST_F(VsubTrimDeviceTest, AModelThatIsNotTrimmedIsRefused) {
  for (const Command& command : kCommands) {
    for (const int dev : {0x9606, 0x960A, 0x960E, 0x9602, 0x9610, 0x9709, 0, -1, INT_MAX, INT_MIN}) {
      SCOPED_TRACE(command.name + std::to_string(dev));
      forget();
      command.run(dev, 0x2B01);
      expect_reply(0x2B01, kTrimName, "Fail", "error type dev");
      EXPECT_EQ(console.out(),
                std::string(command.name) + "\nerror type dev: " + std::to_string(dev) + "\nfail num = 2\n");
      EXPECT_EQ(board.hardware_trace(), Lines{});
    }
  }
}

TEST_F(VsubTrimDeviceTest, TheKVariantOfThe6484HasALimitButNoSlot) {
  for (const Command& command : kCommands) {
    SCOPED_TRACE(command.name);
    forget();
    command.run(0x960F, 0x2D01);
    expect_reply(0x2D01, kTrimName, "Fail", "t1_sdk_get_trim_vsub error");
    EXPECT_EQ(console.out(), std::string(command.name) + "\nt1_sdk_get_trim_vsub errorfail num = 2\n");
    EXPECT_EQ(board.hardware_trace(), Lines{});
  }
}

TEST_F(VsubTrimDeviceTest, TheReplyCarriesTheCodeThatIsHandedIn) {
  for (const Command& command : kCommands) {
    forget();
    command.run(0x9603, 1234);
    expect_reply(1234, kTrimName, "Pass", "测试成功");
  }
}

TEST_F(VsubTrimDeviceTest, AModelIsTrimmedOnAnyBoard) {
  next_board("normal");
  t1_sdk_add_trim_vsub(0x9604, 0x2D01);
  expect_reply(0x2D01, kTrimName, "Pass", "测试成功");
  EXPECT_THAT(console.out(), HasSubstr(range_line(20)));
  EXPECT_EQ(board->substrate_voltage.code(), kStored - 1);
}

TEST_F(VsubTrimDeviceTest, A65xxBoardIsGivenTheCodeByItsIoDriver) {
  next_board("65xx");
  t1_sdk_add_trim_vsub(0x9603, 0x2B01);
  expect_reply(0x2B01, kTrimName, "Pass", "测试成功");
  EXPECT_THAT(console.out(), EndsWith("after trim vsub: 0xa85\nset vsub = 0xa85\nQN_5RX6455\n"));
}

}  // namespace
