// Which IR-cut test a board is given, and how a station asks for it.
#include <gtest/gtest.h>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/service/dispatch.h"
#include "tests/peripheral/ircut_report.h"

namespace {

using namespace std::chrono_literals;

struct Choice {
  const char* family;
  const char* banner;
  const char* shown;  ///< a call that only this variant makes
};

const Choice kChoices[] = {
    {"65xx", "ircut_test_65xx", "ioctl /dev/qznio 0x40044704 {110, 1} = 0"},
    {"63xx", "ircut_test_65xx", "system dayICR = 0"},
    {"loop", "ircut_test_wpfxx", "ioctl /dev/qznio 0x40044704 {86, 1} = 0"},
    {"loop-c", "ircut_test_wpfxxC", "ioctl /dev/qznio 0x40044704 {88, 1} = 0"},
    {"ma", "ircut_test_64xx", "ioctl /dev/motor 0x40044901 {175} = 0"},
    {"rkd1", "ircut_test_rkd", "ioctl /dev/motor 0x40044902 {180} = 0"},
    {"rkd2", "ircut_test_rkd", "ioctl /dev/motor 0x40044902 {180} = 0"},
    {"normal", "ircut_test_64xx", "ioctl /dev/motor 0x40044901 {90} = 0"},
    {"k", "ircut_test_64xx", "ioctl /dev/motor 0x40044901 {90} = 0"},
    {"68xx", "ircut_test_64xx", "ioctl /dev/motor 0x40044901 {90} = 0"},
    {"68xx-fpga", "ircut_test_64xx", "ioctl /dev/motor 0x40044901 {90} = 0"},
    {"6444", "ircut_test_64xx", "ioctl /dev/motor 0x40044901 {90} = 0"},
    {"6444-j", "ircut_test_64xx", "ioctl /dev/motor 0x40044901 {90} = 0"},
};

class IrCutTest : public IrCutRun {
 protected:
  bool was_asked(const std::string& text) const {
    for (const boardsim::Call& call : board.trace()) {
      if (call.text() == text) return true;
    }
    return false;
  }
  /// Hands the request of the test over as the receiver does.
  static int dispatch(std::string xml) {
    return process_client_operation(reinterpret_cast<unsigned char*>(xml.data()),
                                    static_cast<int>(xml.size()));
  }
};

TEST_F(IrCutTest, EachFamilyRunsItsVariantAndPasses) {
  for (const Choice& choice : kChoices) {
    SCOPED_TRACE(choice.family);
    next_board(choice.family);
    t1_sdk_icrcut_test();
    EXPECT_EQ(console.lines().front(), choice.banner);
    EXPECT_TRUE(was_asked(choice.shown)) << choice.shown;
    expect_pass();
  }
}

TEST_F(IrCutTest, AllCodesOfAFamilyRunItsVariant) {
  const struct {
    std::vector<std::uint32_t> types;
    const char* shown;
  } rows[] = {
      {{0x27201, 0x97C0}, "system nightICR = 0"},
      {{0x96C1, 0x96C2, 0x96C3, 0x96C4, 0x96C5}, "ioctl /dev/qznio 0x40044704 {87, 1} = 0"},
      {{0xA6001, 0xA6002, 0xA6003, 0xA6004}, "ioctl /dev/motor 0x40044901 {175} = 0"},
      {{0xA60A0, 0xA60A3}, "ioctl /dev/motor 0x40044902 {180} = 0"},
      {{0x9601, 0xA6005, 0xA6006, 0x9A01, 0, 0xFFFF}, "ioctl /dev/motor 0x40044901 {90} = 0"},
  };
  for (const auto& row : rows) {
    for (const std::uint32_t type : row.types) {
      next_board("normal");
      board.set_type(type);
      t1_sdk_icrcut_test();
      EXPECT_TRUE(was_asked(row.shown)) << std::hex << type;
      expect_pass();
    }
  }
}

TEST_F(IrCutTest, ABoardThatCannotBeAskedWhoItIsHasTheMotorDriver) {
  for (const char* fault : {"open /dev/qznio", "ioctl /dev/qznio 0x80044801"}) {
    next_board("65xx");
    board.fault(fault);
    t1_sdk_icrcut_test();
    EXPECT_TRUE(was_asked("ioctl /dev/motor 0x40044901 {90} = 0"));
    expect_pass();
  }
}

/// The calls that ask the board who it is, so many times.
std::vector<std::string> questions(std::size_t count) {
  std::vector<std::string> calls;
  for (std::size_t i = 0; i < count; ++i) {
    calls.insert(calls.end(),
                 {"open /dev/qznio = ok", "ioctl /dev/qznio 0x80044801 {} = 0", "close /dev/qznio = 0"});
  }
  return calls;
}

TEST_F(IrCutTest, TheBoardIsAskedFamilyByFamilyUntilOneFits) {
  const struct {
    const char* family;
    std::size_t questions;
    const char* next;  ///< the variant's first call
  } rows[] = {{"65xx", 1, "open /dev/qznio = ok"}, {"63xx", 2, ""},
              {"loop", 3, "open /dev/qznio = ok"}, {"loop-c", 4, "open /dev/qznio = ok"},
              {"ma", 5, "open /dev/motor = ok"},   {"rkd1", 6, "open /dev/motor = ok"},
              {"rkd2", 6, "open /dev/motor = ok"}, {"normal", 6, "open /dev/motor = ok"},
              {"k", 6, "open /dev/motor = ok"},    {"68xx", 6, "open /dev/motor = ok"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.family);
    next_board(row.family);
    t1_sdk_icrcut_test();
    std::vector<std::string> expected = questions(row.questions);
    std::vector<std::string> calls = board.hardware_trace();
    if (row.next[0] != '\0') expected.emplace_back(row.next);
    calls.resize(expected.size());
    EXPECT_EQ(calls, expected);
    std::size_t asked = 0;
    for (const boardsim::Call& call : board.trace()) asked += call.request == 0x80044801 ? 1 : 0;
    EXPECT_EQ(asked, row.questions);
  }
}

TEST_F(IrCutTest, ABoardThatIsDeafToItsOwnQuestionIsTakenForOneOfTheRest) {
  const struct {
    const char* family;
    int question;
  } rows[] = {{"65xx", 1}, {"63xx", 2}, {"loop", 3}, {"loop-c", 4}, {"ma", 5}, {"rkd1", 6}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.family);
    next_board(row.family);
    board.fault("ioctl /dev/qznio 0x80044801 #" + std::to_string(row.question));
    t1_sdk_icrcut_test();
    EXPECT_TRUE(was_asked("ioctl /dev/motor 0x40044901 {90} = 0"));
    expect_pass();
  }
}

TEST_F(IrCutTest, AStationAsksByCode1792AndNoCodeNameIsPrinted) {
  EXPECT_EQ(dispatch("<TestItem><TestCode>1792</TestCode></TestItem>"), 0);
  EXPECT_EQ(console.lines().front(), "ircut_test_64xx");
  expect_pass();
}

TEST_F(IrCutTest, AFailedTestIsAnsweredUnderTheSameCode) {
  board.fault("open /dev/motor");
  EXPECT_EQ(dispatch("<TestItem><TestCode>1792</TestCode></TestItem>"), 0);
  expect_fail("打开/dev/motor失败");
}

}  // namespace
