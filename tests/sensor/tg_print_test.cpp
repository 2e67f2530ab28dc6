// Showing the timing-generator parameters: from the factory store to the console and the station.
#include <string>
#include <utility>

#include "t1_sdk/boardtest/sensor/timing_generator/timing_generator.h"
#include "tests/sensor/sensor_run.h"
#include "tests/sensor/tg_bytes.h"

namespace {

constexpr std::size_t kLongest = 511;  // bytes of a description

std::string headline(std::size_t count, std::uint32_t version) {
  char text[64];
  std::snprintf(text, sizeof text, "TG param OK. num = [%zu] TGVer[%x]\n", count, version);
  return text;
}

std::string shown(const tg::Pair& pair) {
  char text[64];
  std::snprintf(text, sizeof text, "{0x%08x, 0x%08x} [%dus]\n", pair.address, pair.value,
                static_cast<int>(pair.delay));
  return text;
}

std::string console_of(std::uint32_t version, const tg::Pairs& pairs) {
  std::string text = "printTGParam\n" + headline(pairs.size(), version);
  for (const tg::Pair& pair : pairs) text += shown(pair);
  return text;
}

/// As many whole lines as fit, and the line feed at the end.
std::string description_of(std::uint32_t version, const tg::Pairs& pairs) {
  std::string text = "\n" + headline(pairs.size(), version) + "\n";
  for (const tg::Pair& pair : pairs) {
    const std::string line = shown(pair);
    if (text.size() + line.size() + 1 > kLongest) break;
    text += line;
  }
  return text + "\n";
}

class TgPrintTest : public SensorRun {
 protected:
  void expect_print(const char* value, const std::string& description) {
    expect_reply(station, 0x2A00, "显示TG参数", value, description);
  }
  /// The store holds these pairs when they are shown.
  void show(std::uint32_t version, const tg::Pairs& pairs) {
    board->emmc.set_bytes(tg::kOnEmmc, tg::record(version, pairs));
    forget();
    t1_sdk_printTGParam();
  }
  void expect_shown(std::uint32_t version, const tg::Pairs& pairs) {
    expect_print("Pass", description_of(version, pairs));
    expect_console(console_of(version, pairs));
  }
};

TEST_F(TgPrintTest, TheFactorysRecordIsReadOnceWithoutAWaitAndShown) {
  t1_sdk_printTGParam();
  expect_print("Pass",
               "\nTG param OK. num = [3] TGVer[10002]\n\n"
               "{0x00000010, 0x00000001} [0us]\n{0x00000011, 0x00000022} [100us]\n"
               "{0x0000002f, 0x0000abcd} [5000us]\n\n");
  expect_console(
      "printTGParam\nTG param OK. num = [3] TGVer[10002]\n"
      "{0x00000010, 0x00000001} [0us]\n{0x00000011, 0x00000022} [100us]\n"
      "{0x0000002f, 0x0000abcd} [5000us]\n");
  EXPECT_EQ(board.timed_hardware_trace(),
            (Lines{"0.000000 open /dev/mmcblk0p7 = ok", "0.000000 lseek /dev/mmcblk0p7 131072 = 131072",
                   "0.000000 read /dev/mmcblk0p7 1580 = 1580", "0.000000 close /dev/mmcblk0p7 = 0"}));
  EXPECT_EQ(board.now(), boardsim::Time{0});
}

TEST_F(TgPrintTest, LargeNumbersAreShownWholeAndADelayBeyond31BitsAsNegative) {
  show(0xFFFFFFFF, {{0xFFFFFFFF, 0x89ABCDEF, 0x7FFFFFFF}, {1, 2, 0xFFFFFFFF}});
  expect_print("Pass",
               "\nTG param OK. num = [2] TGVer[ffffffff]\n\n{0xffffffff, 0x89abcdef} [2147483647us]\n"
               "{0x00000001, 0x00000002} [-1us]\n\n");
}

// ---- the description's length ----

TEST_F(TgPrintTest, ADescriptionEndsAtALineEndAndTheConsoleShowsEveryPair) {
  for (std::uint32_t count = 0; count <= 128; ++count) {
    SCOPED_TRACE(count);
    show(tg::kFileVersion, tg::many(count));
    expect_shown(tg::kFileVersion, tg::many(count));
  }
}

TEST_F(TgPrintTest, ADescriptionOfExactly511BytesIsWholeAndOneOf512LosesALine) {
  bool exact = false;
  bool beyond = false;
  for (unsigned digits = 0; digits < 140; ++digits) {
    tg::Pairs pairs;
    for (unsigned i = 0; i < 14; ++i) {
      std::uint32_t delay = 1;
      for (unsigned more = 0; more < 9 && digits > i * 9 + more; ++more) delay *= 10;
      pairs.push_back({i, i, delay});
    }
    std::size_t whole = headline(pairs.size(), 1).size() + 3;
    for (const tg::Pair& pair : pairs) whole += shown(pair).size();
    exact = exact || whole == kLongest;
    beyond = beyond || whole == kLongest + 1;
    SCOPED_TRACE(whole);
    show(1, pairs);
    expect_shown(1, pairs);
  }
  EXPECT_TRUE(exact && beyond) << "both lengths were among them";
}

TEST_F(TgPrintTest, TheReplyOfAFullRecordIsAWholeDocument) {
  const tg::Pairs widest(128, tg::Pair{0xFFFFFFFF, 0xFFFFFFFF, 0x80000000});
  show(0xFFFFFFFF, widest);
  expect_shown(0xFFFFFFFF, widest);
  const std::string raw = station.reply().raw;
  EXPECT_LT(raw.size(), 2048U);
  EXPECT_EQ(raw.rfind("</TestItem>\r\n"), raw.size() - 13);
}

TEST_F(TgPrintTest, ARecordThatCannotBeReadFailsWithCode1AndItsOwnCodeIsOnTheConsoleOnly) {
  const std::pair<const char*, const char*> faults[] = {
      {"open /dev/mmcblk0p7", "-1"}, {"record timing magic", "-11"}, {"record timing checksum", "-13"}};
  for (const auto& [fault, code] : faults) {
    SCOPED_TRACE(fault);
    next_board("normal");
    board.fault(fault);
    t1_sdk_printTGParam();
    expect_print("Fail", "TG param ERROR");
    EXPECT_EQ(console.out(), std::string("printTGParam\nTG param ERROR. ret = ") + code + "\nfail num = 1\n");
  }
}

}  // namespace
