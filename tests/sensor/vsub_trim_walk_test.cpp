// Trims as a station walks them, request by request.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <cstdint>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/sensor/vsub/records.h"
#include "t1_sdk/boardtest/sensor/vsub/trim.h"
#include "t1_sdk/boardtest/sensor/vsub/vsub.h"
#include "tests/sensor/vsub_trim_model.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class VsubTrimWalk : public TrimRun {
 protected:
  explicit VsubTrimWalk(const TrimModel& model = k6455Trim) : TrimRun(model) {}

  /// Requests a step and expects it to pass with this code applied and saved.
  void expect_step(int code, std::uint32_t expected) {
    forget();
    const unsigned saves = flash_saves();
    request(code);
    expect_reply(code, kTrimName, "Pass", "测试成功");
    EXPECT_EQ(board->substrate_voltage.code(), expected);
    EXPECT_THAT(console.out(), HasSubstr(trimmed_line(expected)));
    EXPECT_EQ(vsub::word_at(on_flash(), 0), expected);
    EXPECT_EQ(flash_saves(), saves + 1);
  }
  static bool loads_from_store(const std::string& console) {
    return console.find("\nvsub = 0x") != std::string::npos;
  }
};

class VsubTrimModelWalkTest : public VsubTrimWalk, public ::testing::WithParamInterface<TrimModel> {
 protected:
  const TrimModel& model = GetParam();
  const std::uint32_t range = static_cast<std::uint32_t>(model.range);

  VsubTrimModelWalkTest() : VsubTrimWalk(GetParam()) {}
};

