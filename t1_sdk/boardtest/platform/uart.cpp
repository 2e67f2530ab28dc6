// UART nodes, and blocks on serial lines.
#include "t1_sdk/boardtest/platform/uart.h"

#include <sys/ioctl.h>
#include <unistd.h>
#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

constexpr unsigned kConfigure = 0x40045501;     // _IOW('U', 1, 4)
constexpr unsigned kWaitingBytes = 0x80045502;  // _IOR('U', 2, 4)

constexpr int kLongestReceive = 256;
constexpr int kLongestSend = 1024;

int receive_waiting(int fd, unsigned char* dataBuff, std::size_t size) {
  unsigned char bytes[kLongestReceive] = {};
  const ssize_t count = read(fd, bytes, size);
  if (count > 0) std::memcpy(dataBuff, bytes, static_cast<std::size_t>(count));
  return static_cast<int>(count);
}

}  // namespace

int uart_config(int fd, int baudrate, int data, int stop, int parity, int flowcontrol) {
  uart_cfg config{baudrate, data, stop, parity, flowcontrol};
  return ioctl(fd, kConfigure, &config);
}

int recvRS485Data(int fd, fd_set* rset, unsigned char* dataBuff, int dataLen, int timeOut, int waitTime) {
  if (dataLen > kLongestReceive) {
    std::puts("<t1>: param datalen is error!");
    return -1;
  }
  if (fd < 0 || fd >= FD_SETSIZE) {  // beyond what a set of descriptors can hold
    std::printf("<t1>: select error retRd = %d\n", -1);
    return -1;
  }
  const auto wanted = static_cast<std::uint32_t>(std::max(dataLen, 0));
  timeval limit{timeOut, 0};
  const int ready = select(fd + 1, rset, nullptr, nullptr, &limit);
  if (ready == -1) {
    std::printf("<t1>: select error retRd = %d\n", ready);
    return -1;
  }
  if (ready == 0) return 0;
  std::uint32_t waiting = 0;
  // The number of looks limits the wait, not time.
  int pass = 0;
  do {
    if (!FD_ISSET(fd, rset)) return 0;
    ioctl(fd, kWaitingBytes, &waiting);
    if (waiting >= wanted) return receive_waiting(fd, dataBuff, wanted);
    ++pass;
  } while (pass <= waitTime / 10);
  return waiting > 0 ? receive_waiting(fd, dataBuff, waiting) : 0;
}

int SendRS485Data(int fd, fd_set* /*wset*/, unsigned char* dataBuff, int dataLen) {
  int written = 0;
  if (dataLen >= 0 && dataLen <= kLongestSend) {
    unsigned char bytes[kLongestSend] = {};
    if (dataLen > 0) std::memcpy(bytes, dataBuff, static_cast<std::size_t>(dataLen));
    written = static_cast<int>(write(fd, bytes, static_cast<std::size_t>(dataLen)));
    if (written == dataLen) return 0;
  }
  std::printf("<t1>write failed have write %d\n ", written);
  return -1;
}
