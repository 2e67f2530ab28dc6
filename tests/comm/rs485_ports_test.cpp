// The ports of the RS485 tests: opening them, what all tests do before, and ports whose descriptors have
// numbers that no set of descriptors can hold, since ports that failed tests left open let the numbers grow.
#include "t1_sdk/boardtest/comm/rs485/ports.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/select.h>
#include <unistd.h>
#include <climits>
#include <cstring>
#include <ostream>
#include <string>

#include "t1_sdk/boardtest/comm/rs485/rs485.h"
#include "t1_sdk/boardtest/comm/rs485/variants.h"
#include "t1_sdk/boardtest/platform/uart.h"
#include "tests/comm/many_descriptors.h"
#include "tests/comm/rs485_run.h"
#include "tests/platform/guarded_bytes.h"
#include "tests/platform/open_node.h"

namespace {

using namespace rs485;

constexpr const char* kSelectError = "<t1>: select error retRd = -1\n";

// ---- opening a port ---------------------------------------------------------------------------------

class Rs485PortsTest : public Rs485Run {};

TEST_F(Rs485PortsTest, APortIsOpenedForReadingAndWritingAndSetTo38400Baud) {
  const int fd = rs485Open("/dev/uart3");
  EXPECT_GE(fd, 0);
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"open /dev/uart3 = ok", "ioctl /dev/uart3 0x40045501 {38400, 3, 0, 0, 0} = 0"}));
  EXPECT_EQ(board.trace().at(0).record.at(0) & O_ACCMODE, static_cast<unsigned>(O_RDWR));
  EXPECT_EQ(console.out(), "");
  ::close(fd);
}

TEST_F(Rs485PortsTest, APortThatRefusesItsSetUpIsOpenAllTheSame) {
  board.fault("ioctl /dev/uart3 0x40045501");
  const int fd = rs485Open("/dev/uart3");
  EXPECT_GE(fd, 0);
  EXPECT_EQ(console.out(), "");
  ::close(fd);
}

TEST_F(Rs485PortsTest, APortThatDoesNotOpenClosesTheIoDriver) {
  gpiofd = ::open("/dev/qznio", O_RDWR);
  board.fault("open /dev/uart3");
  board.clear_trace();
  EXPECT_EQ(rs485Open("/dev/uart3"), -1);
  EXPECT_EQ(gpiofd, -1);
  EXPECT_EQ(console.out(), "<t1>打开RS485口【/dev/uart3】错误\n");
  EXPECT_EQ(board.hardware_trace(), (Lines{"open /dev/uart3 = -1 ENODEV", "close /dev/qznio = 0"}));
}

TEST_F(Rs485PortsTest, TheResultOfEmptyingAReceiverIsTheDrivers) {
  const OpenNode node(board, "/dev/uart1");
  board.fault("ioctl /dev/uart1 0x5503 #1 result 5");
  board.fault("ioctl /dev/uart1 0x5503 #2 EBUSY");
  EXPECT_EQ(clear_485recv_buf(node.fd()), 5);
  EXPECT_EQ(clear_485recv_buf(node.fd()), -1);
}

// ---- what every test on /dev/uart1 does -----------------------------------------------------------------

/// One test, which says its name first.
struct Variant {
  const char* name;
  void (*run)();
};
constexpr Variant kWired[] = {{"rs485_test_Ex", rs485_test_Ex},
                              {"rs485_test_u", rs485_test_u},
                              {"rs485_test_rkd537", rs485_test_rkd537},
                              {"rs485_test_rkd037", rs485_test_rkd037}};
constexpr Variant kOnOnePort[] = {
    {"rs485_test", rs485_test}, {"rs485_unit_test", rs485_unit_test}, {"rs485_test_63xx", rs485_test_63xx}};

void PrintTo(const Variant& variant, std::ostream* out) {
  *out << variant.name;
}

class Rs485VariantTest : public Rs485Run, public ::testing::WithParamInterface<Variant> {};

const auto name_of = [](const auto& test) { return std::string(test.param.name); };
INSTANTIATE_TEST_SUITE_P(Wired, Rs485VariantTest, ::testing::ValuesIn(kWired), name_of);
INSTANTIATE_TEST_SUITE_P(OnOnePort, Rs485VariantTest, ::testing::ValuesIn(kOnOnePort), name_of);

TEST_P(Rs485VariantTest, WithoutTheIoDriverNothingElseIsTried) {
  board.fault("open /dev/qznio");
  GetParam().run();
  EXPECT_EQ(console.out(), GetParam().name + std::string("\n打开/dev/qznio失败\nfail num = 1\n"));
  EXPECT_EQ(console.err(), "Open /dev/qznio: No such device\n");
  expect_fail("打开/dev/qznio失败");
  EXPECT_EQ(board.hardware_trace(), Lines{"open /dev/qznio = -1 ENODEV"});
  EXPECT_EQ(board->application.commands().size(), 0U);
  EXPECT_EQ(board.now(), 0s);
  EXPECT_EQ(gpiofd, -1);
}

