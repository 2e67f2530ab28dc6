// One medium: what is mounted, written, read back, measured and said.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/comm/storage_board.h"
#include "tests/harness/gbk.h"
#include "tests/platform/open_node.h"

namespace {

using namespace std::chrono_literals;
using storage::finished;
using storage::kBlock;
using storage::kBlocks;
using storage::measured;

constexpr std::size_t kTestSize = kBlocks * kBlock;

class StorageMediumTest : public StorageRun {
 protected:
  StorageMediumTest() { make_folder(); }

  /// Goes on as on a board that was just switched on.
  void start_anew() {
    EXPECT_EQ(::rmdir("/mnt/test"), 0);
    next_board("normal");
    EXPECT_EQ(::mkdir("/mnt/test", 0777), 0);
    board.clear_trace();
    result = 77;
    std::strcpy(verdict, "untouched");
  }
  void run() { run_medium(); }
  void expect_pass() {
    EXPECT_EQ(result, 0);
    EXPECT_EQ(utf8(verdict), "untouched");
  }
};

TEST_F(StorageMediumTest, EveryTypeHasItsNodeAndItsClosingLine) {
  struct {
    int type;
    const char *node, *name, *line_end;
  } const types[] = {
      {0, "/dev/mmc01", "SD卡", "\n\n"}, {1, "/dev/msbd1", "USB1", "\n"}, {2, "/dev/msb1", "USB2", "\n"},
      {3, "/dev/msb1", "sda1", "\n\n"},  // called sda1, and still the stick of type 2
      {4, "/dev/mmc11", "mmc11", "\n"},  {5, "/dev/msb1", "USB2", "\n"},  {1000, "/dev/msb1", "USB2", "\n"},
      {-1, "/dev/msb1", "USB2", "\n"}};
  for (const auto& type : types) {
    SCOPED_TRACE(type.type);
    start_anew();
    for (const char* node : storage::kMedia) {
      board.fault(std::string("medium ") + node + " wrong 7 300 9000000");
    }
    run_medium(type.type);
    expect_pass();
    EXPECT_EQ(console.out(), measured() + finished(type.name, 3) + type.line_end);
    EXPECT_EQ(console.err(), "");
    for (const std::string node : storage::kMedia) {
      if (node == type.node) {
        EXPECT_EQ(file(node).size(), kTestSize) << "the file stays on the medium";
      } else {
        EXPECT_THROW(file(node), std::invalid_argument) << node;
      }
    }
    board.fault(std::string("medium ") + type.node + " absent");
    console.clear();
    run_medium(type.type);
    EXPECT_EQ(result, 1);
    EXPECT_EQ(utf8(verdict), "挂载失败");
    EXPECT_EQ(console.out(), "挂载失败\n");
  }
}

// ---- what is written --------------------------------------------------------------------------

TEST_F(StorageMediumTest, TheFileIsCreatedOrTruncatedForReadingAndWriting) {
  run();
  for (const boardsim::Call& call : board.trace()) {
    if (call.name != "open") continue;
    ASSERT_FALSE(call.record.empty());
    EXPECT_EQ(call.record[0] & (O_ACCMODE | O_CREAT | O_TRUNC), unsigned{O_RDWR | O_CREAT | O_TRUNC});
  }
  EXPECT_EQ(calls("open"), 1U);
}

TEST_F(StorageMediumTest, TheFileOfAnEarlierTestIsRemovedFirstAndTakesNoSpace) {
  board->mounts.at(kStickNode).set_space(30, 30);
  run();
  board.clear_trace();
  run();
  expect_pass();
  EXPECT_EQ(calls_named({"mount", "unlink", "statfs", "open"}),
            (Lines{"mount /dev/msb1 /mnt/test vfat 0 = 0", "unlink /mnt/test/usbtest.dat = 0",
                   "statfs /mnt/test = 0", "open /mnt/test/usbtest.dat = ok"}));
}

TEST_F(StorageMediumTest, AFileOnDescriptorZeroIsCreatedLikeAnyOther) {
  const FreeDescriptorZero free_descriptor;
  run();
  expect_pass();
  EXPECT_EQ(calls("mount"), 1U);
}

TEST_F(StorageMediumTest, ThePatternCountsUpwardsWithAPeriodOf256) {
  run();
  const std::string content = file();
  ASSERT_EQ(content.size(), kTestSize);
  std::string block(kBlock, '\0');
  for (std::size_t j = 0; j < kBlock; ++j) {
    block[j] = static_cast<char>(static_cast<unsigned char>(j + static_cast<unsigned char>(content[0])));
  }
  for (std::size_t number = 0; number < kBlocks; ++number) {
    EXPECT_TRUE(content.compare(number * kBlock, kBlock, block) == 0) << "block " << number;
  }
}

TEST_F(StorageMediumTest, ThePatternDependsOnTheTimeOfDayAndOnNoEarlierSeed) {
  std::set<char> at_other_times;
  for (int number = 0; number < 4; ++number) {
    run();
    at_other_times.insert(file().at(0));
    ::usleep(1'234'567);
  }
  EXPECT_GT(at_other_times.size(), 1U);
  std::set<char> at_one_time;
  for (const unsigned seed : {1U, 2U, 3U}) {
    start_anew();
    ::srandom(seed);
    run();
    at_one_time.insert(file().at(0));
  }
  EXPECT_EQ(at_one_time.size(), 1U);
}

// ---- marks and speeds -------------------------------------------------------------------------

TEST_F(StorageMediumTest, SpeedsHaveTwoDigitsAndATransferThatTakesNoTimeCountsAsOneSecond) {
  struct {
    int milliseconds;  ///< a block
    const char* speed;
    boardsim::Time end;
  } const rows[] = {{0, "25.00", 500ms},   {20, "50.00", 1500ms}, {40, "25.00", 2500ms},
                    {30, "33.33", 2000ms}, {1, "1000.00", 550ms}, {60000, "0.02", 3000500ms}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.milliseconds);
    start_anew();
    if (row.milliseconds != 0) board.fault("medium /dev/msb1 slow " + std::to_string(row.milliseconds));
    run();
    expect_pass();
    EXPECT_EQ(console.out(), measured(row.speed, row.speed) + finished("USB2") + "\n");
    EXPECT_EQ(board.now(), row.end);
  }
}

