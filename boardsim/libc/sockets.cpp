// Calls on sockets.
#include <sys/socket.h>

#include "boardsim/core/real.h"
#include "boardsim/core/state.h"

using boardsim::Entered;
namespace real = boardsim::real;

extern "C" {
ssize_t __recv_chk(int fd, void* buffer, size_t size, size_t buffer_size, int flags);
[[noreturn]] void __chk_fail();

int socket(int domain, int type, int protocol) noexcept {
  const Entered board;
  return board ? board->socket(domain, type, protocol) : real::socket(domain, type, protocol);
}

int socketpair(int domain, int type, int protocol, int fds[2]) noexcept {
  const Entered board;
  return board ? board->socketpair(domain, type, protocol, fds)
               : real::socketpair(domain, type, protocol, fds);
}

int bind(int fd, const sockaddr* address, socklen_t size) noexcept {
  const Entered board;
  return board ? board->bind(fd, address, size) : real::bind(fd, address, size);
}

int listen(int fd, int backlog) noexcept {
  const Entered board;
  return board ? board->listen(fd, backlog) : real::listen(fd, backlog);
}

int accept(int fd, sockaddr* address, socklen_t* size) {
  const Entered board;
  return board ? board->accept(fd, address, size, 0) : real::accept(fd, address, size);
}

int accept4(int fd, sockaddr* address, socklen_t* size, int flags) {
  const Entered board;
  return board ? board->accept(fd, address, size, flags) : real::accept4(fd, address, size, flags);
}

int connect(int fd, const sockaddr* address, socklen_t size) {
  const Entered board;
  return board ? board->connect(fd, address, size) : real::connect(fd, address, size);
}

ssize_t recv(int fd, void* buffer, size_t size, int flags) {
  const Entered board;
  return board ? board->recv("recv", fd, buffer, size, flags) : real::recv(fd, buffer, size, flags);
}

ssize_t __recv_chk(int fd, void* buffer, size_t size, size_t buffer_size, int flags) {
  if (size > buffer_size) __chk_fail();
  return recv(fd, buffer, size, flags);
}

ssize_t send(int fd, const void* buffer, size_t size, int flags) {
  const Entered board;
  return board ? board->send("send", fd, buffer, size, flags) : real::send(fd, buffer, size, flags);
}

int shutdown(int fd, int how) noexcept {
  const Entered board;
  return board ? board->shutdown(fd, how) : real::shutdown(fd, how);
}

}  // extern "C"
