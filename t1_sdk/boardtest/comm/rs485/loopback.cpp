// RS485 ports that are wired to each other, in a ring or to themselves.
#include <unistd.h>
#include <cstdio>
#include <cstring>

#include "t1_sdk/boardtest/comm/rs485/exchange.h"
#include "t1_sdk/boardtest/comm/rs485/frames.h"
#include "t1_sdk/boardtest/comm/rs485/ports.h"
#include "t1_sdk/boardtest/comm/rs485/variants.h"
#include "t1_sdk/boardtest/platform/gpio.h"

using namespace boardtest;

namespace {

constexpr int kMostPorts = 5;
constexpr const char* kPorts[kMostPorts] = {"/dev/uart1", "/dev/uart2", "/dev/uart3", "/dev/uart4",
                                            "/dev/uart5"};

/// One pair, from a port to the next one of the ring, and what its failure says.
struct Pair {
  const char* printed;
  const char* replied[2];  ///< by group
  int codes[2];            ///< by group
};

struct LoopbackVariant {
  const char* banner;
  int ports;
  Pair pairs[kMostPorts];
  decltype(rs485_process)* process;
  const char* opened;
  const char* completed;
  const char* open_errors[2];  ///< printed; the second may be missing
  const char* open_error_replied;
};

/// A failure that both groups tell alike, each with its own code.
constexpr Pair both_groups(const char* printed, const char* replied, int first, int second) {
  return {printed, {replied, replied}, {first, second}};
}

/// A failure that is printed as it is replied.
constexpr Pair both_groups(const char* text, int first, int second) {
  return both_groups(text, text, first, second);
}

// Texts that name another port than the one that failed are what stations have always read.
// clang-format off
constexpr LoopbackVariant kFivePorts{
    "rs485_test_Ex", 5,
    {both_groups("<t1>ERROR RS485_1/RS485_2测试不通过。", "<t1>ERROR RS485_1/RS485_2测试不通过.", 3, 8),
     both_groups("<t1>ERROR RS485_2/RS485_3测试不通过。", "<t1>ERROR RS485_2/RS485_3测试不通过.", 4, 9),
     both_groups("<t1>ERROR RS485_3/RS485_4测试不通过。", "<t1>ERROR RS485_3/RS485_4测试不通过.", 5, 10),
     both_groups("<t1>ERROR RS485_4/RS485_5测试不通过。", "<t1>ERROR RS485_4/RS485_5测试不通过.", 6, 11),
     both_groups("<t1>ERROR RS485_1/RS485_5测试不通过。", "<t1>ERROR RS485_1/RS485_5测试不通过.", 7, 12)},
    rs485_process, "打开五个485口成功。",
    "<t1>RS485测试完成，RS485_1、RS485_2、RS485_3、RS485_4、RS485_5、测试均通过.\n",
    {"<t1>打开RS485口错误."}, "<t1>打开RS485口错误."};

constexpr LoopbackVariant kThreePorts{
    "rs485_test_u", 3,
    {both_groups("<t1>ERROR RS485_1/RS485_2测试不通过。", 3, 6),
     both_groups("<t1>ERROR RS485_2/RS485_3测试不通过。", 4, 7),
     both_groups("<t1>ERROR RS485_3/RS485_5测试不通过。", 5, 8)},
    rs485_process, "打开3个485口成功。",
    "<t1>RS485测试完成，RS485_1、RS485_2、RS485_3测试均通过.\n",
    {"<t1>打开RS485口错误.", "<t1>打开RS485口错误"}, "<t1>打开RS485口错误"};

constexpr LoopbackVariant kTwoPorts{
    "rs485_test_rkd537", 2,
    {both_groups("<t1>ERROR RS485_1/RS485_2测试不通过。", 3, 6),
     both_groups("<t1>ERROR RS485_2/RS485_1测试不通过。", 4, 7)},
    rs485_process, "打开2个485口成功。",
    "<t1>RS485测试完成，RS485_1、RS485_2测试均通过.\n",
    {"<t1>打开RS485口错误.", "<t1>打开RS485口错误"}, "<t1>打开RS485口错误"};

constexpr LoopbackVariant kOnePort{
    "rs485_test_rkd037", 1,
    {{"<t1>ERROR RS485_1 第一组测试不通过。",
      {"<t1>ERROR RS485_1 第一组测试不通过测试不通过。", "<t1>ERROR RS485_1 第一组测试不通过"}, {3, 4}}},
    rs485_process_rkd037, "打开485口成功。",
    "<t1>RS485测试完成.\n",
    {"<t1>打开RS485口错误."}, "<t1>打开RS485_1 口错误"};
// clang-format on

/// One a pair. A buffer keeps in the second group what it received in the first.
using ReceiveBuffers = unsigned char[kMostPorts][kFrameBuffer];

/// Sends the frame over every pair up to the first failure, which it reports.
void run_group(const LoopbackVariant& variant, const int (&fds)[kMostPorts], ReceiveBuffers& received,
               int group, const unsigned char* frame, int length, TestReport& report) {
  for (int i = 0; i < variant.ports; ++i) {
    const int next = (i + 1) % variant.ports;
    unsigned char sent[kFrameBuffer] = {};
    std::memcpy(sent, frame, static_cast<std::size_t>(length));
    if (variant.process(length, kPorts[i], kPorts[next], received[i], sent, fds[i], only(fds[i]), fds[next],
                        only(fds[next])) < 0) {
      std::puts(variant.pairs[i].printed);
      return report.fail(variant.pairs[i].codes[group], variant.pairs[i].replied[group]);
    }
  }
}

void run_groups(const LoopbackVariant& variant, const int (&fds)[kMostPorts], TestReport& report) {
  ReceiveBuffers received = {};
  std::puts("RS485第一组测试数据[d0 01 06 0f 11 62 80 32 34 12 78 56 9a bc 75]测试开始.");
  run_group(variant, fds, received, 0, kFrameA, sizeof kFrameA, report);
  if (!report.passed()) return;
  std::puts("RS485第一组测试数据测试结束.");
  std::puts("*****************************************************");
  std::puts("RS485第二组测试数据[d0 01 02 07 5a a5 d9]测试开始.");
  run_group(variant, fds, received, 1, kFrameB, sizeof kFrameB, report);
  if (!report.passed()) return;
  std::fputs("RS485第二组测试数据测试结束.\n", stdout);
  std::fputs(variant.completed, stdout);
}

void close_io() {
  close(gpiofd);
  gpiofd = -1;
}

void run_on_ports(const LoopbackVariant& variant, TestReport& report) {
  gpiofd = open_io_for(report);
  if (gpiofd < 0) return;
  stop_detector();
  int fds[kMostPorts] = {};
  bool all_open = true;
  for (int i = 0; i < variant.ports; ++i) {
    fds[i] = rs485Open(kPorts[i]);
    all_open = all_open && fds[i] >= 0;
  }
  if (!all_open) {  // the ports that did open stay open
    for (const char* text : variant.open_errors) {
      if (text != nullptr) std::puts(text);
    }
    report.fail(2, variant.open_error_replied);
    return close_io();
  }
  std::puts(variant.opened);
  std::puts("车检器检测线程已经停止，开始测试.");
  run_groups(variant, fds, report);
  for (int i = 0; i < variant.ports; ++i) close(fds[i]);
  close_io();
}

void run(const LoopbackVariant& variant) {
  std::puts(variant.banner);
  TestReport report(1024, "RS485测试");
  run_on_ports(variant, report);
  report.send();
}

}  // namespace

void rs485_test_Ex() {
  run(kFivePorts);
}

void rs485_test_u() {
  run(kThreePorts);
}

void rs485_test_rkd537() {
  run(kTwoPorts);
}

void rs485_test_rkd037() {
  run(kOnePort);
}
