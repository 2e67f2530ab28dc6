// Everything that one simulated board is made of.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <termios.h>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/board.h"
#include "boardsim/board/call_faults.h"
#include "boardsim/board/descriptors.h"
#include "boardsim/board/hardware.h"
#include "boardsim/kernel/clock.h"
#include "boardsim/kernel/trace.h"

namespace boardsim {

/// How a board behaves towards the process that it lives in; the launcher sets it.
struct Conduct {
  std::function<void()> after_violation{};  ///< with the board's lock held
  std::function<void()> after_reboot{};     ///< with the board's lock held
  bool every_address = false;               ///< a program may bind to all addresses of the PC
  std::string own_address = "127.0.0.1";    ///< what it gets instead when it asks for all of them
  bool loopback_only = false;               ///< interfaces have addresses of 127.0.0.0/8 only
};

/// The functions that answer calls are called by program threads that are Inside, without any lock held;
/// they return and set errno as the C library's do.
struct BoardState {
  BoardState(const Family& family, Pace pace, double speed);

  // ---- nodes.cpp
  int open(const char* name, const std::string& path, int flags);
  int close(int fd);
  int stat(const char* name, const std::string& path, struct stat64* status);
  int access(const std::string& path, int mode);
  // On a node's descriptor; nothing is answered for any other.
  std::optional<ssize_t> read(int fd, void* buffer, std::size_t size);
  std::optional<ssize_t> write(int fd, const void* buffer, std::size_t size);
  std::optional<off64_t> lseek(int fd, off64_t offset, int whence);
  std::optional<int> ioctl(int fd, std::uint32_t request, void* argument);
  std::optional<int> fstat(int fd, struct stat64* status);

  /// The lock is held, but not while the read waits for bytes.
  Answer read_node(std::unique_lock<std::mutex>& lock, int fd, void* buffer, std::size_t size);
  /// The lock is held, but not while the time passes that a transfer takes. 0, or the errno with which the
  /// call ends.
  int pass_transfer(std::unique_lock<std::mutex>& lock, int fd, const Device* device);
  /// A request that nothing on this board knows on a descriptor that is no node's: reported, never performed.
  int refuse_request(int fd, std::uint32_t request);
  /// Whether a descriptor is a node's now; another thread may close it meanwhile.
  bool is_node(int fd);

  // ---- storage.cpp; paths are those of /mnt
  int mount(const std::string& node, const std::string& place, const std::string& type);
  int umount(const std::string& place);
  int statfs(const std::string& path, struct statfs64* status);
  int mkdir(const std::string& path, mode_t mode);
  int rmdir(const std::string& path);
  int unlink(const std::string& path);
  int storage_call(const char* name, const std::string& what, std::vector<std::uint32_t> record,
                   const std::function<Answer()>& perform);

  // ---- network.cpp, transfer.cpp
  int socket(int domain, int type, int protocol);
  int socketpair(int domain, int type, int protocol, int* fds);
  int bind(int fd, const sockaddr* address, socklen_t size);
  int listen(int fd, int backlog);
  int accept(int fd, sockaddr* address, socklen_t* size, int flags);
  int connect(int fd, const sockaddr* address, socklen_t size);
  int call_application(int fd, Call call);
  ssize_t recv(const char* name, int fd, void* buffer, std::size_t size, int flags);
  ssize_t send(const char* name, int fd, const void* buffer, std::size_t size, int flags);
  int shutdown(int fd, int how);
  /// The lock is held. Lets the application look at its connections after a call on a socket of that name.
  void serve_application(std::string_view socket_name);
  void look_at_application(std::string_view socket_name);  ///< the same without the lock
  /// select and poll: waits, as poll does.
  int wait_for_ready(Call call, std::span<pollfd> fds, std::optional<Time> deadline);
  /// Waits until a descriptor is readable: 0, or the errno with which a read ends (EAGAIN at the deadline).
  int wait_readable(int fd, std::optional<Time> deadline);
  /// Whether select writes back what is left of its time-out.
  bool counts_down() const;
  /// SIOCGIFADDR.
  int interface_address(void* ifreq);
  /// The lock is held. Address of an interface as a program finds it now; empty when it has none.
  std::string address_of(std::string_view interface) const;
  /// The lock is held. Throws std::invalid_argument for what cannot be an interface's address here.
  void check_address(std::string_view address) const;
  void set_interface(std::string_view name, std::string_view address);

  // ---- terminals.cpp; on a terminal of the PC too
  int tcgetattr(int fd, termios* settings);
  int tcsetattr(int fd, int when, const termios* settings);
  int tcflush(int fd, int queues);
  int terminal_call(const char* name, int fd, std::vector<std::uint32_t> record,
                    const std::function<int()>& perform);

  // ---- state.cpp
  /// Runs an event with the lock held when `span` of virtual time has passed. For program threads and events:
  /// from others it must not be called with the lock held.
  void after(Time span, std::function<void()> event);
  /// Waits for virtual time; false when a signal came first.
  bool sleep(std::string_view name, std::vector<std::uint32_t> length, Time span);
  int reboot(std::uint32_t command);
  /// Runs a shell command of the board; any other is refused.
  int system(const char* command);
  /// A call that no board's program makes: reported, never performed. Returns -1 with EPERM.
  int refuse(std::string_view call);
  void fault(std::string_view text);
  /// The lock is held. The faults of interfaces and devices.
  const FaultForms& fault_forms();
  /// All faults, those of calls too.
  std::vector<FaultLine> fault_list();
  void clear_faults();
  /// Counts a thread creation: 0, or the errno with which it fails.
  int thread_error();
  void thread_event(std::string_view name);

  Call begin(std::string_view name, std::string_view node, std::vector<std::uint32_t> record = {}) const;
  /// The lock is held. Enters the call into the trace, sets errno, returns the result.
  long finish(Call call, Subject subject, long result, int error);
  /// The lock is held. Reports what the board does not know.
  void violation(const std::string& text);
  /// Meets the faults of one call on a network or clock function.
  std::optional<FaultyCall> meet(std::string_view call);
  /// The lock is held. The same of a call on what stands at a path, which may be dead; null: nothing does.
  std::optional<FaultyCall> meet_on(const Device* device, std::string_view call, std::string_view path,
                                    std::uint32_t request = 0);
  /// The lock is held. Name of a socket in the trace.
  std::string name_of(int fd);
  /// The lock is held. stat and fstat.
  int locked_stat(const char* name, const std::string& path, struct stat64* status);
  /// The lock is held. Ends an ioctl that is not known.
  int unknown_request(Call call, Subject subject);

  Clock clock;
  std::shared_ptr<ProgramThread> main_thread{};  ///< the record of the thread that made the board
  mutable std::mutex mutex;                      ///< guards everything below
  Devices devices;
  Descriptors descriptors{};
  Trace trace{};
  CallFaults call_faults{};
  FaultForms forms{};             ///< what fault_forms() returns, made when it is first asked
  std::uint32_t type_of_forms{};  ///< the board's device type code then: terminals and jigs go by it
  Conduct conduct{};
  std::map<std::string, std::string, std::less<>> interfaces{{"eth0", "127.0.0.1"}};
  std::map<std::string, std::string, std::less<>> interface_faults{};
  bool select_counts_down = true;
  std::vector<std::string> violations{};
  std::vector<std::uint32_t> reboots{};
};

}  // namespace boardsim
