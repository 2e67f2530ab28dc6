// What is shown of the brightness pairs of a sweep when they can be read. No board's eMMC gives them back, so
// their reader is replaced here: the linker leads its callers to __wrap_... below.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/sensor/vsub/records.h"
#include "t1_sdk/boardtest/sensor/vsub/vsub.h"
#include "tests/sensor/vsub_sweeps.h"

namespace {

/// What the reader hands out: a whole record of 344 bytes, or nothing but a result.
struct Reading {
  int result = 344;
  std::optional<vsub::Bytes> record{};
};
Reading reading;
int times_asked = 0;

}  // namespace

extern "C" int __wrap__Z16readVsubLumaDataP14VSUB_LUMA_DATA(VSUB_LUMA_DATA* pData);

extern "C" int __wrap__Z16readVsubLumaDataP14VSUB_LUMA_DATA(VSUB_LUMA_DATA* pData) {
  ++times_asked;
  if (reading.record) std::memcpy(pData, reading.record->data(), sizeof *pData);
  return reading.result;
}

namespace {

using ::testing::HasSubstr;
using vsub::Bytes;
using vsub::Pair;

constexpr const char* kShown = "real vsub: 0xa86, original vsub: 0xa86, original voltage: 7.6\n";
// Stands behind the last pair, where a 41st would be.
constexpr std::uint32_t kGuard = 0xDEADBEEF;

/// Pair n: a code that no other has, and a brightness that no other has.
Pair pair_of(std::uint32_t n) {
  return {0x1000 + n, 500 + n};
}

/// A record that claims to have `count` pairs; all 40 are filled, and what follows them is guarded.
Bytes record_of(std::uint32_t count) {
  std::vector<Pair> pairs;
  for (std::uint32_t n = 1; n <= 40; ++n) pairs.push_back(pair_of(n));
  Bytes record = vsub::luma_record(pairs);
  vsub::put_word(record, 4, count);
  for (std::size_t at = 328; at < 344; at += 4) vsub::put_word(record, at, kGuard);
  return record;
}

/// The line of pair n.
std::string line_of(std::uint32_t n) {
  char line[64];
  std::snprintf(line, sizeof line, "sub: 0x%x, luma: %u\n", pair_of(n).code, pair_of(n).luma);
  return line;
}

struct Count {
  std::uint32_t number;
  const char* said;
  std::uint32_t shown;  ///< pairs
};

class ReadPairsTest : public VsubRun {
 protected:
  ReadPairsTest() {
    reading = {};
    times_asked = 0;
  }
  ~ReadPairsTest() override { reading = {}; }
};

TEST_F(ReadPairsTest, AreAllOnTheConsoleAsFarAsARecordHoldsThemAndTheLastInTheDescription) {
  for (const Count& count : {Count{0, "0", 0}, Count{1, "1", 1}, Count{19, "19", 19}, Count{40, "40", 40},
                             Count{41, "41", 40}, Count{0xFFFFFFFF, "-1", 40}}) {
    SCOPED_TRACE(count.said);
    forget();
    times_asked = 0;
    reading.record = record_of(count.number);
    t1_sdk_printVsub();
    std::string expected = std::string("t1_sdk_printVsub\n") + kShown + "\n";
    expected += std::string("vsub group num: ") + count.said + "\n";
    for (std::uint32_t n = 1; n <= count.shown; ++n) expected += line_of(n);
    EXPECT_EQ(console.out(), expected);
    expect_reply(0x2F00, "Pass", count.shown == 0 ? kShown : line_of(count.shown));
    EXPECT_EQ(times_asked, 1);
  }
}

TEST_F(ReadPairsTest, ABrightnessIsASignedNumberAndACodeIsNot) {
  reading.record = vsub::luma_record({{0xFFFFFFFF, 0xFFFFFFFF}, {0, 0x80000000}});
  t1_sdk_printVsub();
  EXPECT_THAT(console.out(), HasSubstr("sub: 0xffffffff, luma: -1\nsub: 0x0, luma: -2147483648\n"));
  EXPECT_EQ(station.reply().description, "sub: 0x0, luma: -2147483648\n");
}

TEST_F(ReadPairsTest, AReaderThatFailsIsReportedWithItsResult) {
  for (const int result : {-11, -13}) {
    forget();
    reading.result = result;
    reading.record = record_of(3);
    t1_sdk_printVsub();
    expect_reply(0x2F00, "Fail", "read vsub luma from flash error");
    EXPECT_EQ(console.out(), std::string("t1_sdk_printVsub\n") + kShown +
                                 "\nread vsub luma from flash error ret = " + std::to_string(result) +
                                 "\nfail num = 2\n");
  }
}

TEST_F(ReadPairsTest, ASweepTellsHowManyPairsItStored) {
  for (const Sweep& sweep : kSweeps) {
    SCOPED_TRACE(sweep.name);
    next_board(sweep.family);
    times_asked = 0;
    board.fault("fpga 0xb0 stuck 5");
    reading.record = vsub::luma_record(sweep.pairs(kStored, 5));
    t1_sdk_autoCCDLevel();
    expect_reply(kAutoLevel, "Pass", "测试成功");
    EXPECT_EQ(console.out(),
              std::string("t1_sdk_autoCCDLevel\n") + sweep.opening + kPaused + sweep.stored + kResumed);
    EXPECT_EQ(stored_pairs(board), sweep.pairs(kStored, 5));
    expect_put_back(board);
    EXPECT_EQ(times_asked, 1);
  }
}

}  // namespace
