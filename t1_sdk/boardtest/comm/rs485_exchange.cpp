// One RS485 exchange, and what the tests share.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "t1_sdk/boardtest/comm/rs485.h"
#include "t1_sdk/boardtest/comm/rs485_parts.h"
#include "t1_sdk/boardtest/platform/app_channel.h"
#include "t1_sdk/boardtest/platform/gpio.h"
#include "t1_sdk/boardtest/platform/uart.h"

namespace {

constexpr unsigned kEmptyReceiver = 0x5503;  // _IO('U', 3)

constexpr int kShortFrame = sizeof kFrameB;
constexpr int kTimeOut = 3;  // seconds for a frame's header to begin, and again for the rest of the frame

/// What sets the exchange of a port wired to itself apart.
struct Manner {
  bool empties_receiver;
  std::size_t cleared;  ///< bytes of the receive buffer
  int wait;             ///< then wait / 10 + 1 looks at what has arrived
  bool tells_success;
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

int exchange(const Manner& manner, int length, const char* from, const char* to, unsigned char* received,
             unsigned char* sent, int from_fd, fd_set& from_set, int to_fd, fd_set& to_set) {
  print_frame(from, "开始发送数据", sent, length);
  if (manner.empties_receiver) clear_485recv_buf(to_fd);
  SendRS485Data(from_fd, &from_set, sent, length);
  std::printf("<%s>发送完毕\n", from);
  std::printf("<%s>开始接收数据\n", to);
  std::memset(received, 0, manner.cleared);
  const int header = recvRS485Data(to_fd, &to_set, received, kHeaderSize, kTimeOut, manner.wait);
  if (header != kHeaderSize || received[0] != kStartMark) {
    std::printf("<%s>接收数据错误.\n", to);
    return -1;
  }
  receive_rest(to_fd, to_set, received, kTimeOut, manner.wait);
  print_frame(to, "完成接收数据", received, claimed_length(received));
  if (!is_sealed(received)) {
    std::printf("<%s>接收的数据校验失败!!!\n", to);
    return -1;
  }
  if (manner.tells_success) std::printf("<%s>接收的数据校验正确!!!\n", to);
  return 0;
}

/// Data code 3, stop code 0, no parity, no flow control.
void configure(int fd, int baudrate) {
  uart_config(fd, baudrate, 3, 0, 0, 0);
}

}  // namespace

fd_set only(int fd) {
  fd_set set;
  FD_ZERO(&set);
  if (fd >= 0 && fd < FD_SETSIZE) FD_SET(fd, &set);  // ports that stay open let the numbers grow
  return set;
}

void receive_rest(int fd, fd_set& set, unsigned char* frame, int time_out, int wait) {
  const int rest = std::min(claimed_length(frame), kFrameBuffer) - kHeaderSize;
  recvRS485Data(fd, &set, frame + kHeaderSize, rest, time_out, wait);
}

bool is_sealed(const unsigned char* frame) {
  const int length = claimed_length(frame);
  if (length < kHeaderSize || length > kFrameBuffer) return false;
  unsigned sum = 0;
  for (int i = 0; i < length - 1; ++i) sum += frame[i];
  return (sum & 0xFF) == frame[length - 1];
}

int open_io_and_stop_detector(TestReport& report) {
  const int io = open("/dev/qznio", O_RDWR);
  if (io < 0) {
    std::perror("Open /dev/qznio");
    report.fail_aloud(1, "打开/dev/qznio失败");
    return -1;
  }
  enableAPPCMD(kAppStopDetector, 0);
  std::puts("等待车检器检测线程停止...");
  sleep(5);
  return io;
}

int open_first_port(TestReport& report, int baudrate) {
  const int port = open("/dev/uart1", O_RDWR);
  if (port < 0) {
    report.fail_aloud(2, "<t1>打开RS485口错误");
    return -1;
  }
  configure(port, baudrate);
  return port;
}

int clear_485recv_buf(int fd) {
  return ioctl(fd, kEmptyReceiver, nullptr);
}

int rs485Open(const char* rs485) {
  const int fd = open(rs485, O_RDWR);
  if (fd < 0) {
    std::printf("<t1>打开RS485口【%s】错误\n", rs485);
    close(gpiofd);
    gpiofd = -1;
    return -1;
  }
  configure(fd, 38400);
  return fd;
}

int rs485_process(int length, const char* rs485, const char* rs485_next, unsigned char* cRcv,
                  unsigned char* cSnd, int nFD, fd_set rdfds, int nFD_next, fd_set rdfds_next) {
  static constexpr Manner kManner{true, kHeaderSize, 50, true};
  return exchange(kManner, length, rs485, rs485_next, cRcv, cSnd, nFD, rdfds, nFD_next, rdfds_next);
}

int rs485_process_rkd037(int length, const char* rs485, const char* rs485_next, unsigned char* cRcv,
                         unsigned char* cSnd, int nFD, fd_set rdfds, int nFD_next, fd_set rdfds_next) {
  static constexpr Manner kManner{false, kFrameBuffer, 100, false};
  return exchange(kManner, length, rs485, rs485_next, cRcv, cSnd, nFD, rdfds, nFD_next, rdfds_next);
}
