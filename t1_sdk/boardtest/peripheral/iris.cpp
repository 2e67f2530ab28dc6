// The auto-iris: closed and opened twice. What drives it and how long each state lasts differ by board.
#include "t1_sdk/boardtest/peripheral/iris.h"

#include <sys/ioctl.h>
#include <unistd.h>
#include <cstdio>
#include <cstdlib>

#include "t1_sdk/boardtest/peripheral/motor.h"
#include "t1_sdk/boardtest/platform/app_channel.h"
#include "t1_sdk/boardtest/platform/device_type.h"
#include "t1_sdk/boardtest/platform/node.h"
#include "t1_sdk/boardtest/platform/registers.h"
#include "t1_sdk/boardtest/protocol/report.h"
#include "t1_sdk/util/descriptor.h"

using namespace boardtest;

namespace {

constexpr unsigned kSetIris = 0x40046901;       // _IOW('i', 1, 4); the argument is a value
constexpr unsigned kOpenIris = 0x40046902;      // _IOW('i', 2, 4)
constexpr unsigned kSetIrisSpeed = 0x40046903;  // _IOW('i', 3, 4)

constexpr std::uint32_t kIrisChip = 3;
constexpr unsigned kIrisRegister = 0x2001;  // of the FPGA

constexpr useconds_t kSecond = 1000000;

/// Switches the application's iris control off and gives it time to let go.
void take_iris_from_app(int command) {
  enableAPPCMD(command, 0);
  usleep(50000);
}

/// How one kind of iris is driven.
struct Drive {
  void (*close)(int fd);
  void (*open)(int fd);
  useconds_t closed;     ///< wait after closing
  useconds_t opened[2];  ///< wait after opening, by cycle
};

void move_iris(const Drive& drive, int fd) {
  for (int cycle = 0; cycle < 2; ++cycle) {
    std::printf("第%d次测试开始:关闭光圈...\n", cycle + 1);
    drive.close(fd);
    usleep(drive.closed);
    std::puts("打开光圈...");
    drive.open(fd);
    usleep(drive.opened[cycle]);
  }
}

constexpr useconds_t kOpenLonger = 3 * kSecond + kSecond / 2;
constexpr useconds_t kHalfAgain = kSecond + kSecond / 2;

constexpr Drive kFpga{[](int fd) { set_fpga(fd, kIrisRegister, 0xCFF); },
                      [](int fd) { set_fpga(fd, kIrisRegister, 0xC00); },
                      kHalfAgain,
                      {kOpenLonger, 2 * kSecond}};
constexpr Drive kShell{[](int) { [[maybe_unused]] const int ignored = std::system("closeIRIS"); },
                       [](int) { [[maybe_unused]] const int ignored = std::system("openIRIS"); },
                       kHalfAgain,
                       {kOpenLonger, 2 * kSecond}};
constexpr Drive kMotorChip{[](int fd) { set_AA83477_val(fd, 0xCFF); },
                           [](int fd) { set_AA83477_val(fd, 0xC00); },
                           3 * kSecond,
                           {2 * kSecond, 2 * kSecond}};
constexpr Drive kGpio{[](int fd) { set_GPIO_IRIS_close(fd, 512); },
                      [](int fd) { set_GPIO_IRIS_close(fd, 767); },  // opened with the close request
                      kHalfAgain,
                      {kOpenLonger, 2 * kSecond}};

void run_fpga(TestReport& report) {
  Descriptor fpga(open_node("/dev/fpga"));
  if (fpga.get() < 0) return report.fail(1, "打开/dev/fpga失败");
  take_iris_from_app(kAppSensorUse);
  set_fpga(fpga.get(), kIrisRegister, 0x27F);
  move_iris(kFpga, fpga.get());
  fpga.close();
  enableAPPCMD(kAppSensorUse, 1);
}

void run_shell(TestReport&) {
  take_iris_from_app(kAppShellIrisOff);
  move_iris(kShell, -1);
  enableAPPCMD(kAppShellIrisOn, 1);
}

void run_motor_chip(TestReport& report) {
  Descriptor motor(open_node("/dev/motor"));
  if (motor.get() < 0) return report.fail(1, "打开/dev/qznio失败");  // what stations have always received
  if (AA83477_init(motor.get()) < 0) return report.fail_aloud(2, "AA83477_init失败");
  take_iris_from_app(kAppSensorUse);
  set_AA83477_val(motor.get(), 0x27F);
  move_iris(kMotorChip, motor.get());
  motor.close();
  enableAPPCMD(kAppSensorUse, 1);
}

void run_gpio(TestReport& report) {
  Descriptor iris(open_node("/dev/motor1"));
  if (iris.get() < 0) return report.fail(1);
  if (GPIO_IRIS_init(iris.get()) < 0) return report.fail(2);
  take_iris_from_app(kAppSensorUse);
  move_iris(kGpio, iris.get());
  iris.close();
  enableAPPCMD(kAppSensorUse, 1);
}

void run(const char* banner, void (*variant)(TestReport& report)) {
  std::puts(banner);
  TestReport report(0x2500, "自动光圈测试");
  variant(report);
  if (report.passed()) std::puts("自动光圈测试结束.");
  report.send();
}

int configure(int fd, std::uint32_t entry) {
  motor_confs confs{};
  confs.confs_num = entry;
  confs.conf[entry].config.chip_no = kIrisChip;
  const int result = ioctl(fd, kMotorConfigure, &confs);
  if (result < 0) std::printf("MOTORS_SET_CONFIG, ret=%d\n", result);
  return result;
}

/// Sends a request with a value. Its result; a negative one is printed after `name`.
int request_iris(int fd, unsigned request, unsigned value, const char* name) {
  const int result = ioctl(fd, request, static_cast<unsigned long>(value));
  if (result < 0) std::printf("%s failed, ret=%d\n", name, result);
  return result;
}

}  // namespace

int AA83477_init(int fd) {
  return configure(fd, 3);
}

int GPIO_IRIS_init(int fd) {
  return configure(fd, 1);
}

int set_AA83477_val(int fd, unsigned value) {
  return request_iris(fd, kSetIris, value, "IRIS_OUT");
}

int set_GPIO_IRIS_close(int fd, unsigned value) {
  return request_iris(fd, kSetIris, value, "IRIS_OUT");
}

int set_GPIO_IRIS_open(int fd, unsigned value) {
  return request_iris(fd, kOpenIris, value, "IRIS_OUT");
}

int set_GPIO_IRIS_speed(int fd, unsigned value) {
  return request_iris(fd, kSetIrisSpeed, value, "IRIS_SET_SPEED");
}

void auto_iris_test() {
  run("auto_iris_test_65xx", run_fpga);
}

void auto_iris_test_63xx() {
  run("auto_iris_test_63xx", run_shell);
}

void auto_iris_test_65xx() {
  run("auto_iris_test_65xx", run_motor_chip);
}

void auto_iris_test_68xx() {
  run("auto_iris_test_68xx", run_gpio);
}

void t1_sdk_auto_iris_test() {
  if (is_65xx_devType() == 1) {
    auto_iris_test_65xx();
  } else if (is_63xx_devType() == 1) {
    auto_iris_test_63xx();
  } else if (is_68xx_devType() == 2) {
    auto_iris_test_68xx();
  } else if (is_loop_devType() != 0) {
    auto_iris_test_63xx();
  } else {
    auto_iris_test();
  }
}
