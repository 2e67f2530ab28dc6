#include "t1_sdk/boardtest/sensor/vsub/output.h"

#include <sys/ioctl.h>
#include <cstdio>

#include "t1_sdk/boardtest/platform/device_type.h"
#include "t1_sdk/boardtest/platform/node.h"
#include "t1_sdk/boardtest/platform/registers.h"
#include "t1_sdk/util/descriptor.h"

using namespace boardtest;

namespace {

constexpr unsigned kSetVsub = 0x40044D0E;  // _IOW('M', 0x0E, 4)

constexpr unsigned kCodeRegister = 0x2001;
constexpr unsigned kLoadStrobe = 0x2102;

}  // namespace

void setVsubToFpga(int vsub) {
  if (is_65xx_devType() == 1) {
    const Descriptor node(open_node(kIoNode));
    if (node.get() < 0) return;
    const int result = ioctl(node.get(), kSetVsub, &vsub);
    if (result < 0) {
      std::printf("vsub_val set error! ret = %d\n", result);
    } else {
      std::printf("set vsub = 0x%x\n", static_cast<unsigned>(vsub));
    }
    return;
  }
  const Descriptor fpga(open_node("/dev/fpga"));
  if (fpga.get() < 0) return;
  set_fpga(fpga.get(), kCodeRegister, static_cast<unsigned>(vsub));
  set_fpga(fpga.get(), kLoadStrobe, 1);
}
