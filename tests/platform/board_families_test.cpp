// Which device type codes belong to which board family. The lists differ from one another on purpose.
#include <gtest/gtest.h>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/platform/device_type.h"
#include "tests/harness/on_board.h"

namespace {

using Answers = std::map<std::uint32_t, int>;

const std::vector<std::uint32_t> kKBoards = {0x960B, 0x9B05, 0x960F, 0x960E, 0x9B08, 0x9B09, 0x9B0A, 0x970F,
                                             0x9715, 0x9713, 0x9614, 0x9615, 0x9716, 0x9725, 0x9726};

Answers all(const std::vector<std::uint32_t>& codes, int answer) {
  Answers answers;
  for (const std::uint32_t code : codes) answers[code] = answer;
  return answers;
}

Answers with(Answers answers, const Answers& more) {
  answers.insert(more.begin(), more.end());
  return answers;
}

Answers without(Answers answers, std::uint32_t code) {
  answers.erase(code);
  return answers;
}

/// One classification: what it answers for the codes it knows, and for all others.
struct Classification {
  const char* name;
  int (*ask)();
  Answers answers;
  int otherwise = 0;
};

void PrintTo(const Classification& classification, std::ostream* out) {
  *out << classification.name;
}

/// The board classes by their numbers: 2 K, 3 63xx, 4 68xx, 5 68xx with FPGA, 7 6444 without 7 alarm outputs,
/// 8 loop, 9 MA, 10 65xx.
Answers board_classes() {
  Answers answers = without(all(kKBoards, 2), 0x9726);
  answers = with(answers, all({0x27201, 0x97C0}, 3));
  answers = with(answers, all({0x27252, 0x9A01, 0x9A03, 0xA6005, 0xA6006, 0xA60A0, 0xA60A3}, 4));
  answers = with(answers, {{0x27251, 5}, {0x96C0, 7}, {0x9C0A, 10}});
  answers = with(answers, all({0x96C1, 0x96C2, 0x96C3}, 8));
  return with(answers, all({0xA6001, 0xA6002, 0xA6003, 0xA6004}, 9));
}

std::vector<Classification> classifications() {
  return {
      {"get_device_type", get_device_type, board_classes(), 1},
      {"get_device_type_MA533", get_device_type_MA533, all({0xA6005, 0xA6006, 0xA60A0, 0xA60A3}, 4), 1},
      {"is_K_devType", is_K_devType, all(kKBoards, 1)},
      {"is_MA_devType", is_MA_devType, all({0xA6001, 0xA6002, 0xA6003, 0xA6004}, 1)},
      {"is_RKD_devType", is_RKD_devType, {{0xA60A0, 1}, {0xA60A3, 2}}},
      {"is_loop_devType", is_loop_devType, all({0x96C1, 0x96C2, 0x96C3}, 1)},
      {"is_loop_devType_c", is_loop_devType_c, all({0x96C4, 0x96C5}, 1)},
      {"is_6444_u", is_6444_u, {{0x96C0, 3}}},
      {"is_63xx_devType", is_63xx_devType, all({0x27201, 0x97C0}, 1)},
      {"is_65xx_devType", is_65xx_devType, {{0x9C0A, 1}}},
      {"is_68xx_devType", is_68xx_devType,
       with({{0x27251, 1}}, all({0x27252, 0x9A01, 0x27254, 0x9A03, 0xA6005, 0xA6006, 0xA60A0, 0xA60A3}, 2))},
  };
}

/// Every code that any list knows, its neighbours, the same codes with another high half or none, and some
/// that no board has.
std::set<std::uint32_t> codes_to_try() {
  std::set<std::uint32_t> codes = {0, 1, 0x8000, 0xFFFF, 0x10000, 0xFFFFFFFF, 0x9600, 0x9608, 0x9718, 0x9B01};
  for (const Classification& classification : classifications()) {
    for (const auto& [code, answer] : classification.answers) {
      codes.insert({code, code - 1, code + 1, code & 0xFFFF, code | 0x10000, code ^ 0x80000000});
    }
  }
  return codes;
}

class BoardFamilyListTest : public OnBoard, public ::testing::WithParamInterface<Classification> {};

TEST_P(BoardFamilyListTest, KnowsEachOfItsBoardsAndNoOther) {
  board.set_alarm_outputs(2);
  const Classification& classification = GetParam();
  for (const std::uint32_t code : codes_to_try()) {
    board.set_type(code);
    const auto known = classification.answers.find(code);
    const int expected = known == classification.answers.end() ? classification.otherwise : known->second;
    EXPECT_EQ(classification.ask(), expected) << classification.name << " for 0x" << std::hex << code;
  }
}

INSTANTIATE_TEST_SUITE_P(All, BoardFamilyListTest, ::testing::ValuesIn(classifications()),
                         [](const auto& test) { return std::string(test.param.name); });

class BoardFamiliesTest : public OnBoard {};

TEST_F(BoardFamiliesTest, TheCodeOfEveryBoardIsReadAsItIsWritten) {
  for (const std::uint32_t code : codes_to_try()) {
    board.set_type(code);
    EXPECT_EQ(static_cast<std::uint32_t>(get_dev_type()), code);
  }
}

TEST_F(BoardFamiliesTest, A6444BoardIsTheJVariantButWith7AlarmOutputs) {
  board.set_type(0x96C0);
  for (unsigned count = 0; count < 256; ++count) {
    board.set_alarm_outputs(static_cast<std::uint8_t>(count));
    EXPECT_EQ(get_device_type(), static_cast<int>(count == 7 ? DEV_TYPE_WPF44X : DEV_TYPE_WPF44X_J)) << count;
    EXPECT_EQ(is_6444_u(), count == 7 ? 4 : 3) << count;
  }
}

TEST_F(BoardFamiliesTest, SevenAlarmOutputsMakeNoOtherBoardA6444) {
  board.set_alarm_outputs(7);
  for (const std::uint32_t code : codes_to_try()) {
    if (code == 0x96C0) continue;
    board.set_type(code);
    EXPECT_EQ(is_6444_u(), 0) << std::hex << code;
    EXPECT_NE(get_device_type(), static_cast<int>(DEV_TYPE_WPF44X)) << std::hex << code;
  }
}

}  // namespace