INSTANTIATE_TEST_SUITE_P(Of, VsubTrimModelWalkTest, ::testing::Values(k6455Trim, k6485Trim, k6484Trim),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(VsubTrimModelWalkTest, AddingStopsAtTheLimitBelowTheBase) {
  for (std::uint32_t step = 1; step <= range; ++step) expect_step(model.add_code, model.base - step);
  for (int more = 0; more < 3; ++more) expect_step(model.add_code, model.base - range);
}

TEST_P(VsubTrimModelWalkTest, DecreasingStopsAtTheLimitAboveTheBase) {
  for (std::uint32_t step = 1; step <= range; ++step) expect_step(model.dec_code, model.base + step);
  for (int more = 0; more < 3; ++more) expect_step(model.dec_code, model.base + range);
}

TEST_P(VsubTrimModelWalkTest, FromOneLimitToTheOtherItIsTwiceTheRange) {
  for (std::uint32_t step = 0; step < range + 5; ++step) request(model.add_code);
  EXPECT_EQ(board->substrate_voltage.code(), model.base - range);
  for (std::uint32_t step = 1; step <= 2 * range; ++step) {
    expect_step(model.dec_code, model.base - range + step);
  }
  expect_step(model.dec_code, model.base + range);
}

TEST_P(VsubTrimModelWalkTest, StepsUpAndDownCancelOut) {
  expect_step(model.add_code, model.base - 1);
  expect_step(model.dec_code, model.base);
  expect_step(model.dec_code, model.base + 1);
  expect_step(model.add_code, model.base);
}

TEST_P(VsubTrimModelWalkTest, TheCodeNameIsPrintedBeforeEachStep) {
  request(model.add_code);
  EXPECT_THAT(console.lines(), ::testing::ElementsAre(std::string("T1_TESTCODE_ADD_SUB_") + model.family,
                                                      "t1_sdk_add_trim_vsub", ::testing::_, ::testing::_,
                                                      ::testing::_, ::testing::_));
  forget();
  request(model.dec_code);
  EXPECT_EQ(console.lines().front(), std::string("T1_TESTCODE_DEC_SUB_") + model.family);
  forget();
  request(model.save_code);
  EXPECT_EQ(console.lines().front(), std::string("T1_TESTCODE_SAVE_SUB_") + model.family);
}

// ---- the walk of a 6455 -------------------------------------------------------------------

class VsubTrimWalkTest : public VsubTrimWalk {
 protected:
  static constexpr int kAdd = 11009, kDec = 11010, kSave = 11011;
  static constexpr std::uint32_t kBase = 2694;
};

TEST_F(VsubTrimWalkTest, TwentyFiveAddsEndAt24BelowTheBaseAndTheLastChangesNothing) {
  for (std::uint32_t add = 1; add <= 24; ++add) expect_step(kAdd, kBase - add);
  expect_step(kAdd, kBase - 24);
  EXPECT_EQ(on_flash(), vsub::record(kBase - 24, kBase, "7.6"));
}

TEST_F(VsubTrimWalkTest, AnyOtherRequestResetsTheTrimToTheStoredBase) {
  for (const int code : {1, 0, 1536, 7426, 14592, 9728, 11776, 12032, 10752, 11008, 11012, 13568}) {
    SCOPED_TRACE(code);
    expect_step(kAdd, kBase - 1);
    expect_step(kAdd, kBase - 2);
    request(code);
    EXPECT_EQ(g_base_vsub[0], 0);
    EXPECT_EQ(g_trim_vsub[0], 0);
    expect_step(kAdd, kBase - 1);
    EXPECT_TRUE(loads_from_store(console.out()));
    t1_sdk_reset_trim_vsub();
  }
}

TEST_F(VsubTrimWalkTest, TrimRequestsOfAnyModelLeaveTheTrimAlone) {
  expect_step(kAdd, kBase - 1);
  for (const int code : {11010, 11009, 11011, 11265, 11266, 11267, 11521, 11522, 11523}) {
    request(code);
    EXPECT_EQ(g_base_vsub[0], static_cast<int>(kBase)) << code;
  }
  EXPECT_EQ(g_trim_vsub[0], static_cast<int>(kBase) - 1);
  expect_step(kAdd, kBase - 2);
  EXPECT_FALSE(loads_from_store(console.out()));
}

TEST_F(VsubTrimWalkTest, MixedModelsWalkSideBySide) {
  expect_step(11009, kBase - 1);
  expect_step(11266, kBase + 1);
  expect_step(11522, kBase + 1);
  expect_step(11009, kBase - 2);
  expect_step(11266, kBase + 2);
  expect_step(11521, kBase);
  expect_step(11010, kBase - 1);
  EXPECT_EQ(g_trim_vsub[0], static_cast<int>(kBase) - 1);
  EXPECT_EQ(g_trim_vsub[1], static_cast<int>(kBase) + 2);
  EXPECT_EQ(g_trim_vsub[2], static_cast<int>(kBase));
}

TEST_F(VsubTrimWalkTest, MixedModelsHaveBasesOfTheTimeAtWhichTheyWereLoaded) {
  expect_step(11009, kBase - 1);
  store(2702, 2710, "7.2");
  expect_step(11265, 2709);
  EXPECT_EQ(on_flash(), vsub::record(2709, 2710, "7.2"));
  expect_step(11009, kBase - 2);
  EXPECT_EQ(on_flash(), vsub::record(kBase - 2, kBase, "7.6"));
}

TEST_F(VsubTrimWalkTest, AStoreThatChangesUnderATrimDoesNotMoveIt) {
  expect_step(kAdd, kBase - 1);
  store(2600, 2610, "9.7");
  expect_step(kAdd, kBase - 2);
  EXPECT_EQ(g_base_vsub[0], static_cast<int>(kBase));
}

TEST_F(VsubTrimWalkTest, ASaveWithinAWalkKeepsItsPlace) {
  expect_step(kAdd, kBase - 1);
  expect_step(kAdd, kBase - 2);
  forget();
  request(kSave);
  expect_reply(kSave, kTrimName, "Pass", "测试成功");
  EXPECT_EQ(on_flash(), vsub::record(kBase - 2, kBase, "7.6"));
  expect_step(kAdd, kBase - 3);
}

TEST_F(VsubTrimWalkTest, ASaveFirstLoadsTheTrimForTheStepsBehindIt) {
  request(kSave);
  EXPECT_EQ(g_base_vsub[0], static_cast<int>(kBase));
  EXPECT_EQ(g_trim_vsub[0], static_cast<int>(kBase));
  expect_step(kDec, kBase + 1);
  EXPECT_FALSE(loads_from_store(console.out()));
}

TEST_F(VsubTrimWalkTest, AStepThatCannotBeSavedCountsAllTheSame) {
  expect_step(kAdd, kBase - 1);
  forget();
  board.fault("write /dev/mtd4 #1");
  request(kAdd);
  EXPECT_EQ(station.reply().value, "Fail");
  EXPECT_EQ(board->substrate_voltage.code(), kBase - 2);
  expect_step(kAdd, kBase - 3);
}

TEST_F(VsubTrimWalkTest, OnABoardWithFlashANewTrimDoesNotSeeTheSavedOne) {
  expect_step(kAdd, kBase - 1);
  request(kSave);
  request(1);
  forget();
  request(kAdd);
  EXPECT_EQ(board->substrate_voltage.code(), kBase - 1);
}

TEST_F(VsubTrimWalkTest, OnAnMaBoardANewTrimStartsFromTheSameBaseAgain) {
  next_board("ma");
  for (int add = 0; add < 3; ++add) request(kAdd);
  EXPECT_EQ(on_emmc(), vsub::record(kBase - 3, kBase, "7.6"));
  request(1);
  forget();
  request(kAdd);
  EXPECT_EQ(station.reply().value, "Pass");
  EXPECT_TRUE(loads_from_store(console.out()));
  EXPECT_EQ(board->substrate_voltage.code(), kBase - 1);
  EXPECT_EQ(on_emmc(), vsub::record(kBase - 1, kBase, "7.6"));
}

TEST_F(VsubTrimWalkTest, OnAnMaBoardATrimMendsTheRecordThatASetCommandSpoilt) {
  next_board("ma");
  request(9728, "650");
  VSUB_DATA record{};
  EXPECT_EQ(readVsubData(&record), -13);
  forget();
  request(kAdd);
  EXPECT_EQ(station.reply().value, "Pass");
  EXPECT_EQ(readVsubData(&record), 64);
  EXPECT_EQ(board->substrate_voltage.code(), kBase - 1) << "the word that was set is not the base";
}

TEST_F(VsubTrimWalkTest, NothingStaysOpenAndNoTimePassesInAWalk) {
  for (const int code : {kAdd, kDec, kSave, kAdd}) request(code);
  EXPECT_EQ(board.open_nodes(), Lines{});
  EXPECT_EQ(board.now(), boardsim::Time{0});
}

TEST_F(VsubTrimWalkTest, ASessionByHandSetsTrimsSavesAndSweeps) {
  request(9728, "650");
  expect_reply(9728, kSetName, "Pass", "设置成功");
  forget();
  request(12032);
  expect_reply(12032, kTrimName, "Fail", "read vsub luma from flash error");
  for (std::uint32_t add = 1; add <= 3; ++add) expect_step(kAdd, kBase - add);
  forget();
  request(kSave);
  expect_reply(kSave, kTrimName, "Pass", "测试成功");
  EXPECT_EQ(on_flash(), vsub::record(kBase - 3, kBase, "7.6"));
  forget();
  request(12032);
  EXPECT_THAT(console.out(), HasSubstr("real vsub: 0xa86, original vsub: 0xa86"))
      << "what the flash was given is not read";
  forget();
  request(11776);
  expect_reply(11776, kTrimName, "Pass", "测试成功");
  EXPECT_EQ(board->substrate_voltage.code(), kBase + 18);
  EXPECT_EQ(vsub::pairs_in(luma_on_flash()).size(), 19U);
  EXPECT_EQ(on_flash(), vsub::record(kBase - 3, kBase, "7.6"));
  forget();
  request(12032);
  expect_reply(12032, kTrimName, "Fail", "read vsub luma from flash error");
  EXPECT_THAT(console.out(), Not(HasSubstr("luma: ")));
}

}  // namespace