TEST_F(Rs485PortsTest, WithoutItsPortATestOfOnePortClosesTheIoDriver) {
  for (const Variant& variant : kOnOnePort) {
    SCOPED_TRACE(variant.name);
    next_board();
    board.fault("open /dev/uart1 ENXIO");
    variant.run();
    EXPECT_EQ(console.out(),
              variant.name + ("\n" + kAnswered) + kWaiting + "<t1>打开RS485口错误\nfail num = 2\n");
    expect_fail("<t1>打开RS485口错误");
    EXPECT_EQ(board.hardware_trace(),
              (Lines{"open /dev/qznio = ok", "open /dev/uart1 = -1 ENXIO", "close /dev/qznio = 0"}));
    EXPECT_EQ(board.now(), 5020ms);
  }
}

TEST_F(Rs485PortsTest, AnApplicationThatIsNotThereIsSaidAndDoesNotMatter) {
  board.fault("app refused");
  rs485_unit_test();
  EXPECT_TRUE(console.out().starts_with("rs485_unit_test\nconnect failre errno=111" + kWaiting));
  expect_pass();
}

// ---- large descriptors --------------------------------------------------------------------------------

class Rs485DescriptorsTest : public Rs485Run {
 protected:
  Rs485DescriptorsTest() {
    // A simulated port has descriptors of its own from the first opening on, which must not take a number.
    const OpenNode opened_once(board, "/dev/uart1");
  }
  /// Receives five bytes when `first` is the lowest number still free.
  int receive_on_port(int first, GuardedBytes& buffer) {
    const ManyDescriptors others(first);
    const OpenNode port(board, "/dev/uart1");
    EXPECT_EQ(port.fd(), first);
    board->uart(1).receive("waiting!");
    fd_set set;
    FD_ZERO(&set);
    if (port.fd() < FD_SETSIZE) FD_SET(port.fd(), &set);
    const fd_set before = set;
    const int result = recvRS485Data(port.fd(), &set, buffer.data(), 5, 1, 0);
    EXPECT_EQ(std::memcmp(&set, &before, sizeof set), 0);
    EXPECT_TRUE(buffer.front_is_intact());
    return result;
  }
};

TEST_F(Rs485DescriptorsTest, ThePortWithTheLastNumberThatASetHoldsReceives) {
  GuardedBytes buffer(5);
  EXPECT_EQ(receive_on_port(FD_SETSIZE - 1, buffer), 5);
  EXPECT_EQ(buffer.text(), "waiti");
  EXPECT_EQ(console.out(), "");
}

TEST_F(Rs485DescriptorsTest, APortWhoseNumberNoSetCanHoldIsAnErrorAndNothingIsTouched) {
  for (const int number : {FD_SETSIZE, FD_SETSIZE + 1, 2 * FD_SETSIZE}) {
    SCOPED_TRACE(number);
    console.clear();
    GuardedBytes buffer(5);
    EXPECT_EQ(receive_on_port(number, buffer), -1);
    EXPECT_EQ(console.out(), kSelectError);
    EXPECT_EQ(buffer.text(), std::string(5, static_cast<char>(GuardedBytes::kUntouched)));
    EXPECT_EQ(calls("select"), 0U);
    EXPECT_EQ(board.now(), 0s);
  }
}

TEST_F(Rs485DescriptorsTest, ANumberThatNoDescriptorHasIsAnError) {
  for (const int number : {-1, INT_MIN, INT_MAX}) {
    SCOPED_TRACE(number);
    console.clear();
    fd_set set;
    FD_ZERO(&set);
    GuardedBytes buffer(5);
    EXPECT_EQ(recvRS485Data(number, &set, buffer.data(), 5, 1, 0), -1);
    EXPECT_EQ(console.out(), kSelectError);
    EXPECT_EQ(calls("select"), 0U);
  }
}

TEST_F(Rs485DescriptorsTest, NoTestHearsThroughANumberThatNoSetCanHoldAndSendingNeedsNone) {
  const ManyDescriptors others(FD_SETSIZE);
  for (const Variant& variant : kWired) {
    SCOPED_TRACE(variant.name);
    next_board();
    variant.run();
    EXPECT_NE(console.out().find(kSelectError), std::string::npos);
    EXPECT_TRUE(console.out().ends_with("\n" + failed(3)));
    EXPECT_EQ(board->uart(1).sent(), kFrameA);
  }
  next_board();
  arrive(6s, 1, kFrameA);
  rs485_test();
  expect_fail("第一次接收错误");
  EXPECT_TRUE(console.out().ends_with(std::string(kSelectError) + "<t1>第一次接收错误\n" + failed(6)));
  for (void (*const run)() : {rs485_unit_test, rs485_test_63xx, rs485_ptz_test}) {
    next_board();
    run();
    expect_pass();
  }
}

}  // namespace
