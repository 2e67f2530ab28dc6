// The factory store on the eMMC partition: where records lie, what is refused, codes and texts.
#include <gtest/gtest.h>
#include <array>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/platform/factory_store.h"
#include "tests/harness/console.h"
#include "tests/harness/on_board.h"
#include "tests/platform/factory_media.h"

namespace {

using namespace boardtest;
using Bytes = std::vector<std::uint8_t>;
using Lines = std::vector<std::string>;

constexpr std::size_t kEmmcSize = 0x40000;

static_assert(DEAD_PIXEL_OFFSET == 0 && FF_OFFSET == 0x10000);
static_assert(TG_OFFSET == 0x20000 && VSUB_OFFSET == 0x30000);
static_assert(sizeof(erase_info_user) == 8 && offsetof(erase_info_user, length) == 4);
static_assert(kRecordMagic == 0x565A514E);

/// One of the four calls. On an MA board all of them reach the eMMC.
struct StoreCall {
  const char* name;
  int (*run)(unsigned, unsigned, char*, unsigned);
  bool saves;
  bool checks;  ///< says something of a null buffer, and looks at the length
};
constexpr StoreCall kSave{"flash_save", flash_save_dev_info, true, false};
constexpr StoreCall kRead{"flash_read", flash_read_dev_info, false, false};
constexpr StoreCall kEmmcSave{"emmc_save", emmc_save_dev_info, true, true};
constexpr StoreCall kEmmcRead{"emmc_read", emmc_read_dev_info, false, true};

void PrintTo(const StoreCall& call, std::ostream* out) {
  *out << call.name;
}

class EmmcStoreRun : public OnBoard {
 protected:
  explicit EmmcStoreRun(std::string_view family = "ma") : OnBoard(family) {
    board->emmc.set_bytes(0, before);
    board.clear_trace();
  }

  Console console;
  Bytes before = pattern(kEmmcSize, 3);
  Bytes info = pattern(64, 4);

  Bytes all() const { return board->emmc.bytes(0, kEmmcSize); }
  void expect_lines_on_standard_error(const std::string& text) {
    EXPECT_EQ(console.err(), text);
    EXPECT_EQ(console.out(), "");
  }
};

class EmmcStoreTest : public EmmcStoreRun, public ::testing::WithParamInterface<StoreCall> {
 protected:
  const StoreCall& call = GetParam();

  int run(unsigned block, unsigned offset) {
    return call.run(block, offset, as_info(info), static_cast<unsigned>(info.size()));
  }
  std::string verb() const { return call.saves ? "write" : "read"; }
};

INSTANTIATE_TEST_SUITE_P(Each, EmmcStoreTest, ::testing::Values(kSave, kRead, kEmmcSave, kEmmcRead),
                         [](const auto& row) { return std::string(row.param.name); });

struct Place {
  unsigned block, offset;
  std::size_t position;
};
constexpr std::array kPlaces = {
    Place{21, 0x8000, 0},       Place{19, 0, 0x10000},      Place{19, 0xF800, 0x20000},
    Place{21, 0xFC00, 0x30000}, Place{19, 1, 0x10001},      Place{19, 0x1234, 0x11234},
    Place{19, 0xF7FF, 0x1F7FF}, Place{19, 0xF801, 0x1F801}, Place{19, 0x12345, 0x22345},
};

TEST_P(EmmcStoreTest, EachAddressHasItsPlaceOnThePartition) {
  for (const Place& place : kPlaces) {
    SCOPED_TRACE(place.position);
    board->emmc.set_bytes(0, before);
    info = pattern(64, 4);
    EXPECT_EQ(run(place.block, place.offset), 64);
    if (call.saves) {
      EXPECT_TRUE(all() == with(before, place.position, info));
    } else {
      EXPECT_EQ(info, board->emmc.bytes(place.position, 64));
      EXPECT_TRUE(all() == before);
    }
  }
  expect_lines_on_standard_error("");
}

TEST_P(EmmcStoreTest, BytesAreMovedInOneCallBehindOneSeek) {
  run(19, 0x1234);
  EXPECT_EQ(calls_on(board, kEmmcNode),
            (Lines{"open /dev/mmcblk0p7 = ok", "lseek /dev/mmcblk0p7 70196 = 70196",
                   verb() + " /dev/mmcblk0p7 64 = 64", "close /dev/mmcblk0p7 = 0"}));
  EXPECT_EQ(calls_on(board, kFlashNode), Lines{});
}

TEST_P(EmmcStoreTest, AnAddressThatThePartitionLacksIsRefused) {
  for (const unsigned offset : {0U, 0x7FFFU, 0xFC04U, 0xFC40U}) EXPECT_EQ(run(21, offset), -1);
  EXPECT_EQ(run(0, 0), -1);
  EXPECT_EQ(run(18, 0xF800), -1);
  EXPECT_EQ(run(20, 5), -1);
  EXPECT_EQ(run(22, 0x8000), -1);
  expect_lines_on_standard_error(
      "blkNum 21 offset : 0 error\nblkNum 21 offset : 32767 error\n"
      "blkNum 21 offset : 64516 error\nblkNum 21 offset : 64576 error\n"
      "blkNum: 0 offset: 0 error \nblkNum: 18 offset: 63488 error \n"
      "blkNum: 20 offset: 5 error \nblkNum: 22 offset: 32768 error \n");
  EXPECT_EQ(calls_on(board, kEmmcNode), Lines{});
}

TEST_P(EmmcStoreTest, ACallThatFailsIsNamedWithItsErrorNumber) {
  struct {
    std::string fault, call;
    int error;
    std::size_t calls;
  } const rows[] = {{"open /dev/mmcblk0p7", "open", 19, 1},
                    {"lseek /dev/mmcblk0p7", "lseek", 5, 3},  // nothing is moved
                    {verb() + " /dev/mmcblk0p7 EROFS", verb(), 30, 4}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.fault);
    console.clear();
    board.clear_trace();
    board.clear_faults();
    board.fault(row.fault);
    EXPECT_EQ(run(19, 0), -1);
    expect_lines_on_standard_error(row.call + ": /dev/mmcblk0p7 error: " + std::to_string(row.error) + " \n");
    EXPECT_EQ(calls_on(board, kEmmcNode).size(), row.calls);
    EXPECT_TRUE(all() == before);
  }
}

