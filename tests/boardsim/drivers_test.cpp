// Drivers whose records set and get things: registers, GPIO lines, alarm outputs; and what all drivers share.
#include <gtest/gtest.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <stdexcept>
#include <string>

#include "boardsim/board/hardware.h"
#include "tests/boardsim/device_driver.h"

namespace {

using namespace boardsim;
using namespace boardsim::test;

class DriversTest : public testing::Test {
 protected:
  Devices devices_{[] { return Time{0}; }, [](Time, const std::function<void()>&) {},
                   [](const std::string& text) { ADD_FAILURE() << text; }};
  GeneralIo& io_ = devices_.general_io;
  Alarm& alarm_ = devices_.alarm;
};

TEST_F(DriversTest, ARecordThatIsNotThereIsABadAddressAndTheTraceShowsNoWords) {
  std::size_t tried = 0;
  for (const auto& [path, device] : devices_.nodes()) {
    for (const Request& request : device->requests()) {
      if (request.argument != Request::Argument::record) continue;
      EXPECT_EQ(outcome(device->ioctl(request.number, nullptr)), -EFAULT) << path << " " << request.meaning;
      EXPECT_EQ(device->words_in(request.number, nullptr), Words{}) << path << " " << request.meaning;
      ++tried;
    }
  }
  EXPECT_GE(tried, 20U);
}

TEST_F(DriversTest, EachFaultReachesItsDeviceAndIsTakenAwayAgain) {
  for (const char* text : {"gpio 26 stuck high", "fpga 1 stuck 11", "afe 1 stuck 0xC", "stm8 1 stuck 13",
                           "rtc seconds 7", "sensors none"}) {
    EXPECT_TRUE(lay(devices_, text)) << text;
  }
  send(devices_.fpga, 0x40044603, {1, 3});
  EXPECT_EQ(io_.level(26), 1);
  EXPECT_EQ(exchange(devices_.fpga, 0x80044602, {1, 0}), (Words{1, 11})) << "whatever is written to it";
  EXPECT_EQ(devices_.timing_generator.reg(1), 12U);
  EXPECT_EQ(devices_.stm8.reg(1), 13U);
  EXPECT_EQ(exchange(devices_.rtc, 0x80247009, Words(9))[0], 7U);
  EXPECT_EQ(devices_.find("/proc/debug/temp1"), nullptr);
  devices_.clear_faults();
  EXPECT_EQ(io_.level(26), 0);
  EXPECT_EQ(devices_.fpga.reg(1), 3U) << "what was written meanwhile";
  EXPECT_EQ(devices_.timing_generator.reg(1), 0U);
  EXPECT_EQ(devices_.stm8.reg(1), 0U);
  EXPECT_EQ(exchange(devices_.rtc, 0x80247009, Words(9))[0], 12U);
  EXPECT_NE(devices_.find("/proc/debug/temp1"), nullptr);
}

TEST_F(DriversTest, EveryRegisterIsThereAndHoldsZeroUntilItIsWritten) {
  RegisterDevice& fpga = devices_.fpga;
  EXPECT_EQ(exchange(fpga, 0x80044602, {0xFFFFFFFF, 7}), (Words{0xFFFFFFFF, 0}));
  send(fpga, 0x40044603, {0xFFFFFFFF, 0xFFFFFFFE});
  fpga.set_reg(0xB0, 1234);
  EXPECT_EQ(exchange(fpga, 0x80044602, {0xFFFFFFFF, 0}), (Words{0xFFFFFFFF, 0xFFFFFFFE}));
  EXPECT_EQ(exchange(fpga, 0x80044602, {0xB0, 0}), (Words{0xB0, 1234})) << "as the hardware set it";
  Words record{4, 0};
  EXPECT_FALSE(devices_.timing_generator.ioctl(0x80045401, record.data()).known) << "it is only written";
}

// ---- GPIO lines -----------------------------------------------------------------------------------------

TEST_F(DriversTest, TheBootBlockIsCopiedOutInExactly256Bytes) {
  for (std::size_t i = 0; i < 256; ++i) io_.boot_block()[i] = static_cast<std::uint8_t>(255 - i);
  std::array<std::uint8_t, 260> buffer;
  buffer.fill(0xAA);
  EXPECT_EQ(outcome(io_.ioctl(0x80044801, buffer.data())), 0);
  EXPECT_TRUE(std::equal(io_.boot_block().begin(), io_.boot_block().end(), buffer.begin()));
  EXPECT_TRUE(std::all_of(buffer.begin() + 256, buffer.end(), [](auto byte) { return byte == 0xAA; }));
}

TEST_F(DriversTest, ANewLineHasNoDirectionAndIsLowAndTheLastOneWhoSetsItWins) {
  for (const unsigned line : {0U, 28U, 255U}) {
    EXPECT_EQ(io_.direction(line), Direction::unset);
    EXPECT_EQ(io_.level(line), 0);
  }
  io_.set_level(5, 1);
  EXPECT_EQ(exchange(io_, 0x80044703, {5, 0}), (Words{5, 1}));
  send(io_, 0x40044704, {5, 0});
  EXPECT_EQ(io_.level(5), 0);
  EXPECT_EQ(io_.direction(5), Direction::unset);
}

TEST_F(DriversTest, AnOutputIgnoresTheOutsideAndAnInputWhatIsWrittenToIt) {
  send(io_, 0x40044702, {30, 0});
  io_.set_level(30, 1);
  EXPECT_EQ(io_.level(30), 0);
  EXPECT_EQ(send(io_, 0x40044704, {30, 7}), 0);
  EXPECT_EQ(io_.driven(30), 1) << "every level but 0 is high";
  send(io_, 0x40044704, {30, 0});
  send(io_, 0x40044701, {30});
  EXPECT_EQ(io_.level(30), 1) << "the outside shows again";
  EXPECT_EQ(io_.driven(30), 0) << "the program drives no inputs";
  EXPECT_EQ(send(io_, 0x40044704, {30, 0}), 0);
  EXPECT_EQ(exchange(io_, 0x80044703, {30, 9}), (Words{30, 1}));
  lay(io_, "gpio 30 stuck low");
  EXPECT_EQ(exchange(io_, 0x8004680B, {30, 0xFFFFFFFF}), (Words{30, 0}));
  lay(io_, "gpio 31 stuck high");
  EXPECT_EQ(io_.driven(31), 1);
}

TEST_F(DriversTest, AllGenerationsOfCallsMoveTheSameLines) {
  for (const std::uint32_t output : {0x40044702U, 0x4004680EU, 0x104U}) {
    EXPECT_EQ(send(io_, output, {38, 1}), 0);
    EXPECT_EQ(io_.direction(38), Direction::output);
    EXPECT_EQ(exchange(io_, 0x80044703, {38, 0}), (Words{38, 1}));
    EXPECT_EQ(send(io_, 0x4004680D, {38, 0}), 0);
    EXPECT_EQ(io_.direction(38), Direction::input);
  }
  io_.set_level(38, 1);
  EXPECT_EQ(exchange(io_, 0x8004680B, {38, 0xFFFFFFFF}), (Words{38, 1}));
}

TEST_F(DriversTest, ALineBeyondTheLastIsRefused) {
  for (const std::uint32_t request :
       {0x40044701U, 0x40044702U, 0x80044703U, 0x40044704U, 0x8004680BU, 0x4004680DU, 0x4004680EU, 0x104U}) {
    EXPECT_EQ(send(io_, request, {256, 1}), -EINVAL) << std::hex << request;
    EXPECT_EQ(send(io_, request, {0xFFFFFFFF, 1}), -EINVAL) << std::hex << request;
    EXPECT_EQ(send(io_, request, {255, 1}), 0) << std::hex << request;
  }
  EXPECT_THROW(io_.level(256), std::out_of_range);
  EXPECT_THROW(io_.set_level(256, 1), std::out_of_range);
  EXPECT_THROW(io_.direction(256), std::out_of_range);
}

TEST_F(DriversTest, WhatHangsOnALineIsReadUnlessItIsAnOutputOrHeld) {
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

TEST_F(DriversTest, AWatcherIsCalledForEveryLineThatIsDriven) {
  Words lines;
  io_.on_drive([&lines](unsigned line) { lines.push_back(line); });
  send(io_, 0x40044702, {30, 1});
  send(io_, 0x40044704, {31, 0});
  send(io_, 0x4004680E, {32, 0});
  send(io_, 0x40044701, {33});
  exchange(io_, 0x80044703, {34, 0});
  EXPECT_EQ(lines, (Words{30, 31, 32}));
}

TEST_F(DriversTest, TheIrCutDriveNotesItsStepsThoughTheyAreNone) {
  EXPECT_EQ(outcome(io_.ioctl(0x40046831, reinterpret_cast<void*>(std::uintptr_t{300}))), 0);
  EXPECT_EQ(io_.ir_cut(), IrFilter::Side::day);
  EXPECT_EQ(io_.ir_cut_steps(), 300U);
  EXPECT_EQ(outcome(io_.ioctl(0x40046832, nullptr)), 0);
  EXPECT_EQ(io_.words_in(0x40046832, nullptr), Words{0});
  EXPECT_EQ(io_.ir_cut(), IrFilter::Side::night);
  EXPECT_EQ(io_.ir_cut_steps(), 0U);
}

TEST_F(DriversTest, EachPwmChannelKeepsItsOwnPeriodAndDuty) {
  send(io_, 0x40044D02, {0, 10000, 5000});
  send(io_, 0x40044D02, {4, 100, 50});
  EXPECT_EQ(io_.pwm(0).period, 10000);
  EXPECT_EQ(io_.pwm(4).duty, 50);
  EXPECT_EQ(io_.pwm(1).period, 0);
}

// ---- alarm outputs --------------------------------------------------------------------------------------

constexpr std::uint32_t kSet = 0x40044101;
constexpr std::uint32_t kGet = 0x80044102;
constexpr std::uint32_t kAll = 0x46554C4C;  // "LLUF" in storage order

TEST_F(DriversTest, AlarmOutputsAreSetAllAtOnceOrOneByItsNumber) {
  EXPECT_EQ(exchange(alarm_, kGet, {kAll, 7, 0}), (Words{kAll, 0, 0})) << "none after switching on";
  EXPECT_EQ(send(alarm_, kSet, {kAll, 0x0FFFFFF9, 0}), 0);
  EXPECT_EQ(alarm_.state(), 0x0FFFFFF9U);
  EXPECT_EQ(send(alarm_, kSet, {2, 1, 0}), 0);
  EXPECT_EQ(send(alarm_, kSet, {3, 0, 0}), 0);
  EXPECT_EQ(send(alarm_, kSet, {31, 5, 0}), 0) << "every state but 0 sets";
  EXPECT_EQ(exchange(alarm_, kGet, {kAll, 0, 0}), (Words{kAll, 0x8FFFFFF5, 0}));
  EXPECT_EQ(exchange(alarm_, kGet, {2, 0, 0}), (Words{2, 1, 0}));
  EXPECT_EQ(exchange(alarm_, kGet, {3, 9, 0}), (Words{3, 0, 0}));
}

TEST_F(DriversTest, AnAlarmOutputThatTheBoardLacksAndInputsAreRefused) {
  int changes = 0;
  alarm_.on_set([&changes] { ++changes; });
  for (const std::uint32_t request : {kSet, kGet}) {
    EXPECT_EQ(send(alarm_, request, {32, 1, 0}), -EINVAL);
    EXPECT_EQ(send(alarm_, request, {kAll, 1, 1}), -EINVAL) << "the driver knows no inputs";
  }
  exchange(alarm_, kGet, {kAll, 0, 0});
  EXPECT_EQ(alarm_.state(), 0U);
  EXPECT_EQ(changes, 0) << "a watcher is called for setting only";
  send(alarm_, kSet, {kAll, 0, 0});
  EXPECT_EQ(changes, 1);
}

}  // namespace
