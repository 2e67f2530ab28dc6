// Saving and reading the voltage record and the luma record.
#include "t1_sdk/boardtest/sensor/vsub/records.h"

#include <gtest/gtest.h>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "tests/sensor/vsub_run.h"

namespace {

using vsub::Bytes;

constexpr const char* kLumaRefused = "blkNum 21 offset : 64576 error\n";

class VsubRecordTest : public VsubRun {
 protected:
  VSUB_DATA data{};
  VSUB_LUMA_DATA luma{};

  /// Something in every field of the records, an old magic and checksum among them.
  VsubRecordTest() {
    data.realVsub = 2690;
    data.originalVsub = 2694;
    std::memcpy(data.voltage, "7.6", 4);
    luma.vsubNumber = 2;
    luma.vsubGroup[0] = {2676, 0xFFFFFFFF};
    luma.vsubGroup[1] = {0xFFFF, 311};
    data.magicNumber = luma.magicNumber = 1;
    data.checkSum = luma.checkSum = 2;
  }
  const Bytes sealed_data = vsub::record(2690, 2694, "7.6");
  const Bytes sealed_luma = vsub::luma_record({{2676, 0xFFFFFFFF}, {0xFFFF, 311}});

  template <class Record>
  static Bytes bytes_of(const Record& record) {
    Bytes bytes(sizeof record);
    std::memcpy(bytes.data(), &record, sizeof record);
    return bytes;
  }
};

// ---- saving -------------------------------------------------------------------------------

TEST_F(VsubRecordTest, SavingSealsTheCallersRecordAndPutsItOnTheFlash) {
  EXPECT_EQ(writeVsubData(&data), 0x10000) << "the flash counts whole blocks";
  EXPECT_EQ(on_flash(), sealed_data);
  EXPECT_EQ(bytes_of(data), sealed_data);
  VsubScript expected;
  expected.flash_save();
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
  expect_console("");
}

TEST_F(VsubRecordTest, TheLumaRecordIsSavedAlikeBehindTheVoltage) {
  EXPECT_GT(writeVsubData(&data), 0);
  board.clear_trace();
  EXPECT_EQ(writeVsubLumaData(&luma), 0x10000);
  EXPECT_EQ(luma_on_flash(), sealed_luma);
  EXPECT_EQ(bytes_of(luma), sealed_luma);
  EXPECT_EQ(on_flash(), sealed_data) << "both lie side by side";
  VsubScript expected;
  expected.flash_save();
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
}

TEST_F(VsubRecordTest, TheChecksumTakesBytesAsUnsignedAndStopsBeforeItself) {
  std::memset(&data, 0xFF, sizeof data);
  EXPECT_GT(writeVsubData(&data), 0);
  // 36 bytes of 0xFF and the letters N, Q, Z, V; the reserved words behind the sum do not count.
  EXPECT_EQ(data.checkSum, 36U * 0xFF + 'N' + 'Q' + 'Z' + 'V');
  EXPECT_EQ(data.res1[4], 0xFFFFFFFFU);
}

TEST_F(VsubRecordTest, ALumaRecordThatClaimsManyPairsIsSavedWithinItsBytes) {
  std::memset(&luma, 0xEE, sizeof luma);
  EXPECT_EQ(writeVsubLumaData(&luma), 0x10000);
  EXPECT_EQ(luma.checkSum, 336U * 0xEE + 'N' + 'Q' + 'Z' + 'V');
  EXPECT_EQ(luma_on_flash(), bytes_of(luma));
  EXPECT_EQ(board->flash.bytes(vsub::kFlashLuma + vsub::kLumaSize, 64), never_written());
}

TEST_F(VsubRecordTest, AnMaBoardSavesOnItsEmmcAndReadsWhatItSaved) {
  next_board("ma");
  EXPECT_EQ(writeVsubData(&data), 64);
  EXPECT_EQ(on_emmc(), sealed_data);
  EXPECT_EQ(on_flash(), never_written());
  VsubScript expected;
  expected.emmc_save(64);
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
  data = {};
  EXPECT_EQ(readVsubData(&data), 64);
  EXPECT_EQ(bytes_of(data), sealed_data);
}

TEST_F(VsubRecordTest, TheEmmcHasNoPlaceForTheLumaRecordToSaveItIn) {
  next_board("ma");
  const Bytes before = board->emmc.bytes(0, 0x40000);
  EXPECT_EQ(writeVsubLumaData(&luma), -1);
  expect_console("", kLumaRefused);
  EXPECT_EQ(board->emmc.bytes(0, 0x40000), before);
  EXPECT_EQ(luma_on_flash(), never_written(vsub::kLumaSize));
}

TEST_F(VsubRecordTest, NoRecordIsCodeMinus10InAllFourCalls) {
  EXPECT_EQ(writeVsubData(nullptr), -10);
  EXPECT_EQ(readVsubData(nullptr), -10);
  EXPECT_EQ(writeVsubLumaData(nullptr), -10);
  EXPECT_EQ(readVsubLumaData(nullptr), -10);
  EXPECT_EQ(board.hardware_trace(), Lines{});
  expect_console("");
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
    EXPECT_EQ(writeVsubData(&data), code);
    EXPECT_EQ(writeVsubLumaData(&luma), code);
  }
}

