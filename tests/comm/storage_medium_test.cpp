// One medium: what is mounted, written, read back, measured and said.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <chrono>
#include <cstdlib>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "tests/comm/storage_board.h"
#include "tests/harness/gbk.h"
#include "tests/platform/open_node.h"

namespace {

using namespace std::chrono_literals;
using storage::finished;
using storage::kBlock;
using storage::kBlocks;
using storage::kLostBlock;
using storage::measured;

constexpr std::size_t kTestSize = kBlocks * kBlock;

class StorageMediumTest : public MediumRun {
 protected:
  void expect_pass() {
    EXPECT_EQ(result, 0);
    EXPECT_EQ(utf8(description), "untouched");
  }
  void expect_wrong_bytes(std::size_t number) {
    run();
    expect_pass();
    EXPECT_EQ(console.out(), measured() + finished("USB2", number) + "\n");
  }
  void expect_speeds(const std::string& write, const std::string& read) {
    run();
    expect_pass();
    EXPECT_EQ(console.out(), measured(write, read) + finished("USB2") + "\n");
  }
  /// Leaves a file on the stick, as an earlier test would have.
  void leave_old_file(std::size_t size) {
    ASSERT_EQ(::mount(kStickNode, "/mnt/test", "vfat", 0, nullptr), 0);
    const int fd = ::open("/mnt/test/usbtest.dat", O_RDWR | O_CREAT, 0777);
    ASSERT_GE(fd, 0);
    const std::string content(size, 'o');
    ASSERT_EQ(::write(fd, content.data(), content.size()), static_cast<ssize_t>(content.size()));
    ASSERT_EQ(::close(fd), 0);
    ASSERT_EQ(::umount("/mnt/test"), 0);
    board.clear_trace();
  }
};

// ---- the disk types ---------------------------------------------------------------------------

struct DiskType {
  int number;
  const char* node;
  const char* closing;  ///< the last the console shows
};

void PrintTo(const DiskType& type, std::ostream* out) {
  *out << "type " << type.number;
}

class DiskTypeTest : public StorageMediumTest, public ::testing::WithParamInterface<DiskType> {};

TEST_P(DiskTypeTest, AHealthyMediumOfItsNodePasses) {
  run(GetParam().number);
  expect_pass();
}

TEST_P(DiskTypeTest, ItsNodeAloneIsMountedAndWritten) {
  run(GetParam().number);
  EXPECT_EQ(mounted_nodes(), Lines{GetParam().node});
  for (const std::string node : storage::kMedia) {
    if (node == GetParam().node) {
      EXPECT_EQ(file(node).size(), kTestSize);
    } else {
      expect_no_file(node);
    }
  }
}

TEST_P(DiskTypeTest, TheConsoleShowsSpaceMarksSpeedsAndItsOwnClosingLine) {
  run(GetParam().number);
  EXPECT_EQ(console.out(), measured() + GetParam().closing);
  EXPECT_EQ(console.err(), "");
}

TEST_P(DiskTypeTest, AMissingMediumFailsWithCode1) {
  board.fault(std::string("medium ") + GetParam().node + " absent");
  run(GetParam().number);
  EXPECT_EQ(result, 1);
  EXPECT_EQ(utf8(description), "挂载失败");
  EXPECT_EQ(console.out(), "挂载失败\n");
}

INSTANTIATE_TEST_SUITE_P(
    AllTypes, DiskTypeTest,
    ::testing::Values(DiskType{0, "/dev/mmc01", "SD卡完成25(M)读写数据测试,错误数据0(8bit)\n\n"},
                      DiskType{1, "/dev/msbd1", "USB1完成25(M)读写数据测试,错误数据0(8bit)\n"},
                      DiskType{2, "/dev/msb1", "USB2完成25(M)读写数据测试,错误数据0(8bit)\n"},
                      // Labelled sda1, and still the stick of type 2.
                      DiskType{3, "/dev/msb1", "sda1完成25(M)读写数据测试,错误数据0(8bit)\n\n"},
                      DiskType{4, "/dev/mmc11", "mmc11完成25(M)读写数据测试,错误数据0(8bit)\n"},
                      DiskType{5, "/dev/msb1", "USB2完成25(M)读写数据测试,错误数据0(8bit)\n"},
                      DiskType{1000, "/dev/msb1", "USB2完成25(M)读写数据测试,错误数据0(8bit)\n"},
                      DiskType{-1, "/dev/msb1", "USB2完成25(M)读写数据测试,错误数据0(8bit)\n"}),
    [](const auto& type) {
      const int number = type.param.number;
      return "Type" + (number < 0 ? "Minus" + std::to_string(-number) : std::to_string(number));
    });

// ---- what is written --------------------------------------------------------------------------

TEST_F(StorageMediumTest, TheMediumIsMountedAsVfatWithoutFlags) {
  run();
  EXPECT_EQ(calls_named({"mount"}), Lines{"mount /dev/msb1 /mnt/test vfat 0 = 0"});
}

TEST_F(StorageMediumTest, TheFileIsCreatedOrTruncatedForReadingAndWriting) {
  run();
  for (const boardsim::Call& call : board.trace()) {
    if (call.name != "open") continue;
    ASSERT_FALSE(call.record.empty());
    EXPECT_EQ(call.record[0] & (O_ACCMODE | O_CREAT | O_TRUNC), unsigned{O_RDWR | O_CREAT | O_TRUNC});
  }
  EXPECT_EQ(calls("open"), 1U);
}

TEST_F(StorageMediumTest, TheFileOfAnEarlierTestIsRemovedFirst) {
  leave_old_file(30 * kBlock);
  run();
  expect_pass();
  EXPECT_EQ(calls_named({"mount", "unlink", "statfs", "open"}),
            (Lines{"mount /dev/msb1 /mnt/test vfat 0 = 0", "unlink /mnt/test/usbtest.dat = 0",
                   "statfs /mnt/test = 0", "open /mnt/test/usbtest.dat = ok"}));
  EXPECT_EQ(file().size(), kTestSize);
}

TEST_F(StorageMediumTest, TheFileOfAnEarlierTestTakesNoSpace) {
  board->mounts.at(kStickNode).set_space(30, 30);
  run();
  run();
  expect_pass();
}

TEST_F(StorageMediumTest, AnOldFileThatCannotBeRemovedIsTruncated) {
  leave_old_file(30 * kBlock);
  board.fault("unlink EIO");
  run();
  expect_pass();
  EXPECT_EQ(file().size(), kTestSize);
}

TEST_F(StorageMediumTest, AFileOnDescriptorZeroIsCreatedLikeAnyOther) {
  const FreeDescriptorZero free_descriptor;
  run();
  expect_pass();
  EXPECT_EQ(calls("mount"), 1U);
}

TEST_F(StorageMediumTest, TheTestFileStaysOnTheMedium) {
  run();
  EXPECT_EQ(file().size(), kTestSize);
}

TEST_F(StorageMediumTest, TwentyFiveBlocksOfOneMegabyteAreWrittenAndRead) {
  run();
  Lines expected(kBlocks, "write /mnt/test/usbtest.dat 1048576 = 1048576");
  expected.insert(expected.end(), kBlocks, "read /mnt/test/usbtest.dat 1048576 = 1048576");
  EXPECT_EQ(calls_named({"write", "read"}), expected);
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

TEST_F(StorageMediumTest, ThePatternDependsOnTheTimeOfDay) {
  std::set<char> first_bytes;
  for (int number = 0; number < 4; ++number) {
    run();
    first_bytes.insert(file().at(0));
    ::usleep(1'234'567);
  }
  EXPECT_GT(first_bytes.size(), 1U);
}

TEST_F(StorageMediumTest, AnEarlierSeedDoesNotMatter) {
  std::set<char> first_bytes;
  for (const unsigned seed : {1U, 2U, 3U}) {
    ::srandom(seed);
    run();
    first_bytes.insert(file().at(0));
    EXPECT_EQ(::rmdir("/mnt/test"), 0);
    next_board("normal");  // the time of day starts anew
    EXPECT_EQ(::mkdir("/mnt/test", 0777), 0);
  }
  EXPECT_EQ(first_bytes.size(), 1U);
}

// ---- marks and speeds -------------------------------------------------------------------------

TEST_F(StorageMediumTest, AWriteThatTakesNoTimeCountsAsOneSecond) {
  expect_speeds("25.00", "25.00");
  EXPECT_EQ(board.now(), 500ms);
}

TEST_F(StorageMediumTest, HalfASecondIs50MegabytesASecond) {
  board.fault("medium /dev/msb1 slow 20");
  expect_speeds("50.00", "50.00");
  EXPECT_EQ(board.now(), 1500ms);
}

TEST_F(StorageMediumTest, ASecondExactlyIsTheSpeedOfNoTimeAtAll) {
  board.fault("medium /dev/msb1 slow 40");
  expect_speeds("25.00", "25.00");
  EXPECT_EQ(board.now(), 2500ms);
}

TEST_F(StorageMediumTest, SpeedsAreRoundedToTwoDigits) {
  board.fault("medium /dev/msb1 slow 30");
  expect_speeds("33.33", "33.33");
}

TEST_F(StorageMediumTest, AFastMediumShowsFourDigitsBeforeThePoint) {
  board.fault("medium /dev/msb1 slow 1");
  expect_speeds("1000.00", "1000.00");
}

TEST_F(StorageMediumTest, AMediumThatTakesAMinuteABlockIsWaitedFor) {
  board.fault("medium /dev/msb1 slow 60000");
  expect_speeds("0.02", "0.02");
}

TEST_F(StorageMediumTest, ASecondThatEndsInBetweenDoesNotMatter) {
  for (const int microseconds : {900'000, 999'999, 400'001}) {
    console.clear();
    board.fault("medium /dev/msb1 slow 20");
    ::usleep(static_cast<useconds_t>(microseconds));
    expect_speeds("50.00", "50.00");
  }
}

TEST_F(StorageMediumTest, WritingAndReadingAreMeasuredApart) {
  board.fault("medium /dev/msb1 slow 100");
  board.at(2450ms, [this] { board.fault("medium /dev/msb1 slow 200"); });  // within the last block written
  expect_speeds("10.00", "5.00");
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

TEST_F(StorageMediumTest, AWrongByteIsCountedAndDoesNotFailTheTest) {
  board.fault("medium /dev/msb1 wrong 1000000");
  expect_wrong_bytes(1);
}

TEST_F(StorageMediumTest, TheFirstAndTheLastByteOfTheFileAreCompared) {
  board.fault("medium /dev/msb1 wrong 0 26214399");
  expect_wrong_bytes(2);
}

TEST_F(StorageMediumTest, TheFirstAndTheLastByteOfEachBlockAreCompared) {
  std::string fault = "medium /dev/msb1 wrong";
  for (std::size_t block = 0; block < kBlocks; ++block) {
    fault += " " + std::to_string(block * kBlock) + " " + std::to_string((block + 1) * kBlock - 1);
  }
  board.fault(fault);
  expect_wrong_bytes(50);
}

TEST_F(StorageMediumTest, NeighboursAreCountedOneByOne) {
  std::string fault = "medium /dev/msb1 wrong";
  for (std::size_t offset = 5'000'001; offset < 5'000'101; ++offset) fault += " " + std::to_string(offset);
  board.fault(fault);
  expect_wrong_bytes(100);
}

TEST_F(StorageMediumTest, AByteBehindTheFileIsNotCounted) {
  board.fault("medium /dev/msb1 wrong 26214400");
  expect_wrong_bytes(0);
}

TEST_F(StorageMediumTest, WhatAnotherMediumGetsWrongIsNotCounted) {
  board.fault("medium /dev/msbd1 wrong 0");
  expect_wrong_bytes(0);
}

struct Wrong {
  int type;
  const char* label;
};

TEST_F(StorageMediumTest, EveryClosingLineTellsTheWrongBytes) {
  for (const char* node : storage::kMedia)
    board.fault(std::string("medium ") + node + " wrong 7 300 9000000");
  for (const Wrong& wrong : {Wrong{0, "SD卡"}, {1, "USB1"}, {2, "USB2"}, {3, "sda1"}, {4, "mmc11"}}) {
    result = 77;
    run(wrong.type);
    expect_pass();
    EXPECT_TRUE(console_has(finished(wrong.label, 3))) << wrong.label;
  }
}

// ---- short reads ------------------------------------------------------------------------------

TEST_F(StorageMediumTest, WhatAShortReadDoesNotBringIsWrongButForTheZerosOfThePattern) {
  board.fault("medium /dev/msb1 short 524288");
  expect_wrong_bytes(kBlocks * kLostBlock / 2);
}

TEST_F(StorageMediumTest, ABlockIsNotReadOnAfterAShortRead) {
  board.fault("medium /dev/msb1 short 524288");
  run();
  EXPECT_EQ(calls_named({"read"}), Lines(kBlocks, "read /mnt/test/usbtest.dat 1048576 = 524288"));
}

TEST_F(StorageMediumTest, AShortReadThatShiftsThePatternMakesTheBlocksBehindItWrong) {
  constexpr std::size_t kShort = kBlock - 1;  // each block read begins a byte earlier in the pattern
  board.fault("medium /dev/msb1 short " + std::to_string(kShort));
  run();
  expect_pass();
  const bool ends_in_zero = file().at(kBlock - 1) == '\0';
  const std::size_t wrong = (kBlocks - 1) * kShort + (ends_in_zero ? 0 : kBlocks);
  EXPECT_TRUE(console_has(finished("USB2", wrong)));
}

}  // namespace
