// Setting the timing-generator parameters: from the file into the factory store.
#include <algorithm>
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

  void expect_set(const char* value, const char* description) {
    expect_reply(station, 0x2900, "设置TG参数", value, description);
  }
  void expect_said(const std::string& behind_the_first_line, const std::string& err = "") {
    expect_console("setTGParam\n" + behind_the_first_line, err);
  }
  /// Sets what the file holds; the flash has then this record, all around it is kept.
  void expect_stored(std::uint32_t version, const tg::Pairs& pairs) {
    forget();
    t1_sdk_setTGParam();
    expect_set("Pass", "测试成功");
    expect_said("读取文件成功.ret=" + std::to_string(pairs.size()) + "\n保存成功.\n");
    const Bytes record = tg::record(version, pairs);
    std::copy(record.begin(), record.end(), flash.begin() + tg::kOnFlash);
    EXPECT_TRUE(board->flash.bytes(0, flash.size()) == flash);
  }
  /// What the store gives back.
  static Bytes read_back() {
    tg_data_cen record{};
    EXPECT_EQ(read_tg_data(&record), 1580);
    return tg::bytes_of(record);
  }
};

TEST_F(TgSetTest, TheBoardIsAskedTheFileReadAndOneBlockRewrittenWithoutAWait) {
  expect_stored(tg::kFileVersion, tg::kFilePairs);
  // A file may be read in pieces of any size; of its calls, the first and the last count.
  Lines calls;
  for (const boardsim::Call& call : board.trace()) {
    if (call.node == tg::kFile && call.name != "close" && !call.name.ends_with("open")) continue;
    if (call.node == tg::kFile) {
      calls.push_back(call.name == "close" ? "file closed" : "file opened");
    } else if (call.node.starts_with("/dev")) {
      calls.push_back(call.text());
    }
  }
  const Lines question = {"open /dev/qznio = ok", "ioctl /dev/qznio 0x80044801 {} = 0",
                          "close /dev/qznio = 0"};
  Lines expected = question;
  expected.insert(expected.end(), {"file opened", "file closed"});
  expected.insert(expected.end(), question.begin(), question.end());
  expected.insert(
      expected.end(),
      {"open /dev/mtd4 = ok", "lseek /dev/mtd4 1245184 = 1245184", "read /dev/mtd4 65536 = 65536",
       "ioctl /dev/mtd4 0x40084d02 {0x00130000, 0x00010000} = 0", "lseek /dev/mtd4 1245184 = 1245184",
       "write /dev/mtd4 65536 = 65536", "close /dev/mtd4 = 0"});
  EXPECT_EQ(calls, expected);
  EXPECT_EQ(board.now(), boardsim::Time{0});
}

TEST_F(TgSetTest, NothingOfAnEarlierRunStaysInTheRecord) {
  for (const std::uint32_t count : {128U, 1U, 0U}) {
    board->files.set(tg::kFile, tg::section("QN-5RX6454", tg::block(tg::many(count))));
    expect_stored(tg::kFileVersion, tg::many(count));
  }
}

TEST_F(TgSetTest, ABoardWithoutEmmcStoreReadsBackTheFactorysRecordNotWhatWasSet) {
  t1_sdk_setTGParam();
  EXPECT_TRUE(read_back() == tg::record(tg::kFactoryVersion, tg::kFactoryPairs));
}

TEST_F(TgSetTest, AnMaBoardStoresItOnTheEmmcAndReadsBackWhatWasSet) {
  next_board("ma");
  Bytes expected = board->emmc.bytes(0, 0x40000);
  const Bytes record = tg::record(tg::kFileVersion, tg::kFilePairs);
  std::copy(record.begin(), record.end(), expected.begin() + tg::kOnEmmc);
  t1_sdk_setTGParam();
  expect_set("Pass", "测试成功");
  expect_said("读取文件成功.ret=4\n保存成功.\n");
  EXPECT_TRUE(board->emmc.bytes(0, 0x40000) == expected);
  EXPECT_EQ(calls_on("/dev/mmcblk0p7"),
            (Lines{"open /dev/mmcblk0p7 = ok", "lseek /dev/mmcblk0p7 131072 = 131072",
                   "write /dev/mmcblk0p7 1580 = 1580", "close /dev/mmcblk0p7 = 0"}));
  EXPECT_TRUE(read_back() == record);
}

// ---- the file or the store fails --------------------------------------------------------------

TEST_F(TgSetTest, AFileThatCannotBeReadFailsWithTheReadersCodeAndNothingIsStored) {
  const struct {
    const char* content;  ///< null: the file is not there
    std::string code;
    const char* line;
  } files[] = {
      {nullptr, "-2", "设置失败: devinfo目录下没有文件:TG.bin\n"},
      {"[QN-5RX6474]\n", "-3", "设置失败: TG.bin中缺少QN-5RX6454的配置.\n"},
      {"[QN-5RX6454]\n", "-4", "设置失败: TG.bin中缺少版本[T2V1][TS3V1]的配置.\n"},
      {"[QN-5RX6454]\n[TF2V1][TS3V1][VER2.1][129]\n", "-6", "设置失败: TG参数个数129超过最大值128.\n"},
      {"[QN-5RX6454]\n[TF2V1][TS3V1][VER2.1][2]\n{0x1 0x2 3}\n", "-7", "请检查TG配置文件格式.\n"},
  };
  for (const auto& [content, code, line] : files) {
    SCOPED_TRACE(code);
    forget();
    content == nullptr ? board->files.remove(tg::kFile) : board->files.set(tg::kFile, content);
    t1_sdk_setTGParam();
    expect_set("Fail", "读取TG文件失败");
    expect_said(line + ("读取文件失败.ret=" + code) + "\nfail num = " + code + "\n");
    EXPECT_TRUE(board->flash.bytes(0, flash.size()) == flash);
  }
  EXPECT_EQ(calls_on("/dev/mtd4"), Lines{});
}

TEST_F(TgSetTest, ABoardThatCannotBeAskedFailsWithMinus1) {
  board.fault("open /dev/qznio");
  t1_sdk_setTGParam();
  expect_set("Fail", "读取TG文件失败");
  expect_said("open /dev/qznio error.\n读取文件失败.ret=-1\nfail num = -1\n");
}

TEST_F(TgSetTest, AStoreThatFailsFailsWithItsOwnCode) {
  const struct {
    const char* family;
    const char* fault;
    std::string code;
    const char* out;  ///< what the store says on standard output
    const char* err;  ///< and on standard error
  } stores[] = {
      {"normal", "open /dev/mtd4", "-5", "", "open device[/dev/mtd4] error: No such device\n"},
      {"normal", "read /dev/mtd4", "-6", "", ""},
      {"normal", "ioctl /dev/mtd4", "-7", "mtd erase error\n", ""},
      {"normal", "write /dev/mtd4", "-8", "write error!\n", ""},
      {"ma", "open /dev/mmcblk0p7", "-1", "", "open: /dev/mmcblk0p7 error: 19 \n"},
  };
  for (const auto& [family, fault, code, out, err] : stores) {
    SCOPED_TRACE(fault);
    next_board(family);
    board.fault(fault);
    t1_sdk_setTGParam();
    expect_set("Fail", "保存TG文件失败");
    expect_said(
        std::string("读取文件成功.ret=4\n") + out + "保存失败.ret=" + code + "\nfail num = " + code + "\n",
        err);
  }
}

}  // namespace
