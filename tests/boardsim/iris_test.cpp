// The lens iris and the drives that move it, the substrate voltage and the luma.
#include "boardsim/devices/iris.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <string_view>

#include "boardsim/board.h"
#include "tests/boardsim/device_driver.h"

namespace {

using namespace boardsim;
using namespace boardsim::test;
using Lines = std::vector<std::string>;
using State = Iris::State;

constexpr std::uint32_t kConfigure = 0x40044301;
constexpr std::uint32_t kValue = 0x40046901;
constexpr std::uint32_t kOpen = 0x40046902;
constexpr std::uint32_t kSpeed = 0x40046903;

/// 644 bytes: a count, then 16 entries of ten words with the chip in the sixth.
Words configuration(std::uint32_t entry, std::uint32_t chip = 3) {
  Words words(161);
  words[0] = entry;
  words[1 + 10 * entry + 5] = chip;
  return words;
}

int request(int fd, std::uint32_t number, Words record) {
  return ioctl(fd, number, record.data());
}

void write_fpga(std::uint32_t address, std::uint32_t value) {
  const int fd = open("/dev/fpga", O_RDWR);
  EXPECT_EQ(request(fd, 0x40044603, {address, value}), 0);
  close(fd);
}

/// Gives a motor driver's iris two values and tells where it ends each time.
std::array<State, 2> drive(const Board& board, const char* node, std::uint32_t entry,
                           std::array<int, 2> values) {
  const int fd = open(node, O_RDWR);
  EXPECT_EQ(request(fd, kConfigure, configuration(entry)), 0);
  std::array<State, 2> states{};
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(ioctl(fd, kValue, values.at(i)), 0);
    states.at(i) = board->iris.state();
  }
  close(fd);
  return states;
}

constexpr std::array kMoves{State::closed, State::open};

TEST(IrisTest, TheFpgaClosesAndOpensIt) {
  const Board board("normal");
  EXPECT_EQ(board->iris.state(), State::unset);
  write_fpga(0x2001, 0x27F);
  EXPECT_EQ(board->iris.state(), State::unset) << "a value in between";
  write_fpga(0x2001, 0xCFF);
  EXPECT_EQ(board->iris.state(), State::closed);
  write_fpga(0x2001, 0x27F);
  EXPECT_EQ(board->iris.state(), State::closed);
  write_fpga(0x2001, 0xC00);
  EXPECT_EQ(board->iris.state(), State::open);
  write_fpga(0x2002, 0xCFF);
  EXPECT_EQ(board->iris.state(), State::open) << "another register";
}

TEST(IrisTest, TheMotorChipClosesAndOpensIt) {
  const Board board("65xx");
  EXPECT_EQ(drive(board, "/dev/motor", 3, {0xCFF, 0xC00}), kMoves);
  EXPECT_EQ(board->motor.moves(), 0U) << "no move of the filter";
}

TEST(IrisTest, TheIrisMotorClosesAndOpensIt) {
  const Board board("68xx");
  EXPECT_EQ(drive(board, "/dev/motor1", 1, {512, 767}), kMoves);
}

TEST(IrisTest, ShellCommandsCloseAndOpenIt) {
  for (const char* family : {"63xx", "loop"}) {
    Board board(family);
    EXPECT_EQ(system("closeIRIS"), 0);
    EXPECT_EQ(board->iris.state(), State::closed) << family;
    EXPECT_EQ(system("openIRIS"), 0);
    EXPECT_EQ(board->iris.state(), State::open) << family;
    EXPECT_EQ(board.hardware_trace(), (Lines{"system closeIRIS = 0", "system openIRIS = 0"}));
    board.fault("system #1");
    EXPECT_EQ(system("closeIRIS"), -1);
    EXPECT_EQ(board->iris.state(), State::open) << family;
  }
}

TEST(IrisTest, ABoardHasOneDriveOnly) {
  for (const Family& family : families()) {
    const Board board(family.name);
    const IrisDrive own = hardware_of(family.type).iris;
    if (own != IrisDrive::chip) drive(board, "/dev/motor", 3, {0xC00, 0xCFF});
    if (own != IrisDrive::gpio) drive(board, "/dev/motor1", 1, {767, 512});
    if (own != IrisDrive::shell) {
      EXPECT_EQ(system("closeIRIS"), 0);
    }
    if (own != IrisDrive::fpga) write_fpga(0x2001, 0xCFF);
    EXPECT_EQ(board->iris.state(), State::unset) << family.name;
  }
}

TEST(IrisTest, ThereIsADriveForEveryTypeCode) {
  struct Row {
    IrisDrive drive;
    Words types;
  };
  const Row rows[] = {
      {IrisDrive::chip, {0x9C0A}},
      {IrisDrive::shell, {0x27201, 0x97C0, 0x96C1, 0x96C2, 0x96C3}},
      {IrisDrive::gpio, {0x27252, 0x9A01, 0x27254, 0x9A03, 0xA6005, 0xA6006, 0xA60A0, 0xA60A3}},
      {IrisDrive::fpga, {0, 0x9601, 0x960B, 0x27251, 0x96C0, 0x96C4, 0x96C5, 0xA6001, 0x9603}},
  };
  for (const Row& row : rows) {
    for (const std::uint32_t type : row.types) EXPECT_EQ(hardware_of(type).iris, row.drive) << type;
  }
}

