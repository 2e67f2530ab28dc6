// The general I/O driver: boot block, GPIO lines, IR-cut drive, PWM.
#include "boardsim/devices/general_io.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <stdexcept>

#include "tests/boardsim/device_driver.h"

namespace {

using namespace boardsim;
using namespace boardsim::test;

class GeneralIoTest : public testing::Test {
 protected:
  GeneralIo io_;
};

TEST_F(GeneralIoTest, TheBootBlockIsCopiedOutInExactly256Bytes) {
  for (std::size_t i = 0; i < 256; ++i) io_.boot_block()[i] = static_cast<std::uint8_t>(255 - i);
  std::array<std::uint8_t, 260> buffer;
  buffer.fill(0xAA);
  EXPECT_EQ(outcome(io_.ioctl(0x80044801, buffer.data())), 0);
  EXPECT_TRUE(std::equal(io_.boot_block().begin(), io_.boot_block().end(), buffer.begin()));
  EXPECT_TRUE(std::all_of(buffer.begin() + 256, buffer.end(), [](auto byte) { return byte == 0xAA; }));
  EXPECT_EQ(io_.words_in(0x80044801, buffer.data()), Words{});
}

TEST_F(GeneralIoTest, ANewLineHasNoDirectionAndIsLow) {
  for (const unsigned line : {0U, 28U, 255U}) {
    EXPECT_EQ(io_.direction(line), Direction::unset);
    EXPECT_EQ(io_.level(line), 0);
  }
}

TEST_F(GeneralIoTest, AnOutputStartsAtItsInitialLevelAndFollowsWrites) {
  EXPECT_EQ(send(io_, 0x40044702, {30, 1}), 0);
  EXPECT_EQ(io_.direction(30), Direction::output);
  EXPECT_EQ(io_.level(30), 1);
  EXPECT_EQ(send(io_, 0x40044704, {30, 0}), 0);
  EXPECT_EQ(io_.level(30), 0);
  EXPECT_EQ(send(io_, 0x40044704, {30, 7}), 0);
  EXPECT_EQ(io_.level(30), 1) << "every level but 0 is high";
}

TEST_F(GeneralIoTest, AnRs485TransmitterIsEnabledByALine) {
  EXPECT_EQ(send(io_, 0x104, {32, 1}), 0);
  EXPECT_EQ(io_.direction(32), Direction::output);
  EXPECT_EQ(io_.level(32), 1);
  EXPECT_EQ(send(io_, 0x104, {32, 0}), 0);
  EXPECT_EQ(io_.level(32), 0);
  EXPECT_EQ(traced(io_, 0x104, {32, 1}), (Words{32, 1}));
  EXPECT_EQ(outcome(io_.ioctl(0x104, nullptr)), -EFAULT);
  EXPECT_EQ(send(io_, 0x104, {256, 1}), -EINVAL);
}

TEST_F(GeneralIoTest, AnOutputIgnoresTheOutsideUntilItBecomesAnInput) {
  send(io_, 0x40044702, {30, 0});
  io_.set_level(30, 1);
  EXPECT_EQ(io_.level(30), 0);
  send(io_, 0x40044701, {30});
  EXPECT_EQ(io_.level(30), 1);
}

TEST_F(GeneralIoTest, AnInputShowsTheOutsideWhateverIsWrittenToIt) {
  EXPECT_EQ(send(io_, 0x40044701, {28}), 0);
  EXPECT_EQ(io_.direction(28), Direction::input);
  io_.set_level(28, 1);
  EXPECT_EQ(send(io_, 0x40044704, {28, 0}), 0);
  EXPECT_EQ(exchange(io_, 0x80044703, {28, 0}), (Words{28, 1}));
  io_.set_level(28, 0);
  EXPECT_EQ(exchange(io_, 0x80044703, {28, 9}), (Words{28, 0}));
}

TEST_F(GeneralIoTest, TheLastOneWhoSetALineWithoutDirectionWins) {
  io_.set_level(5, 1);
  EXPECT_EQ(exchange(io_, 0x80044703, {5, 0}), (Words{5, 1}));
  send(io_, 0x40044704, {5, 0});
  EXPECT_EQ(io_.level(5), 0);
  EXPECT_EQ(io_.direction(5), Direction::unset);
}

TEST_F(GeneralIoTest, BothGenerationsOfCallsMoveTheSameLines) {
  EXPECT_EQ(send(io_, 0x4004680E, {38, 1}), 0);
  EXPECT_EQ(io_.direction(38), Direction::output);
  EXPECT_EQ(exchange(io_, 0x80044703, {38, 0}), (Words{38, 1}));
  EXPECT_EQ(send(io_, 0x4004680D, {38, 0}), 0);
  EXPECT_EQ(io_.direction(38), Direction::input);
  io_.set_level(38, 1);
  EXPECT_EQ(exchange(io_, 0x8004680B, {38, 0xFFFFFFFF}), (Words{38, 1}));
}

TEST_F(GeneralIoTest, ALineBeyondTheLastIsRefused) {
  for (const std::uint32_t request :
       {0x40044701U, 0x40044702U, 0x80044703U, 0x40044704U, 0x8004680BU, 0x4004680DU, 0x4004680EU}) {
    EXPECT_EQ(send(io_, request, {256, 1}), -EINVAL) << std::hex << request;
    EXPECT_EQ(send(io_, request, {0xFFFFFFFF, 1}), -EINVAL) << std::hex << request;
    EXPECT_EQ(send(io_, request, {255, 1}), 0) << std::hex << request;
  }
  EXPECT_THROW(io_.level(256), std::out_of_range);
  EXPECT_THROW(io_.set_level(256, 1), std::out_of_range);
  EXPECT_THROW(io_.direction(256), std::out_of_range);
}

TEST_F(GeneralIoTest, ARequestWithoutRecordFails) {
  for (const std::uint32_t request : {0x80044801U, 0x40044701U, 0x40044702U, 0x80044703U, 0x40044704U,
                                      0x8004680BU, 0x4004680DU, 0x4004680EU, 0x40044D02U}) {
    EXPECT_EQ(outcome(io_.ioctl(request, nullptr)), -EFAULT) << std::hex << request;
    EXPECT_EQ(io_.words_in(request, nullptr), Words{}) << std::hex << request;
  }
}

TEST_F(GeneralIoTest, TheTraceShowsTheWordsThatACallerSets) {
  EXPECT_EQ(traced(io_, 0x40044701, {28}), (Words{28})) << "the level of an input is not set";
  EXPECT_EQ(traced(io_, 0x40044702, {30, 1}), (Words{30, 1}));
  EXPECT_EQ(traced(io_, 0x80044703, {28, 0}), (Words{28, 0}));
  EXPECT_EQ(traced(io_, 0x40044704, {30, 0}), (Words{30, 0}));
  EXPECT_EQ(traced(io_, 0x8004680B, {28, 0xFFFFFFFF}), (Words{28, 0xFFFFFFFF}));
  EXPECT_EQ(traced(io_, 0x4004680D, {28, 3}), (Words{28, 3}));
  EXPECT_EQ(traced(io_, 0x4004680E, {38, 1}), (Words{38, 1}));
  EXPECT_EQ(traced(io_, 0x40044D02, {0, 10000, 5000}), (Words{0, 10000, 5000}));
}

TEST_F(GeneralIoTest, TheIrCutDriveTakesItsStepsAsTheArgumentItself) {
  EXPECT_EQ(io_.ir_cut(), GeneralIo::IrCut::unset);
  void* const steps = reinterpret_cast<void*>(std::uintptr_t{300});
  EXPECT_EQ(io_.words_in(0x40046831, steps), Words{300});
  EXPECT_EQ(outcome(io_.ioctl(0x40046831, steps)), 0);
  EXPECT_EQ(io_.ir_cut(), GeneralIo::IrCut::day);
  EXPECT_EQ(io_.ir_cut_steps(), 300U);
  EXPECT_EQ(outcome(io_.ioctl(0x40046832, nullptr)), 0) << "no steps at all are a number too";
  EXPECT_EQ(io_.words_in(0x40046832, nullptr), Words{0});
  EXPECT_EQ(io_.ir_cut(), GeneralIo::IrCut::night);
  EXPECT_EQ(io_.ir_cut_steps(), 0U);
}

TEST_F(GeneralIoTest, EachPwmChannelKeepsItsOwnPeriodAndDuty) {
  EXPECT_EQ(send(io_, 0x40044D02, {0, 10000, 5000}), 0);
  EXPECT_EQ(send(io_, 0x40044D02, {4, 100, 50}), 0);
  EXPECT_EQ(io_.pwm(0).period, 10000);
  EXPECT_EQ(io_.pwm(0).duty, 5000);
  EXPECT_EQ(io_.pwm(4).period, 100);
  EXPECT_EQ(io_.pwm(4).duty, 50);
  EXPECT_EQ(io_.pwm(1).period, 0);
}

TEST_F(GeneralIoTest, WhatHangsOnALineIsReadUnlessItIsAnOutputOrHeld) {
  io_.on_read([](unsigned line) { return line == 74 ? std::optional(1) : std::nullopt; });
  EXPECT_EQ(io_.level(74), 1);
  EXPECT_EQ(io_.level(75), 0);
  send(io_, 0x40044701, {74});
  EXPECT_EQ(io_.level(74), 1);
  send(io_, 0x40044702, {74, 0});
  EXPECT_EQ(io_.level(74), 0);
  send(io_, 0x40044701, {74});
  io_.set_level(74, 0);
  EXPECT_EQ(io_.level(74), 0) << "held from outside";
}

TEST_F(GeneralIoTest, WhoeverWatchesIsToldOfEveryLineThatIsDriven) {
  Words lines;
  io_.on_drive([&lines](unsigned line) { lines.push_back(line); });
  send(io_, 0x40044702, {30, 1});
  send(io_, 0x40044704, {31, 0});
  send(io_, 0x4004680E, {32, 0});
  send(io_, 0x40044701, {33});
  exchange(io_, 0x80044703, {34, 0});
  EXPECT_EQ(lines, (Words{30, 31, 32}));
}

TEST_F(GeneralIoTest, TheProgramDrivesItsOutputsAndNoInputs) {
  send(io_, 0x40044702, {30, 1});
  EXPECT_EQ(io_.driven(30), 1);
  send(io_, 0x40044701, {30});
  io_.set_level(30, 1);
  EXPECT_EQ(io_.driven(30), 0);
  lay(io_, "gpio 30 stuck high");
  EXPECT_EQ(io_.driven(30), 1);
}

TEST_F(GeneralIoTest, AnotherRequestIsUnknown) {
  std::array<std::uint32_t, 4> record{};
  EXPECT_FALSE(io_.ioctl(0x40044705, record.data()).known);
  EXPECT_EQ(io_.words_in(0x40044705, record.data()), Words{});
}

TEST_F(GeneralIoTest, AStuckLineKeepsItsLevelUntilTheFaultIsTakenAway) {
  EXPECT_TRUE(lay(io_, "gpio 26 stuck high"));
  EXPECT_TRUE(lay(io_, "gpio 27 stuck low"));
  send(io_, 0x40044702, {26, 0});
  send(io_, 0x40044702, {27, 1});
  EXPECT_EQ(exchange(io_, 0x80044703, {26, 0}), (Words{26, 1}));
  EXPECT_EQ(exchange(io_, 0x8004680B, {27, 1}), (Words{27, 0}));
  io_.clear_faults();
  EXPECT_EQ(io_.level(26), 0);
  EXPECT_EQ(io_.level(27), 1);
}

TEST_F(GeneralIoTest, AGpioFaultThatMakesNoSenseIsRefused) {
  for (const char* text : {"gpio", "gpio 26", "gpio 26 stuck", "gpio 26 stuck up", "gpio 256 stuck high",
                           "gpio x stuck high", "gpio 26 loose high", "gpio 26 stuck high now"}) {
    EXPECT_THROW(lay(io_, text), std::invalid_argument) << text;
  }
  EXPECT_FALSE(lay(io_, "rtc stopped"));
  EXPECT_FALSE(lay_fault(io_.fault_forms(), {}));
}

}  // namespace
