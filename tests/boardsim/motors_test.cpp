// What moves the IR-cut filter, the iris and the focus; and the substrate voltage with its luma.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string_view>

#include "boardsim/board.h"
#include "boardsim/devices/iris.h"
#include "boardsim/devices/motor.h"
#include "tests/boardsim/device_driver.h"

namespace {

using namespace boardsim;
using namespace boardsim::test;
using Lines = std::vector<std::string>;
using State = Iris::State;
using Side = IrFilter::Side;

constexpr std::uint32_t kConfigure = 0x40044301;
constexpr std::uint32_t kMove = 0x40044901;
constexpr std::uint32_t kMoveBack = 0x40044902;
constexpr std::uint32_t kValue = 0x40046901;
constexpr std::uint32_t kOpen = 0x40046902;
constexpr std::uint32_t kSpeed = 0x40046903;

/// 644 bytes: a count, then 16 entries of ten words with the chip in the sixth.
Words configuration(std::uint32_t entry, std::uint32_t chip) {
  Words words(161);
  words[0] = entry;
  words[1 + 10 * entry + 5] = chip;
  return words;
}

const Words kFilter = configuration(0, 7);
const Words kChipIris = configuration(3, 3);
const Words kGpioIris = configuration(1, 3);

/// The outcome of a request whose argument is a number.
long give(Device& device, std::uint32_t request, std::uintptr_t value) {
  return outcome(device.ioctl(request, reinterpret_cast<void*>(value)));
}

// ---- the motor drivers ------------------------------------------------------------------------------------

TEST(MotorsTest, EachDriverKnowsOneConfigurationOfAChipOnly) {
  const auto refuses_others = [](Device& device, const Words& known) {
    EXPECT_EQ(send(device, kConfigure, known), 0);
    for (std::size_t i = 0; i < 161; ++i) {
      Words other = known;
      ++other[i];
      EXPECT_EQ(send(device, kConfigure, other), -EINVAL) << "word " << i;
    }
  };
  Motor motor;
  refuses_others(motor, kFilter);
  EXPECT_EQ(give(motor, kMove, 90), -EINVAL) << "one that makes no sense leaves none";
  IrisMotor iris;
  refuses_others(iris, kGpioIris);
  EXPECT_EQ(give(iris, kValue, 512), -EINVAL);
}

TEST(MotorsTest, TheFilterMovesOnceItIsConfiguredInThisOpening) {
  Motor motor;
  EXPECT_EQ(give(motor, kMove, 90), -EINVAL);
  EXPECT_EQ(motor.moves(), 0U);
  send(motor, kConfigure, kFilter);
  EXPECT_EQ(give(motor, kMove, 90), 0);
  EXPECT_EQ(give(motor, kMoveBack, 180), 0);
  EXPECT_EQ(motor.moves(), 2U);
  EXPECT_EQ(motor.travel(), 180U);
  EXPECT_EQ(give(motor, kMove, 0), 0) << "no travel at all is a number too";
  EXPECT_EQ(motor.travel(), 0U);
  motor.open(O_RDWR);
  EXPECT_EQ(give(motor, kMove, 90), -EINVAL) << "each opening is configured anew";
}

TEST(MotorsTest, TheMotorDriverKeepsItsChipsApart) {
  Motor motor;
  send(motor, kConfigure, kFilter);
  EXPECT_EQ(give(motor, kValue, 0xCFF), -EINVAL) << "that was the filter's chip";
  EXPECT_EQ(send(motor, kConfigure, kChipIris), 0);
  EXPECT_EQ(give(motor, kValue, 0xCFF), 0);
  EXPECT_EQ(give(motor, kMove, 90), 0) << "the filter's chip is still configured";
  EXPECT_EQ(motor.moves(), 1U);
  send(motor, kConfigure, kFilter);
  EXPECT_EQ(give(motor, kValue, 0xCFF), 0) << "and so is the iris's";
  motor.open(O_RDWR);
  EXPECT_EQ(give(motor, kValue, 0xCFF), -EINVAL) << "each opening is configured anew";
  send(motor, kConfigure, kFilter);
  send(motor, kConfigure, kChipIris);
  EXPECT_EQ(send(motor, kConfigure, configuration(1, 3)), -EINVAL);
  EXPECT_EQ(give(motor, kValue, 0xCFF), -EINVAL);
  EXPECT_EQ(give(motor, kMove, 90), -EINVAL);
}

TEST(MotorsTest, TheIrisMotorTakesValuesOnceItIsConfiguredInThisOpening) {
  IrisMotor motor;
  Words values;
  motor.on_value([&](std::uint32_t value) { values.push_back(value); });
  EXPECT_EQ(give(motor, kValue, 512), -EINVAL);
  send(motor, kConfigure, kGpioIris);
  EXPECT_EQ(give(motor, kValue, 512), 0);
  EXPECT_EQ(give(motor, kOpen, 1), 0);
  EXPECT_EQ(give(motor, kSpeed, 5), 0) << "a speed moves nothing";
  EXPECT_EQ(values, (Words{512, 767}));
  motor.open(O_RDWR);
  EXPECT_EQ(give(motor, kSpeed, 5), -EINVAL);
}

// ---- the iris and the substrate voltage -----------------------------------------------------------------

void write_fpga(std::uint32_t address, std::uint32_t value) {
  const int fd = open("/dev/fpga", O_RDWR);
  std::uint32_t record[2] = {address, value};
  EXPECT_EQ(ioctl(fd, 0x40044603, record), 0);
  close(fd);
}

/// Configures a motor driver's iris and gives it a value.
void drive(const char* node, Words configured, int value) {
  const int fd = open(node, O_RDWR);
  EXPECT_EQ(ioctl(fd, kConfigure, configured.data()), 0);
  EXPECT_EQ(ioctl(fd, kValue, value), 0);
  close(fd);
}

TEST(IrisTest, OnlyTheEndsOfItsOwnDriveMoveIt) {
  const Board board;
  write_fpga(0x2001, 0x27F);
  EXPECT_EQ(board->iris.state(), State::unset) << "a value in between";
  write_fpga(0x2001, 0xCFF);
  EXPECT_EQ(board->iris.state(), State::closed);
  write_fpga(0x2002, 0xC00);
  EXPECT_EQ(board->iris.state(), State::closed) << "another register";
  write_fpga(0x2001, 0xC00);
  EXPECT_EQ(board->iris.state(), State::open);
}

TEST(IrisTest, ABoardHasOneDriveOnly) {
  for (const Family& family : families()) {
    const Board board(family.name);
    const IrisDrive own = hardware_of(family.type).iris;
    if (own != IrisDrive::chip) drive("/dev/motor", kChipIris, 0xCFF);
    if (own != IrisDrive::gpio) drive("/dev/motor1", kGpioIris, 512);
    if (own != IrisDrive::shell) {
      EXPECT_EQ(system("closeIRIS"), 0);
    }
    if (own != IrisDrive::fpga) write_fpga(0x2001, 0xCFF);
    EXPECT_EQ(board->iris.state(), State::unset) << family.name;
  }
}

TEST(VsubTest, TheFpgaTakesACodeOverWhenItIsToldAndTheLumaFalls) {
  Board board;
  write_fpga(0x2001, 0xA86);
  write_fpga(0x2102, 2);
  EXPECT_EQ(board->substrate_voltage.code(), 0U);
  EXPECT_EQ(board->fpga.reg(0xB0), 5000U);
  for (const std::uint32_t code : {0xA00U, 0xA86U, 0xAFFU}) {
    write_fpga(0x2001, code);
    write_fpga(0x2102, 1);
    EXPECT_EQ(board->substrate_voltage.code(), code);
    EXPECT_EQ(board->fpga.reg(0xB0), 5000 - code);
  }
  write_fpga(0x2001, 0xFFFFFFFF);
  write_fpga(0x2102, 1);
  EXPECT_EQ(board->fpga.reg(0xB0), 0U);
  board->fpga.set_reg(0xB0, 123);
  EXPECT_EQ(board->fpga.reg(0xB0), 123U) << "a test has the last word";
}

TEST(VsubTest, A65xxBoardIsGivenItsCodeByRequestAndTheOthersAreNot) {
  for (const auto& [family, code] : {std::pair{"65xx", 0xA86U}, std::pair{"normal", 0U}}) {
    const Board board(family);
    const int fd = open("/dev/qznio", O_RDWR);
    std::uint32_t record = 0xA86;
    EXPECT_EQ(ioctl(fd, 0x40044D0E, &record), 0);
    close(fd);
    EXPECT_EQ(board->substrate_voltage.code(), code) << family;
  }
  const Board board("65xx");
  write_fpga(0x2001, 0xA00);
  write_fpga(0x2102, 1);
  EXPECT_EQ(board->substrate_voltage.code(), 0U) << "its FPGA does not set it";
}

// ---- the IR-cut filter ----------------------------------------------------------------------------------

class IrFilterTest : public testing::Test {
 protected:
  void forward(int steps) {
    for (int i = 0; i < steps; ++i) {
      filter_.drive(113, 1);
      filter_.drive(111, 0);
      filter_.drive(113, 0);
      filter_.drive(111, 1);
    }
  }
  void back(int steps) {
    for (int i = 0; i < steps; ++i) {
      filter_.drive(111, 0);
      filter_.drive(113, 1);
      filter_.drive(111, 1);
      filter_.drive(113, 0);
    }
  }

