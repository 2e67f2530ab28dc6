// What answers the program's calls. All are called by program threads that are Inside, without any lock held;
// they return and set errno as the C library's do.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <termios.h>

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/board/state.h"

namespace boardsim::calls {

// ---- nodes.cpp
int open(BoardState& board, const char* name, const std::string& path, int flags);
int close(BoardState& board, int fd);
int stat(BoardState& board, const char* name, const std::string& path, struct stat64* status);
int access(BoardState& board, const std::string& path, int mode);
// On a node's descriptor; nothing is answered for any other.
std::optional<ssize_t> read(BoardState& board, int fd, void* buffer, std::size_t size);
std::optional<ssize_t> write(BoardState& board, int fd, const void* buffer, std::size_t size);
std::optional<off64_t> lseek(BoardState& board, int fd, off64_t offset, int whence);
std::optional<int> ioctl(BoardState& board, int fd, std::uint32_t request, void* argument);
std::optional<int> fstat(BoardState& board, int fd, struct stat64* status);
/// A request that nothing on this board knows on a descriptor that is no node's: reported, never performed.
int refuse_request(BoardState& board, int fd, std::uint32_t request);
/// Whether a descriptor is a node's now; another thread may close it meanwhile.
bool is_node(BoardState& board, int fd);

// ---- mounting.cpp; paths are those of /mnt
int mount(BoardState& board, const std::string& node, const std::string& place, const std::string& type);
int umount(BoardState& board, const std::string& place);
int statfs(BoardState& board, const std::string& path, struct statfs64* status);
int mkdir(BoardState& board, const std::string& path, mode_t mode);
int rmdir(BoardState& board, const std::string& path);
int unlink(BoardState& board, const std::string& path);

// ---- network.cpp
int socket(BoardState& board, int domain, int type, int protocol);
int socketpair(BoardState& board, int domain, int type, int protocol, int* fds);
int bind(BoardState& board, int fd, const sockaddr* address, socklen_t size);
int listen(BoardState& board, int fd, int backlog);
int connect(BoardState& board, int fd, const sockaddr* address, socklen_t size);
int shutdown(BoardState& board, int fd, int how);
/// SIOCGIFADDR.
int interface_address(BoardState& board, void* ifreq);

// ---- transfer.cpp
int accept(BoardState& board, int fd, sockaddr* address, socklen_t* size, int flags);
ssize_t recv(BoardState& board, const char* name, int fd, void* buffer, std::size_t size, int flags);
ssize_t send(BoardState& board, const char* name, int fd, const void* buffer, std::size_t size, int flags);
/// select and poll, of which `call` has begun: waits, as poll does.
int wait_for_ready(BoardState& board, Call call, std::span<pollfd> fds, std::optional<Time> deadline);
/// Waits until a descriptor is readable: 0, or the errno with which a read ends (EAGAIN at the deadline).
int wait_readable(BoardState& board, int fd, std::optional<Time> deadline);
/// Whether select writes back what is left of its time-out.
bool counts_down(const BoardState& board);

// ---- terminal_settings.cpp; on a terminal of the PC too
int tcgetattr(BoardState& board, int fd, termios* settings);
int tcsetattr(BoardState& board, int fd, int when, const termios* settings);
int tcflush(BoardState& board, int fd, int queues);

// ---- process.cpp
/// Waits for virtual time; false when a signal came first.
bool sleep(BoardState& board, std::string_view name, std::vector<std::uint32_t> length, Time span);
int reboot(BoardState& board, std::uint32_t command);
/// Runs a shell command of the board; any other is refused.
int system(BoardState& board, const char* command);
/// A call that no board's program makes: reported, never performed. Returns -1 with EPERM.
int refuse(BoardState& board, std::string_view call);
/// Counts a thread creation: 0, or the errno with which it fails.
int thread_error(BoardState& board);
void thread_event(BoardState& board, std::string_view name);

}  // namespace boardsim::calls
