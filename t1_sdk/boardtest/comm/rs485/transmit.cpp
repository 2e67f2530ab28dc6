// RS485 tests that only send: somebody else watches the line.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <cstdio>
#include <cstring>

#include "t1_sdk/boardtest/comm/rs485/frames.h"
#include "t1_sdk/boardtest/comm/rs485/ports.h"
#include "t1_sdk/boardtest/comm/rs485/rs485.h"
#include "t1_sdk/boardtest/comm/rs485/variants.h"
#include "t1_sdk/boardtest/platform/gpio.h"
#include "t1_sdk/boardtest/platform/node.h"
#include "t1_sdk/boardtest/platform/pins.h"
#include "t1_sdk/boardtest/platform/uart.h"
#include "t1_sdk/util/descriptor.h"
#include "t1_sdk/util/rs485_direction.h"
#include "t1_sdk/util/tty.h"

using namespace boardtest;

namespace {

constexpr unsigned kEnableTransmitter = 0x104;
constexpr unsigned kTransmitterPin = 32;
constexpr int kSpeed9600 = 13;  // its termios code

/// Pan left, then stop: two pan-and-tilt commands, sent as one.
constexpr unsigned char kPtzCommand[] = {0xA0, 0x00, 0x00, 0x04, 0x1B, 0x00, 0xAF, 0x10,
                                         0xA0, 0x00, 0x00, 0x00, 0x0F, 0x00, 0xAF, 0x00};
constexpr int kCommands = 5;

/// Whether all of the command went out; the count that did is left in `sent`.
bool send_ptz(int port, int& sent) {
  sent = static_cast<int>(write(port, kPtzCommand, sizeof kPtzCommand));
  return sent == static_cast<int>(sizeof kPtzCommand);
}

// With errors, the description goes on saying that the test succeeded.
void judge(int errors, const char* finished, const char* all_passed, TestReport& report) {
  std::puts(finished);
  std::printf("测试总计:错误次数%d\n", errors);
  if (errors == 0) {
    std::puts(all_passed);
  } else {
    report.fail(3);
  }
}

void send_frames(int /*io*/, int port, TestReport&) {
  for (int i = 0; i < 4; ++i) {
    unsigned char frame[sizeof kFrameA];
    std::memcpy(frame, kFrameA, sizeof frame);
    SendRS485Data(port, nullptr, frame, sizeof frame);
    sleep(1);
  }
}

void send_commands(int io, int port, TestReport& report) {
  gpio_ctrl transmitter{kTransmitterPin, 1};
  ioctl(io, kEnableTransmitter, &transmitter);
  std::puts("RS485测试开始");
  int errors = 0;
  for (int i = 0; i < kCommands; ++i) {
    int sent = 0;
    if (send_ptz(port, sent)) {
      std::puts("RS485发送成功");
      sleep(2);
    } else {
      std::printf("RS485发送失败, ret = %d\n", sent);
      ++errors;
    }
  }
  judge(errors, "RS485测试完毕", "RS485测试全部成功", report);
}

/// Opens both nodes, with a failure in the report, and lets `send` do its part.
void run_on_first_port(TestReport& report, int baudrate, void (*send)(int io, int port, TestReport& report)) {
  const Descriptor io(open_io_for(report));
  if (io.get() < 0) return;
  stop_detector();
  const Descriptor port(open_first_port(report, baudrate));
  if (port.get() < 0) return;
  std::puts("车检器检测线程已经停止");
  send(io.get(), port.get(), report);
}

void run_unit(TestReport& report) {
  run_on_first_port(report, 38400, send_frames);
}

void run_63xx(TestReport& report) {
  run_on_first_port(report, 9600, send_commands);
}

void run_ptz(TestReport& report) {
  Descriptor tty(open("/dev/ttyS1", O_RDWR));
  if (tty.get() < 0) return report.fail_aloud(1, "RS485设备不存在");
  std::puts("485设备打开成功.");
  if (tty_speed_set(tty.get(), kSpeed9600) != 0)
    std::fputs("<T1> ERR:rs485_test:tty_speed_set error\n", stdout);
  if (tty_parity_set(tty.get(), 8, 1, 'n') != 0)
    std::fputs("<T1> ERR:rs485_test:tty_parity_set error\n", stdout);
  const Descriptor io(open_io());
  if (io.get() < 0) {
    std::printf("<T1> ERR:open %s failure!, info :%s\n", kIoNode, std::strerror(io.get()));
    tty.leave_open("nobody closes it when /dev/qznio is missing");
    return report.fail(2, "open /dev/qznio failure");
  }
  rs485_ctl(io.get(), g_gpio_sets.RS485_tx_en, 1);
  std::puts("==============485测试开始==============");
  int errors = 0;
  for (int i = 0; i < kCommands; ++i) {
    int sent = 0;
    if (send_ptz(tty.get(), sent)) {
      std::puts("RS485发送成功....");
      sleep(2);
    } else {
      std::puts("RS485发送失败...");
      ++errors;
    }
  }
  judge(errors, "==============485测试完毕==============", "!!!485测试全部成功!!!", report);
}

void run(const char* name, void (*variant)(TestReport& report)) {
  if (name != nullptr) std::puts(name);
  TestReport report(1024, "RS485测试");
  variant(report);
  report.send();
}

}  // namespace

void rs485_unit_test() {
  run("rs485_unit_test", run_unit);
}

void rs485_test_63xx() {
  run("rs485_test_63xx", run_63xx);
}

void rs485_ptz_test() {
  run(nullptr, run_ptz);
}
