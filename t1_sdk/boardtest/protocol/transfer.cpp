#include "t1_sdk/boardtest/protocol/transfer.h"

#include <sys/select.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <cerrno>
#include <ctime>

namespace {

constexpr long kTransferSeconds = 100;

/// The time that one transfer may take in all. Kept on the monotonic clock, since not every C library's
/// select counts its time-out down.
class Budget {
 public:
  Budget() {
    clock_gettime(CLOCK_MONOTONIC, &end_);
    end_.tv_sec += kTransferSeconds;
  }

  timeval left() const {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    auto seconds = end_.tv_sec - now.tv_sec;
    auto nanoseconds = end_.tv_nsec - now.tv_nsec;
    if (nanoseconds < 0) {
      --seconds;
      nanoseconds += 1000000000;
    }
    if (seconds < 0) return {};
    timeval left{};
    left.tv_sec = seconds;
    left.tv_usec = static_cast<suseconds_t>(nanoseconds / 1000);
    return left;
  }

 private:
  timespec end_{};
};

enum class Wait { readable, writable };

/// select() on one socket: > 0 when it is ready, 0 when the budget is used up, -1 on an error.
int wait_for(int socket, Wait what, const Budget& budget) {
  if (socket < 0 || socket >= FD_SETSIZE) {
    errno = EBADF;
    return -1;
  }
  fd_set set;
  FD_ZERO(&set);
  FD_SET(socket, &set);
  timeval left = budget.left();
  return select(socket + 1, what == Wait::readable ? &set : nullptr, what == Wait::writable ? &set : nullptr,
                nullptr, &left);
}

}  // namespace

int tcp_readn(int sConnTcp, void* pBufRecv, int iNum) {
  if (pBufRecv == nullptr) return -1;
  auto* buffer = static_cast<char*>(pBufRecv);
  const Budget budget;
  int received = 0;
  while (received < iNum) {
    const int ready = wait_for(sConnTcp, Wait::readable, budget);
    if (ready < 0) return -1;
    if (ready == 0) break;
    const ssize_t result = recv(sConnTcp, buffer + received, static_cast<std::size_t>(iNum - received), 0);
    if (result == 0) break;  // the peer closed
    if (result > 0) {
      received += static_cast<int>(result);
    } else if (errno != EINTR) {
      return -1;
    }
  }
  return received;
}

int tcp_writen(int sConnTcp, void* pBufSend, int iNum) {
  int sent = 0;
  return tcp_writen(sConnTcp, pBufSend, iNum, sent);
}

int tcp_writen(int sConnTcp, void* pBufSend, int iNum, int& sent) {
  sent = 0;
  if (pBufSend == nullptr) return -1;
  const auto* buffer = static_cast<const char*>(pBufSend);
  const Budget budget;
  while (sent < iNum) {
    if (wait_for(sConnTcp, Wait::writable, budget) < 1) return -1;
    const ssize_t result = send(sConnTcp, buffer + sent, static_cast<std::size_t>(iNum - sent), 0);
    if (result >= 0) {
      sent += static_cast<int>(result);
    } else if (errno != EINTR) {
      return -1;
    }
  }
  return iNum;
}
