#include "station/plant/command_run.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "station/text/text.h"

namespace t1station {
namespace {

constexpr std::size_t kMostWords = 4096;  // bytes of standard error that are kept

/// A descriptor that is closed with it.
class Held {
 public:
  explicit Held(int descriptor = -1) : descriptor_(descriptor) {}
  ~Held() { let_go(); }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;

  int get() const { return descriptor_; }
  void take(int descriptor) {
    let_go();
    descriptor_ = descriptor;
  }
  void let_go() {
    if (descriptor_ >= 0) close(descriptor_);
    descriptor_ = -1;
  }

 private:
  int descriptor_;
};

struct Pipe {
  Held out, in;
};

bool open_pipe(Pipe& pipe) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return false;
  pipe.out.take(ends[0]);
  pipe.in.take(ends[1]);
  return true;
}

std::string system_text(int code) {
  return std::strerror(code);
}

// Nothing of this process but its environment: neither descriptors nor what it does with signals.
int start(const std::vector<std::string>& command, int input, int error, pid_t& process) {
  std::vector<std::string> words = command;
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
  posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_adddup2(&files, error, STDERR_FILENO);
  posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t none, all;
  sigemptyset(&none);
  sigfillset(&all);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &all);
  posix_spawnattr_setpgroup(&attributes, 0);
  posix_spawnattr_setflags(&attributes,
                           POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  const int code = posix_spawnp(&process, arguments[0], &files, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  return code;
}

/// A program that runs, what it has yet to read and what it has said.
class Running {
 public:
  Running(pid_t process, std::string_view input, Held& to, Held& from)
      : process_(process),
        ended_(static_cast<int>(syscall(SYS_pidfd_open, process, 0))),
        input_(input),
        to_(to),
        from_(from) {
    for (const int descriptor : {to_.get(), from_.get()}) fcntl(descriptor, F_SETFL, O_NONBLOCK);
  }

  // What ended the wait; empty when the program did.
  std::string wait(std::chrono::milliseconds patience, int stop) {
    const auto end = std::chrono::steady_clock::now() + patience;
    for (;;) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
      if (left.count() <= 0) return "it has not ended in time";
      std::array<pollfd, 4> items{
          {{to_.get(), POLLOUT, 0}, {from_.get(), POLLIN, 0}, {ended_.get(), POLLIN, 0}, {stop, POLLIN, 0}}};
      poll(items.data(), items.size(), static_cast<int>(left.count()));
      if (items[3].revents != 0) return "the station was shut down";
      if (items[0].revents != 0) give();
      if (items[1].revents != 0) hear();
      if (items[2].revents != 0) return {};
    }
  }

  // Its exit status; the group of one that has not ended is killed before.
  int end(bool is_killed) {
    if (is_killed) kill(-process_, SIGKILL);
    int status = 0;
    while (waitpid(process_, &status, 0) < 0 && errno == EINTR) continue;
    hear();
    return status;
  }

  std::string first_line() const {
    const std::string text = clean_text(said_);
    return text.substr(0, text.find('\n'));
  }

 private:
  void give() {
    const ssize_t size = write(to_.get(), input_.data(), input_.size());
    if (size > 0) input_.remove_prefix(static_cast<std::size_t>(size));
    const bool is_over = size < 0 && errno != EAGAIN && errno != EINTR;
    if (is_over || input_.empty()) to_.let_go();
  }

  void hear() {
    std::array<char, 4096> bytes{};
    const ssize_t size = from_.get() < 0 ? 0 : read(from_.get(), bytes.data(), bytes.size());
    if (size > 0) {
      said_.append(bytes.data(), std::min(static_cast<std::size_t>(size), kMostWords - said_.size()));
    } else if (size == 0 || errno != EAGAIN) {
      from_.let_go();
    }
  }

  pid_t process_;
  Held ended_;
  std::string_view input_;
  Held &to_, &from_;
  std::string said_;
};

std::string trouble_of(int status) {
  if (WIFSIGNALED(status)) return "it was ended by signal " + std::to_string(WTERMSIG(status));
  return WEXITSTATUS(status) == 0 ? "" : "it ended with status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

std::string run_command(const std::vector<std::string>& command, std::string_view input,
                        std::chrono::milliseconds patience, int stop) {
  Pipe to, from;
  pid_t process = -1;
  if (!open_pipe(to) || !open_pipe(from)) return "it cannot be started: " + system_text(errno);
  const int code = start(command, to.out.get(), from.in.get(), process);
  to.out.let_go();
  from.in.let_go();
  if (code != 0) return "it cannot be started: " + system_text(code);
  Running running(process, input, to.in, from.out);
  const std::string cut_off = running.wait(patience, stop);
  const int status = running.end(!cut_off.empty());
  const std::string trouble = cut_off.empty() ? trouble_of(status) : cut_off, words = running.first_line();
  return trouble.empty() || words.empty() ? trouble : trouble + ": " + words;
}

}  // namespace t1station
