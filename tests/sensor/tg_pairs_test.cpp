// The timing-generator file: the count of a block and its pairs, long lines, and files that end anywhere.
#include <algorithm>
#include <array>
#include <random>
#include <string>

#include "tests/sensor/tg_file_run.h"

namespace {

using tg::Pairs;

/// A header of a healthy board's block with this count.
std::string header(const std::string& count) {
  return "[TF2V1][TS3V1][VER2.1][" + count + "]\n";
}

class TgPairsTest : public TgFileRun {
 protected:
  /// A block of one pair, written so.
  void expect_pair(const std::string& line, const tg::Pair& pair) {
    SCOPED_TRACE(line);
    EXPECT_EQ(read_section(header("1") + line), 1);
    expect_record(tg::kFileVersion, {pair});
  }
};

// ---- the count ----

TEST_F(TgPairsTest, ABlockOf128PairsIsAccepted) {
  EXPECT_EQ(read_section(tg::block(tg::many(128))), 128);
  expect_record(tg::kFileVersion, tg::many(128));
}

TEST_F(TgPairsTest, ABlockOf129PairsIsRefusedWithMinus6) {
  EXPECT_EQ(read_section(tg::block(tg::many(129))), -6);
  expect_bad_count("129");
}

TEST_F(TgPairsTest, ABlockOfMinus1PairsIsRefusedWithMinus6) {
  EXPECT_EQ(read_section(header("-1")), -6);
  expect_bad_count("-1");
}

TEST_F(TgPairsTest, ABlockWithoutPairsIsAccepted) {
  EXPECT_EQ(read_section(header("0")), 0);
  expect_record(tg::kFileVersion, {});
}

TEST_F(TgPairsTest, ACountBeyond32BitsIsTheNearest32BitNumber) {
  EXPECT_EQ(read_section(header("4294967300") + tg::lines_of(tg::kFilePairs)), -6);
  expect_bad_count("2147483647");
  EXPECT_EQ(read_section(header("-4294967292") + tg::lines_of(tg::kFilePairs)), -6);
  expect_bad_count("-2147483648");
  EXPECT_EQ(read_section(header("99999999999999999999") + tg::lines_of(tg::kFilePairs)), -6);
  expect_bad_count("2147483647");
}

TEST_F(TgPairsTest, ACountThatIsTooLargeIsRefusedEvenWhenTheFileEndsThere) {
  EXPECT_EQ(read_section("[TF2V1][TS3V1][VER2.1][129]"), -6);
  expect_bad_count("129");
}

TEST_F(TgPairsTest, OnlyAsManyLinesAsTheHeaderSaysAreRead) {
  EXPECT_EQ(read_section(header("2") + tg::lines_of(tg::many(5))), 2);
  expect_record(tg::kFileVersion, tg::many(2));
}

// ---- lines of pairs ----

TEST_F(TgPairsTest, AddressAndValueAreHexadecimalAndTheDelayIsDecimal) {
  expect_pair("{0xDEADbeef 0xffffffff 2147483647}\n", {0xDEADBEEF, 0xFFFFFFFF, 2147483647});
  expect_pair("{0x0 0x0 0}\n", {0, 0, 0});
  expect_pair("{0x10 0x20 010}\n", {0x10, 0x20, 10});
}

TEST_F(TgPairsTest, ANegativeDelayIsKeptAsItsBits) {
  expect_pair("{0x10 0x20 -1}\n", {0x10, 0x20, 0xFFFFFFFF});
}

TEST_F(TgPairsTest, NumbersBeyond32BitsAreTheNearest32BitNumbers) {
  expect_pair("{0x100000010 0x1 0}\n", {0xFFFFFFFF, 1, 0});
  expect_pair("{0x1 0x123456789abcdef01 0}\n", {1, 0xFFFFFFFF, 0});
  expect_pair("{0x1 0x2 4294967301}\n", {1, 2, 0x7FFFFFFF});
  expect_pair("{0x1 0x2 -4294967301}\n", {1, 2, 0x80000000});
}

TEST_F(TgPairsTest, ALineThatDoesNotParseLeavesItsEntryZero) {
  for (const char* line : {"{0x10 0x20}\n", "{0x10, 0x20, 30}\n", "{10 20 30}\n", "0x10 0x20 30\n",
                           "# nothing\n", " \n", "{0x10 0x20 x}\n", "{\n", "{}\n", "(0x10 0x20 30)\n",
                           "{0x10 x20 30}\n", "[iQN-5RX6194]\n", "[TF2V1][TS3V1][VER2.1][4]\n"}) {
    expect_pair(line, {0, 0, 0});
  }
}

TEST_F(TgPairsTest, TheEntriesAroundALineThatDoesNotParseStand) {
  EXPECT_EQ(read_section(header("3") + "{0x1 0x2 3}\n{0x4 0x5\n{0x7 0x8 9}\n"), 3);
  expect_record(tg::kFileVersion, {{1, 2, 3}, {0, 0, 0}, {7, 8, 9}});
}

TEST_F(TgPairsTest, AnEmptyLineAmongThePairsGivesMinus7) {
  EXPECT_EQ(read_section(header("2") + "{0x1 0x2 3}\n\n{0x4 0x5 6}\n"), -7);
  expect_bad_format();
  EXPECT_EQ(read_section(header("1") + "\n{0x1 0x2 3}\n"), -7);
  expect_bad_format();
}

TEST_F(TgPairsTest, AnEmptyLineBehindThePairsDoesNotMatter) {
  EXPECT_EQ(read_section(tg::block(tg::many(2)) + "\n\n"), 2);
  expect_record(tg::kFileVersion, tg::many(2));
}

TEST_F(TgPairsTest, AFileThatEndsAmongThePairsGivesMinus7) {
  EXPECT_EQ(read_section(header("3") + tg::lines_of(tg::many(2))), -7);
  expect_bad_format();
  EXPECT_EQ(read_section(header("1")), -7);
  expect_bad_format();
}

TEST_F(TgPairsTest, AFileThatBecomesUnreadableAmongThePairsGivesMinus7) {
  board->files.set(tg::kFile, tg::section(kModel, header("128")) + tg::lines_of(tg::many(60)));
  board.fault("read /devinfo/TG.bin #2+");
  const int result = getTgFromFile(&record);
  EXPECT_EQ(result, -7);
  expect_bad_format();
}

TEST_F(TgPairsTest, TheLastLineNeedsNoLineEnd) {
  std::string text = tg::block(tg::kFilePairs);
  text.pop_back();
  EXPECT_EQ(read_section(text), 4);
  expect_record(tg::kFileVersion, tg::kFilePairs);
}

// ---- line ends and long lines ----

TEST_F(TgPairsTest, AFileWithCrLfLineEndsIsRead) {
  const std::string text =
      tg::section("QN-5RX6474", tg::block(tg::many(2))) +
      tg::section(kModel, tg::block(tg::many(1), "[TF1V1][TS1V1]") + tg::block(tg::kFilePairs)) +
      kOtherSection;
  EXPECT_EQ(read_from(tg::with_cr_lf(text)), 4);
  expect_record(tg::kFileVersion, tg::kFilePairs);
}

TEST_F(TgPairsTest, ALineOfOnlyCrLfIsEmpty) {
  EXPECT_EQ(read_section(tg::with_cr_lf(header("2") + "{0x1 0x2 3}\n\n{0x4 0x5 6}\n")), -7);
  expect_bad_format();
}

/// A header and a pair of `length` characters without their line ends, filled with leading zeros.
std::string long_header(std::size_t length, const std::string& count) {
  const std::string rest = "2V1][TS3V1][VER2.1][" + count + "]";
  return "[TF" + std::string(length - 3 - rest.size(), '0') + rest;
}
std::string long_pair(std::size_t length) {
  const std::string rest = "10 0x20 30}";
  return "{0x" + std::string(length - 3 - rest.size(), '0') + rest;
}

TEST_F(TgPairsTest, LinesOf63CharactersWithTheirEndsAreReadWhole) {
  const std::string name_line = "[QN-5RX6454]" + std::string(50, '-');
  ASSERT_EQ(name_line.size(), 62U);
  EXPECT_EQ(
      read_from(name_line + "\n" + long_header(62, "2") + "\n" + long_pair(62) + "\n" + long_pair(62) + "\n"),
      2);
  expect_record(tg::kFileVersion, {{0x10, 0x20, 30}, {0x10, 0x20, 30}});
}

TEST_F(TgPairsTest, LinesOf63CharactersWithCrLfAreReadWhole) {
  EXPECT_EQ(read_section(long_header(61, "1") + "\r\n" + long_pair(61) + "\r\n"), 1);
  expect_record(tg::kFileVersion, {{0x10, 0x20, 30}});
}

TEST_F(TgPairsTest, ALastLineOf63CharactersWithoutAnEndIsReadWhole) {
  EXPECT_EQ(read_section(header("1") + long_pair(63)), 1);
  expect_record(tg::kFileVersion, {{0x10, 0x20, 30}});
}

TEST_F(TgPairsTest, TheEndOfALineOf63CharactersIsAnEmptyLineOfItsOwn) {
  EXPECT_EQ(read_section(header("2") + long_pair(63) + "\n" + long_pair(30) + "\n"), -7);
  expect_bad_format();
}

TEST_F(TgPairsTest, ALongerLineIsReadInPiecesOf63Characters) {
  // The second piece is a line like any other, a section's name for one.
  EXPECT_EQ(read_from(std::string(63, '#') + tg::section(kModel, tg::block(tg::kFilePairs))), 4);
  expect_record(tg::kFileVersion, tg::kFilePairs);
}

// ---- hostile files ----

/// A record with guards on both sides.
struct Guarded {
  std::array<unsigned char, 64> front;
  tg_data_cen record;
  std::array<unsigned char, 64> back;
};

class HostileTgFileTest : public TgFileRun {
 protected:
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
  const std::string whole =
      tg::section("QN-5RX6474", tg::block(tg::many(2))) +
      tg::section(kModel, tg::block(tg::many(1), "[TF1V1][TS1V1]") + tg::block(tg::kFilePairs));
};

TEST_F(HostileTgFileTest, AFileMayEndAfterAnyByte) {
  expect_every_prefix_is_answered(whole);
}

TEST_F(HostileTgFileTest, AFileWithCrLfMayEndAfterAnyByte) {
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
      read_guarded(tg::section(kModel, line + "\n"));
      read_guarded(tg::section(kModel, "[TF" + line + "V1][TS3V1][VER2.1][4]\n"));
      read_guarded(tg::section(kModel, header("4") + line + "\n" + line));
      console.clear();
    }
  }
}

TEST_F(HostileTgFileTest, ZeroBytesDoNoHarm) {
  const std::string zeros(200, '\0');
  read_guarded(zeros);
  read_guarded(tg::section(kModel, zeros));
  read_guarded(tg::section(kModel, header("2") + zeros + "\n" + zeros));
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
