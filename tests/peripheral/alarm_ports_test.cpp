// The checks of single ports on boards with five inputs: two patterns, two readings.
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/peripheral/alarm_port_board.h"
#include "tests/peripheral/alarm_texts.h"
#include "tests/peripheral/hardware_script.h"

namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

/// One kind of check, with recognisable values for its patterns.
struct Check {
  const char* name;
  const char* family;
  const char* node;
  std::vector<unsigned> lines;  ///< of bits 0, 1, 2 ...
  unsigned sync_mask;
  bool prints_words;
  std::chrono::milliseconds change;  ///< a moment between the two readings
  std::chrono::milliseconds length;
  int (*run)(int fd, char* text, unsigned mask);
};

int run_plain(int fd, char* text, unsigned mask) {
  return alarm_test_everyport(fd, 0x11111, 0x22222, text, mask);
}
int run_19(int fd, char* text, unsigned mask) {
  return alarm_test_everyport_19(fd, 0x11111, 0x33333, 0x22222, 0x44444, text, mask);
}

const std::vector<unsigned> kPlainLines = {74, 76, 77, 78, 94};
const std::vector<unsigned> kMaLines = {17, 18, 19, 20, 114, 114, 114, 114};

// clang-format off
const Check kChecks[] = {
    {"Plain",  "normal", "/dev/fpga",  kPlainLines, 16,  false, 300ms, 500ms,  run_plain},
    {"Ma",     "ma",     "/dev/fpga",  kMaLines,    128, true,  300ms, 500ms,  run_19},
    {"Driver", "68xx",   "/dev/alarm", kPlainLines, 16,  false, 700ms, 1000ms, alarm_test_everyport_hisi},
};
// clang-format on

class AlarmPortTest : public AlarmPortBoard, public ::testing::WithParamInterface<Check> {
 protected:
  AlarmPortTest() : AlarmPortBoard(GetParam().family, GetParam().node, GetParam().lines) {}

  unsigned mask_of(const PortTexts& port) const { return port.mask == 16 ? GetParam().sync_mask : port.mask; }
  unsigned bits_of(unsigned mask) const { return mask == 128 ? 0xF0 : mask; }
  unsigned all() const { return GetParam().lines.size() == 5 ? 0x1F : 0xFF; }

  /// Runs the check with two readings of the input word, and expects how it ends.
  void check(unsigned mask, unsigned first, unsigned second, int result, const std::string& line,
             const std::string& description) {
    console.clear();
    buffer.fill(kUntouched);
    show(first, GetParam().change, second);
    EXPECT_EQ(GetParam().run(fd, buffer.data(), mask), result);
    EXPECT_EQ(console.flushed(), words(first, second) + line + "\n") << "printed and flushed";
    EXPECT_EQ(text(), description);
    EXPECT_TRUE(buffer_is_respected());
  }

 private:
  std::string words(unsigned first, unsigned second) const {
    if (!GetParam().prints_words) return "";
    char text[32];
    std::snprintf(text, sizeof text, "0x%x\n0x%x\n", first, second);
    return text;
  }
};

