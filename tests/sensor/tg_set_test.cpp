// Setting the timing-generator parameters: from the file into the factory store.
#include <string>
#include <vector>

#include "t1_sdk/boardtest/sensor/timing_generator/record.h"
#include "t1_sdk/boardtest/sensor/timing_generator/timing_generator.h"
#include "tests/sensor/sensor_run.h"
#include "tests/sensor/tg_bytes.h"

namespace {

using tg::Bytes;

class TgSetTest : public SensorRun {
 protected:
  TgSetTest() {
    board->flash.set_bytes(0, flash);
    board.clear_trace();
  }

  Bytes flash = Bytes(0x160000, 0x33);

  void expect_reply(const char* value, const char* description) {
    SensorRun::expect_reply(0x2900, "设置TG参数", value, description);
  }
  void expect_console(const std::string& behind_the_first_line) {
    EXPECT_EQ(console.out(), "setTGParam\n" + behind_the_first_line);
  }
};

TEST_F(TgSetTest, TheBlockOfTheFileIsStoredOnTheFlash) {
  t1_sdk_setTGParam();
  expect_reply("Pass", "测试成功");
  expect_console("读取文件成功.ret=4\n保存成功.\n");
  EXPECT_EQ(console.err(), "");
  EXPECT_TRUE(board->flash.bytes(tg::kOnFlash, tg::kRecordSize) ==
              tg::record(tg::kFileVersion, tg::kFilePairs));
}

TEST_F(TgSetTest, WhatStandsAroundTheRecordIsKept) {
  t1_sdk_setTGParam();
  const Bytes record = tg::record(tg::kFileVersion, tg::kFilePairs);
  std::copy(record.begin(), record.end(), flash.begin() + tg::kOnFlash);
  EXPECT_TRUE(board->flash.bytes(0, flash.size()) == flash);
}

TEST_F(TgSetTest, TheBoardIsAskedTheFileReadAndOneBlockRewrittenWithoutAWait) {
  t1_sdk_setTGParam();
  EXPECT_EQ(timed_calls(),
            (Lines{"0.000000 open /dev/qznio = ok", "0.000000 ioctl /dev/qznio 0x80044801 {} = 0",
                   "0.000000 open /devinfo/TG.bin = ok", "0.000000 open /dev/qznio = ok",
                   "0.000000 ioctl /dev/qznio 0x80044801 {} = 0", "0.000000 open /dev/mtd4 = ok",
                   "0.000000 lseek /dev/mtd4 1245184 = 1245184", "0.000000 read /dev/mtd4 65536 = 65536",
                   "0.000000 ioctl /dev/mtd4 0x40084d02 {0x00130000, 0x00010000} = 0",
                   "0.000000 lseek /dev/mtd4 1245184 = 1245184", "0.000000 write /dev/mtd4 65536 = 65536"}));
  EXPECT_EQ(board.now(), boardsim::Time{0});
}

TEST_F(TgSetTest, TheFileIsClosedBeforeTheStoreIsOpened) {
  t1_sdk_setTGParam();
  bool closed = false;
  for (const boardsim::Call& call : board.trace()) {
    if (call.node == tg::kFile && call.name == "close") closed = true;
    if (call.node == "/dev/mtd4") {
      EXPECT_TRUE(closed) << call.text();
    }
  }
}

TEST_F(TgSetTest, AnMaBoardStoresItOnTheEmmc) {
  next_board("ma");
  const Bytes before = board->emmc.bytes(0, 0x40000);
  t1_sdk_setTGParam();
  expect_reply("Pass", "测试成功");
  expect_console("读取文件成功.ret=4\n保存成功.\n");
  Bytes expected = before;
  const Bytes record = tg::record(tg::kFileVersion, tg::kFilePairs);
  std::copy(record.begin(), record.end(), expected.begin() + tg::kOnEmmc);
  EXPECT_TRUE(board->emmc.bytes(0, 0x40000) == expected);
  EXPECT_EQ(calls_on("/dev/mmcblk0p7"),
            (Lines{"open /dev/mmcblk0p7 = ok", "lseek /dev/mmcblk0p7 131072 = 131072",
                   "write /dev/mmcblk0p7 1580 = 1580", "close /dev/mmcblk0p7 = 0"}));
}

TEST_F(TgSetTest, ABoardWithoutEmmcStoreReadsBackTheFactorysRecordNotWhatWasSet) {
  t1_sdk_setTGParam();
  tg_data_cen record{};
  EXPECT_EQ(read_tg_data(&record), 1580);
  EXPECT_TRUE(tg::bytes_of(record) == tg::record(tg::kFactoryVersion, tg::kFactoryPairs));
}

TEST_F(TgSetTest, AnMaBoardReadsBackWhatWasSet) {
  next_board("ma");
  t1_sdk_setTGParam();
  tg_data_cen record{};
  EXPECT_EQ(read_tg_data(&record), 1580);
  EXPECT_TRUE(tg::bytes_of(record) == tg::record(tg::kFileVersion, tg::kFilePairs));
}

TEST_F(TgSetTest, ABlockOf128PairsIsStoredWhole) {
  board->files.set(tg::kFile, tg::section("QN-5RX6454", tg::block(tg::many(128))));
  t1_sdk_setTGParam();
  expect_reply("Pass", "测试成功");
  expect_console("读取文件成功.ret=128\n保存成功.\n");
  EXPECT_TRUE(board->flash.bytes(tg::kOnFlash, tg::kRecordSize) ==
              tg::record(tg::kFileVersion, tg::many(128)));
}

TEST_F(TgSetTest, ABlockWithoutPairsIsStoredAndPasses) {
  board->files.set(tg::kFile, tg::section("QN-5RX6454", tg::block({})));
  t1_sdk_setTGParam();
  expect_reply("Pass", "测试成功");
  expect_console("读取文件成功.ret=0\n保存成功.\n");
  EXPECT_TRUE(board->flash.bytes(tg::kOnFlash, tg::kRecordSize) == tg::record(tg::kFileVersion, {}));
}

TEST_F(TgSetTest, NothingOfAnEarlierRunStaysInTheRecord) {
  board->files.set(tg::kFile, tg::section("QN-5RX6454", tg::block(tg::many(128))));
  t1_sdk_setTGParam();
  board->files.set(tg::kFile, tg::section("QN-5RX6454", tg::block(tg::many(1))));
  t1_sdk_setTGParam();
  EXPECT_TRUE(board->flash.bytes(tg::kOnFlash, tg::kRecordSize) == tg::record(tg::kFileVersion, tg::many(1)));
}

// ---- the file fails ----

struct BadFile {
  const char* name;
  const char* content;  ///< of the model's section; null: the file is not there
  int code;
  const char* line;
};
void PrintTo(const BadFile& row, std::ostream* out) {
  *out << row.name;
}

const BadFile kBadFiles[] = {
    {"NoFile", nullptr, -2, "设置失败: devinfo目录下没有文件:TG.bin\n"},
    {"NoSection", "[QN-5RX6474]\n", -3, "设置失败: TG.bin中缺少QN-5RX6454的配置.\n"},
    {"NoVersion", "[QN-5RX6454]\n", -4, "设置失败: TG.bin中缺少版本[T2V1][TS3V1]的配置.\n"},
    {"TooManyPairs", "[QN-5RX6454]\n[TF2V1][TS3V1][VER2.1][129]\n", -6,
     "设置失败: TG参数个数129超过最大值128.\n"},
    {"TooFewPairs", "[QN-5RX6454]\n[TF2V1][TS3V1][VER2.1][2]\n{0x1 0x2 3}\n", -7, "请检查TG配置文件格式.\n"},
};

class TgSetBadFileTest : public TgSetTest, public ::testing::WithParamInterface<BadFile> {};

TEST_P(TgSetBadFileTest, FailsWithTheReadersCodeAndStoresNothing) {
  const BadFile& row = GetParam();
  if (row.content == nullptr) {
    board->files.remove(tg::kFile);
  } else {
    board->files.set(tg::kFile, row.content);
  }
  t1_sdk_setTGParam();
  expect_reply("Fail", "读取TG文件失败");
  const std::string code = std::to_string(row.code);
  expect_console(row.line + ("读取文件失败.ret=" + code) + "\nfail num = " + code + "\n");
  EXPECT_EQ(console.err(), "");
  EXPECT_EQ(calls_on("/dev/mtd4"), Lines{});
  EXPECT_TRUE(board->flash.bytes(0, flash.size()) == flash);
}

INSTANTIATE_TEST_SUITE_P(Each, TgSetBadFileTest, ::testing::ValuesIn(kBadFiles),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(TgSetTest, ABoardThatCannotBeAskedFailsWithMinus1) {
  board.fault("open /dev/qznio");
  t1_sdk_setTGParam();
  expect_reply("Fail", "读取TG文件失败");
  expect_console("open /dev/qznio error.\n读取文件失败.ret=-1\nfail num = -1\n");
}

TEST_F(TgSetTest, ABoardThatDoesNotAnswerFailsWithMinus1) {
  board.fault("ioctl /dev/qznio 0x80044801");
  t1_sdk_setTGParam();
  expect_reply("Fail", "读取TG文件失败");
  expect_console("ioctl error,ret = -1\n读取文件失败.ret=-1\nfail num = -1\n");
}

TEST_F(TgSetTest, ABoardOfNoKnownModelFailsWithMinus1) {
  board.set_type(0x9600);
  t1_sdk_setTGParam();
  expect_reply("Fail", "读取TG文件失败");
  expect_console("devType in bootInfo error. devType = 0x9600\n读取文件失败.ret=-1\nfail num = -1\n");
}

// ---- the store fails ----

struct BadStore {
  const char* name;
  const char* family;
  const char* fault;
  int code;
  const char* out;  ///< what the store says on standard output
  const char* err;  ///< and on standard error
};
void PrintTo(const BadStore& row, std::ostream* out) {
  *out << row.name;
}

const BadStore kBadStores[] = {
    {"FlashOpen", "normal", "open /dev/mtd4", -5, "", "open device[/dev/mtd4] error: No such device\n"},
    {"FlashRead", "normal", "read /dev/mtd4", -6, "", ""},
    {"FlashErase", "normal", "ioctl /dev/mtd4", -7, "mtd erase error\n", ""},
    {"FlashWrite", "normal", "write /dev/mtd4", -8, "write error!\n", ""},
    {"FlashPowerCut", "normal", "flash cut 64000", -8, "write error!\n", ""},
    {"EmmcOpen", "ma", "open /dev/mmcblk0p7", -1, "", "open: /dev/mmcblk0p7 error: 19 \n"},
    {"EmmcSeek", "ma", "lseek /dev/mmcblk0p7", -1, "", "lseek: /dev/mmcblk0p7 error: 5 \n"},
    {"EmmcWrite", "ma", "write /dev/mmcblk0p7", -1, "", "write: /dev/mmcblk0p7 error: 5 \n"},
};

class TgSetBadStoreTest : public TgSetTest, public ::testing::WithParamInterface<BadStore> {};

TEST_P(TgSetBadStoreTest, FailsWithTheStoresCode) {
  const BadStore& row = GetParam();
  next_board(row.family);
  board.fault(row.fault);
  t1_sdk_setTGParam();
  expect_reply("Fail", "保存TG文件失败");
  const std::string code = std::to_string(row.code);
  expect_console(std::string("读取文件成功.ret=4\n") + row.out + "保存失败.ret=" + code +
                 "\nfail num = " + code + "\n");
  EXPECT_EQ(console.err(), row.err);
}

INSTANTIATE_TEST_SUITE_P(Each, TgSetBadStoreTest, ::testing::ValuesIn(kBadStores),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(TgSetTest, AFailureIsForgottenByTheNextRun) {
  board.fault("open /dev/mtd4 #1");
  t1_sdk_setTGParam();
  forget();
  t1_sdk_setTGParam();
  expect_reply("Pass", "测试成功");
}

}  // namespace
