#include "t1_sdk/boardtest/peripheral/alarm/frame.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <cstdio>

#include "t1_sdk/boardtest/platform/gpio.h"
#include "t1_sdk/boardtest/platform/node.h"
#include "t1_sdk/boardtest/platform/registers.h"

using namespace boardtest;

namespace {

constexpr unsigned kTestControl = 0x888B;  // on /dev/qznitc: an int, 1 while the outputs reach the inputs

constexpr int kPortsFailed = 10;

struct Nodes {
  int io = -1;
  int control = -1;
  int device = -1;
  int never_opened = -1;  ///< what some variants close in the place of `device`
};

/// Opens the nodes of a run. Those that were opened before a failing one stay open, gpiofd among them.
void open_nodes(const AlarmVariant& variant, Nodes& nodes, TestReport& report) {
  gpiofd = nodes.io = open_io_aloud();
  if (nodes.io < 0) return report.fail(variant.io_code, kNoIo);
  nodes.control = open("/dev/qznitc", O_RDWR);
  if (nodes.control < 0) {
    std::perror("Open /dev/qznitc");
    return report.fail_aloud(variant.control_code, "打开/dev/qznitc失败");
  }
  nodes.device = open(variant.device, O_RDWR);
  if (nodes.device < 0) {
    std::printf("Open %s error.", variant.device);
    char line[64];
    std::snprintf(line, sizeof line, "打开%s失败", variant.device);
    if (variant.device_line) std::puts(line);
    return report.fail(variant.device_code, variant.device_reply != nullptr ? variant.device_reply : line);
  }
}

void close_nodes(const AlarmVariant& variant, const Nodes& nodes) {
  close(nodes.io);
  gpiofd = -1;
  close(nodes.control);
  close(variant.leaves_device_open ? nodes.never_opened : nodes.device);
}

void switch_test_control(int node, int on) {
  ioctl(node, kTestControl, &on);
}

/// Runs the cycles and returns what they count up to.
int run_cycles(const AlarmVariant& variant, AlarmRun& run) {
  int errors = 0;  // of this cycle, or of all so far
  int counted = 0;
  for (int cycle = 1; cycle <= variant.cycles; ++cycle) {
    if (variant.counting != Counting::failed_cycles_kept) errors = 0;
    std::printf("\n第%d次测试\n", cycle);
    errors += variant.cycle(run);
    if (variant.counting == Counting::step_errors) {
      counted += errors;
    } else if (errors != 0) {
      ++counted;
    }
    if (variant.pause != 0) usleep(variant.pause);
  }
  return counted;
}

void run_with_nodes(const AlarmVariant& variant, int mode, const Nodes& nodes, TestReport& report) {
  AlarmRun run{.mode = mode, .io = nodes.io, .device = nodes.device};
  if (variant.prepare != nullptr) variant.prepare(run);
  switch_test_control(nodes.control, 1);
  const int counted = run_cycles(variant, run);
  if (variant.finish != nullptr) variant.finish(run);
  usleep(500000);
  switch_test_control(nodes.control, 0);
  close_nodes(variant, nodes);
  std::puts("");
  std::fprintf(stderr, "报警I/O口完成%d次测试,错误次数%d\n\n", variant.cycles, counted);
  if (counted != 0) report.fail(kPortsFailed, variant.failure != nullptr ? variant.failure : run.port_text);
}

}  // namespace

void boardtest::run_alarm_variant(const AlarmVariant& variant, int mode, int code) {
  std::puts(variant.banner);
  XmlDocument reply;
  TestReport report(code, "测试应用程序", kTestSucceeded, reply);
  if (variant.last_mode != AlarmVariant::kAnyMode && (mode < 0 || mode > variant.last_mode)) {
    std::puts("扩展板模式出错");
    if (variant.wrong_mode_line != nullptr) std::puts(variant.wrong_mode_line);
    if (variant.wrong_mode == WrongMode::no_reply) return;
    report.fail(1, "扩展板模式出错");
  } else {
    Nodes nodes;
    open_nodes(variant, nodes, report);
    if (report.passed()) run_with_nodes(variant, mode, nodes, report);
  }
  report.send();
}

void boardtest::set_up_alarm_fpga(int fpga) {
  set_fpga(fpga, 0x2006, 1);
  set_fpga(fpga, 0x2009, 1);
  set_fpga(fpga, 0x2014, 1);
  set_fpga(fpga, 0x2008, 0);
}
