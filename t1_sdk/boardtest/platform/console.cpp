#include "t1_sdk/boardtest/platform/console.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "t1_sdk/util/descriptor.h"

using namespace boardtest;

namespace {

constexpr unsigned kTakeConsole = 0x541D;  // TIOCCONS

}  // namespace

int setconsole(const char* devname) {
  const Descriptor device(open(devname, O_RDWR));
  if (device.get() < 1) {  // descriptor 0 counts as not open
    std::printf("open device[%s] failed.\n", devname);
  } else if (ioctl(device.get(), kTakeConsole, nullptr) != 0) {
    std::printf("TIOCCONS[%s]: failed,%s\n", devname, std::strerror(errno));
  }
  return 0;
}