TEST(IrisTest, TheMotorDriverKeepsItsChipsApart) {
  const Board board("65xx");
  const int fd = open("/dev/motor", O_RDWR);
  EXPECT_EQ(ioctl(fd, kValue, 0xCFF), -1);
  EXPECT_EQ(errno, EINVAL) << "nothing is configured";
  EXPECT_EQ(request(fd, kConfigure, configuration(0, 7)), 0);
  EXPECT_EQ(ioctl(fd, kValue, 0xCFF), -1) << "that was the filter's chip";
  EXPECT_EQ(request(fd, kConfigure, configuration(3)), 0);
  EXPECT_EQ(ioctl(fd, kValue, 0xCFF), 0);
  EXPECT_EQ(ioctl(fd, 0x40044901, 90), 0) << "the filter's chip is still configured";
  EXPECT_EQ(request(fd, kConfigure, configuration(1)), -1);
  EXPECT_EQ(ioctl(fd, kValue, 0xCFF), -1);
  EXPECT_EQ(ioctl(fd, 0x40044901, 90), -1);
  close(fd);
}

TEST(IrisTest, TheTraceShowsWhatTheDriversAreTold) {
  const Board board("65xx");
  const int fd = open("/dev/motor", O_RDWR);
  request(fd, kConfigure, configuration(3));
  ioctl(fd, kValue, 0x27F);
  close(fd);
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"open /dev/motor = ok", "ioctl /dev/motor 0x40044301 {3, 3, 0} = 0",
                   "ioctl /dev/motor 0x40046901 {639} = 0", "close /dev/motor = 0"}));
}

TEST(IrisMotorTest, ItKnowsOneConfigurationOnly) {
  IrisMotor motor;
  EXPECT_EQ(send(motor, kConfigure, configuration(1)), 0);
  for (std::size_t i = 0; i < 161; ++i) {
    Words other = configuration(1);
    ++other[i];
    EXPECT_EQ(send(motor, kConfigure, other), -EINVAL) << "word " << i;
  }
  EXPECT_EQ(outcome(motor.ioctl(kConfigure, nullptr)), -EFAULT);
}

TEST(IrisMotorTest, ItTakesValuesOnceItIsConfigured) {
  IrisMotor motor;
  Words values;
  motor.on_value([&](std::uint32_t value) { values.push_back(value); });
  const auto give = [&](std::uint32_t number, std::uintptr_t value) {
    return outcome(motor.ioctl(number, reinterpret_cast<void*>(value)));
  };
  EXPECT_EQ(give(kValue, 512), -EINVAL);
  send(motor, kConfigure, configuration(1));
  EXPECT_EQ(give(kValue, 512), 0);
  EXPECT_EQ(give(kOpen, 1), 0);
  EXPECT_EQ(give(kSpeed, 5), 0) << "a speed moves nothing";
  EXPECT_EQ(values, (Words{512, 767}));
  motor.open(O_RDWR);
  EXPECT_EQ(give(kSpeed, 5), -EINVAL) << "each opening is configured anew";
  EXPECT_FALSE(motor.ioctl(0x40046904, nullptr).known);
}

TEST(VsubTest, TheFpgaTakesACodeOverWhenItIsTold) {
  const Board board("normal");
  EXPECT_EQ(board->substrate_voltage.code(), 0U);
  write_fpga(0x2001, 0xA86);
  EXPECT_EQ(board->substrate_voltage.code(), 0U);
  write_fpga(0x2102, 2);
  EXPECT_EQ(board->substrate_voltage.code(), 0U);
  write_fpga(0x2102, 1);
  EXPECT_EQ(board->substrate_voltage.code(), 0xA86U);
}

TEST(VsubTest, A65xxBoardIsGivenItsCodeByRequest) {
  const Board board("65xx");
  const int fd = open("/dev/qznio", O_RDWR);
  EXPECT_EQ(request(fd, 0x40044D0E, {0xA86}), 0);
  EXPECT_EQ(ioctl(fd, 0x40044D0E, nullptr), -1);
  EXPECT_EQ(errno, EFAULT);
  close(fd);
  EXPECT_EQ(board->substrate_voltage.code(), 0xA86U);
  EXPECT_EQ(board.hardware_trace()[1], "ioctl /dev/qznio 0x40044d0e {2694} = 0");
  write_fpga(0x2001, 0xA00);
  write_fpga(0x2102, 1);
  EXPECT_EQ(board->substrate_voltage.code(), 0xA86U) << "its FPGA does not set it";
}

TEST(VsubTest, OtherBoardsHaveNothingBehindTheRequest) {
  const Board board("normal");
  const int fd = open("/dev/qznio", O_RDWR);
  EXPECT_EQ(request(fd, 0x40044D0E, {0xA86}), 0);
  close(fd);
  EXPECT_EQ(board->substrate_voltage.code(), 0U);
}

TEST(VsubTest, TheLumaFallsAsTheCodeRises) {
  Board board("normal");
  EXPECT_EQ(board->fpga.reg(0xB0), 5000U);
  for (const std::uint32_t code : {0xA00U, 0xA86U, 0xAFFU}) {
    write_fpga(0x2001, code);
    write_fpga(0x2102, 1);
    EXPECT_EQ(board->fpga.reg(0xB0), 5000 - code);
  }
  write_fpga(0x2001, 0xFFFFFFFF);
  write_fpga(0x2102, 1);
  EXPECT_EQ(board->fpga.reg(0xB0), 0U);
  board->fpga.set_reg(0xB0, 123);
  EXPECT_EQ(board->fpga.reg(0xB0), 123U) << "a test has the last word";
}

}  // namespace
