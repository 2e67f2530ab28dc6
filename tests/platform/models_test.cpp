// Model names by device type code.
#include "t1_sdk/boardtest/platform/models.h"

#include <gtest/gtest.h>
#include <array>
#include <cstdio>
#include <map>
#include <string>

#include "tests/harness/console.h"

namespace {

using namespace boardtest;

const std::array<const char*, 20> kNames = {
    "QN-5RX6454",    "QN-5RX6454-V",  "QN-5RX6455",   "QN-5RX6484A",   "QN-5RX6485",
    "QN-5RX6444",    "QN-5RX6474",    "QN-5RX6455-H", "QN-5RX6485-H",  "QN-5RX6415-H",
    "QN-5RX6454A",   "QN-5RX6447",    "QN-5RX6453-H", "iQN-5RX6515-H", "QN-5RX6724",
    "QN_5RX6454A_B", "QN_5RX6484A_B", "QN-5RX6794",   "iQN-5RX6194",   "iQN-5RX6474-A",
};

const std::map<unsigned, int> kEntries = {
    {0x9601, 0},  {0x9602, 1},  {0x9603, 2},   {0x9604, 3},   {0x9605, 4},   {0x9606, 5},   {0x9607, 6},
    {0x9701, 0},  {0x9704, 6},  {0x960B, 6},   {0x9708, 6},   {0x9719, 6},   {0x9712, 6},   {0x9713, 6},
    {0x9725, 6},  {0x9726, 6},  {0x9702, 3},   {0x9709, 3},   {0x960F, 3},   {0x9703, 4},   {0x9B01, 7},
    {0x9B09, 7},  {0x9B02, 8},  {0x9C01, 8},   {0x9B05, 8},   {0x9C05, 8},   {0x9B03, 9},   {0x9B0A, 9},
    {0x9718, 9},  {0x9609, 10}, {0x9706, 10},  {0x960E, 10},  {0x9707, 10},  {0x9608, 11},  {0x96C0, 11},
    {0x9614, 11}, {0x9B04, 12}, {0x9C04, 12},  {0x9B08, 12},  {0x9C06, 12},  {0x9C0A, 13},  {0x970B, 14},
    {0x970F, 14}, {0x9710, 14}, {0x9612, 15},  {0x970D, 15},  {0x9613, 16},  {0x970C, 16},  {0x9714, 17},
    {0x9715, 17}, {0x9716, 17}, {0xA6001, 18}, {0xA6002, 18}, {0xA6003, 19}, {0xA6004, 19},
};

std::string error_line(unsigned code) {
  std::array<char, 80> line;
  std::snprintf(line.data(), line.size(), "devType in bootInfo error. devType = 0x%x\n", code);
  return line.data();
}

TEST(ModelsTest, ThereAreTwentyNamesInTheirOrder) {
  for (int entry = 0; entry < 20; ++entry) {
    EXPECT_STREQ(get_model_name(entry), kNames[static_cast<std::size_t>(entry)]) << "entry " << entry;
  }
}

TEST(ModelsTest, OutsideTheTableThereIsNoName) {
  EXPECT_EQ(get_model_name(-1), nullptr);
  EXPECT_EQ(get_model_name(20), nullptr);
}

TEST(ModelsTest, EveryKnownBoardHasItsModel) {
  const Console console;
  for (const auto& [code, entry] : kEntries) EXPECT_EQ(get_model_index(code), entry) << std::hex << code;
  EXPECT_EQ(console.out(), "");
}

TEST(ModelsTest, EveryOtherCodeIsAnErrorThatNamesIt) {
  Console console;
  std::string expected;
  for (unsigned code = 0x9000; code < 0xA000; ++code) {
    if (kEntries.contains(code)) continue;
    EXPECT_EQ(get_model_index(code), -1) << std::hex << code;
    expected += error_line(code);
  }
  for (const unsigned code : {0U, 0x6001U, 0x19601U, 0xA6000U, 0xA6005U, 0xA60A0U, 0x27201U, 0xFFFFFFFFU}) {
    EXPECT_EQ(get_model_index(code), -1) << std::hex << code;
    expected += error_line(code);
  }
  EXPECT_EQ(console.out(), expected);
}

}  // namespace
