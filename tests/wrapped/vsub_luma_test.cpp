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
#include "tests/sensor/vsub_sweep_board.h"

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
using ::testing::Not;
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

template <class Base>
class WithReader : public Base {
 protected:
  WithReader() {
    reading = {};
    times_asked = 0;
  }
  ~WithReader() override { reading = {}; }
};

// ---- showing ------------------------------------------------------------------------------

struct Count {
  std::uint32_t number;
  const char* said;
  std::uint32_t shown;  ///< pairs
};

class ShownPairsTest : public WithReader<VsubRun>, public ::testing::WithParamInterface<Count> {};

INSTANTIATE_TEST_SUITE_P(Counts, ShownPairsTest,
                         ::testing::Values(Count{0, "0", 0}, Count{1, "1", 1}, Count{19, "19", 19},
                                           Count{40, "40", 40}, Count{41, "41", 40},
                                           Count{0xFFFFFFFF, "-1", 40}),
                         [](const auto& count) { return "Of" + std::to_string(count.param.number); });

TEST_P(ShownPairsTest, AreAllOnTheConsoleAndTheLastInTheDescription) {
  reading.record = record_of(GetParam().number);
  t1_sdk_printVsub();
  std::string expected = std::string("t1_sdk_printVsub\n") + kShown + "\n";
  expected += std::string("vsub group num: ") + GetParam().said + "\n";
  for (std::uint32_t n = 1; n <= GetParam().shown; ++n) expected += line_of(n);
  EXPECT_EQ(console.out(), expected);
  expect_reply(0x2F00, kTrimName, "Pass", GetParam().shown == 0 ? kShown : line_of(GetParam().shown));
  EXPECT_EQ(times_asked, 1);
}

TEST_P(ShownPairsTest, AreNeverMoreThanARecordHolds) {
  reading.record = record_of(GetParam().number);
  t1_sdk_printVsub();
  EXPECT_THAT(console.out(), Not(HasSubstr("deadbeef")));
  EXPECT_THAT(console.out(), Not(HasSubstr(std::to_string(static_cast<std::int32_t>(kGuard)))));
}

class ShowingPairsTest : public WithReader<VsubRun> {};

TEST_F(ShowingPairsTest, ABrightnessIsASignedNumberAndACodeIsNot) {
  reading.record = vsub::luma_record({{0xFFFFFFFF, 0xFFFFFFFF}, {0, 0x80000000}});
  t1_sdk_printVsub();
  EXPECT_THAT(console.out(), HasSubstr("sub: 0xffffffff, luma: -1\nsub: 0x0, luma: -2147483648\n"));
  EXPECT_EQ(station.reply().description, "sub: 0x0, luma: -2147483648\n");
}

TEST_F(ShowingPairsTest, AReaderThatFailsIsReportedWithItsResult) {
  for (const int result : {-1, -11, -13}) {
    forget();
    reading.result = result;
    reading.record = record_of(3);
    t1_sdk_printVsub();
    expect_reply(0x2F00, kTrimName, "Fail", "read vsub luma from flash error");
    EXPECT_EQ(console.out(), std::string("t1_sdk_printVsub\n") + kShown +
                                 "\nread vsub luma from flash error ret = " + std::to_string(result) +
                                 "\nfail num = 2\n");
  }
}

// ---- sweeps -------------------------------------------------------------------------------

class SweepsReadBackTest : public WithReader<SweepRun> {};

TEST_F(SweepsReadBackTest, ASweepTellsHowManyPairsItStored) {
  board.fault("fpga 0xb0 stuck 5");
  reading.record = vsub::luma_record(sweep_of(kStored, 5));
  t1_sdk_autoCCDLevel();
  expect_auto();
  EXPECT_EQ(console.out(), std::string("t1_sdk_autoCCDLevel\nflash vsub: 0xa86\n") + kPaused +
                               "vsub_luma pair number: 19\n" + kResumed);
  EXPECT_EQ(pairs(), sweep_of(kStored, 5));
  expect_paused_and_resumed();
  expect_left_behind();
  EXPECT_EQ(times_asked, 1);
}

TEST_F(SweepsReadBackTest, ASamplingTellsHowManyPairsItStored) {
  next_board("normal");
  board.fault("fpga 0xb0 stuck 5");
  reading.record = vsub::luma_record(samples_of(5));
  t1_sdk_autoCCDLevel();
  expect_auto();
  EXPECT_EQ(console.out(),
            std::string("t1_sdk_autoCCDLevel\n") + kPaused + "luma pair number: 19\n" + kResumed);
  EXPECT_EQ(pairs(), samples_of(5));
  expect_paused_and_resumed();
  expect_left_behind();
}

TEST_F(SweepsReadBackTest, TheReaderIsOnlyAskedOnceThePairsAreWritten) {
  board.fault("open /dev/mtd4");
  t1_sdk_autoCCDLevel();
  expect_auto();
  EXPECT_EQ(times_asked, 0);
  EXPECT_THAT(console.out(), HasSubstr("write vsub luma to flash error ret = -5\n"));
  EXPECT_THAT(console.out(), Not(HasSubstr("pair number")));
}

TEST_F(SweepsReadBackTest, AReaderThatFailsIsReportedAndTheApplicationGoesOn) {
  for (const std::string_view family : {"6455", "normal"}) {
    SCOPED_TRACE(family);
    next_board(family);
    reading.result = -13;
    t1_sdk_autoCCDLevel();
    expect_auto();
    EXPECT_THAT(console.out(),
                HasSubstr(std::string("read vsub luma from flash error ret = -13\n") + kResumed));
    EXPECT_THAT(console.out(), Not(HasSubstr("pair number")));
    expect_left_behind();
  }
}

}  // namespace
