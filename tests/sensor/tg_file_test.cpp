// The timing-generator file: which section, which block.
#include <string>

#include "tests/sensor/tg_file_run.h"

namespace {

class TgFileTest : public TgFileRun {};

TEST_F(TgFileTest, TheRecordHasTheLayoutThatIsStored) {
  static_assert(sizeof(reg_pair_time) == 12 && sizeof(tg_data_cen) == 1580);
  static_assert(offsetof(reg_pair_time, value) == 4 && offsetof(reg_pair_time, delay_time) == 8);
  static_assert(offsetof(tg_data_cen, magic) == 0 && offsetof(tg_data_cen, tgNum) == 4);
  static_assert(offsetof(tg_data_cen, fpgaTgVer) == 8 && offsetof(tg_data_cen, res) == 12);
  static_assert(offsetof(tg_data_cen, tgPairs) == 40 && offsetof(tg_data_cen, cs) == 1576);
}

TEST_F(TgFileTest, AHealthyBoardHasABlockOfFourPairs) {
  EXPECT_EQ(getTgFromFile(&record), 4);
  expect_record(tg::kFileVersion, tg::kFilePairs);
}

TEST_F(TgFileTest, EveryModelOfTheFactoryFileIsFoundByItsBoard) {
  for (const unsigned type :
       {0x9601U, 0x9607U, 0x9604U, 0x9603U, 0x9605U, 0x9608U, 0x9613U, 0x9C0AU, 0xA6001U}) {
    SCOPED_TRACE(type);
    board.set_type(type);
    record = {};
    EXPECT_EQ(getTgFromFile(&record), 4);
    expect_record(tg::kFileVersion, tg::kFilePairs);
  }
}

TEST_F(TgFileTest, WithoutARecordThereIsMinus1AndNothingIsAsked) {
  board.clear_trace();
  EXPECT_EQ(getTgFromFile(nullptr), -1);
  EXPECT_EQ(board.hardware_trace(), std::vector<std::string>{});
  expect_line("");
}

// ---- the board ----

TEST_F(TgFileTest, ABoardThatCannotBeAskedGivesMinus1) {
  board.fault("open /dev/qznio");
  EXPECT_EQ(getTgFromFile(&record), -1);
  expect_line("open /dev/qznio error.\n");
}

TEST_F(TgFileTest, ABoardThatDoesNotAnswerGivesMinus1) {
  board.fault("ioctl /dev/qznio 0x80044801");
  EXPECT_EQ(getTgFromFile(&record), -1);
  expect_line("ioctl error,ret = -1\n");
}

TEST_F(TgFileTest, ABoardOfNoKnownModelGivesMinus1EvenWithoutAFile) {
  board.set_type(0x9600);
  board->files.remove(tg::kFile);
  EXPECT_EQ(getTgFromFile(&record), -1);
  expect_line("devType in bootInfo error. devType = 0x9600\n");
}

TEST_F(TgFileTest, TheTypeOfAnUnknownModelIsShownWithItsHighHalf) {
  board.set_type(0xA6005);
  EXPECT_EQ(getTgFromFile(&record), -1);
  expect_line("devType in bootInfo error. devType = 0xa6005\n");
}

TEST_F(TgFileTest, TheBoardIsAskedOnce) {
  board.clear_trace();
  EXPECT_GT(getTgFromFile(&record), 0);
  EXPECT_EQ(calls("ioctl"), 1U);
}

// ---- the file ----

TEST_F(TgFileTest, WithoutTheFileThereIsMinus2) {
  board->files.remove(tg::kFile);
  EXPECT_EQ(getTgFromFile(&record), -2);
  expect_line("设置失败: devinfo目录下没有文件:TG.bin\n");
}

TEST_F(TgFileTest, AFileThatCannotBeOpenedGivesMinus2) {
  board.fault("open /devinfo/TG.bin EACCES");
  EXPECT_EQ(getTgFromFile(&record), -2);
  expect_line("设置失败: devinfo目录下没有文件:TG.bin\n");
}

TEST_F(TgFileTest, AFileThatCannotBeReadIsAtItsEndAtOnce) {
  board.fault("read /devinfo/TG.bin");
  EXPECT_EQ(getTgFromFile(&record), -3);
  expect_no_section();
}

// ---- the section ----

TEST_F(TgFileTest, AnEmptyFileLacksTheModel) {
  EXPECT_EQ(read_from(""), -3);
  expect_no_section();
}

TEST_F(TgFileTest, AFileOfOtherModelsLacksTheModelAndNamesIt) {
  board.set_type(0x9613);
  EXPECT_EQ(read_from(tg::section("QN-5RX6484A_B", tg::block(tg::kFilePairs))), -3);
  expect_no_section("QN_5RX6484A_B");
}

TEST_F(TgFileTest, ModelNamesAreComparedWhole) {
  for (const char* name : {"QN-5RX645", "QN-5RX6454-V", "QN-5RX6454A", "iQN-5RX6454", "QN_5RX6454",
                           "qn-5rx6454", " QN-5RX6454", "QN-5RX6454 ", "", "["}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(read_from(tg::section(name, tg::block(tg::kFilePairs))), -3);
    expect_no_section();
  }
}

TEST_F(TgFileTest, ASectionBeginsAtTheStartOfItsLine) {
  for (const char* before : {" ", "# ", "x", "{"}) {
    SCOPED_TRACE(before);
    EXPECT_EQ(read_from(before + tg::section(kModel, tg::block(tg::kFilePairs))), -3);
    expect_no_section();
  }
}

TEST_F(TgFileTest, TextBehindTheNameDoesNotMatter) {
  EXPECT_EQ(read_from("[QN-5RX6454] first run\n" + tg::block(tg::kFilePairs)), 4);
  expect_record(tg::kFileVersion, tg::kFilePairs);
}

TEST_F(TgFileTest, WhatStandsBeforeTheSectionIsSkipped) {
  EXPECT_EQ(
      read_from("# list\n\n" + tg::block(tg::many(2)) + tg::section("QN-5RX6474", tg::block(tg::many(3))) +
                tg::section(kModel, tg::block(tg::kFilePairs))),
      4);
  expect_record(tg::kFileVersion, tg::kFilePairs);
}

TEST_F(TgFileTest, NamesWithUnderscoresAreFound) {
  board.set_type(0x9612);
  EXPECT_EQ(read_from(tg::section("QN_5RX6454A_B", tg::block(tg::kFilePairs))), 4);
  expect_record(tg::kFileVersion, tg::kFilePairs);
}

TEST_F(TgFileTest, OnlyTheFirstSectionOfAModelCounts) {
  EXPECT_EQ(read_from(tg::section(kModel, tg::block(tg::many(1), "[TF9V9][TS9V9]")) +
                      tg::section(kModel, tg::block(tg::kFilePairs))),
            -4);
  expect_no_version();
}

// ---- the block ----

TEST_F(TgFileTest, TheBlockOfTheBoardsVersionsIsTaken) {
  EXPECT_EQ(read_section(tg::block(tg::many(1), "[TF3V1][TS3V1]") + tg::block(tg::many(2), "[TF2V2][TS3V1]") +
                         tg::block(tg::many(3), "[TF2V1][TS2V1]") + tg::block(tg::many(5), "[TF2V1][TS3V2]") +
                         tg::block(tg::kFilePairs) + tg::block(tg::many(6))),
            4);
  expect_record(tg::kFileVersion, tg::kFilePairs);
}

TEST_F(TgFileTest, TheBootBlockSaysWhichVersionsTheBoardHas) {
  auto& boot = board.boot_block();
  boot[95] = 200;
  boot[96] = 0;
  boot[87] = 255;
  boot[91] = 17;
  EXPECT_EQ(
      read_section(tg::block(tg::kFilePairs) + tg::block(tg::many(7), "[TF200V0][TS255V17]", "[VER3.4]")), 7);
  expect_record(0x30004, tg::many(7));
  EXPECT_EQ(read_section(tg::block(tg::kFilePairs)), -4);
  expect_no_version("[T200V0][TS255V17]");
}

TEST_F(TgFileTest, ASectionWithoutBlocksLacksTheVersion) {
  EXPECT_EQ(read_section(""), -4);
  expect_no_version();
}

TEST_F(TgFileTest, TheTextForAMissingVersionLeavesTheFOutOfTF) {
  EXPECT_EQ(read_section(tg::block(tg::many(3), "[TF2V1][TS3V2]")), -4);
  expect_line("设置失败: TG.bin中缺少版本[T2V1][TS3V1]的配置.\n");
}

TEST_F(TgFileTest, ASectionWithAnIEndsTheSearch) {
  EXPECT_EQ(read_section(tg::section("iQN-5RX6194", tg::block(tg::kFilePairs))), -4);
  expect_no_version();
}

TEST_F(TgFileTest, ASectionWithAHyphenEndsTheSearch) {
  EXPECT_EQ(read_section(tg::section("QN-5RX6474", tg::block(tg::kFilePairs))), -4);
  expect_no_version();
}

TEST_F(TgFileTest, ASectionWithUnderscoresDoesNotEndTheSearch) {
  EXPECT_EQ(read_section(tg::section("QN_5RX6484A_B", tg::block(tg::kFilePairs))), 4);
  expect_record(tg::kFileVersion, tg::kFilePairs);
}

TEST_F(TgFileTest, ALineThatNamesAModelAnywhereEndsTheSearch) {
  EXPECT_EQ(read_section("# as of QN-5RX64\n" + tg::block(tg::kFilePairs)), -4);
  expect_no_version();
}

TEST_F(TgFileTest, AHeaderThatNamesAModelEndsTheSearchToo) {
  EXPECT_EQ(read_section("[TF2V1][TS3V1][VER2.1][1] QN-5RX\n{0x1 0x2 3}\n"), -4);
  expect_no_version();
}

TEST_F(TgFileTest, HeadersThatDoNotParseAreSkipped) {
  for (const char* header : {"[TF2V1][TS3V1]\n", "[TF2V1][TS3V1][VER2.1]\n", "[TF2V1][TS3V1][VER2.1][\n",
                             "[TF2V1][TS3V1][VER2.1][x]\n", "[TF2V1][TS3V1][VER2][4]\n",
                             "[TF2V1][VER2.1][4]\n", "[T2V1][TS3V1][VER2.1][4]\n", "TF2V1 TS3V1 VER2.1 4\n",
                             "[tf2v1][ts3v1][ver2.1][4]\n", "\n", "[\n", "[TFV1][TS3V1][VER2.1][4]\n"}) {
    SCOPED_TRACE(header);
    EXPECT_EQ(read_section(header + tg::lines_of(tg::kFilePairs)), -4);
    expect_no_version();
    EXPECT_EQ(read_section(header + tg::block(tg::kFilePairs)), 4);
    expect_record(tg::kFileVersion, tg::kFilePairs);
  }
}

TEST_F(TgFileTest, AHalfHeaderDoesNotBorrowFromTheOneBeforeIt) {
  EXPECT_EQ(read_section(tg::block(tg::kFilePairs, "[TF9V1][TS3V1]") + "[TF2V1][TS3V1]\n" +
                         tg::lines_of(tg::kFilePairs)),
            -4);
  expect_no_version();
}

TEST_F(TgFileTest, HeaderNumbersAreNotCutToAByte) {
  for (const char* versions :
       {"[TF258V1][TS3V1]", "[TF2V257][TS3V1]", "[TF2V1][TS259V1]", "[TF2V1][TS3V-255]"}) {
    SCOPED_TRACE(versions);
    EXPECT_EQ(read_section(tg::block(tg::kFilePairs, versions)), -4);
    expect_no_version();
  }
}

TEST_F(TgFileTest, HeaderNumbersBeyond32BitsDoNotWrapAround) {
  for (const char* versions : {"[TF4294967298V1][TS3V1]", "[TF2V4294967297][TS3V1]",
                               "[TF2V1][TS18446744073709551619V1]", "[TF2V1][TS3V-4294967295]"}) {
    SCOPED_TRACE(versions);
    EXPECT_EQ(read_section(tg::block(tg::kFilePairs, versions)), -4);
    expect_no_version();
  }
}

TEST_F(TgFileTest, TheVersionIsMajorAndMinorInHalvesOfAWord) {
  EXPECT_EQ(read_section(tg::block(tg::many(1), "[TF2V1][TS3V1]", "[VER18.52]")), 1);
  expect_record(0x120034, tg::many(1));
}

TEST_F(TgFileTest, AMinorVersionBeyond16BitsRunsIntoTheMajorOne) {
  EXPECT_EQ(read_section(tg::block(tg::many(1), "[TF2V1][TS3V1]", "[VER1.196608]")), 1);
  expect_record(0x30000 | 0x10000, tg::many(1));
}

TEST_F(TgFileTest, AVersionBeyond32BitsIsTheNearest32BitNumber) {
  EXPECT_EQ(read_section(tg::block(tg::many(1), "[TF2V1][TS3V1]", "[VER4294967297.1]")), 1);
  expect_record(0xFFFF0001, tg::many(1));
  EXPECT_EQ(read_section(tg::block(tg::many(1), "[TF2V1][TS3V1]", "[VER0.4294967297]")), 1);
  expect_record(0x7FFFFFFF, tg::many(1));
}

}  // namespace
