#include "t1_sdk/boardtest/comm/rs485/exchange.h"

#include <cstdio>
#include <cstring>

#include "t1_sdk/boardtest/comm/rs485/frames.h"
#include "t1_sdk/boardtest/comm/rs485/ports.h"
#include "t1_sdk/boardtest/platform/uart.h"

using namespace boardtest;

namespace {

constexpr int kShortFrame = sizeof kFrameB;
constexpr int kTimeOut = 3;  // seconds for a frame's header to begin, and again for the rest of the frame

/// What sets the exchange of a port wired to itself apart.
struct Style {
  bool empties_receiver;
  std::size_t cleared;  ///< bytes of the receive buffer
  int wait;             ///< then wait / 10 + 1 looks at what has arrived
  bool prints_success;
};

/// 7 or 15 bytes in hexadecimal, as the frame is long.
void print_frame(const char* port, const char* what, const unsigned char* f, int length) {
  if (length == kShortFrame) {
    std::printf("<%s>%s:%02x %02x %02x %02x %02x %02x %02x\n", port, what, f[0], f[1], f[2], f[3], f[4], f[5],
                f[6]);
  } else {
    std::printf("<%s>%s:%02x %02x %02x %02x %02x %02x %02x %02x %02x %02x %02x %02x %02x %02x %02x\n", port,
                what, f[0], f[1], f[2], f[3], f[4], f[5], f[6], f[7], f[8], f[9], f[10], f[11], f[12], f[13],
                f[14]);
  }
}

int exchange(const Style& style, int length, const char* from, const char* to, unsigned char* received,
             unsigned char* sent, int from_fd, fd_set& from_set, int to_fd, fd_set& to_set) {
  print_frame(from, "开始发送数据", sent, length);
  if (style.empties_receiver) clear_485recv_buf(to_fd);
  SendRS485Data(from_fd, &from_set, sent, length);
  std::printf("<%s>发送完毕\n", from);
  std::printf("<%s>开始接收数据\n", to);
  std::memset(received, 0, style.cleared);
  const int header = recvRS485Data(to_fd, &to_set, received, kHeaderSize, kTimeOut, style.wait);
  if (header != kHeaderSize || received[0] != kStartMark) {
    std::printf("<%s>接收数据错误.\n", to);
    return -1;
  }
  receive_rest(to_fd, to_set, received, kTimeOut, style.wait);
  print_frame(to, "完成接收数据", received, claimed_length(received));
  if (!is_sealed(received)) {
    std::printf("<%s>接收的数据校验失败!!!\n", to);
    return -1;
  }
  if (style.prints_success) std::printf("<%s>接收的数据校验正确!!!\n", to);
  return 0;
}

}  // namespace

int rs485_process(int length, const char* rs485, const char* rs485_next, unsigned char* cRcv,
                  unsigned char* cSnd, int nFD, fd_set rdfds, int nFD_next, fd_set rdfds_next) {
  static constexpr Style kStyle{true, kHeaderSize, 50, true};
  return exchange(kStyle, length, rs485, rs485_next, cRcv, cSnd, nFD, rdfds, nFD_next, rdfds_next);
}

int rs485_process_rkd037(int length, const char* rs485, const char* rs485_next, unsigned char* cRcv,
                         unsigned char* cSnd, int nFD, fd_set rdfds, int nFD_next, fd_set rdfds_next) {
  static constexpr Style kStyle{false, kFrameBuffer, 100, false};
  return exchange(kStyle, length, rs485, rs485_next, cRcv, cSnd, nFD, rdfds, nFD_next, rdfds_next);
}
