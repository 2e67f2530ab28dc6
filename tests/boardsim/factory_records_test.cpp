// The records that a board brings from its factory, by offset and byte.
#include "boardsim/devices/factory_records.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "boardsim/board.h"

namespace {

using boardsim::Board;
using Bytes = std::vector<std::uint8_t>;
using Words = std::vector<std::uint32_t>;

/// The little-endian words of bytes.
Words words(const Bytes& bytes) {
  Words result;
  for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4) {
    result.push_back(std::uint32_t{bytes[i]} | std::uint32_t{bytes[i + 1]} << 8 |
                     std::uint32_t{bytes[i + 2]} << 16 | std::uint32_t{bytes[i + 3]} << 24);
  }
  return result;
}

std::string hex(const Bytes& bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += "0123456789abcdef"[byte >> 4];
    text += "0123456789abcdef"[byte & 15];
  }
  return text;
}

TEST(FactoryRecordsTest, AllRecordsCarryTheSameMagic) {
  const Board board;
  for (const std::size_t position : {0x0U, 0x10000U, 0x20000U, 0x30010U}) {
    EXPECT_EQ(hex(board->emmc.bytes(position, 4)), "4e515a56") << position;
  }
}

TEST(FactoryRecordsTest, TheDeadPixelTableHoldsTwo) {
  const Board board;
  Words expected(4112 / 4, 0);
  expected[0] = 0x565A514E;
  expected[1] = 0x1EC;
  expected[2] = 4100;
  expected[3] = 2;
  expected[4] = 100;
  expected[5] = 200;
  expected[6] = 300;
  expected[7] = 400;
  EXPECT_EQ(words(board->emmc.bytes(0, 4112)), expected);
}

TEST(FactoryRecordsTest, TheFlatFieldHeaderIsVersion123OfMay2024) {
  const Board board;
  EXPECT_EQ(hex(board->emmc.bytes(0x10000, 76)),
            "4e515a56"
            "ec060000"
            "00000000"
            "00100000"
            "0102031805110000"
            "00000000"
            "1e000000"
            "08000000"
            "11000000"
            "04000000"
            "7c000000"
            "05000000"
            "89000000"
            "00000000"
            "00000000"
            "00000000"
            "00000000"
            "00000000");
  Words reserved;
  for (std::uint32_t i = 0; i < 31; ++i) reserved.push_back(i * 3);
  EXPECT_EQ(words(board->emmc.bytes(0x10000 + 76, 124)), reserved);
}

TEST(FactoryRecordsTest, TheTimingRecordHoldsThreeRegisterWrites) {
  const Board board;
  const Bytes record = board->emmc.bytes(0x20000, 1580);
  EXPECT_EQ(hex(Bytes(record.begin(), record.begin() + 76)),
            "4e515a56"
            "03000000"
            "02000100"
            "00000000000000000000000000000000000000000000000000000000"
            "10000000"
            "01000000"
            "00000000"
            "11000000"
            "22000000"
            "64000000"
            "2f000000"
            "cdab0000"
            "88130000");
  EXPECT_EQ(Bytes(record.begin() + 76, record.begin() + 1576), Bytes(1500, 0));
  EXPECT_EQ(hex(Bytes(record.begin() + 1576, record.end())), "f0020000");
}

TEST(FactoryRecordsTest, TheSubstrateVoltageIs7Point6) {
  for (const char* family : {"normal", "6455", "6485", "ma", "65xx"}) {
    const Board board(family);
    EXPECT_EQ(hex(board->emmc.bytes(0x30000, 64)),
              "860a0000"
              "860a0000"
              "372e360000000000"
              "4e515a56"
              "0000000000000000000000000000000000000000"
              "0a030000"
              "0000000000000000000000000000000000000000")
        << family;
  }
}

TEST(FactoryRecordsTest, The6484HasASubstrateVoltageOfItsOwn) {
  const Board board("6484");
  EXPECT_EQ(hex(board->emmc.bytes(0x30000, 64)),
            "b80a0000"
            "b80a0000"
            "392e350000000000"
            "4e515a56"
            "0000000000000000000000000000000000000000"
            "6f030000"
            "0000000000000000000000000000000000000000");
}

TEST(FactoryRecordsTest, EveryTypeOf6484HasThatVoltage) {
  const auto* const record = boardsim::find_factory_record("vsub");
  ASSERT_NE(record, nullptr);
  const Board board("6484");
  for (const std::uint32_t type : {0x9604U, 0x960FU, 0x9702U, 0x9709U}) {
    EXPECT_EQ(record->contents(boardsim::hardware_of(type)), board->emmc.bytes(0x30000, 64)) << type;
  }
  for (const std::uint32_t type : {0x9601U, 0x9603U, 0x9605U, 0x960EU, 0x9610U, 0x9703U, 0x970AU, 0xA6001U}) {
    EXPECT_NE(record->contents(boardsim::hardware_of(type)), board->emmc.bytes(0x30000, 64)) << type;
  }
}

TEST(FactoryRecordsTest, EveryRecordHasTheSizeThatItSays) {
  for (const boardsim::FactoryRecord& record : boardsim::factory_records()) {
    EXPECT_EQ(record.contents(boardsim::hardware_of(0x9601)).size(), record.size) << record.name;
    EXPECT_EQ(boardsim::find_factory_record(record.name), &record);
  }
  EXPECT_EQ(boardsim::find_factory_record("luma"), nullptr);
}

TEST(FactoryRecordsTest, TheFlashComesEmptyFromTheFactory) {
  const Board board;
  EXPECT_EQ(board->flash.bytes(0x150000, 0x10000), Bytes(0x10000, 0xFF));
}

}  // namespace
