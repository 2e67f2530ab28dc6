#include "t1_sdk/boardtest/comm/restart.h"

#include <sys/reboot.h>
#include <unistd.h>
#include <cstdio>

#include "t1_sdk/boardtest/protocol/report.h"

using namespace boardtest;

namespace {

constexpr int kRestart = 0x1234567;  // the Linux restart command
constexpr useconds_t kPause = 500000;

}  // namespace

void t1_sdk_centaurus_test() {
  std::puts("t1_sdk_centaurus_test");
  TestReport report(-15, "测试应用程序");
  report.send();
  centaurus_test();
}

void centaurus_test() {
  usleep(kPause);
  std::puts("测试应用程序,正在重新启动......");
  std::fflush(stdout);
  usleep(kPause);
  reboot(kRestart);
}
