// Stops a program at each of its calls of the system, as a debugger does.
#include "tests/kills/traced_program.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <system_error>

namespace {

constexpr int kCallStop = SIGTRAP | 0x80;  // with PTRACE_O_TRACESYSGOOD

const std::map<std::uint64_t, std::string>& names() {
  static const std::map<std::uint64_t, std::string> of_numbers{
      {SYS_write, "write"},       {SYS_writev, "writev"},       {SYS_pwrite64, "pwrite64"},
      {SYS_fsync, "fsync"},       {SYS_fdatasync, "fdatasync"}, {SYS_connect, "connect"},
      {SYS_sendto, "sendto"},     {SYS_recvfrom, "recvfrom"},   {SYS_ftruncate, "ftruncate"},
      {SYS_unlinkat, "unlinkat"},
#ifdef SYS_unlink
      {SYS_unlink, "unlink"},
#endif
  };
  return of_numbers;
}

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

/// A file in memory that takes what the program prints.
class Output {
 public:
  Output() : file_(memfd_create("output", MFD_CLOEXEC)) {
    if (file_ < 0) fail("memfd_create");
  }
  ~Output() { close(file_); }
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  int file() const { return file_; }
  std::string text() const {
    struct stat status = {};
    fstat(file_, &status);
    std::string text(static_cast<std::size_t>(status.st_size), '\0');
    const ssize_t size = pread(file_, text.data(), text.size(), 0);
    text.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    return text;
  }

 private:
  int file_;
};

[[noreturn]] void become(char* const* arguments, int out, int err) {
  constexpr int kNotStarted = 127;
  dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
  dup2(out, STDOUT_FILENO);
  dup2(err, STDERR_FILENO);
  setenv("ASAN_OPTIONS", "detect_leaks=0", 1);  // its search for leaks cannot be watched
  if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(kNotStarted);
  raise(SIGSTOP);
  execv(arguments[0], arguments);
  _exit(kNotStarted);
}

/// The process that is watched. It is killed and gone with this object.
class Tracee {
 public:
  explicit Tracee(pid_t pid) : pid_(pid) {
    wait();
    constexpr long kOptions = PTRACE_O_EXITKILL | PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEEXEC;
    if (!is_stopped() || ptrace(PTRACE_SETOPTIONS, pid_, nullptr, kOptions) != 0) fail("ptrace");
  }
  ~Tracee() { end(); }
  Tracee(const Tracee&) = delete;
  Tracee& operator=(const Tracee&) = delete;

  bool is_stopped() const { return WIFSTOPPED(status_); }
  bool is_at_call() const { return is_stopped() && WSTOPSIG(status_) == kCallStop; }
  int exit_status() const { return WIFSIGNALED(status_) ? 128 + WTERMSIG(status_) : WEXITSTATUS(status_); }

  /// Lets it go on to its next stop. A signal that stopped it is handed over, but for those of the watching.
  void go_on(__ptrace_request how) {
    const int signal = WSTOPSIG(status_);
    const bool is_its_own = signal != kCallStop && signal != SIGTRAP && signal != SIGSTOP;
    if (ptrace(how, pid_, nullptr, is_its_own ? signal : 0) != 0) fail("ptrace");
    wait();
  }
  __ptrace_syscall_info call() const {
    __ptrace_syscall_info info{};
    if (ptrace(PTRACE_GET_SYSCALL_INFO, pid_, sizeof info, &info) <= 0) fail("ptrace");
    return info;
  }
  /// What a descriptor of it leads to.
  std::string target(std::uint64_t descriptor) const {
    if (descriptor == STDOUT_FILENO) return "stdout";
    if (descriptor == STDERR_FILENO) return "stderr";
    std::error_code ignored;
    const std::string link = "/proc/" + std::to_string(pid_) + "/fd/" + std::to_string(descriptor);
    const std::filesystem::path path = std::filesystem::read_symlink(link, ignored);
    return path.string().starts_with("socket:") ? "socket" : path.filename().string();
  }
  void end() {
    if (!is_stopped()) return;
    kill(pid_, SIGKILL);
    while (is_stopped()) wait();
  }

 private:
  void wait() {
    while (waitpid(pid_, &status_, __WALL) < 0) {
      if (errno != EINTR) fail("waitpid");
    }
  }

  pid_t pid_;
  int status_ = 0;
};

/// At the entry of a call: what it is, unless it is none that is counted.
std::optional<Call> counted_call(const Tracee& tracee) {
  const __ptrace_syscall_info info = tracee.call();
  if (info.op != PTRACE_SYSCALL_INFO_ENTRY) return std::nullopt;
  const auto name = names().find(info.entry.nr);
  if (name == names().end()) return std::nullopt;
  const bool has_descriptor = !name->second.starts_with("unlink");
  return Call{name->second, has_descriptor ? tracee.target(info.entry.args[0]) : ""};
}

}  // namespace

Traced run_traced(const std::vector<std::string>& command, const std::optional<KillAt>& kill_at) {
  std::vector<std::string> words = command;
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  const Output out, err;
  const pid_t pid = fork();
  if (pid == 0) become(arguments.data(), out.file(), err.file());
  if (pid < 0) fail("fork");

  Traced traced;
  Tracee tracee(pid);
  while (tracee.is_stopped()) {
    tracee.go_on(PTRACE_SYSCALL);
    std::optional<Call> call;
    if (tracee.is_at_call()) call = counted_call(tracee);
    if (!call) continue;
    const bool is_last = kill_at && kill_at->call == traced.calls.size();
    if (is_last && kill_at->is_before) break;
    traced.calls.push_back(std::move(*call));
    if (!is_last) continue;
    tracee.go_on(PTRACE_SYSCALL);  // to its return
    for (std::size_t count = 0; count < kill_at->instructions && tracee.is_stopped(); ++count)
      tracee.go_on(PTRACE_SINGLESTEP);
    break;
  }
  tracee.end();
  traced.exit_status = tracee.exit_status();
  traced.out = out.text();
  traced.err = err.text();
  return traced;
}
