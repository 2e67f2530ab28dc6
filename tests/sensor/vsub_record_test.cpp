// Saving and reading the voltage record and the luma record.
#include <gtest/gtest.h>
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/sensor/vsub/models.h"
#include "t1_sdk/boardtest/sensor/vsub/records.h"
#include "tests/sensor/vsub_board.h"

namespace {

using vsub::Bytes;

constexpr const char* kLumaRefused = "blkNum 21 offset : 64576 error\n";

class VsubRecordTest : public VsubRun {
 protected:
  VSUB_DATA data{};
  VSUB_LUMA_DATA luma{};

  /// Something in every field of the records but those that saving fills in.
  void fill() {
    data.realVsub = 2690;
    data.originalVsub = 2694;
    std::memcpy(data.voltage, "7.6", 4);
    luma.vsubNumber = 2;
    luma.vsubGroup[0] = {2676, 0xFFFFFFFF};
    luma.vsubGroup[1] = {0xFFFF, 311};
  }
  template <class Record>
  static Bytes bytes_of(const Record& record) {
    Bytes bytes(sizeof record);
    std::memcpy(bytes.data(), &record, sizeof record);
    return bytes;
  }
};

// ---- voltage record, saving ---------------------------------------------------------------

TEST_F(VsubRecordTest, SavingGoesToTheFlashWithMagicAndChecksum) {
  fill();
  EXPECT_EQ(writeVsubData(&data), 0x10000) << "the flash counts whole blocks";
  EXPECT_EQ(on_flash(), vsub::record(2690, 2694, "7.6"));
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(console.err(), "");
}

TEST_F(VsubRecordTest, SavingSealsTheCallersRecord) {
  fill();
  EXPECT_GT(writeVsubData(&data), 0);
  EXPECT_EQ(bytes_of(data), vsub::record(2690, 2694, "7.6"));
  EXPECT_EQ(data.magicNumber, 0x565A514EU);
}

TEST_F(VsubRecordTest, SavingReplacesAnOldMagicAndChecksum) {
  fill();
  data.magicNumber = 1;
  data.checkSum = 2;
  EXPECT_GT(writeVsubData(&data), 0);
  EXPECT_EQ(on_flash(), vsub::record(2690, 2694, "7.6"));
}

TEST_F(VsubRecordTest, TheChecksumTakesBytesAsUnsignedAndStopsBeforeItself) {
  std::memset(&data, 0xFF, sizeof data);
  EXPECT_GT(writeVsubData(&data), 0);
  // 36 bytes of 0xFF and the letters N, Q, Z, V; the reserved words behind the sum do not count.
  EXPECT_EQ(data.checkSum, 36U * 0xFF + 'N' + 'Q' + 'Z' + 'V');
  EXPECT_EQ(vsub::word_at(on_flash(), 40), data.checkSum);
  EXPECT_EQ(data.res1[4], 0xFFFFFFFFU);
}

TEST_F(VsubRecordTest, SavingAsksTheHardwareForOneBlock) {
  fill();
  EXPECT_GT(writeVsubData(&data), 0);
  VsubScript expected;
  expected.flash_save();
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
}

TEST_F(VsubRecordTest, SavingKeepsTheBytesAroundTheRecord) {
  Bytes block(0x10000);
  for (std::size_t at = 0; at < block.size(); ++at) block[at] = static_cast<std::uint8_t>(at * 7 + at / 256);
  board->flash.set_bytes(vsub::kFlashBlock, block);
  fill();
  EXPECT_GT(writeVsubData(&data), 0);
  const Bytes saved = vsub::record(2690, 2694, "7.6");
  std::copy(saved.begin(), saved.end(), block.begin() + 0xFC00);
  EXPECT_EQ(board->flash.bytes(vsub::kFlashBlock, block.size()), block);
}

TEST_F(VsubRecordTest, SavingGoesToTheEmmcOnAnMaBoard) {
  next_board("ma");
  fill();
  EXPECT_EQ(writeVsubData(&data), 64);
  EXPECT_EQ(on_emmc(), vsub::record(2690, 2694, "7.6"));
  EXPECT_EQ(on_flash(), never_written());
  VsubScript expected;
  expected.emmc_save(64);
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
}

TEST_F(VsubRecordTest, SavingGoesToTheFlashWhenTheBoardIsUnknown) {
  next_board("ma");
  board.fault("open /dev/qznio");
  fill();
  EXPECT_EQ(writeVsubData(&data), 0x10000);
  EXPECT_EQ(on_flash(), vsub::record(2690, 2694, "7.6"));
  EXPECT_EQ(on_emmc(), vsub::record(kStored, kStored, "7.6"));
}

TEST_F(VsubRecordTest, NoRecordIsCodeMinus10InAllFourCalls) {
  EXPECT_EQ(writeVsubData(nullptr), -10);
  EXPECT_EQ(readVsubData(nullptr), -10);
  EXPECT_EQ(writeVsubLumaData(nullptr), -10);
  EXPECT_EQ(readVsubLumaData(nullptr), -10);
  EXPECT_EQ(board.hardware_trace(), Lines{});
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(console.err(), "");
}

TEST_F(VsubRecordTest, SavingReturnsTheStoresOwnCodes) {
  struct {
    const char* fault;
    int code;
  } const cases[] = {{"open /dev/mtd4", -5},
                     {"read /dev/mtd4", -6},
                     {"ioctl /dev/mtd4 0x40084d02", -7},
                     {"write /dev/mtd4", -8}};
  for (const auto& [fault, code] : cases) {
    SCOPED_TRACE(fault);
    board.clear_faults();
    board.fault(fault);
    fill();
    EXPECT_EQ(writeVsubData(&data), code);
    EXPECT_EQ(writeVsubLumaData(&luma), code);
  }
}

// ---- voltage record, reading --------------------------------------------------------------

TEST_F(VsubRecordTest, ReadingTakesTheRecordFromTheEmmc) {
  store(2690, 2702, "7.4");
  EXPECT_EQ(readVsubData(&data), 64);
  EXPECT_EQ(bytes_of(data), vsub::record(2690, 2702, "7.4"));
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(console.err(), "");
  VsubScript expected;
  expected.emmc_read(64);
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
}

TEST_F(VsubRecordTest, WhatWasSavedToTheFlashIsNotReadBack) {
  fill();
  EXPECT_GT(writeVsubData(&data), 0);
  data = {};
  EXPECT_EQ(readVsubData(&data), 64);
  EXPECT_EQ(data.realVsub, kStored);
}

TEST_F(VsubRecordTest, WhatWasSavedToTheEmmcIsReadBack) {
  next_board("ma");
  fill();
  EXPECT_GT(writeVsubData(&data), 0);
  data = {};
  EXPECT_EQ(readVsubData(&data), 64);
  EXPECT_EQ(bytes_of(data), vsub::record(2690, 2694, "7.6"));
}

TEST_F(VsubRecordTest, EveryFactoryBoardHasAValidRecord) {
  for (const boardsim::Family& family : boardsim::families()) {
    with_family(family.name);
    EXPECT_EQ(readVsubData(&data), 64) << family.name;
    EXPECT_EQ(data.realVsub, data.originalVsub) << family.name;
  }
}

TEST_F(VsubRecordTest, TheFactorysVoltageIsThatOfTheModelsTable) {
  struct {
    const char* family;
    int model;
  } const cases[] = {{"6455", 0x9603}, {"6485", 0x9605}, {"6484", 0x9604}};
  for (const auto& [family, model] : cases) {
    with_family(family);
    EXPECT_EQ(readVsubData(&data), 64);
    VSUB_DATA looked_up{};
    looked_up.originalVsub = data.originalVsub;
    find_vusb_voltage(&looked_up, model);
    EXPECT_STREQ(data.voltage, looked_up.voltage) << family;
  }
}

TEST_F(VsubRecordTest, AWrongByteOfTheMagicIsCodeMinus11) {
  for (std::size_t at = 16; at < 20; ++at) {
    Bytes bytes = vsub::record(2690, 2694, "7.6");
    bytes[at] ^= 1;
    vsub::put_word(bytes, 40, vsub::byte_sum(bytes, 40));
    board->emmc.set_bytes(vsub::kEmmcVsub, bytes);
    EXPECT_EQ(readVsubData(&data), -11) << at;
  }
}

TEST_F(VsubRecordTest, AWrongMagicIsFoundBeforeAWrongChecksum) {
  board->emmc.set_bytes(vsub::kEmmcVsub, never_written());
  EXPECT_EQ(readVsubData(&data), -11);
}

TEST_F(VsubRecordTest, EachByteBeforeTheChecksumIsCovered) {
  for (std::size_t at = 0; at < 44; ++at) {
    if (at >= 16 && at < 20) continue;  // the magic has a code of its own
    Bytes bytes = vsub::record(2690, 2694, "7.6");
    bytes[at] ^= 0x80;
    board->emmc.set_bytes(vsub::kEmmcVsub, bytes);
    EXPECT_EQ(readVsubData(&data), -13) << at;
  }
}

TEST_F(VsubRecordTest, BytesBehindTheChecksumDoNotCount) {
  Bytes bytes = vsub::record(2690, 2694, "7.6");
  for (std::size_t at = 44; at < 64; ++at) bytes[at] = 0xEE;
  board->emmc.set_bytes(vsub::kEmmcVsub, bytes);
  EXPECT_EQ(readVsubData(&data), 64);
  EXPECT_EQ(data.res1[0], 0xEEEEEEEEU);
}

TEST_F(VsubRecordTest, TwoErrorsThatCancelOutPassAByteSum) {
  Bytes bytes = vsub::record(2690, 2694, "7.6");
  ++bytes[0];
  --bytes[4];
  board->emmc.set_bytes(vsub::kEmmcVsub, bytes);
  EXPECT_EQ(readVsubData(&data), 64);
}

TEST_F(VsubRecordTest, TheFactorysFaultsHaveTheirCodes) {
  board.fault("record vsub magic");
  EXPECT_EQ(readVsubData(&data), -11);
  board.clear_faults();
  next_board("6455");
  board.fault("record vsub checksum");
  EXPECT_EQ(readVsubData(&data), -13);
  next_board("6455");
  board.fault("record vsub none");
  EXPECT_EQ(readVsubData(&data), -11);
}

TEST_F(VsubRecordTest, ABadRecordIsNotRepaired) {
  Bytes bytes = vsub::record(2690, 2694, "7.6");
  bytes[40] ^= 1;
  board->emmc.set_bytes(vsub::kEmmcVsub, bytes);
  EXPECT_EQ(readVsubData(&data), -13);
  EXPECT_EQ(on_emmc(), bytes);
  EXPECT_EQ(flash_saves(), 0U);
}

TEST_F(VsubRecordTest, ReadingReturnsTheStoresOwnCodeOnEveryError) {
  struct {
    const char* fault;
    const char* text;
  } const cases[] = {{"open /dev/mmcblk0p7 ENXIO", "open: /dev/mmcblk0p7 error: 6 \n"},
                     {"lseek /dev/mmcblk0p7 ESPIPE", "lseek: /dev/mmcblk0p7 error: 29 \n"},
                     {"read /dev/mmcblk0p7", "read: /dev/mmcblk0p7 error: 5 \n"}};
  for (const auto& [fault, text] : cases) {
    SCOPED_TRACE(fault);
    console.clear();
    board.clear_faults();
    board.fault(fault);
    EXPECT_EQ(readVsubData(&data), -1);
    EXPECT_EQ(console.err(), text);
    EXPECT_EQ(console.out(), "");
  }
}

TEST_F(VsubRecordTest, ARecordOf63BytesIsNoRecord) {
  board.fault("read /dev/mmcblk0p7 short 63");
  EXPECT_EQ(readVsubData(&data), -1);
}

// ---- luma record --------------------------------------------------------------------------

TEST_F(VsubRecordTest, TheLumaRecordGoesToTheFlashBehindTheVoltage) {
  fill();
  EXPECT_EQ(writeVsubLumaData(&luma), 0x10000);
  const Bytes expected = vsub::luma_record({{2676, 0xFFFFFFFF}, {0xFFFF, 311}});
  EXPECT_EQ(luma_on_flash(), expected);
  EXPECT_EQ(bytes_of(luma), expected) << "the caller's record is sealed";
  EXPECT_EQ(on_flash(), never_written());
  VsubScript script;
  script.flash_save();
  EXPECT_EQ(board.timed_hardware_trace(), script.lines());
}

TEST_F(VsubRecordTest, TheLumaChecksumTakesAllThatIsBeforeIt) {
  std::memset(&luma, 0xFF, sizeof luma);
  EXPECT_GT(writeVsubLumaData(&luma), 0);
  EXPECT_EQ(luma.checkSum, 336U * 0xFF + 'N' + 'Q' + 'Z' + 'V');
}

TEST_F(VsubRecordTest, BothRecordsLieSideBySideOnTheFlash) {
  fill();
  EXPECT_GT(writeVsubLumaData(&luma), 0);
  EXPECT_GT(writeVsubData(&data), 0);
  EXPECT_EQ(on_flash(), vsub::record(2690, 2694, "7.6"));
  EXPECT_EQ(luma_on_flash(), vsub::luma_record({{2676, 0xFFFFFFFF}, {0xFFFF, 311}}));
}

TEST_F(VsubRecordTest, TheEmmcHasNoPlaceForTheLumaRecordToSaveItIn) {
  next_board("ma");
  const Bytes before = board->emmc.bytes(0, 0x40000);
  EXPECT_EQ(writeVsubLumaData(&luma), -1);
  EXPECT_EQ(console.err(), kLumaRefused);
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(board->emmc.bytes(0, 0x40000), before);
  EXPECT_EQ(luma_on_flash(), never_written(vsub::kLumaSize));
}

TEST_F(VsubRecordTest, ReadingTheLumaRecordFailsOnEveryBoard) {
  for (const boardsim::Family& family : boardsim::families()) {
    SCOPED_TRACE(family.name);
    next_board(family.name);
    const Bytes valid = vsub::luma_record({{2676, 300}});
    board->flash.set_bytes(vsub::kFlashLuma, valid);
    board->emmc.set_bytes(vsub::kEmmcVsub + 0x40, valid);
    EXPECT_EQ(readVsubLumaData(&luma), -1);
    EXPECT_EQ(console.err(), kLumaRefused);
    EXPECT_EQ(console.out(), "");
    EXPECT_EQ(board.hardware_trace(), Lines{}) << "it is refused before a node is opened";
  }
}

TEST_F(VsubRecordTest, ALumaRecordThatClaimsManyPairsIsNotReadEither) {
  for (const std::uint32_t number : {41U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    Bytes hostile = vsub::luma_record({});
    vsub::put_word(hostile, 4, number);
    vsub::put_word(hostile, 340, vsub::byte_sum(hostile, 340));
    board->flash.set_bytes(vsub::kFlashLuma, hostile);
    board->emmc.set_bytes(vsub::kEmmcVsub + 0x40, hostile);
    EXPECT_EQ(readVsubLumaData(&luma), -1);
  }
}

TEST_F(VsubRecordTest, ALumaRecordThatClaimsManyPairsIsSavedWithinItsBytes) {
  luma.vsubNumber = 0xFFFFFFFF;
  EXPECT_EQ(writeVsubLumaData(&luma), 0x10000);
  Bytes expected = vsub::luma_record({});
  vsub::put_word(expected, 4, 0xFFFFFFFF);
  vsub::put_word(expected, 340, vsub::byte_sum(expected, 340));
  EXPECT_EQ(luma_on_flash(), expected);
  EXPECT_EQ(board->flash.bytes(vsub::kFlashLuma + vsub::kLumaSize, 64), never_written());
}

}  // namespace
