// What commands of the substrate voltage ask of the hardware, written down call by call.
#pragma once

#include <cstdint>
#include <string>

#include "tests/peripheral/hardware_script.h"

class VsubScript : public HardwareScript {
 public:
  /// Applies a code on a board that is no 65xx.
  void apply(std::uint32_t code) {
    query();
    open("/dev/fpga");
    fpga(0x2001, code);
    fpga(0x2102, 1);
    close("/dev/fpga");
  }
  /// Saves something in block 21 of the flash: the block is read, erased and written whole.
  void flash_save() {
    query();
    open("/dev/mtd4");
    call("lseek /dev/mtd4 1376256 = 1376256");
    call("read /dev/mtd4 65536 = 65536");
    call("ioctl /dev/mtd4 0x40084d02 {0x00150000, 0x00010000} = 0");
    call("lseek /dev/mtd4 1376256 = 1376256");
    call("write /dev/mtd4 65536 = 65536");
    close("/dev/mtd4");
  }
  /// Saves so many bytes at the voltage record of an MA board's eMMC.
  void emmc_save(int size) {
    query();
    on_emmc("write", size);
  }
  /// Reads so many bytes of the voltage record on the eMMC.
  void emmc_read(int size) { on_emmc("read", size); }
  /// Writes a front-end register.
  void afe(std::uint32_t address, std::uint32_t value) {
    call("ioctl /dev/tg 0x40045402 {" + word(address) + ", " + word(value) + "} = 0");
  }
  /// Reads the brightness.
  void luma() { call("ioctl /dev/fpga 0x80044602 {176, 0} = 0"); }

 private:
  void on_emmc(const std::string& what, int size) {
    const std::string count = std::to_string(size);
    open("/dev/mmcblk0p7");
    call("lseek /dev/mmcblk0p7 196608 = 196608");
    call(what + " /dev/mmcblk0p7 " + count + " = " + count);
    close("/dev/mmcblk0p7");
  }
};
