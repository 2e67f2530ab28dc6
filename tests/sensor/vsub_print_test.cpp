// Showing the stored substrate voltage. The pairs of a sweep, which would follow, can be read on no board;
// tests/wrapped has what is shown of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <cstdint>
#include <string>

#include "tests/sensor/vsub_run.h"

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

constexpr int kPrint = 0x2F00;
constexpr const char* kNoPairs = "read vsub luma from flash error";

class VsubPrintTest : public VsubRun {};

TEST_F(VsubPrintTest, TheRecordIsReadOnceAndShownAndThenTheLumaRecordIsMissing) {
  t1_sdk_printVsub();
  expect_reply(kPrint, "Fail", kNoPairs);
  expect_console(
      "t1_sdk_printVsub\nreal vsub: 0xa86, original vsub: 0xa86, original voltage: 7.6\n\n"
      "read vsub luma from flash error ret = -1\nfail num = 2\n",
      "blkNum 21 offset : 64576 error\n");
  VsubScript expected;
  expected.emmc_read(64);
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines()) << "nothing is applied, nothing written";
}

TEST_F(VsubPrintTest, BothCodesAndTheVoltageAreThoseOfTheRecord) {
  const struct {
    std::uint32_t real, original;
    const char* voltage;
    const char* shown;
  } records[] = {
      {0x12, 0xFFFFFFFF, "10.25", "real vsub: 0x12, original vsub: 0xffffffff, original voltage: 10.25"},
      {2694, 2695, "", "real vsub: 0xa86, original vsub: 0xa87, original voltage: "},
      // A voltage that fills its field ends with the field.
      {1, 2, "12345678", "real vsub: 0x1, original vsub: 0x2, original voltage: 12345678"}};
  for (const auto& [real, original, voltage, shown] : records) {
    store(real, original, voltage);
    t1_sdk_printVsub();
    EXPECT_THAT(console.out(), HasSubstr(std::string("t1_sdk_printVsub\n") + shown + "\n\n"));
    forget();
  }
}

TEST_F(VsubPrintTest, ARecordThatCannotBeReadFailsWithCode2) {
  struct {
    const char* fault;
    int result;
    const char* err;
  } const cases[] = {{"record vsub checksum", -13, ""},
                     {"record vsub magic", -11, ""},
                     {"record vsub none", -11, ""},
                     {"open /dev/mmcblk0p7", -1, "open: /dev/mmcblk0p7 error: 19 \n"},
                     {"lseek /dev/mmcblk0p7", -1, "lseek: /dev/mmcblk0p7 error: 5 \n"},
                     {"read /dev/mmcblk0p7", -1, "read: /dev/mmcblk0p7 error: 5 \n"}};
  for (const auto& [fault, result, err] : cases) {
    SCOPED_TRACE(fault);
    next_board("6455");
    board.fault(fault);
    t1_sdk_printVsub();
    expect_reply(kPrint, "Fail", "Read vsub from flash error");
    expect_console(
        "t1_sdk_printVsub\nRead vsub from flash error ret = " + std::to_string(result) + "\nfail num = 2\n",
        err);  // the luma record is not asked for
  }
}

}  // namespace