INSTANTIATE_TEST_SUITE_P(Kinds, AlarmPortTest, ::testing::ValuesIn(kChecks),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(AlarmPortTest, AnInputThatFollowsItsOutputPasses) {
  for (const PortTexts& port : kFivePorts) {
    SCOPED_TRACE(port.port);
    check(mask_of(port), bits_of(mask_of(port)), 0, 0, port.success(), "");
  }
}

TEST_P(AlarmPortTest, AnInputThatFollowsItsOutputUpsideDownPassesToo) {
  for (const PortTexts& port : kFivePorts) {
    SCOPED_TRACE(port.port);
    check(mask_of(port), 0, bits_of(mask_of(port)), 0, port.success(), "");
  }
}

TEST_P(AlarmPortTest, AnInputThatStaysSetIsCalledOpen) {
  for (const PortTexts& port : kFivePorts) {
    SCOPED_TRACE(port.port);
    check(mask_of(port), all(), all(), 1, port.open_console, port.open_description);
  }
}

TEST_P(AlarmPortTest, AnInputThatStaysClearIsCalledShorted) {
  for (const PortTexts& port : kFivePorts) {
    SCOPED_TRACE(port.port);
    check(mask_of(port), 0, 0, 1, port.short_console, port.short_description);
  }
}

TEST_P(AlarmPortTest, TheOtherInputsDoNotMatter) {
  for (const PortTexts& port : kFivePorts) {
    SCOPED_TRACE(port.port);
    const unsigned bits = bits_of(mask_of(port));
    const unsigned others = all() & ~bits;
    check(mask_of(port), all(), bits, 1, port.open_console, port.open_description);
    check(mask_of(port), others, 0, 1, port.short_console, port.short_description);
    check(mask_of(port), all(), others, 0, port.success(), "");
  }
}

TEST_P(AlarmPortTest, AnyOtherMaskIsSync) {
  const PortTexts& sync = kFivePorts.back();
  for (const unsigned mask : {32U, 64U, 16U + 128U}) {
    SCOPED_TRACE(mask);
    check(mask, 0, 0, 1, sync.short_console, sync.short_description);
  }
}

TEST_P(AlarmPortTest, ACheckTakesItsTime) {
  show(0);
  GetParam().run(fd, buffer.data(), 1);
  EXPECT_EQ(board.now(), GetParam().length);
}

TEST_P(AlarmPortTest, InputsThatCannotBeReadCountAsLow) {
  show(all());
  board.fault("ioctl /dev/qznio 0x80044703");
  EXPECT_EQ(GetParam().run(fd, buffer.data(), 2), 1);
  EXPECT_EQ(text(), kFivePorts[1].short_description);
}

// ---- what each kind does to the hardware -----------------------------------------------------------------

class AlarmPlainPortTest : public AlarmPortBoard {
 protected:
  AlarmPlainPortTest() : AlarmPortBoard("normal", "/dev/fpga", kPlainLines) {}
};

TEST_F(AlarmPlainPortTest, EachPatternIsOneValueOfTheOutputRegister) {
  show(0);
  alarm_test_everyport(fd, 0x11111, 0x22222, buffer.data(), 1);
  HardwareScript expected;
  expected.fpga(0x2002, 0x11111).wait(200ms).query_and_read(kPlainLines);
  expected.fpga(0x2002, 0x22222).wait(300ms).query_and_read(kPlainLines);
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
}

TEST_F(AlarmPlainPortTest, AT4ThatStaysSetNamesTheThirdOutput) {
  show(8);
  EXPECT_EQ(alarm_test_everyport(fd, 1, 2, buffer.data(), 8), 1);
  EXPECT_EQ(console.out(), "T4口不通或F3+、F3-短路!!!\n");
  EXPECT_EQ(text(), "测试失败:T4不通或(F3+F3-)短路!!!");
}

TEST_F(AlarmPlainPortTest, ASyncThatStaysSetNamesTheThirdOutput) {
  show(16);
  EXPECT_EQ(alarm_test_everyport(fd, 1, 2, buffer.data(), 16), 1);
  EXPECT_EQ(console.out(), "SYNC口不通或F3+、F3-短路!!!\n");
  EXPECT_EQ(text(), "测试失败:SYNC不通或(F3+F3-)短路!!!");
}

TEST_F(AlarmPlainPortTest, TheSecondReadingStartsFromNothing) {
  show(0x1F);
  board.at(300ms, [this] { board.fault("ioctl /dev/qznio 0x80044703"); });
  EXPECT_EQ(alarm_test_everyport(fd, 1, 2, buffer.data(), 1), 0) << "set first, then clear";
}

TEST_F(AlarmPlainPortTest, AShorterFailureLeavesNothingOfALongerOne) {
  show(0);
  EXPECT_EQ(alarm_test_everyport(fd, 1, 2, buffer.data(), 16), 1);
  show(1);
  EXPECT_EQ(alarm_test_everyport(fd, 1, 2, buffer.data(), 1), 1);
  EXPECT_EQ(text(), kFivePorts[0].open_description);
}

class AlarmMaPortTest : public AlarmPortBoard {
 protected:
  AlarmMaPortTest() : AlarmPortBoard("ma", "/dev/fpga", {17, 18, 19, 20, 114}) {}
};

TEST_F(AlarmMaPortTest, EachPatternIsTwoRegisters) {
  show(0);
  alarm_test_everyport_19(fd, 0x11111, 0x33333, 0x22222, 0x44444, buffer.data(), 1);
  HardwareScript expected;
  expected.fpga(0x2018, 0x33333).fpga(0x2002, 0x11111).wait(200ms);
  expected.read(kMaLines);
  expected.fpga(0x2018, 0x44444).fpga(0x2002, 0x22222).wait(300ms);
  expected.read(kMaLines);
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
}

TEST_F(AlarmMaPortTest, SyncDependsOnLine114Only) {
  show(0x0F, 300ms, 0x1F);
  EXPECT_EQ(alarm_test_everyport_19(fd, 1, 2, 3, 4, buffer.data(), 128), 0);
  show(0x10, 300ms, 0x1F);
  EXPECT_EQ(alarm_test_everyport_19(fd, 1, 2, 3, 4, buffer.data(), 128), 1);
  EXPECT_EQ(text(), "测试失败:SYNC不通或(F3+F3-)短路!!!");
  show(0x0F, 300ms, 0x00);
  EXPECT_EQ(alarm_test_everyport_19(fd, 1, 2, 3, 4, buffer.data(), 128), 1);
  EXPECT_EQ(text(), "测试失败:(F3+F3-)或(T1T3)或(T2T4)或(SYNC、GND)短路!!!");
}

TEST_F(AlarmMaPortTest, TheInputWordIsPrintedAfterEachReading) {
  show(0x05, 300ms, 0x1A);
  EXPECT_EQ(alarm_test_everyport_19(fd, 1, 2, 3, 4, buffer.data(), 1), 0);
  EXPECT_EQ(console.lines(), (Lines{"0x5", "0xfa", "T1口报警输入测试成功"}));
}

/// The patterns of the alarm driver follow from the mask.
struct DriverPatterns {
  unsigned mask, first, second;
};

class AlarmDriverPortTest : public AlarmPortBoard, public ::testing::WithParamInterface<DriverPatterns> {
 protected:
  AlarmDriverPortTest() : AlarmPortBoard("68xx", "/dev/alarm", kPlainLines) {}
};

INSTANTIATE_TEST_SUITE_P(Masks, AlarmDriverPortTest,
                         ::testing::Values(DriverPatterns{1, 0x0FFFFFFE, 1}, DriverPatterns{2, 0x0FFFFFFD, 2},
                                           DriverPatterns{4, 0x0FFFFFFB, 4}, DriverPatterns{8, 0x0FFFFFF7, 8},
                                           DriverPatterns{16, 0x0FFFFFEF, 16}),
                         [](const auto& test) { return "Mask" + std::to_string(test.param.mask); });

TEST_P(AlarmDriverPortTest, FirstAllOutputsButOneAreSetThenThatOneAlone) {
  const auto [mask, first, second] = GetParam();
  show(0);
  alarm_test_everyport_hisi(fd, buffer.data(), mask);
  HardwareScript expected;
  expected.outputs(first).wait(500ms).query_and_read(kPlainLines);
  expected.outputs(second).wait(500ms).query_and_read(kPlainLines);
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
}

TEST_P(AlarmDriverPortTest, ARefusedPatternIsNotNoticedAsSuch) {
  show(0x1F);
  board.fault("ioctl /dev/alarm");
  const unsigned mask = GetParam().mask;
  EXPECT_EQ(alarm_test_everyport_hisi(fd, buffer.data(), mask), 1) << "but the input does not follow";
}

TEST_F(AlarmPlainPortTest, TheMa533BoardsReadTheirOwnLines) {
  board.set_type(0xA6005);
  show(0);
  alarm_test_everyport(fd, 1, 2, buffer.data(), 1);
  HardwareScript expected;
  expected.fpga(0x2002, 1).wait(200ms).query_and_read({25, 26, 27, 28, 29});
  expected.fpga(0x2002, 2).wait(300ms).query_and_read({25, 26, 27, 28, 29});
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
}

}  // namespace
