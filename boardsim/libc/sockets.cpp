// Calls on sockets.
#include <sys/epoll.h>
#include <sys/socket.h>

#include "boardsim/board/state.h"
#include "boardsim/calls/calls.h"
#include "boardsim/kernel/real.h"
#include "boardsim/libc/refuse.h"

using boardsim::Entered;
namespace calls = boardsim::calls;
namespace real = boardsim::real;

extern "C" {
ssize_t __recv_chk(int fd, void* buffer, size_t size, size_t buffer_size, int flags);
ssize_t __recvfrom_chk(int fd, void* buffer, size_t size, size_t buffer_size, int flags, sockaddr* address,
                       socklen_t* address_size);
[[noreturn]] void __chk_fail();

int socket(int domain, int type, int protocol) noexcept {
  const Entered board;
  return board ? calls::socket(*board, domain, type, protocol) : real::socket(domain, type, protocol);
}

int socketpair(int domain, int type, int protocol, int fds[2]) noexcept {
  const Entered board;
  return board ? calls::socketpair(*board, domain, type, protocol, fds)
               : real::socketpair(domain, type, protocol, fds);
}

int bind(int fd, const sockaddr* address, socklen_t size) noexcept {
  const Entered board;
  return board ? calls::bind(*board, fd, address, size) : real::bind(fd, address, size);
}

int listen(int fd, int backlog) noexcept {
  const Entered board;
  return board ? calls::listen(*board, fd, backlog) : real::listen(fd, backlog);
}

int accept(int fd, sockaddr* address, socklen_t* size) {
  const Entered board;
  return board ? calls::accept(*board, fd, address, size, 0) : real::accept(fd, address, size);
}

int accept4(int fd, sockaddr* address, socklen_t* size, int flags) {
  const Entered board;
  return board ? calls::accept(*board, fd, address, size, flags) : real::accept4(fd, address, size, flags);
}

int connect(int fd, const sockaddr* address, socklen_t size) {
  const Entered board;
  return board ? calls::connect(*board, fd, address, size) : real::connect(fd, address, size);
}

ssize_t recv(int fd, void* buffer, size_t size, int flags) {
  const Entered board;
  return board ? calls::recv(*board, "recv", fd, buffer, size, flags) : real::recv(fd, buffer, size, flags);
}

ssize_t __recv_chk(int fd, void* buffer, size_t size, size_t buffer_size, int flags) {
  if (size > buffer_size) __chk_fail();
  return recv(fd, buffer, size, flags);
}

ssize_t send(int fd, const void* buffer, size_t size, int flags) {
  const Entered board;
  return board ? calls::send(*board, "send", fd, buffer, size, flags) : real::send(fd, buffer, size, flags);
}

int shutdown(int fd, int how) noexcept {
  const Entered board;
  return board ? calls::shutdown(*board, fd, how) : real::shutdown(fd, how);
}

// What no program on a board needs so far: these would go around the board's time and its faults.

ssize_t sendto(int fd, const void* buffer, size_t size, int flags, const sockaddr* address,
               socklen_t address_size) {
  BOARDSIM_REFUSE(sendto);
  return real::sendto(fd, buffer, size, flags, address, address_size);
}

ssize_t recvfrom(int fd, void* buffer, size_t size, int flags, sockaddr* address, socklen_t* address_size) {
  BOARDSIM_REFUSE(recvfrom);
  return real::recvfrom(fd, buffer, size, flags, address, address_size);
}

ssize_t __recvfrom_chk(int fd, void* buffer, size_t size, size_t buffer_size, int flags, sockaddr* address,
                       socklen_t* address_size) {
  if (size > buffer_size) __chk_fail();
  return recvfrom(fd, buffer, size, flags, address, address_size);
}

ssize_t sendmsg(int fd, const msghdr* message, int flags) {
  BOARDSIM_REFUSE(sendmsg);
  return real::sendmsg(fd, message, flags);
}

ssize_t recvmsg(int fd, msghdr* message, int flags) {
  BOARDSIM_REFUSE(recvmsg);
  return real::recvmsg(fd, message, flags);
}

int epoll_create(int size) noexcept {
  BOARDSIM_REFUSE(epoll_create);
  return real::epoll_create(size);
}

int epoll_create1(int flags) noexcept {
  BOARDSIM_REFUSE(epoll_create1);
  return real::epoll_create1(flags);
}

}  // extern "C"
