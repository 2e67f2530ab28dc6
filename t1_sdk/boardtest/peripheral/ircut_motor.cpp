// IR-cut filters behind the motor driver.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>

#include "t1_sdk/boardtest/peripheral/ircut.h"
#include "t1_sdk/boardtest/peripheral/motor.h"
#include "t1_sdk/boardtest/protocol/report.h"
#include "t1_sdk/util/descriptor.h"

using namespace boardtest;

namespace {

constexpr unsigned kMove = 0x40044901;      // _IOW('I', 1, 4); the argument is a value
constexpr unsigned kMoveBack = 0x40044902;  // _IOW('I', 2, 4)

constexpr int kMoves = 5;
constexpr std::uint32_t kFilterChip = 7;

constexpr char kToHome[] = "到光电开关位置失败";
constexpr char kToFilter[] = "红外截止满屏失败";
constexpr char kBackHome[] = "返回到光电开关位置失败";

struct Move {
  unsigned request;
  int argument;
  const char* failure;
};

struct MotorVariant {
  Move moves[kMoves];
  useconds_t pause;  ///< behind each move, in microseconds
};

// A failed move does not stop the others; the last failure is the one that is reported.
void move_filter(const MotorVariant& variant, TestReport& report) {
  Descriptor motor(open("/dev/motor", O_RDWR));
  if (motor.get() < 0) return report.fail_aloud(1, "打开/dev/motor失败");
  motor_confs confs{};
  confs.conf[0].config.chip_no = kFilterChip;
  confs.conf[0].config.type = GPIO;
  const int configured = ioctl(motor.get(), kMotorConfigure, &confs);
  if (configured < 0) return report.fail_aloud(configured, "设置/dev/motor失败");
  for (int i = 0; i < kMoves; ++i) {
    const Move& move = variant.moves[i];
    const int result = ioctl(motor.get(), move.request, static_cast<long>(move.argument));
    if (result < 0) {
      if (i == kMoves - 1) std::printf(" back to e error, ret=%d, errno:%d\n", result, errno);
      report.fail(result, move.failure);
    } else {
      std::printf("%d\n", i);
    }
    usleep(variant.pause);
  }
  motor.close();
  std::puts("ICR TEST SUCCESS");  // whatever the moves returned
}

constexpr MotorVariant kRkd{{{kMove, 180, kToHome},
                             {kMoveBack, 180, kToFilter},
                             {kMove, 180, kToFilter},
                             {kMoveBack, 180, kToFilter},
                             {kMove, 180, kToFilter}},
                            200000};

}  // namespace

void ircut_test(int travel) {
  const MotorVariant variant{{{kMove, 0, kToHome},
                              {kMove, travel, kToFilter},
                              {kMove, 0, kBackHome},
                              {kMove, travel, kToFilter},
                              {kMove, 0, kBackHome}},
                             10000};
  std::puts("ircut_test_64xx");
  TestReport report(1792, "IR CUT测试");
  move_filter(variant, report);
  report.send();
}

void ircut_test_rkd() {
  std::puts("ircut_test_rkd");
  TestReport report(1792, "IR CUT测试");
  std::puts("ICR 测试开始");
  move_filter(kRkd, report);
  report.send();
}