  IrFilter filter_;
};

TEST_F(IrFilterTest, TheElectromagnetMovesItWhileItIsEnabledAndOneCoilPulls) {
  filter_.drive(86, 1);
  EXPECT_EQ(filter_.side(), Side::unset);
  filter_.drive(87, 1);
  EXPECT_EQ(filter_.side(), Side::day);
  filter_.drive(87, 0);
  filter_.drive(86, 0);
  filter_.drive(88, 1);
  EXPECT_EQ(filter_.side(), Side::day) << "not enabled";
  filter_.drive(87, 1);
  EXPECT_EQ(filter_.side(), Side::night);
  filter_.drive(86, 1);
  EXPECT_EQ(filter_.side(), Side::night) << "two coils pull against each other";
  filter_.drive(88, 0);
  EXPECT_EQ(filter_.side(), Side::day);
}

TEST_F(IrFilterTest, AStepIsFourQuartersEitherWayAndTheCoilsMustBeEnabled) {
  forward(10);
  EXPECT_EQ(filter_.position(), 0);
  EXPECT_TRUE(filter_.home_switch());
  filter_.drive(110, 1);
  forward(1);
  const int begun = filter_.position();  // the first step only takes hold of the rotor
  forward(9);
  EXPECT_EQ(filter_.position(), begun + 36);
  EXPECT_FALSE(filter_.home_switch());
  back(5);
  EXPECT_EQ(filter_.position(), begun + 16);
}

TEST_F(IrFilterTest, StopsAtBothEndsHoldTheStepper) {
  filter_.drive(110, 1);
  forward(175);
  EXPECT_EQ(filter_.position(), 160 * 4);
  back(159);
  EXPECT_EQ(filter_.position(), 4);
  EXPECT_FALSE(filter_.home_switch());
  back(1);
  EXPECT_TRUE(filter_.home_switch());
  back(3);
  EXPECT_EQ(filter_.position(), 0);
}

TEST(IrFilterOnABoardTest, TheHomeSwitchIsReadOnLine26Of65xxBoardsOnlyUnlessItNeverCloses) {
  {
    Board board("65xx");
    EXPECT_EQ(board->general_io.level(26), 1);
    board.fault("home switch never");
    EXPECT_EQ(board->general_io.level(26), 0);
    board.clear_faults();
    EXPECT_EQ(board->general_io.level(26), 1);
  }
  const Board other("normal");
  EXPECT_EQ(other->general_io.level(26), 0);
}

TEST(IrFilterOnABoardTest, OnlyItsVeryShellCommandsMoveIt) {
  const Board board("63xx");
  for (const char* command : {"true", "dayICR; true", "", " dayICR"}) {
    EXPECT_EQ(std::system(command), -1) << command;
  }
  EXPECT_EQ(board.violations().size(), 4U);
  EXPECT_EQ(board->ir_filter.side(), Side::unset);
}

// ---- the focus ------------------------------------------------------------------------------------------

class FocusMotorTest : public testing::Test {
 protected:
  ~FocusMotorTest() override { close(fd_); }