// ---- reading ------------------------------------------------------------------------------

TEST_F(VsubRecordTest, ReadingTakesTheRecordFromTheEmmc) {
  store(2690, 2702, "7.4");
  EXPECT_EQ(readVsubData(&data), 64);
  EXPECT_EQ(bytes_of(data), vsub::record(2690, 2702, "7.4"));
  VsubScript expected;
  expected.emmc_read(64);
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
  expect_console("");
}

TEST_F(VsubRecordTest, EachByteUpToTheChecksumCountsAndABadRecordIsNotRepaired) {
  for (std::size_t at = 0; at < 44; ++at) {
    SCOPED_TRACE(at);
    const bool magic = at >= 16 && at < 20;
    Bytes bytes = sealed_data;
    bytes[at] ^= 0x80;
    if (magic) vsub::put_word(bytes, 40, vsub::byte_sum(bytes, 40));  // it is wrong by itself
    board->emmc.set_bytes(vsub::kEmmcVsub, bytes);
    EXPECT_EQ(readVsubData(&data), magic ? -11 : -13);
    EXPECT_EQ(on_emmc(), bytes);
    EXPECT_EQ(flash_saves(), 0U);
  }
}

TEST_F(VsubRecordTest, AWrongMagicIsFoundBeforeAWrongChecksum) {
  board->emmc.set_bytes(vsub::kEmmcVsub, never_written());
  EXPECT_EQ(readVsubData(&data), -11);
}

TEST_F(VsubRecordTest, BytesBehindTheChecksumDoNotCount) {
  Bytes bytes = sealed_data;
  for (std::size_t at = 44; at < 64; ++at) bytes[at] = 0xEE;
  board->emmc.set_bytes(vsub::kEmmcVsub, bytes);
  EXPECT_EQ(readVsubData(&data), 64);
  EXPECT_EQ(data.res1[0], 0xEEEEEEEEU);
}

TEST_F(VsubRecordTest, ReadingReturnsTheStoresOwnCodeOnEveryError) {
  for (const char* fault : {"open /dev/mmcblk0p7", "lseek /dev/mmcblk0p7", "read /dev/mmcblk0p7",
                            "read /dev/mmcblk0p7 short 63"}) {
    SCOPED_TRACE(fault);
    board.clear_faults();
    board.fault(fault);
    EXPECT_EQ(readVsubData(&data), -1);
  }
}

TEST_F(VsubRecordTest, ReadingTheLumaRecordFailsOnEveryBoard) {
  for (const boardsim::Family& family : boardsim::families()) {
    SCOPED_TRACE(family.name);
    next_board(family.name);
    board->flash.set_bytes(vsub::kFlashLuma, sealed_luma);
    board->emmc.set_bytes(vsub::kEmmcVsub + 0x40, sealed_luma);
    EXPECT_EQ(readVsubLumaData(&luma), -1);
    expect_console("", kLumaRefused);
    EXPECT_EQ(board.hardware_trace(), Lines{}) << "it is refused before a node is opened";
  }
}

}  // namespace