TEST_F(StorageMediumTest, WritingAndReadingAreMeasuredApart) {
  board.fault("medium /dev/msb1 slow 100");
  board.at(2450ms, [this] { board.fault("medium /dev/msb1 slow 200"); });  // within the last block written
  run();
  EXPECT_EQ(console.out(), measured("10.00", "5.00") + finished("USB2") + "\n");
}

TEST_F(StorageMediumTest, APersonSeesAMarkForEachBlockAsItIsWritten) {
  const std::string head = "磁盘分区大小:4.00(G)\n磁盘剩余空间:4.00(G)\n";
  board.fault("medium /dev/msb1 slow 100");
  for (int written = 1; written < kBlocks; ++written) {
    board.at(written * 100ms + 50ms, [this, head, written] {
      EXPECT_EQ(console.flushed(), head + std::string(static_cast<std::size_t>(written), '#'));
    });
  }
  run();
  EXPECT_EQ(board.now(), 5500ms);
}

TEST_F(StorageMediumTest, TheClosingLineIsSeenBeforeThePauseOf500Milliseconds) {
  board.at(250ms, [this] {
    EXPECT_EQ(console.flushed(), measured() + finished("USB2") + "\n");
    EXPECT_EQ(board->mounts.mounted(), Lines{});
    EXPECT_EQ(board.open_nodes(), Lines{});
  });
  run();
  EXPECT_EQ(board.now(), 500ms);
}

// ---- wrong bytes ------------------------------------------------------------------------------

TEST_F(StorageMediumTest, EveryWrongByteIsCountedAndDoesNotFailTheTest) {
  std::string of_each_block, neighbours;
  for (std::size_t block = 0; block < kBlocks; ++block) {
    of_each_block += " " + std::to_string(block * kBlock) + " " + std::to_string((block + 1) * kBlock - 1);
  }
  for (int offset = 5'000'001; offset < 5'000'101; ++offset) neighbours += " " + std::to_string(offset);
  const std::pair<std::string, std::size_t> rows[] = {{" 1000000", 1},
                                                      {of_each_block, 50},
                                                      {neighbours, 100},
                                                      {" 26214400", 0}};  // the last lies behind the file
  for (const auto& [offsets, number] : rows) {
    SCOPED_TRACE(offsets);
    start_anew();
    board.fault("medium /dev/msb1 wrong" + offsets);
    run();
    expect_pass();
    EXPECT_EQ(console.out(), measured() + finished("USB2", number) + "\n");
  }
}

TEST_F(StorageMediumTest, AShortReadThatShiftsThePatternMakesTheBlocksBehindItWrong) {
  constexpr std::size_t kShort = kBlock - 1;  // each block read begins a byte earlier in the pattern
  board.fault("medium /dev/msb1 short " + std::to_string(kShort));
  run();
  expect_pass();
  const bool ends_in_zero = file().at(kBlock - 1) == '\0';
  const std::size_t wrong = (kBlocks - 1) * kShort + (ends_in_zero ? 0 : kBlocks);
  EXPECT_TRUE(console.out().ends_with("\n" + finished("USB2", wrong) + "\n"));
}

}  // namespace
