#include "t1_sdk/util/checksum.h"

#include <cstdint>
#include <cstdio>

namespace {

int sum_of(const unsigned char* bytes, int len) {
  std::uint32_t sum = 0;
  for (int i = 0; i < len; ++i) sum += bytes[i];
  return static_cast<int>(sum);
}

}  // namespace

int checkSum(char* buf, int len) {
  return sum_of(reinterpret_cast<const unsigned char*>(buf), len);
}

int checksum_8u(unsigned char* buf, int len) {
  if (buf == nullptr || len < 1) return 0;
  const int sum = sum_of(buf, len);
  std::printf("<T1> DBG:check sum 0x%x\n", static_cast<unsigned>(sum));
  return sum;
}
