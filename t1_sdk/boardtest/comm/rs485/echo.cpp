// The echo test: the station's frame is sent back, then a fixed frame is expected.
#include <unistd.h>
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "t1_sdk/boardtest/comm/rs485/frames.h"
#include "t1_sdk/boardtest/comm/rs485/ports.h"
#include "t1_sdk/boardtest/comm/rs485/variants.h"
#include "t1_sdk/boardtest/platform/gpio.h"
#include "t1_sdk/boardtest/platform/uart.h"
#include "t1_sdk/util/descriptor.h"

using namespace boardtest;

namespace {

constexpr int kTimeOut = 60;  // seconds for a frame's header to begin, and again for the rest of the frame
constexpr int kWait = 50;     // then kWait / 10 + 1 looks at what has arrived

/// The first 15 bytes, whatever the frame's length.
void print_frame(const char* what, const unsigned char* f) {
  std::printf("%s:%x %x %x %x %x %x %x %x %x %x %x %x %x %x %x\n", what, f[0], f[1], f[2], f[3], f[4], f[5],
              f[6], f[7], f[8], f[9], f[10], f[11], f[12], f[13], f[14]);
}

/// Receives a frame as its header claims it. False when no header came.
bool receive_frame(int fd, unsigned char (&frame)[kFrameBuffer]) {
  std::memset(frame, 0, sizeof frame);
  fd_set set = only(fd);
  if (recvRS485Data(fd, &set, frame, kHeaderSize, kTimeOut, kWait) != kHeaderSize || frame[0] != kStartMark) {
    return false;
  }
  receive_rest(fd, set, frame, kTimeOut, kWait);
  return true;
}

/// A frame shorter than a header is compared as far as it claims to go.
bool is_expected(const unsigned char* frame) {
  const int length = std::min<int>(claimed_length(frame), sizeof kFrameB);
  return std::memcmp(frame, kFrameB, static_cast<std::size_t>(length)) == 0;
}

void fail_with(TestReport& report, int code, const char* printed, const char* replied) {
  std::puts(printed);
  report.fail(code, replied);
}

void echo(int port, TestReport& report) {
  unsigned char frame[kFrameBuffer];
  if (!receive_frame(port, frame)) return fail_with(report, 6, "<t1>第一次接收错误", "第一次接收错误");
  if (!is_sealed(frame)) {
    return fail_with(report, 5, "<t1>第一次接收数据并且校验错误", "第一次接收数据并且校验错误");
  }
  std::puts("<t1>第一次接收数据并且校验正确");
  print_frame("<t1>第一次开始发送数据", frame);
  fd_set set = only(port);
  SendRS485Data(port, &set, frame, claimed_length(frame));

  if (!receive_frame(port, frame))
    return fail_with(report, 4, "<t1>第二次接收数据错误", "第二次接收数据错误");
  if (!is_expected(frame)) {
    fail_with(report, 3, "<t1>第二次接收数据并且校验错误", "第二次接收数据并且校验错误");
  } else {
    std::puts("<t1>第二次接收数据并且校验正确。测试完成");
  }
  print_frame("<t1>第二次接收到的数据", frame);
}

void run(TestReport& report) {
  gpiofd = open_io_for(report);
  if (gpiofd < 0) return;
  stop_detector();
  Descriptor port(open_first_port(report, 38400));
  if (port.get() >= 0) {
    std::puts("车检器检测线程已经停止，请在60秒内输入485测试数据");
    echo(port.get(), report);
    port.close();
  }
  close(gpiofd);
  gpiofd = -1;
}

}  // namespace

void rs485_test() {
  std::puts("rs485_test");
  TestReport report(1024, "RS485测试");
  run(report);
  report.send();
}
