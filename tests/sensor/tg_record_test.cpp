// The stored timing-generator record: reading it back and checking it.
#include <algorithm>
#include <string>

#include "t1_sdk/boardtest/sensor/timing_generator/record.h"
#include "t1_sdk/boardtest/sensor/timing_generator/timing_generator.h"
#include "tests/sensor/sensor_run.h"
#include "tests/sensor/tg_bytes.h"

namespace {

using tg::Bytes;

class TgRecordTest : public SensorRun {
 protected:
  tg_data_cen record{};

  /// The store holds these bytes when the record is read.
  int read_stored(const Bytes& bytes) {
    board->emmc.set_bytes(tg::kOnEmmc, bytes);
    return read_tg_data(&record);
  }
  void expect_silence() {
    EXPECT_EQ(console.out(), "");
    EXPECT_EQ(console.err(), "");
  }
};

TEST_F(TgRecordTest, TheFactorysRecordIsReadWhole) {
  EXPECT_EQ(read_tg_data(&record), 1580);
  EXPECT_TRUE(tg::bytes_of(record) == tg::record(tg::kFactoryVersion, tg::kFactoryPairs));
  expect_silence();
}

TEST_F(TgRecordTest, EveryBoardReadsItFromTheEmmc) {
  for (const boardsim::Family& family : boardsim::families()) {
    SCOPED_TRACE(family.name);
    next_board(family.name);
    EXPECT_EQ(read_tg_data(&record), 1580);
    EXPECT_EQ(board.hardware_trace(),
              (Lines{"open /dev/mmcblk0p7 = ok", "lseek /dev/mmcblk0p7 131072 = 131072",
                     "read /dev/mmcblk0p7 1580 = 1580", "close /dev/mmcblk0p7 = 0"}));
  }
}

TEST_F(TgRecordTest, WithoutABufferThereIsMinus10AndNothingIsAsked) {
  EXPECT_EQ(read_tg_data(nullptr), -10);
  EXPECT_EQ(board.hardware_trace(), Lines{});
  expect_silence();
}

TEST_F(TgRecordTest, AStoreThatCannotBeReadGivesItsOwnCode) {
  for (const char* fault : {"open /dev/mmcblk0p7", "lseek /dev/mmcblk0p7", "read /dev/mmcblk0p7",
                            "read /dev/mmcblk0p7 short 1579"}) {
    SCOPED_TRACE(fault);
    board.fault(fault);
    EXPECT_EQ(read_tg_data(&record), -1);
    board.clear_faults();
  }
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(console.err().rfind("open: /dev/mmcblk0p7 error: 19 \nlseek: /dev/mmcblk0p7 error: 5 \n"
                                "read: /dev/mmcblk0p7 error: 5 \nread: /dev/mmcblk0p7 error: ",
                                0),
            0U)
      << console.err();
}

TEST_F(TgRecordTest, AStoreWithoutTheRecordGivesMinus11) {
  board.fault("record timing none");
  EXPECT_EQ(read_tg_data(&record), -11);
  expect_silence();
}

TEST_F(TgRecordTest, AWrongMagicGivesMinus11) {
  board.fault("record timing magic");
  EXPECT_EQ(read_tg_data(&record), -11);
}

TEST_F(TgRecordTest, AWrongChecksumGivesMinus13) {
  board.fault("record timing checksum");
  EXPECT_EQ(read_tg_data(&record), -13);
  expect_silence();
}

TEST_F(TgRecordTest, EveryBitOfTheMagicCounts) {
  for (std::size_t bit = 0; bit < 32; ++bit) {
    SCOPED_TRACE(bit);
    Bytes bytes = tg::record(1, tg::many(2));
    bytes[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
    EXPECT_EQ(read_stored(bytes), -11);
  }
}

TEST_F(TgRecordTest, ARecordOf128PairsIsValid) {
  EXPECT_EQ(read_stored(tg::record(tg::kFileVersion, tg::many(128))), 1580);
  EXPECT_TRUE(tg::bytes_of(record) == tg::record(tg::kFileVersion, tg::many(128)));
}

TEST_F(TgRecordTest, ARecordOf129PairsGivesMinus12) {
  Bytes bytes = tg::record(1, tg::many(128));
  tg::put_word(bytes, 4, 129);
  EXPECT_EQ(read_stored(bytes), -12);
  expect_silence();
}

TEST_F(TgRecordTest, TheCountIsLookedAtBeforeTheChecksum) {
  // A sum over so many pairs would run past the record, far beyond it for the larger ones.
  for (const std::uint32_t count : {129U, 130U, 0x10000U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    SCOPED_TRACE(count);
    Bytes bytes = tg::record(1, tg::many(3));
    tg::put_word(bytes, 4, count);
    EXPECT_EQ(read_stored(bytes), -12);
  }
}

TEST_F(TgRecordTest, TheMagicIsLookedAtBeforeTheCount) {
  Bytes bytes = tg::record(1, tg::many(3));
  tg::put_word(bytes, 0, 0);
  tg::put_word(bytes, 4, 129);
  EXPECT_EQ(read_stored(bytes), -11);
}

TEST_F(TgRecordTest, ARecordWithoutPairsSumsThe36BytesOfCountVersionAndReservedWords) {
  Bytes bytes = tg::record(0x01020304, {});
  EXPECT_EQ(bytes[tg::kSumOffset], 10) << "nothing but the version's bytes";
  std::fill(bytes.begin() + 40, bytes.begin() + 1576, std::uint8_t{0x77});
  EXPECT_EQ(read_stored(bytes), 1580);
  for (std::size_t place = 8; place < 40; ++place) {
    SCOPED_TRACE(place);
    Bytes altered = bytes;
    altered[place] ^= 0x40;
    EXPECT_EQ(read_stored(altered), -13);
  }
}

TEST_F(TgRecordTest, EveryByteUpToTheLastPairInUseIsInTheSum) {
  const Bytes bytes = tg::record(tg::kFileVersion, tg::kFilePairs);
  for (std::size_t place = 8; place < tg::kPairsOffset + 4 * 12; ++place) {
    SCOPED_TRACE(place);
    Bytes altered = bytes;
    altered[place] = static_cast<std::uint8_t>(altered[place] + 1);
    EXPECT_EQ(read_stored(altered), -13);
  }
}

TEST_F(TgRecordTest, WhatStandsBehindTheLastPairInUseIsNotInTheSum) {
  Bytes bytes = tg::record(tg::kFileVersion, tg::kFilePairs);
  std::fill(bytes.begin() + 40 + 4 * 12, bytes.begin() + 1576, std::uint8_t{0xEE});
  EXPECT_EQ(read_stored(bytes), 1580);
  EXPECT_TRUE(tg::bytes_of(record) == bytes);
}

TEST_F(TgRecordTest, TheMagicIsNotInTheSum) {
  Bytes bytes = tg::record(1, {});
  EXPECT_EQ(bytes[tg::kSumOffset], 1);
  EXPECT_EQ(read_stored(bytes), 1580);
}

TEST_F(TgRecordTest, EveryBitOfTheSumCounts) {
  for (std::size_t bit = 0; bit < 32; ++bit) {
    SCOPED_TRACE(bit);
    Bytes bytes = tg::record(1, tg::many(2));
    bytes[tg::kSumOffset + bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
    EXPECT_EQ(read_stored(bytes), -13);
  }
}

TEST_F(TgRecordTest, BytesAreSummedAsNumbersFrom0To255) {
  tg::Pairs pairs(128, tg::Pair{0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF});
  const Bytes bytes = tg::record(0xFFFFFFFF, pairs);
  EXPECT_EQ(tg::byte_sum(std::span(bytes).subspan(4, 1572)), 255U * (1536 + 4) + 128);
  EXPECT_EQ(read_stored(bytes), 1580);
}

TEST_F(TgRecordTest, ARecordCutOffByAPowerFailureIsNoticed) {
  next_board("ma");
  board.fault("emmc cut 60");
  t1_sdk_setTGParam();
  board.clear_faults();
  EXPECT_EQ(read_tg_data(&record), -13);
}

}  // namespace
