#include "t1_sdk/boardtest/sensor/sampling.h"

#include <cstdio>

#include "t1_sdk/boardtest/platform/node.h"
#include "t1_sdk/boardtest/platform/registers.h"
#include "t1_sdk/boardtest/platform/test_status.h"
#include "t1_sdk/util/console_line.h"
#include "t1_sdk/util/descriptor.h"

using namespace boardtest;

namespace {

constexpr unsigned kWindowRegister = 0x1041;

/// The first character of the line that the operator types.
char ask() {
  std::puts("\n请配置采样窗口边界: ");
  std::puts("\n [1] :采样窗口左边界: ");
  std::puts("\n [2] :采样窗口右边界: ");
  std::puts("\n [q] :回到主选择菜单: ");
  std::puts("\n 请输入选择项: ");
  char choice[5];  // 4 characters
  readline(choice, sizeof choice);
  std::puts("");
  return choice[0];
}

}  // namespace

void sampling_test() {
  const Descriptor fpga(open_node("/dev/fpga"));
  if (fpga.get() < 0) return;
  for (;;) {
    const char choice = ask();
    if (choice == 'q') break;
    if (choice != '1' && choice != '2') continue;
    set_fpga(fpga.get(), kWindowRegister, choice == '1' ? 0x231 : 0x251);
    test_status = ST_TEST_SAMPLING;
  }
  test_status = ST_MAIN_MENU;
}
