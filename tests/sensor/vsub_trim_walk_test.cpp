// Trims as a station walks them, request by request.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <cstdint>
#include <string>

#include "t1_sdk/boardtest/sensor/vsub/records.h"
#include "tests/harness/ask.h"
#include "tests/sensor/vsub_trims.h"

namespace {

using ::testing::HasSubstr;

class VsubTrimWalkTest : public VsubRun {
 protected:
  static constexpr int kAdd = 11009, kDec = 11010, kSave = 11011;

  /// Requests a step and expects it to pass with this code applied and saved.
  void expect_step(int code, std::uint32_t expected) {
    forget();
    const unsigned saves = flash_saves();
    ask(code);
    expect_reply(code, "Pass", "测试成功");
    EXPECT_EQ(board->substrate_voltage.code(), expected);
    EXPECT_THAT(console.out(), HasSubstr(trimmed_line(expected)));
    EXPECT_EQ(vsub::word_at(on_flash(), 0), expected);
    EXPECT_EQ(flash_saves(), saves + 1);
  }
  /// Whether the last step read its base from the store.
  bool has_loaded() const { return console.out().find("\nvsub = 0x") != std::string::npos; }
};

// ---- limits -------------------------------------------------------------------------------

TEST_F(VsubTrimWalkTest, TheLimitIsTheModelsRangeOnBothSidesAndAStepBeyondItPassesAndChangesNothing) {
  for (const TrimModel& model : {k6455Trim, k6485Trim, k6484Trim}) {
    SCOPED_TRACE(model.family);
    const auto range = static_cast<std::uint32_t>(model.range);
    next_board(model.family);
    store(model.base, model.base, model.voltage);
    for (std::uint32_t step = 1; step <= range; ++step) expect_step(model.add_code, model.base - step);
    for (int more = 0; more < 3; ++more) expect_step(model.add_code, model.base - range);
    EXPECT_EQ(on_flash(), vsub::record(model.base - range, model.base, model.voltage));
    for (std::uint32_t step = 1; step <= 2 * range; ++step) {
      expect_step(model.dec_code, model.base - range + step);
    }
    for (int more = 0; more < 3; ++more) expect_step(model.dec_code, model.base + range);
    expect_step(model.add_code, model.base + range - 1);
  }
}

// ---- what a trim is kept over -------------------------------------------------------------

TEST_F(VsubTrimWalkTest, AnyOtherRequestResetsTheTrimToTheStoredBase) {
  for (const int code : {1, 0, 1536, 7426, 14592, 9728, 11776, 12032, 10752, 11008, 11012, 13568}) {
    SCOPED_TRACE(code);
    expect_step(kAdd, kStored - 1);
    expect_step(kAdd, kStored - 2);
    ask(code);
    EXPECT_EQ(g_base_vsub[0], 0);
    EXPECT_EQ(g_trim_vsub[0], 0);
    expect_step(kAdd, kStored - 1);
    EXPECT_TRUE(has_loaded());
    t1_sdk_reset_trim_vsub();
  }
}

TEST_F(VsubTrimWalkTest, MixedModelsWalkSideBySideEachFromTheBaseOfTheTimeAtWhichItWasLoaded) {
  expect_step(11009, kStored - 1);
  store(2702, 2710, "7.2");
  expect_step(11266, 2711);
  expect_step(11522, 2711);
  EXPECT_EQ(on_flash(), vsub::record(2711, 2710, ""));
  expect_step(11009, kStored - 2);
  EXPECT_EQ(on_flash(), vsub::record(kStored - 2, kStored, "7.6"));
  expect_step(11266, 2712);
  EXPECT_EQ(on_flash(), vsub::record(2712, 2710, "7.2"));
  expect_step(11521, 2710);
  expect_step(11010, kStored - 1);
  EXPECT_FALSE(has_loaded());
}

TEST_F(VsubTrimWalkTest, ASaveAtAnyTimeKeepsTheTrimsPlace) {
  ask(kSave);
  EXPECT_EQ(g_base_vsub[0], static_cast<int>(kStored));
  expect_step(kDec, kStored + 1);
  EXPECT_FALSE(has_loaded()) << "the save has loaded the trim for the steps behind it";
  forget();
  ask(kSave);
  expect_reply(kSave, "Pass", "测试成功");
  EXPECT_EQ(on_flash(), vsub::record(kStored + 1, kStored, "7.6"));
  expect_step(kDec, kStored + 2);
}

TEST_F(VsubTrimWalkTest, AStepThatCannotBeSavedCountsAllTheSame) {
  expect_step(kAdd, kStored - 1);
  forget();
  board.fault("write /dev/mtd4 #1");
  ask(kAdd);
  EXPECT_EQ(station.reply().value, "Fail");
  EXPECT_EQ(board->substrate_voltage.code(), kStored - 2);
  expect_step(kAdd, kStored - 3);
}

// ---- MA boards, which read back what they saved -------------------------------------------

TEST_F(VsubTrimWalkTest, OnAnMaBoardANewTrimStartsFromTheSameBaseAgain) {
  next_board("ma");
  for (int add = 0; add < 3; ++add) ask(kAdd);
  EXPECT_EQ(on_emmc(), vsub::record(kStored - 3, kStored, "7.6"));
  ask(1);
  forget();
  ask(kAdd);
  EXPECT_EQ(station.reply().value, "Pass");
  EXPECT_TRUE(has_loaded());
  EXPECT_EQ(on_emmc(), vsub::record(kStored - 1, kStored, "7.6"));
}

TEST_F(VsubTrimWalkTest, OnAnMaBoardATrimMendsTheRecordThatASetCommandSpoilt) {
  next_board("ma");
  ask(9728);
  VSUB_DATA record{};
  EXPECT_EQ(readVsubData(&record), -13);
  forget();
  ask(kAdd);
  EXPECT_EQ(station.reply().value, "Pass");
  EXPECT_EQ(readVsubData(&record), 64);
  EXPECT_EQ(board->substrate_voltage.code(), kStored - 1) << "the word that was set is not the base";
}

}  // namespace