TEST_P(EmmcStoreTest, AShortCountIsAFailure) {
  EXPECT_EQ(run(19, 0x2FFE0), -1) << "the partition ends behind 32 bytes";
  board.fault(verb() + " /dev/mmcblk0p7 short 63");
  EXPECT_EQ(run(19, 0), -1);
  EXPECT_EQ(console.err().rfind(verb() + ": /dev/mmcblk0p7 error: ", 0), 0U) << console.err();
  EXPECT_EQ(console.out(), "");
}

TEST_P(EmmcStoreTest, AnOffsetFarBeyondThePartitionReachesNoOtherRecord) {
  EXPECT_EQ(run(19, 0xFFFF0000), -1);
  EXPECT_TRUE(all() == before);
}

TEST_P(EmmcStoreTest, NoBufferIsRefusedBeforeTheLengthAndTheAddressAreLookedAt) {
  EXPECT_EQ(call.run(1, 2, nullptr, 0), -1);
  expect_lines_on_standard_error(!call.checks ? "" : verb() + " mmcblk0p7 info is null \n");
  EXPECT_EQ(calls_on(board, kEmmcNode), Lines{});
}

TEST_P(EmmcStoreTest, ALengthOfZeroIsRefusedByTheEmmcCallsOnlyBeforeTheAddressIsLookedAt) {
  EXPECT_EQ(call.run(call.checks ? 1 : 19, 0, as_info(info), 0), call.checks ? -1 : 0);
  expect_lines_on_standard_error(call.checks ? "len mmcblk0p7 is error \n" : "");
  EXPECT_EQ(calls_on(board, kEmmcNode).empty(), call.checks);
}

TEST_P(EmmcStoreTest, EveryMaBoardUsesItsEmmc) {
  for (const unsigned type : {0xA6001U, 0xA6002U, 0xA6003U, 0xA6004U}) {
    SCOPED_TRACE(type);
    board.set_type(type);
    EXPECT_EQ(run(19, 0), 64);
  }
  EXPECT_EQ(calls_on(board, kFlashNode), Lines{});
}

TEST_P(EmmcStoreTest, TheBoardIsAskedForItsTypeOnlyWhereThatDecides) {
  run(19, 0);
  EXPECT_EQ(calls_on(board, "/dev/qznio").empty(), call.checks);
}

class EmmcOnAnyBoardTest : public EmmcStoreRun {
 protected:
  EmmcOnAnyBoardTest() : EmmcStoreRun("normal") {}
};

TEST_F(EmmcOnAnyBoardTest, TheEmmcCallsReachTheEmmcOnEveryBoard) {
  for (const boardsim::Family& family : boardsim::families()) {
    SCOPED_TRACE(family.name);
    with_family(family.name);
    board.clear_trace();
    EXPECT_EQ(emmc_save_dev_info(19, 0xF800, as_info(info), 64), 64);
    Bytes back(64);
    EXPECT_EQ(emmc_read_dev_info(19, 0xF800, as_info(back), 64), 64);
    EXPECT_EQ(back, info);
    EXPECT_EQ(calls_on(board, kFlashNode), Lines{});
  }
}

class EmmcOnMaBoardTest : public EmmcStoreRun {};

TEST_F(EmmcOnMaBoardTest, ABoardThatCannotTellItsTypeForOnceSavesToItsFlash) {
  board.fault("open /dev/qznio #1");
  EXPECT_EQ(flash_save_dev_info(21, 0xFC00, as_info(info), 64), 0x10000);
  EXPECT_TRUE(all() == before);
  EXPECT_EQ(flash_save_dev_info(21, 0xFC00, as_info(info), 64), 64);
}

}  // namespace
