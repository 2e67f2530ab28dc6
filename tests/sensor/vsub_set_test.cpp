// Setting the substrate voltage from the operator's entry.
#include "t1_sdk/boardtest/sensor/vsub/set.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <cstdint>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/sensor/vsub/records.h"
#include "t1_sdk/boardtest/sensor/vsub/vsub.h"
#include "tests/sensor/vsub_run.h"
#include "tests/sensor/vsub_store_faults.h"

namespace {

using ::testing::EndsWith;
using ::testing::MatchesRegex;
using vsub::Bytes;

class VsubSetTest : public VsubRun {
 protected:
  /// What a set command says before it meets the store, the entry being 650.
  static constexpr const char* kOpening = "t1_sdk_vsub_set\ng_sub_value = 650\ntemp_sub_value = 65";

  void set(int model, int entry) {
    g_sub_value = entry;
    t1_sdk_vsub_set(model, 0x2600);
    EXPECT_EQ(g_sub_value, 0) << "an entry is used once";
  }
  void expect_set(const std::string& value, const std::string& description, int code = 0x2600) {
    ::expect_reply(station, code, "设置vsub电压值", value, description);
  }
  /// The record on the flash with both its codes set.
  static Bytes with_codes(Bytes bytes, std::uint32_t code) {
    vsub::put_word(bytes, 0, code);
    vsub::put_word(bytes, 4, code);
    return bytes;
  }
};

// ---- healthy boards -----------------------------------------------------------------------

TEST_F(VsubSetTest, EachCommandStoresItsCodeTwiceAndAppliesTheFactorysCodeNotTheOneThatWasSet) {
  const struct {
    const char* family;
    void (*run)();
    int test_code;
    int entry;
    const char* said;
    std::uint32_t code;
  } commands[] = {
      {"6455", t1_sdk_setVsub6455, 0x2600, 650, "g_sub_value = 650\ntemp_sub_value = 65", 2742},
      {"6485", t1_sdk_setVsub6485, 0x2700, 1005, "g_sub_value = 1005\ntemp_sub_value = 100", 2598},
      {"6484", t1_sdk_setVsub6484, 0x2800, 950, "g_sub_value = 950\ntemp_sub_value = 95", 2744}};
  for (const auto& [family, run, test_code, entry, said, code] : commands) {
    SCOPED_TRACE(family);
    next_board(family);
    g_sub_value = entry;
    run();
    expect_set("Pass", "设置成功", test_code);
    expect_console(std::string("t1_sdk_vsub_set\n") + said + "您输入的数字为 0xa86 \n");
    EXPECT_EQ(on_flash(), with_codes(never_written(), code));
    EXPECT_EQ(luma_on_flash(), never_written(vsub::kLumaSize));
    EXPECT_EQ(g_sub_value, 0);
    VsubScript expected;
    expected.flash_save();
    expected.flash_save();
    expected.emmc_read(4);
    expected.apply(kStored);
    EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
  }
}

TEST_F(VsubSetTest, WhateverTheEmmcHoldsIsShownAndAppliedARecordOrNot) {
  Bytes no_record = never_written();
  vsub::put_word(no_record, 0, 0xDEADBEEF);
  board->emmc.set_bytes(vsub::kEmmcVsub, no_record);
  set(1, 650);
  expect_set("Pass", "设置成功");
  expect_console(std::string(kOpening) + "您输入的数字为 0xdeadbeef \n");
  EXPECT_EQ(board->substrate_voltage.code(), 0xDEADBEEFU);
}

TEST_F(VsubSetTest, MagicAndChecksumOfAStoredRecordStayAsTheyWere) {
  const Bytes before = vsub::record(2700, 2700, "7.5");
  board->flash.set_bytes(vsub::kFlashVsub, before);
  set(1, 650);
  EXPECT_EQ(on_flash(), with_codes(before, 2742));
}

TEST_F(VsubSetTest, EveryBoardButMaStoresOnItsFlashAndAppliesWhatTheEmmcHolds) {
  for (const boardsim::Family& family : boardsim::families()) {
    if (family.name == "ma") continue;
    SCOPED_TRACE(family.name);
    next_board(family.name);
    store(2702, 2694);
    set(0, 950);
    expect_set("Pass", "设置成功");
    EXPECT_EQ(on_flash(), with_codes(never_written(), 2744));
    EXPECT_EQ(board->substrate_voltage.code(), 2702U);
  }
}

// ---- entries and models -------------------------------------------------------------------

TEST_F(VsubSetTest, AnEntryOutOfRangeSetsAFallbackAndPasses) {
  for (const auto& [model, fallback] : {std::pair{1, 2686U}, {0, 2784U}}) {
    next_board("6455");
    set(model, 5);
    expect_set("Pass", "设置成功");
    EXPECT_THAT(console.out(), EndsWith("temp_sub_value = 0error num\n您输入的数字为 0xa86 \n"));
    EXPECT_EQ(on_flash(), with_codes(never_written(), fallback));
  }
}

TEST_F(VsubSetTest, WithoutAnEntryItFailsWithCode1AndWritesNothing) {
  set(1, 0);
  expect_set("Fail", "g_sub_value error");
  expect_console("t1_sdk_vsub_set\ng_sub_value = 0\ng_sub_value error\nfail num = 1\n");
  EXPECT_EQ(board.hardware_trace(), Lines{});
}

TEST_F(VsubSetTest, AnUnknownModelFailsWithCode2AndWritesNothing) {
  set(2, 650);
  expect_set("Fail", "vsub_code_to_regval error");
  expect_console(std::string(kOpening) +
                 "unsupported devType = 2\nvsub_code_to_regval error\nfail num = 2\n");
  EXPECT_EQ(board.hardware_trace(), Lines{});
}

// ---- a store that fails -------------------------------------------------------------------

TEST_F(VsubSetTest, AStoreThatFailsOnItsFirstSecondOrThirdAccessIsCode3To5AndNothingIsApplied) {
  const struct {
    int access;  ///< of its kind
    std::vector<StoreFault> faults;
    std::string description;
    const char* code;
    Bytes left;  ///< on the flash, when nothing was erased
  } failures[] = {
      {1, flash_save_faults(), "Save vsub to flash error", "3", never_written()},
      {2, flash_save_faults(), "Save vsub2 to flash error", "4", {}},
      {1, emmc_read_faults(), "Read vsub from flash error", "5", with_codes(never_written(), 2742)},
  };
  for (const auto& [access, faults, description, code, left] : failures) {
    for (const StoreFault& fault : faults) {
      SCOPED_TRACE(fault.on(access));
      next_board("6455");
      board.fault(fault.on(access));
      set(1, 650);
      expect_set("Fail", description);
      EXPECT_EQ(console.out(), std::string(kOpening) + fault.line + description + " = " +
                                   std::to_string(fault.number) + "\nfail num = " + code + "\n");
      EXPECT_EQ(board->substrate_voltage.code(), 0U);
      if (!left.empty()) {
        EXPECT_EQ(on_flash(), left);
      }
    }
  }
}

TEST_F(VsubSetTest, ItPassesWhenTheCodeCannotBeApplied) {
  board.fault("open /dev/fpga");
  set(1, 650);
  expect_set("Pass", "设置成功");
  expect_console(std::string(kOpening) + "您输入的数字为 0xa86 \nOpen /dev/fpga error.\n");
}

// ---- MA boards ----------------------------------------------------------------------------

TEST_F(VsubSetTest, OnAnMaBoardTheSecondWordCannotBeSavedSoThatCode4IsTheResult) {
  next_board("ma");
  set(1, 650);
  expect_set("Fail", "Save vsub2 to flash error");
  EXPECT_THAT(console.out(),
              MatchesRegex(std::string(kOpening) + "Save vsub2 to flash error = [0-9]+\nfail num = 4\n"));
  EXPECT_EQ(console.err(), "blkNum 21 offset : 64516 error\n");
  VsubScript script;
  script.emmc_save(4);
  script.query();
  EXPECT_EQ(board.timed_hardware_trace(), script.lines());
}

TEST_F(VsubSetTest, OnAnMaBoardTheFirstWordIsChangedAllTheSameAndTheChecksumNoLongerMatches) {
  next_board("ma");
  set(1, 650);
  Bytes expected = vsub::record(kStored, kStored, "7.6");
  vsub::put_word(expected, 0, 2742);
  EXPECT_EQ(on_emmc(), expected);
  EXPECT_EQ(on_flash(), never_written());
  VSUB_DATA record{};
  EXPECT_EQ(readVsubData(&record), -13);
}

TEST_F(VsubSetTest, OnAnMaBoardAnEmmcErrorIsCode3) {
  next_board("ma");
  board.fault("write /dev/mmcblk0p7 ENOSPC");
  set(1, 650);
  expect_set("Fail", "Save vsub to flash error");
  expect_console(std::string(kOpening) + "Save vsub to flash error = 28\nfail num = 3\n",
                 "write: /dev/mmcblk0p7 error: 28 \n");
}

}  // namespace
