// What the tests of /devinfo/TG.bin share: a board with that file, and the texts for what is wrong with it.
#pragma once

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/sensor/timing_generator/file.h"
#include "t1_sdk/boardtest/sensor/timing_generator/record.h"
#include "tests/harness/console.h"
#include "tests/harness/on_board.h"
#include "tests/sensor/tg_bytes.h"

class TgFileRun : public OnBoard {
 protected:
  static constexpr const char* kModel = "QN-5RX6454";
  static constexpr const char* kOtherSection = "[iQN-5RX6194]\n";

  Console console;
  tg_data_cen record{};

  /// The file holds `content` when the record is filled from it.
  int read_from(const std::string& content) {
    board->files.set(tg::kFile, content);
    record = {};
    return getTgFromFile(&record);
  }
  /// The section of this board's model holds `content`.
  int read_section(const std::string& content) { return read_from(tg::section(kModel, content)); }

  void expect_record(std::uint32_t version, const tg::Pairs& pairs) {
    EXPECT_TRUE(tg::bytes_of(record) == tg::record(version, pairs));
    EXPECT_EQ(record.tgNum, pairs.size());
    EXPECT_EQ(record.fpgaTgVer, version);
    expect_line("");
  }
  void expect_line(const std::string& text) {
    EXPECT_EQ(console.out(), text);
    EXPECT_EQ(console.err(), "");
    console.clear();
  }
  void expect_no_section(const std::string& model = kModel) {
    expect_line("设置失败: TG.bin中缺少" + model + "的配置.\n");
  }
  void expect_no_version(const std::string& board_versions = "[T2V1][TS3V1]") {
    expect_line("设置失败: TG.bin中缺少版本" + board_versions + "的配置.\n");
  }
  void expect_bad_count(const std::string& count) {
    expect_line("设置失败: TG参数个数" + count + "超过最大值128.\n");
  }
  void expect_bad_format() { expect_line("请检查TG配置文件格式.\n"); }
};
