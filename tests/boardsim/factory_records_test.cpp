// The records that a board brings from its factory, word by word.
#include "boardsim/devices/factory_records.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "boardsim/board.h"

namespace {

using boardsim::Board;
using Words = std::vector<std::uint32_t>;

/// The little-endian words of bytes.
Words words(const std::vector<std::uint8_t>& bytes) {
  Words result;
  for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4) {
    result.push_back(std::uint32_t{bytes[i]} | std::uint32_t{bytes[i + 1]} << 8 |
                     std::uint32_t{bytes[i + 2]} << 16 | std::uint32_t{bytes[i + 3]} << 24);
  }
  return result;
}

/// These words and zeros up to `count`.
Words filled(Words words, std::size_t count) {
  words.resize(count);
  return words;
}

constexpr std::uint32_t kMagic = 0x565A514E;
const Words kUsualVoltage = filled({0xA86, 0xA86, 0x362E37, 0, kMagic, 0, 0, 0, 0, 0, 0x30A}, 16);  // "7.6"
const Words k6484Voltage = filled({0xAB8, 0xAB8, 0x352E39, 0, kMagic, 0, 0, 0, 0, 0, 0x36F}, 16);   // "9.5"

TEST(FactoryRecordsTest, TheDeadPixelTableHoldsTwo) {
  const Board board;
  EXPECT_EQ(words(board->emmc.bytes(0, 4112)),
            filled({kMagic, 0x1EC, 4100, 2, 100, 200, 300, 400}, 4112 / 4));
}

TEST(FactoryRecordsTest, TheFlatFieldHeaderIsVersion123OfMay2024) {
  const Board board;
  Words expected{kMagic, 0x6EC, 0, 0x1000, 0x18030201, 0x1105, 0, 30, 8, 17, 4, 124, 5, 137, 0, 0, 0, 0, 0};
  for (std::uint32_t i = 0; i < 31; ++i) expected.push_back(i * 3);
  EXPECT_EQ(words(board->emmc.bytes(0x10000, 200)), expected);
}

TEST(FactoryRecordsTest, TheSubstrateVoltageIs7Point6AndThatOfEvery6484Is9Point5) {
  for (const char* family : {"normal", "6455", "6485", "ma", "65xx"}) {
    const Board board(family);
    EXPECT_EQ(words(board->emmc.bytes(0x30000, 64)), kUsualVoltage) << family;
  }
  const Board board("6484");
  EXPECT_EQ(words(board->emmc.bytes(0x30000, 64)), k6484Voltage);
  const auto* const record = boardsim::find_factory_record("vsub");
  ASSERT_NE(record, nullptr);
  for (const std::uint32_t type : {0x9604U, 0x960FU, 0x9702U, 0x9709U}) {
    EXPECT_EQ(words(record->contents(boardsim::hardware_of(type))), k6484Voltage) << type;
  }
  for (const std::uint32_t type : {0x9601U, 0x9603U, 0x9605U, 0x960EU, 0x9610U, 0x9703U, 0x970AU, 0xA6001U}) {
    EXPECT_EQ(words(record->contents(boardsim::hardware_of(type))), kUsualVoltage) << type;
  }
}

TEST(FactoryRecordsTest, EveryRecordHasTheSizeThatItSays) {
  for (const boardsim::FactoryRecord& record : boardsim::factory_records()) {
    EXPECT_EQ(record.contents(boardsim::hardware_of(0x9601)).size(), record.size) << record.name;
  }
  EXPECT_EQ(boardsim::find_factory_record("luma"), nullptr);
}

}  // namespace