  void step(unsigned long request, int times) const {
    for (int i = 0; i < times; ++i) EXPECT_EQ(ioctl(fd_, request, 10), 0);
  }
  int limit_switch() const { return board_->general_io.level(7); }

  static constexpr unsigned long kToLimit = 0x40044201;
  static constexpr unsigned long kFromLimit = 0x40044202;
  Board board_;
  int fd_ = open("/dev/motor", O_RDWR);
};

TEST_F(FocusMotorTest, ItStands40StepsFromItsLimitWhichHoldsItAndClosesTheSwitch) {
  EXPECT_EQ(board_->motor.focus().position(), 40);
  step(kToLimit, 39);
  EXPECT_EQ(limit_switch(), 0);
  step(kToLimit, 60);
  EXPECT_EQ(limit_switch(), 1);
  EXPECT_EQ(board_->motor.focus().position(), 0);
  step(kFromLimit, 1);
  EXPECT_EQ(limit_switch(), 0);
  EXPECT_EQ(board_->motor.focus().position(), 1);
  board_->motor.focus().set_position(-3);
  EXPECT_EQ(board_->motor.focus().position(), 0);
}

TEST_F(FocusMotorTest, AnotherStepLengthIsRefused) {
  for (const int length : {0, 9, 11, -10}) {
    EXPECT_EQ(ioctl(fd_, kFromLimit, length), -1) << length;
    EXPECT_EQ(errno, EINVAL);
  }
  EXPECT_EQ(board_->motor.focus().position(), 40);
}

}  // namespace
