// Whole runs of healthy RS485 ports: every call on the hardware with its time, every line, the reply's bytes.
#include <gtest/gtest.h>
#include <string>

#include "t1_sdk/boardtest/comm/rs485/variants.h"
#include "tests/comm/rs485_ring.h"
#include "tests/harness/gbk.h"
#include "tests/peripheral/hardware_script.h"

namespace {

using namespace rs485;

/// The script of an RS485 test up to the opening of its ports.
HardwareScript opened_io() {
  HardwareScript script;
  script.open("/dev/qznio");
  script.wait(5020ms);  // the application's answer and the pause
  return script;
}

void open_port(HardwareScript& script, unsigned number, const char* baud = "38400") {
  script.open(port(number));
  script.call("ioctl " + port(number) + " 0x40045501 {" + baud + ", 3, 0, 0, 0} = 0");
}

void receive(HardwareScript& script, unsigned number, std::size_t size) {
  const std::string bytes = std::to_string(size);
  script.call("ioctl " + port(number) + " 0x80045502 {} = 0");
  script.call("read " + port(number) + " " + bytes + " = " + bytes);
}

void send(HardwareScript& script, unsigned number, std::size_t size) {
  const std::string bytes = std::to_string(size);
  script.call("write " + port(number) + " " + bytes + " = " + bytes);
}

/// Replies in hexadecimal digits, made like those of golden.h: a pass, and a failure of the pair 2 to 1.
constexpr char kPassed[] =
    "3c3f786d6c2076657273696f6e3d22312e302220656e636f64696e673d2247424b223f3e0d0a3c546573744974656d3e"
    "0d0a3c54657374436f64653e313032343c2f54657374436f64653e0d0a3c546573744e616d653e5253343835b2e2cad4"
    "3c2f546573744e616d653e0d0a3c526573756c743e0d0a3c526573756c744974656d3e0d0a3c4e616d653eb2e2cad4bd"
    "e1b9fb3c2f4e616d653e0d0a3c56616c75653e506173733c2f56616c75653e0d0a3c4465736372697074696f6e3eb2e2"
    "cad4b3c9b9a63c2f4465736372697074696f6e3e0d0a3c2f526573756c744974656d3e0d0a3c2f526573756c743e0d0a"
    "3c2f546573744974656d3e0d0a";
constexpr char kFailed[] =
    "3c3f786d6c2076657273696f6e3d22312e302220656e636f64696e673d2247424b223f3e0d0a3c546573744974656d3e"
    "0d0a3c54657374436f64653e313032343c2f54657374436f64653e0d0a3c546573744e616d653e5253343835b2e2cad4"
    "3c2f546573744e616d653e0d0a3c526573756c743e0d0a3c526573756c744974656d3e0d0a3c4e616d653eb2e2cad4bd"
    "e1b9fb3c2f4e616d653e0d0a3c56616c75653e4661696c3c2f56616c75653e0d0a3c4465736372697074696f6e3e266c"
    "743b74312667743b4552524f522052533438355f322f52533438355f31b2e2cad4b2bbcda8b9fda1a33c2f4465736372"
    "697074696f6e3e0d0a3c2f526573756c744974656d3e0d0a3c2f526573756c743e0d0a3c2f546573744974656d3e0d0a";

class Rs485TraceTest : public RingRun {};

class Rs485RingTraceTest : public RingRun, public ::testing::WithParamInterface<Ring> {};

INSTANTIATE_TEST_SUITE_P(By, Rs485RingTraceTest, ::testing::ValuesIn(rings()),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(Rs485RingTraceTest, AHealthyRunFromTheFirstCallToTheLast) {
  const Ring& ring = GetParam();
  HardwareScript script = opened_io();
  for (unsigned number = 1; number <= ring.ports; ++number) open_port(script, number);
  for (std::size_t step = 0; step < steps_of(ring); ++step) {
    const Pair& pair = ring.pairs[step % ring.pairs.size()];
    const std::size_t size = frame(static_cast<int>(step / ring.pairs.size())).size();
    if (ring.tells_success) script.call("ioctl " + port(pair.to) + " 0x00005503 {} = 0");
    send(script, pair.from, size);
    script.wait(step == 0 ? 980ms : 10ms);
    receive(script, pair.to, 4);
    receive(script, pair.to, size - 4);
  }
  for (unsigned number = 1; number <= ring.ports; ++number) script.close(port(number));
  script.close("/dev/qznio");

  wire(ring, steps_of(ring));
  ring.run();
  EXPECT_EQ(board.timed_hardware_trace(), script.lines());
  EXPECT_EQ(console.out(),
            beginning(ring) + opened(ring) + exchanges_before(ring, steps_of(ring)) + ending(ring));
  EXPECT_EQ(hex(station.reply().raw), kPassed);
}

TEST_F(Rs485TraceTest, AnEchoFromTheFirstCallToTheLast) {
  HardwareScript script = opened_io();
  open_port(script, 1);
  script.wait(980ms);
  receive(script, 1, 4);
  receive(script, 1, 11);
  send(script, 1, 15);
  script.wait(100ms);
  receive(script, 1, 4);
  receive(script, 1, 3);
  script.close(port(1)).close("/dev/qznio");

  arrive(6s, 1, kFrameA);
  arrive(6100ms, 1, kFrameB);
  rs485_test();
  EXPECT_EQ(board.timed_hardware_trace(), script.lines());
  EXPECT_EQ(console.lines(),
            (Lines{"rs485_test", "MAtest:CMD:20135181, maHeart:0, maStartOK:0x0", "等待车检器检测线程停止...",
                   "车检器检测线程已经停止，请在60秒内输入485测试数据", "<t1>第一次接收数据并且校验正确",
                   "<t1>第一次开始发送数据:d0 1 6 f 11 62 80 32 34 12 78 56 9a bc 75",
                   "<t1>第二次接收数据并且校验正确。测试完成",
                   "<t1>第二次接收到的数据:d0 1 2 7 5a a5 d9 0 0 0 0 0 0 0 0"}));
  EXPECT_EQ(hex(station.reply().raw), kPassed);
}

TEST_F(Rs485TraceTest, FourFramesFromTheFirstCallToTheLast) {
  HardwareScript script = opened_io();
  open_port(script, 1);
  for (int i = 0; i < 4; ++i) {
    send(script, 1, 15);
    script.wait(1s);
  }
  script.close(port(1)).close("/dev/qznio");

  rs485_unit_test();
  EXPECT_EQ(board.timed_hardware_trace(), script.lines());
  EXPECT_EQ(hex(station.reply().raw), kPassed);
}

TEST_F(Rs485TraceTest, FiveCommandsFromTheFirstCallToTheLast) {
  HardwareScript script = opened_io();
  open_port(script, 1, "9600");
  script.call("ioctl /dev/qznio 0x00000104 {32, 1} = 0");
  for (int i = 0; i < 5; ++i) {
    send(script, 1, 16);
    script.wait(2s);
  }
  script.close(port(1)).close("/dev/qznio");

  rs485_test_63xx();
  EXPECT_EQ(board.timed_hardware_trace(), script.lines());
  EXPECT_EQ(hex(station.reply().raw), kPassed);
}

TEST_F(Rs485TraceTest, OnAFixtureOfFivePortsTheFramesTakeTheTimeOfTheirBytes) {
  next_board("k");
  board->rs485.set_fixture("ring5");
  rs485_test_Ex();
  expect_pass();
  // 5 frames of 15 bytes and 5 of 7, 10 bits a byte.
  const auto bytes = std::chrono::microseconds(5LL * (15 + 7) * 10 * 1'000'000 / 38400);
  EXPECT_GE(board.now() - 5020ms, bytes - 100us);
  EXPECT_LT(board.now() - 5020ms, bytes + 1ms);
}

TEST_F(Rs485TraceTest, AFailureFromTheFirstCallToTheLast) {
  HardwareScript script = opened_io();
  open_port(script, 1);
  open_port(script, 2);
  script.call("ioctl /dev/uart2 0x00005503 {} = 0");
  send(script, 1, 15);
  script.wait(980ms);
  receive(script, 2, 4);
  receive(script, 2, 11);
  script.call("ioctl /dev/uart1 0x00005503 {} = 0");
  send(script, 2, 15);
  script.wait(3s);
  script.close(port(1)).close(port(2)).close("/dev/qznio");

  arrive(6s, 2, kFrameA);
  rs485_test_rkd537();
  EXPECT_EQ(board.timed_hardware_trace(), script.lines());
  EXPECT_EQ(console.lines(),
            (Lines{"rs485_test_rkd537", "MAtest:CMD:20135181, maHeart:0, maStartOK:0x0",
                   "等待车检器检测线程停止...", "打开2个485口成功。", "车检器检测线程已经停止，开始测试.",
                   "RS485第一组测试数据[d0 01 06 0f 11 62 80 32 34 12 78 56 9a bc 75]测试开始.",
                   "</dev/uart1>开始发送数据:d0 01 06 0f 11 62 80 32 34 12 78 56 9a bc 75",
                   "</dev/uart1>发送完毕", "</dev/uart2>开始接收数据",
                   "</dev/uart2>完成接收数据:d0 01 06 0f 11 62 80 32 34 12 78 56 9a bc 75",
                   "</dev/uart2>接收的数据校验正确!!!",
                   "</dev/uart2>开始发送数据:d0 01 06 0f 11 62 80 32 34 12 78 56 9a bc 75",
                   "</dev/uart2>发送完毕", "</dev/uart1>开始接收数据", "</dev/uart1>接收数据错误.",
                   "<t1>ERROR RS485_2/RS485_1测试不通过。", "fail num = 4"}));
  EXPECT_EQ(hex(station.reply().raw), kFailed);
}

}  // namespace
