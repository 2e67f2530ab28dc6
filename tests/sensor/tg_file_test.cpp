// The timing-generator file: which section, which block, its pairs, long lines, and files that end anywhere.
#include "t1_sdk/boardtest/sensor/timing_generator/file.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/harness/console.h"
#include "tests/harness/on_board.h"
#include "tests/sensor/tg_bytes.h"

namespace {

constexpr const char* kNoFile = "设置失败: devinfo目录下没有文件:TG.bin\n";
constexpr const char* kNoSection = "设置失败: TG.bin中缺少QN-5RX6454的配置.\n";
constexpr const char* kNoVersion = "设置失败: TG.bin中缺少版本[T2V1][TS3V1]的配置.\n";
constexpr const char* kBadFormat = "请检查TG配置文件格式.\n";

/// The section of a healthy board's model.
std::string section(const std::string& content) {
  return tg::section("QN-5RX6454", content);
}
/// A header of a healthy board's block with this count.
std::string header(const std::string& count) {
  return "[TF2V1][TS3V1][VER2.1][" + count + "]\n";
}
/// A healthy board's own block.
std::string own_block() {
  return tg::block(tg::kFilePairs);
}

class TgFileTest : public OnBoard {
 protected:
  Console console;
  tg_data_cen record{};

  int read_from(const std::string& content) {
    SCOPED_TRACE(content);
    board->files.set(tg::kFile, content);
    record = {};
    console.clear();
    return getTgFromFile(&record);
  }
  void expect_record(const tg::Pairs& pairs, std::uint32_t version = tg::kFileVersion) {
    EXPECT_TRUE(tg::bytes_of(record) == tg::record(version, pairs));
    EXPECT_EQ(record.tgNum, pairs.size());
    expect_said("");
  }
  void expect_said(const std::string& text) {
    EXPECT_EQ(console.out(), text);
    EXPECT_EQ(console.err(), "");
  }
  /// The file yields the record of these pairs.
  void expect_pairs(const std::string& content, const tg::Pairs& pairs = tg::kFilePairs,
                    std::uint32_t version = tg::kFileVersion) {
    EXPECT_EQ(read_from(content), static_cast<int>(pairs.size())) << content;
    expect_record(pairs, version);
  }
  /// The file yields this code and this line.
  void expect_code(int code, const std::string& content, const std::string& line) {
    EXPECT_EQ(read_from(content), code) << content;
    expect_said(line);
  }
};

// ---- the board and the file -------------------------------------------------------------------

TEST_F(TgFileTest, EveryModelOfTheFactoryFileIsFoundByItsBoardWhichIsAskedOnce) {
  for (const unsigned type :
       {0x9601U, 0x9607U, 0x9604U, 0x9603U, 0x9605U, 0x9608U, 0x9613U, 0x9C0AU, 0xA6001U}) {
    SCOPED_TRACE(type);
    board.set_type(type);
    board.clear_trace();
    record = {};
    EXPECT_EQ(getTgFromFile(&record), 4);
    expect_record(tg::kFilePairs);
    EXPECT_EQ(calls("ioctl"), 1U);
  }
}

TEST_F(TgFileTest, WithoutARecordThereIsMinus1AndNothingIsAsked) {
  board.clear_trace();
  EXPECT_EQ(getTgFromFile(nullptr), -1);
  EXPECT_EQ(board.hardware_trace(), std::vector<std::string>{});
  expect_said("");
}

TEST_F(TgFileTest, ABoardThatCannotBeAskedGivesMinus1) {
  for (const auto& [fault, line] : {std::pair{"open /dev/qznio", "open /dev/qznio error.\n"},
                                    {"ioctl /dev/qznio 0x80044801", "ioctl error,ret = -1\n"}}) {
    board.clear_faults();
    board.fault(fault);
    expect_code(-1, section(own_block()), line);
  }
}

TEST_F(TgFileTest, ABoardOfNoKnownModelGivesMinus1EvenWithoutAFile) {
  board->files.remove(tg::kFile);
  for (const auto& [type, shown] : {std::pair{0x9600U, "0x9600"}, {0xA6005U, "0xa6005"}}) {
    board.set_type(type);
    console.clear();
    EXPECT_EQ(getTgFromFile(&record), -1);
    expect_said(std::string("devType in bootInfo error. devType = ") + shown + "\n");
  }
}

TEST_F(TgFileTest, AFileThatIsMissingOrCannotBeOpenedGivesMinus2) {
  board.fault("open /devinfo/TG.bin EACCES");
  expect_code(-2, section(own_block()), kNoFile);
  board.clear_faults();
  board->files.remove(tg::kFile);
  console.clear();
  EXPECT_EQ(getTgFromFile(&record), -2);
  expect_said(kNoFile);
}

TEST_F(TgFileTest, AFileThatCannotBeReadIsAtItsEndAtOnce) {
  board.fault("read /devinfo/TG.bin");
  expect_code(-3, section(own_block()), kNoSection);
}

// ---- the section ------------------------------------------------------------------------------

TEST_F(TgFileTest, AFileWithoutTheModelsSectionGivesMinus3) {
  expect_code(-3, "", kNoSection);
  for (const char* other : {"QN-5RX645", "QN-5RX6454-V", "QN-5RX6454A", "iQN-5RX6454", "QN_5RX6454",
                            "qn-5rx6454", " QN-5RX6454", "QN-5RX6454 ", "", "["}) {
    expect_code(-3, tg::section(other, own_block()), kNoSection);
  }
  // A section begins at the start of its line.
  for (const char* before : {" ", "# ", "x", "{"}) expect_code(-3, before + section(own_block()), kNoSection);
  board.set_type(0x9613);
  expect_code(-3, section(own_block()), "设置失败: TG.bin中缺少QN_5RX6484A_B的配置.\n");
}

TEST_F(TgFileTest, WhatStandsBeforeTheSectionAndBehindItsNameIsSkipped) {
  expect_pairs("# list\n\n" + tg::block(tg::many(2)) + tg::section("QN-5RX6474", tg::block(tg::many(3))) +
               section(own_block()));
  expect_pairs("[QN-5RX6454] first run\n" + own_block());
  board.set_type(0x9612);
  expect_pairs(tg::section("QN_5RX6454A_B", own_block()));
}

TEST_F(TgFileTest, TheEndOfTheFileClosesTheNameOfASectionAndTheEndOfItsLineDoesNot) {
  expect_code(-4, "[QN-5RX6454", kNoVersion);
  expect_code(-3, "[QN-5RX6454\n" + own_block(), kNoSection);
}

TEST_F(TgFileTest, OnlyTheFirstSectionOfAModelCounts) {
  expect_code(-4, section(tg::block(tg::many(1), "[TF9V9][TS9V9]")) + section(own_block()), kNoVersion);
}

// ---- the block --------------------------------------------------------------------------------

TEST_F(TgFileTest, TheBlockOfTheBoardsVersionsIsTaken) {
  expect_pairs(section(tg::block(tg::many(1), "[TF3V1][TS3V1]") + tg::block(tg::many(2), "[TF2V2][TS3V1]") +
                       tg::block(tg::many(3), "[TF2V1][TS2V1]") + tg::block(tg::many(5), "[TF2V1][TS3V2]") +
                       own_block() + tg::block(tg::many(6))));
}

TEST_F(TgFileTest, TheBootBlockSaysWhichVersionsTheBoardHas) {
  auto& boot = board.boot_block();
  boot[95] = 200;
  boot[96] = 0;
  boot[87] = 255;
  boot[91] = 17;
  expect_pairs(section(own_block() + tg::block(tg::many(7), "[TF200V0][TS255V17]", "[VER3.4]")), tg::many(7),
               0x30004);
  expect_code(-4, section(own_block()), "设置失败: TG.bin中缺少版本[T200V0][TS255V17]的配置.\n");
}

TEST_F(TgFileTest, TheTextForAMissingVersionLeavesTheFOutOfTF) {
  expect_code(-4, section(""), kNoVersion);
  expect_code(-4, section(tg::block(tg::many(3), "[TF2V1][TS3V2]")), kNoVersion);
}

TEST_F(TgFileTest, ALineThatNamesAModelAnywhereEndsTheSearch) {
  expect_code(-4, section(tg::section("iQN-5RX6194", own_block())), kNoVersion);
  expect_code(-4, section(tg::section("QN-5RX6474", own_block())), kNoVersion);
  expect_code(-4, section("# as of QN-5RX64\n" + own_block()), kNoVersion);
  expect_code(-4, section("[TF2V1][TS3V1][VER2.1][1] QN-5RX\n{0x1 0x2 3}\n"), kNoVersion);
}

TEST_F(TgFileTest, ASectionWithUnderscoresDoesNotEndTheSearch) {
  expect_pairs(section(tg::section("QN_5RX6484A_B", own_block())));
}

TEST_F(TgFileTest, HeadersThatDoNotParseAreSkipped) {
  const std::string pairs = tg::lines_of(tg::kFilePairs);
  for (const std::string header :
       {"[TF2V1][TS3V1]\n", "[TF2V1][TS3V1][VER2.1]\n", "[TF2V1][TS3V1][VER2.1][\n",
        "[TF2V1][TS3V1][VER2.1][x]\n", "[TF2V1][TS3V1][VER2][4]\n", "[TF2V1][VER2.1][4]\n",
        "[T2V1][TS3V1][VER2.1][4]\n", "TF2V1 TS3V1 VER2.1 4\n", "[tf2v1][ts3v1][ver2.1][4]\n", "\n", "[\n",
        "[TFV1][TS3V1][VER2.1][4]\n"}) {
    expect_code(-4, section(header + pairs), kNoVersion);
    expect_pairs(section(header + own_block()));
  }
  // Half a header does not borrow from the one before it.
  expect_code(-4, section(tg::block(tg::kFilePairs, "[TF9V1][TS3V1]") + "[TF2V1][TS3V1]\n" + pairs),
              kNoVersion);
}

TEST_F(TgFileTest, HeaderNumbersAreNeitherCutToAByteNorWrappedTo32Bits) {
  for (const char* versions : {"[TF258V1][TS3V1]", "[TF2V257][TS3V1]", "[TF2V1][TS259V1]",
                               "[TF2V1][TS3V-255]", "[TF4294967298V1][TS3V1]", "[TF2V4294967297][TS3V1]",
                               "[TF2V1][TS18446744073709551619V1]", "[TF2V1][TS3V-4294967295]"}) {
    expect_code(-4, section(tg::block(tg::kFilePairs, versions)), kNoVersion);
  }
}

TEST_F(TgFileTest, TheVersionIsMajorAndMinorInHalvesOfAWord) {
  for (const auto& [text, version] :
       {std::pair{"[VER18.52]", 0x120034U},
        {"[VER1.196608]", 0x30000U | 0x10000U},  // a minor one beyond 16 bits runs into the major one
        {"[VER4294967297.1]", 0xFFFF0001U},      // beyond 32 bits it is the nearest 32-bit number
        {"[VER0.4294967297]", 0x7FFFFFFFU}}) {
    expect_pairs(section(tg::block(tg::many(1), "[TF2V1][TS3V1]", text)), tg::many(1), version);
  }
}

// ---- the pairs --------------------------------------------------------------------------------

TEST_F(TgFileTest, ABlockHas0To128PairsElseThereIsMinus6) {
  for (const std::uint32_t count : {0U, 128U})
    expect_pairs(section(tg::block(tg::many(count))), tg::many(count));
  for (const auto& [count, shown] : {std::pair{"129", "129"},
                                     {"-1", "-1"},
                                     {"4294967300", "2147483647"},
                                     {"-4294967292", "-2147483648"},
                                     {"99999999999999999999", "2147483647"}}) {
    const std::string line = std::string("设置失败: TG参数个数") + shown + "超过最大值128.\n";
    expect_code(-6, section(header(count) + tg::lines_of(tg::many(129))), line);
    expect_code(-6, section("[TF2V1][TS3V1][VER2.1][" + std::string(count) + "]"), line);
  }
}

TEST_F(TgFileTest, OnlyAsManyLinesAsTheHeaderSaysAreRead) {
  expect_pairs(section(header("2") + tg::lines_of(tg::many(5))), tg::many(2));
  expect_pairs(section(tg::block(tg::many(2)) + "\n\n"), tg::many(2));
}

TEST_F(TgFileTest, AddressAndValueAreHexadecimalAndTheDelayIsDecimalEachTheNearest32BitNumber) {
  const std::pair<const char*, tg::Pair> lines[] = {
      {"{0xDEADbeef 0xffffffff 2147483647}", {0xDEADBEEF, 0xFFFFFFFF, 2147483647}},
      {"{0x0 0x0 0}", {0, 0, 0}},
      {"{0x10 0x20 010}", {0x10, 0x20, 10}},
      {"{0x10 0x20 -1}", {0x10, 0x20, 0xFFFFFFFF}},
      {"{0x100000010 0x1 0}", {0xFFFFFFFF, 1, 0}},
      {"{0x1 0x123456789abcdef01 0}", {1, 0xFFFFFFFF, 0}},
      {"{0x1 0x2 4294967301}", {1, 2, 0x7FFFFFFF}},
      {"{0x1 0x2 -4294967301}", {1, 2, 0x80000000}}};
  for (const auto& [line, pair] : lines) expect_pairs(section(header("1") + line + "\n"), {pair});
}

TEST_F(TgFileTest, ALineThatDoesNotParseLeavesItsEntryZero) {
  for (const char* line : {"{0x10 0x20}", "{0x10, 0x20, 30}", "{10 20 30}", "0x10 0x20 30", "# nothing", " ",
                           "{0x10 0x20 x}", "{", "{}", "(0x10 0x20 30)", "{0x10 x20 30}", "[iQN-5RX6194]",
                           "[TF2V1][TS3V1][VER2.1][4]", "{0x4 0x5"}) {
    expect_pairs(section(header("3") + "{0x1 0x2 3}\n" + line + "\n{0x7 0x8 9}\n"),
                 {{1, 2, 3}, {0, 0, 0}, {7, 8, 9}});
  }
}

TEST_F(TgFileTest, AnEmptyLineOrTheEndOfTheFileAmongThePairsGivesMinus7) {
  for (const std::string& content :
       {header("2") + "{0x1 0x2 3}\n\n{0x4 0x5 6}\n", header("1") + "\n{0x1 0x2 3}\n",
        tg::with_cr_lf(header("2") + "{0x1 0x2 3}\n\n{0x4 0x5 6}\n"), header("3") + tg::lines_of(tg::many(2)),
        header("1")}) {
    expect_code(-7, section(content), kBadFormat);
  }
  board.fault("read /devinfo/TG.bin #2+");
  expect_code(-7, section(header("128") + tg::lines_of(tg::many(60))), kBadFormat);
}

TEST_F(TgFileTest, LinesEndWithLfOrCrLfAndTheLastWithTheFile) {
  std::string text = section(own_block());
  text.pop_back();
  expect_pairs(text);
  expect_pairs(tg::with_cr_lf(tg::section("QN-5RX6474", tg::block(tg::many(2))) +
                              section(tg::block(tg::many(1), "[TF1V1][TS1V1]") + own_block()) +
                              "[iQN-5RX6194]\n"));
}

// ---- long lines -------------------------------------------------------------------------------

/// A header and a pair of `length` characters without their line ends, filled with leading zeros.
std::string long_header(std::size_t length, const std::string& count) {
  const std::string rest = "2V1][TS3V1][VER2.1][" + count + "]";
  return "[TF" + std::string(length - 3 - rest.size(), '0') + rest;
}
std::string long_pair(std::size_t length) {
  const std::string rest = "10 0x20 30}";
  return "{0x" + std::string(length - 3 - rest.size(), '0') + rest;
}

TEST_F(TgFileTest, LinesOf63CharactersWithTheirEndsAreReadWhole) {
  const tg::Pair pair{0x10, 0x20, 30};
  const std::string name_line = "[QN-5RX6454]" + std::string(50, '-');
  ASSERT_EQ(name_line.size(), 62U);
  expect_pairs(name_line + "\n" + long_header(62, "2") + "\n" + long_pair(62) + "\n" + long_pair(62) + "\n",
               {pair, pair});
  expect_pairs(section(long_header(61, "1") + "\r\n" + long_pair(61) + "\r\n"), {pair});
  expect_pairs(section(header("1") + long_pair(63)), {pair});  // the last line needs no end
}

TEST_F(TgFileTest, TheEndOfALineOf63CharactersIsAnEmptyLineOfItsOwn) {
  expect_code(-7, section(header("2") + long_pair(63) + "\n" + long_pair(30) + "\n"), kBadFormat);
}

TEST_F(TgFileTest, ALongerLineIsReadInPiecesOf63Characters) {
  // The second piece is a line like any other, a section's name for one.
  expect_pairs(std::string(63, '#') + section(own_block()));
}

// ---- hostile files ----------------------------------------------------------------------------

/// A record with guards on both sides.
struct Guarded {
  std::array<unsigned char, 64> front;
  tg_data_cen record;
  std::array<unsigned char, 64> back;
};

class HostileTgFileTest : public OnBoard {
 protected:
  Console console;

