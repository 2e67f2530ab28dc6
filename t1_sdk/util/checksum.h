// The byte sums that close stored records.
#pragma once

/// The sum of `len` bytes, each taken as 0 to 255, in unsigned 32 bits. 0 when `len` is 0 or less.
int checkSum(char* buf, int len);
/// The same sum, after printing "<T1> DBG:check sum 0x%x\n". 0 and no line for a null buffer or a `len`
/// below 1. No test calls it.
int checksum_8u(unsigned char* buf, int len);
