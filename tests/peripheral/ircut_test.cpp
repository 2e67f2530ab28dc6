// Which IR-cut test a board is given.
#include <gtest/gtest.h>
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/peripheral/ircut_report.h"

namespace {

const std::string kMoves90 = "ioctl /dev/motor 0x40044901 {90} = 0";

class IrCutTest : public IrCutRun {
 protected:
  /// The board runs a variant that passes and that alone asks this.
  void expect_variant(const std::string& shown) {
    t1_sdk_icrcut_test();
    const std::vector<boardsim::Call> calls = board.trace();
    EXPECT_TRUE(std::ranges::any_of(calls, [&](const auto& call) { return call.text() == shown; })) << shown;
    expect_pass();
  }
};

TEST_F(IrCutTest, EachFamilyIsAskedUntilItsQuestionFitsAndRunsItsVariant) {
  const struct {
    const char* family;
    int questions;
    const char* banner;
    std::string shown;  ///< a call that only this variant makes
  } choices[] = {
      {"65xx", 1, "ircut_test_65xx", "ioctl /dev/qznio 0x40044704 {110, 1} = 0"},
      {"63xx", 2, "ircut_test_65xx", "system dayICR = 0"},
      {"loop", 3, "ircut_test_wpfxx", "ioctl /dev/qznio 0x40044704 {86, 1} = 0"},
      {"loop-c", 4, "ircut_test_wpfxxC", "ioctl /dev/qznio 0x40044704 {88, 1} = 0"},
      {"ma", 5, "ircut_test_64xx", "ioctl /dev/motor 0x40044901 {175} = 0"},
      {"rkd1", 6, "ircut_test_rkd", "ioctl /dev/motor 0x40044902 {180} = 0"},
      {"rkd2", 6, "ircut_test_rkd", "ioctl /dev/motor 0x40044902 {180} = 0"},
      {"normal", 6, "ircut_test_64xx", kMoves90},
      {"k", 6, "ircut_test_64xx", kMoves90},
      {"68xx", 6, "ircut_test_64xx", kMoves90},
      {"68xx-fpga", 6, "ircut_test_64xx", kMoves90},
      {"6444", 6, "ircut_test_64xx", kMoves90},
      {"6444-j", 6, "ircut_test_64xx", kMoves90},
  };
  for (const auto& [family, questions, banner, shown] : choices) {
    SCOPED_TRACE(family);
    next_board(family);
    expect_variant(shown);
    EXPECT_EQ(console.lines().front(), banner);
    HardwareScript asked;
    for (int i = 0; i < questions; ++i) asked.query();
    Lines calls = board.timed_hardware_trace();
    EXPECT_EQ(
        std::ranges::count_if(calls, [](const auto& call) { return call.find("0x80044801") != call.npos; }),
        questions);
    calls.resize(asked.lines().size());
    EXPECT_EQ(calls, asked.lines()) << "before anything else is done";
  }
}

TEST_F(IrCutTest, AllCodesOfAFamilyRunItsVariant) {
  const struct {
    std::vector<std::uint32_t> types;
    std::string shown;
  } rows[] = {
      {{0x27201, 0x97C0}, "system nightICR = 0"},
      {{0x96C1, 0x96C2, 0x96C3, 0x96C4, 0x96C5}, "ioctl /dev/qznio 0x40044704 {87, 1} = 0"},
      {{0xA6001, 0xA6002, 0xA6003, 0xA6004}, "ioctl /dev/motor 0x40044901 {175} = 0"},
      {{0xA60A0, 0xA60A3}, "ioctl /dev/motor 0x40044902 {180} = 0"},
      {{0x9601, 0xA6005, 0xA6006, 0x9A01, 0, 0xFFFF}, kMoves90},
  };
  for (const auto& row : rows) {
    for (const std::uint32_t type : row.types) {
      SCOPED_TRACE(type);
      next_board("normal");
      board.set_type(type);
      expect_variant(row.shown);
    }
  }
}

TEST_F(IrCutTest, ABoardThatIsDeafToItsOwnQuestionHasTheMotorDriver) {
  const struct {
    const char* family;
    const char* question;
  } rows[] = {{"65xx", ""},      {"65xx", " #1"}, {"63xx", " #2"}, {"loop", " #3"},
              {"loop-c", " #4"}, {"ma", " #5"},   {"rkd1", " #6"}};
  for (const auto& [family, question] : rows) {
    SCOPED_TRACE(family);
    next_board(family);
    board.fault(std::string("ioctl /dev/qznio 0x80044801") + question);
    expect_variant(kMoves90);
  }
}

}  // namespace
