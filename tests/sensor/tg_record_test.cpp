// The stored timing-generator record: reading it back and checking it.
#include "t1_sdk/boardtest/sensor/timing_generator/record.h"

#include <algorithm>
#include <string>

#include "t1_sdk/boardtest/sensor/timing_generator/timing_generator.h"
#include "tests/sensor/sensor_run.h"
#include "tests/sensor/tg_bytes.h"

namespace {

using tg::Bytes;

class TgRecordTest : public SensorRun {
 protected:
  tg_data_cen record{};

  /// The store holds these bytes when the record is read.
  void expect_stored(const Bytes& bytes, int result) {
    board->emmc.set_bytes(tg::kOnEmmc, bytes);
    EXPECT_EQ(read_tg_data(&record), result);
    if (result > 0) {
      EXPECT_TRUE(tg::bytes_of(record) == bytes);
    }
  }
  /// The same with one bit changed.
  void expect_altered(Bytes bytes, std::size_t bit, int result) {
    SCOPED_TRACE(bit);
    bytes[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
    expect_stored(bytes, result);
  }
};

TEST_F(TgRecordTest, EveryBoardReadsTheFactorysRecordFromTheEmmc) {
  for (const boardsim::Family& family : boardsim::families()) {
    SCOPED_TRACE(family.name);
    next_board(family.name);
    EXPECT_EQ(read_tg_data(&record), 1580);
    EXPECT_TRUE(tg::bytes_of(record) == tg::record(tg::kFactoryVersion, tg::kFactoryPairs));
    EXPECT_EQ(board.hardware_trace(),
              (Lines{"open /dev/mmcblk0p7 = ok", "lseek /dev/mmcblk0p7 131072 = 131072",
                     "read /dev/mmcblk0p7 1580 = 1580", "close /dev/mmcblk0p7 = 0"}));
    expect_console("");
  }
}

TEST_F(TgRecordTest, WithoutABufferThereIsMinus10AndNothingIsAsked) {
  EXPECT_EQ(read_tg_data(nullptr), -10);
  EXPECT_EQ(board.hardware_trace(), Lines{});
  expect_console("");
}

TEST_F(TgRecordTest, AStoreThatCannotBeReadGivesItsOwnCode) {
  for (const char* fault : {"open /dev/mmcblk0p7", "lseek /dev/mmcblk0p7", "read /dev/mmcblk0p7",
                            "read /dev/mmcblk0p7 short 1579"}) {
    SCOPED_TRACE(fault);
    board.clear_faults();
    board.fault(fault);
    EXPECT_EQ(read_tg_data(&record), -1);
  }
}

TEST_F(TgRecordTest, EveryBitOfTheMagicCountsElseThereIsMinus11) {
  for (std::size_t bit = 0; bit < 32; ++bit) expect_altered(tg::record(1, tg::many(2)), bit, -11);
  board.fault("record timing none");
  EXPECT_EQ(read_tg_data(&record), -11);
  expect_console("");
}

TEST_F(TgRecordTest, ARecordOf128PairsIsValid) {
  expect_stored(tg::record(tg::kFileVersion, tg::many(128)), 1580);
}

TEST_F(TgRecordTest, MoreThan128PairsGiveMinus12BeforeTheChecksumIsLookedAtAndBehindTheMagic) {
  // A sum over so many pairs would run past the record, far beyond it for the larger ones.
  for (const std::uint32_t count : {129U, 130U, 0x10000U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    SCOPED_TRACE(count);
    Bytes bytes = tg::record(1, tg::many(128));
    tg::put_word(bytes, 4, count);
    expect_stored(bytes, -12);
    tg::put_word(bytes, 0, 0);
    expect_stored(bytes, -11);
  }
  expect_console("");
}

TEST_F(TgRecordTest, EveryByteFromTheVersionToTheLastPairInUseIsInTheSumElseThereIsMinus13) {
  for (const tg::Pairs& pairs : {tg::kFilePairs, tg::Pairs{}}) {
    const Bytes bytes = tg::record(tg::kFileVersion, pairs);
    for (std::size_t byte = 8; byte < tg::kPairsOffset + pairs.size() * 12; ++byte) {
      expect_altered(bytes, byte * 8 + 6, -13);
    }
    for (std::size_t bit = 0; bit < 32; ++bit) expect_altered(bytes, tg::kSumOffset * 8 + bit, -13);
  }
  expect_console("");
}

TEST_F(TgRecordTest, WhatStandsBehindTheLastPairInUseIsNotInTheSum) {
  for (const tg::Pairs& pairs : {tg::kFilePairs, tg::Pairs{}}) {
    Bytes bytes = tg::record(tg::kFileVersion, pairs);
    std::fill(bytes.begin() + 40 + static_cast<long>(pairs.size()) * 12, bytes.begin() + 1576,
              std::uint8_t{0xEE});
    expect_stored(bytes, 1580);
  }
}

TEST_F(TgRecordTest, BytesAreSummedAsNumbersFrom0To255) {
  const Bytes bytes = tg::record(0xFFFFFFFF, tg::Pairs(128, tg::Pair{0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}));
  EXPECT_EQ(tg::byte_sum(std::span(bytes).subspan(4, 1572)), 255U * (1536 + 4) + 128);
  expect_stored(bytes, 1580);
}

TEST_F(TgRecordTest, ARecordCutOffByAPowerFailureIsNoticed) {
  next_board("ma");
  board.fault("emmc cut 60");
  t1_sdk_setTGParam();
  board.clear_faults();
  EXPECT_EQ(read_tg_data(&record), -13);
}

}  // namespace
