#include "t1_sdk/boardtest/comm/rs485/frames.h"

#include <algorithm>

#include "t1_sdk/boardtest/platform/uart.h"

using namespace boardtest;

fd_set boardtest::only(int fd) {
  fd_set set;
  FD_ZERO(&set);
  if (fd >= 0 && fd < FD_SETSIZE) FD_SET(fd, &set);  // ports that stay open let the numbers grow
  return set;
}

void boardtest::receive_rest(int fd, fd_set& set, unsigned char* frame, int time_out, int wait) {
  const int rest = std::min(claimed_length(frame), kFrameBuffer) - kHeaderSize;
  recvRS485Data(fd, &set, frame + kHeaderSize, rest, time_out, wait);
}

bool boardtest::is_sealed(const unsigned char* frame) {
  const int length = claimed_length(frame);
  if (length < kHeaderSize || length > kFrameBuffer) return false;
  unsigned sum = 0;
  for (int i = 0; i < length - 1; ++i) sum += frame[i];
  return (sum & 0xFF) == frame[length - 1];
}