  /// Reads the file into a guarded record: a code that is known, and nothing written beside the record.
  int read_guarded(const std::string& content) {
    board->files.set(tg::kFile, content);
    board.clear_trace();
    Guarded guarded{};
    guarded.front.fill(0xA5);
    guarded.back.fill(0x5A);
    const int result = getTgFromFile(&guarded.record);
    EXPECT_TRUE(std::ranges::all_of(guarded.front, [](unsigned char byte) { return byte == 0xA5; }));
    EXPECT_TRUE(std::ranges::all_of(guarded.back, [](unsigned char byte) { return byte == 0x5A; }));
    EXPECT_TRUE(result == -3 || result == -4 || result == -6 || result == -7 ||
                (result >= 0 && result <= 128))
        << result;
    if (result >= 0) {
      EXPECT_EQ(guarded.record.tgNum, static_cast<std::uint32_t>(result));
    }
    return result;
  }
  /// How far into the file a reader came that ended with this code.
  static int progress(int result) {
    switch (result) {
      case -3:
        return 0;
      case -4:
        return 1;
      case -7:
        return 2;
      default:
        return result == 4 ? 3 : -1;
    }
  }
  void expect_every_prefix_is_answered(const std::string& text) {
    int before = 0;
    for (std::size_t length = 0; length <= text.size(); ++length) {
      SCOPED_TRACE(length);
      const int now = progress(read_guarded(text.substr(0, length)));
      EXPECT_GE(now, before) << "a longer file never takes the reader less far";
      before = now;
      console.clear();
    }
    EXPECT_EQ(before, 3);
  }
  const std::string whole = tg::section("QN-5RX6474", tg::block(tg::many(2))) +
                            section(tg::block(tg::many(1), "[TF1V1][TS1V1]") + own_block());
};

TEST_F(HostileTgFileTest, AFileMayEndAfterAnyByte) {
  expect_every_prefix_is_answered(whole);
  expect_every_prefix_is_answered(tg::with_cr_lf(whole));
}

TEST_F(HostileTgFileTest, LinesOfAnyLengthStayWithinTheirBuffers) {
  for (const std::size_t length : {61U, 62U, 63U, 64U, 65U, 126U, 127U, 128U, 1000U, 100000U}) {
    for (const std::string& filling :
         {std::string("A"), std::string("["), std::string("0"), std::string("{")}) {
      std::string line;
      while (line.size() < length) line += filling;
      SCOPED_TRACE(filling + " times " + std::to_string(length));
      read_guarded(line);
      read_guarded("[" + line + "]\n");
      read_guarded(section(line + "\n"));
      read_guarded(section("[TF" + line + "V1][TS3V1][VER2.1][4]\n"));
      read_guarded(section(header("4") + line + "\n" + line));
      console.clear();
    }
  }
}

TEST_F(HostileTgFileTest, ZeroBytesDoNoHarm) {
  const std::string zeros(200, '\0');
  read_guarded(zeros);
  read_guarded(section(zeros));
  read_guarded(section(header("2") + zeros + "\n" + zeros));
}

TEST_F(HostileTgFileTest, AlteredFilesAreAnsweredWithAKnownCode) {
  std::mt19937 random(6454);
  const std::string bytes = "[]{}0129xVTFS.-\r\n \x01\x7f";
  for (int round = 0; round < 1500; ++round) {
    std::string text = round % 2 == 0 ? whole : tg::with_cr_lf(whole);
    for (unsigned change = 0; change <= random() % 6; ++change) {
      const std::size_t place = random() % text.size();
      const char byte = bytes[random() % bytes.size()];
      switch (random() % 3) {
        case 0:
          text[place] = byte;
          break;
        case 1:
          text.insert(place, random() % 80, byte);
          break;
        default:
          text.erase(place, random() % 30);
      }
      if (text.empty()) text = "[";
    }
    SCOPED_TRACE(text);
    read_guarded(text);
    console.clear();
  }
}

}  // namespace
