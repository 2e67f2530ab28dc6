#include "t1_sdk/boardtest/platform/registers.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <cstdio>

#include "t1_sdk/util/descriptor.h"

using namespace boardtest;

namespace {

constexpr unsigned kFpgaWrite = 0x40044603;  // _IOW('F', 3, 4)
constexpr unsigned kFpgaRead = 0x80044602;   // _IOR('F', 2, 4)
constexpr unsigned kAfeWrite = 0x40045402;   // _IOW('T', 2, 4) on /dev/tg
constexpr unsigned kStm8Read = 0x80045401;   // _IOR('T', 1, 4) on /dev/tcs
constexpr unsigned kStm8Write = 0x40045402;  // _IOW('T', 2, 4) on /dev/tcs

/// One request on /dev/tcs; `verb` opens the line that is printed when the driver refuses.
int stm8_request(unsigned request, tcs_reg_s& record, const char* verb) {
  Descriptor node(open("/dev/tcs", O_RDWR));
  if (node.get() < 0) {
    std::puts("get stm8 handle error");
    return -1;
  }
  if (ioctl(node.get(), request, &record) < 0) {
    std::printf("%s stm8 reg addr 0x%x err!\n", verb, record.addr);
    node.leave_open("a failed request has always left the node open");
    return -1;
  }
  return 0;
}

}  // namespace

void set_fpga(int fd, unsigned addr, unsigned val) {
  if (fd <= 0) return;
  reg_s record{addr, val};
  ioctl(fd, kFpgaWrite, &record);
}

int get_fpga(int fd, unsigned addr, unsigned* val) {
  if (fd <= 0) return -1;
  reg_s record{addr, 0};
  ioctl(fd, kFpgaRead, &record);
  if (val == nullptr) return -1;
  *val = record.value;
  return 0;
}

void set_afe(int fd, unsigned addr, unsigned val) {
  if (fd <= 0) return;
  reg_s record{addr, val};
  ioctl(fd, kAfeWrite, &record);
}

int stm8_reg_read(unsigned addr, unsigned* value) {
  tcs_reg_s record{addr, 0};
  if (stm8_request(kStm8Read, record, "read") != 0) return -1;
  if (value != nullptr) *value = record.value;
  return 0;
}

int stm8_reg_write(unsigned addr, unsigned value) {
  tcs_reg_s record{addr, value};
  return stm8_request(kStm8Write, record, "write");
}
