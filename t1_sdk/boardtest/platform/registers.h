// Registers of the FPGA, of the analogue front end and of the stm8 coprocessor.
#pragma once

#include <cstdint>

/// The record of an FPGA or front-end register.
struct reg_s {
  std::uint32_t addr;
  std::uint32_t value;
};
static_assert(sizeof(reg_s) == 8);

/// The record of a coprocessor register.
struct tcs_reg_s {
  std::uint32_t addr;
  std::uint32_t value;
};
static_assert(sizeof(tcs_reg_s) == 8);

/// Writes an FPGA register through the caller's descriptor of /dev/fpga. Nothing happens unless fd > 0;
/// the driver's result is ignored.
void set_fpga(int fd, unsigned addr, unsigned val);
/// Reads an FPGA register into `*val`. 0 whenever fd > 0 and `val` is not null, whatever the driver says;
/// else -1.
int get_fpga(int fd, unsigned addr, unsigned* val);
/// Writes a front-end register through the caller's descriptor of /dev/tg. As set_fpga.
void set_afe(int fd, unsigned addr, unsigned val);

/// Reads a coprocessor register into `*value` (may be null). 0, or -1 after one line of text. The node
/// /dev/tcs is opened for the call; a failing request leaves it open. No test calls it.
int stm8_reg_read(unsigned addr, unsigned* value);
/// Writes a coprocessor register. Result and node as stm8_reg_read.
int stm8_reg_write(unsigned addr, unsigned value);
