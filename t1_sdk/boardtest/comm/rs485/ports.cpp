#include "t1_sdk/boardtest/comm/rs485/ports.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <cstdio>

#include "t1_sdk/boardtest/platform/app_channel.h"
#include "t1_sdk/boardtest/platform/gpio.h"
#include "t1_sdk/boardtest/platform/node.h"
#include "t1_sdk/boardtest/platform/uart.h"

using namespace boardtest;

namespace {

constexpr unsigned kEmptyReceiver = 0x5503;  // _IO('U', 3)

/// Data code 3, stop code 0, no parity, no flow control.
void configure(int fd, int baudrate) {
  uart_config(fd, baudrate, 3, 0, 0, 0);
}

}  // namespace

int boardtest::open_io_for(TestReport& report) {
  const int io = open_io_aloud();
  if (io < 0) report.fail(1, kNoIo);
  return io;
}

void boardtest::stop_detector() {
  enableAPPCMD(kAppStopDetector, 0);
  std::puts("等待车检器检测线程停止...");
  sleep(5);
}

int boardtest::open_first_port(TestReport& report, int baudrate) {
  const int port = open("/dev/uart1", O_RDWR);
  if (port < 0) {
    report.fail_aloud(2, "<t1>打开RS485口错误");
    return -1;
  }
  configure(port, baudrate);
  return port;
}

int clear_485recv_buf(int fd) {
  return ioctl(fd, kEmptyReceiver, nullptr);
}

int rs485Open(const char* rs485) {
  const int fd = open(rs485, O_RDWR);
  if (fd < 0) {
    std::printf("<t1>打开RS485口【%s】错误\n", rs485);
    close(gpiofd);
    gpiofd = -1;
    return -1;
  }
  configure(fd, 38400);
  return fd;
}
