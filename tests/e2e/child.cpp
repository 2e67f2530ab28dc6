// Starts and ends programs.
#include "tests/e2e/child.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace {

constexpr int kNotStarted = 127;

struct Pipe {
  int from = -1;
  int to = -1;

  Pipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    from = ends[0];
    to = ends[1];
  }
};

/// What runs in the new process. Nothing but plain system calls: the test has other threads.
[[noreturn]] void become(char* const* arguments, int out, int err, pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGTERM);  // nothing is left behind by a test that crashes
  if (getppid() != parent) _exit(kNotStarted);
  const int nothing = open("/dev/null", O_RDONLY);
  dup2(nothing, STDIN_FILENO);
  dup2(out, STDOUT_FILENO);
  dup2(err, STDERR_FILENO);
  execv(arguments[0], arguments);
  _exit(kNotStarted);
}

}  // namespace

Child::Child(const std::vector<std::string>& command) {
  std::vector<std::string> words = command;
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);

  const Pipe out;
  const Pipe err;
  const pid_t parent = getpid();
  pid_ = fork();
  if (pid_ == 0) become(arguments.data(), out.to, err.to, parent);
  close(out.to);
  close(err.to);
  if (pid_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
  pidfd_ = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
  if (pidfd_ < 0) {
    const int error = errno;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    throw std::system_error(error, std::generic_category(), "pidfd_open");
  }
  out_.start(out.from);
  err_.start(err.from);
}

Child::~Child() {
  if (status_ < 0) {
    terminate();
    if (!reap(true)) {
      kill(pid_, SIGKILL);
      reap(true);
    }
  }
  close(pidfd_);
}

bool Child::reap(bool wait) {
  if (status_ >= 0) return true;
  pollfd ended{pidfd_, POLLIN, 0};
  const auto patience = std::chrono::duration_cast<std::chrono::milliseconds>(kPatience);
  if (poll(&ended, 1, wait ? static_cast<int>(patience.count()) : 0) < 1) return false;
  int status = 0;
  waitpid(pid_, &status, 0);
  status_ = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  return true;
}

void Child::terminate() {
  signal(SIGTERM);
}

void Child::signal(int number) {
  if (!has_ended()) kill(pid_, number);
}

int Child::exit_status() {
  if (!reap(true)) throw in_vain("the end of the program");
  return status_;
}

bool Child::has_ended() {
  return reap(false);
}

std::string Child::next_line(std::string_view awaited) {
  return out_.next_line(awaited);
}

std::string Child::next_err_line(std::string_view awaited) {
  return err_.next_line(awaited);
}

std::string Child::rest() {
  return out_.rest();
}

std::string Child::err() {
  return err_.rest();
}

Child::Output::~Output() {
  if (reader_.joinable()) reader_.join();
  close(pipe_);
}

void Child::Output::start(int pipe_end) {
  pipe_ = pipe_end;
  reader_ = std::thread([this] { read_all(); });
}

void Child::Output::read_all() {
  std::array<char, 4096> buffer;
  for (;;) {
    const ssize_t size = read(pipe_, buffer.data(), buffer.size());
    if (size < 0 && errno == EINTR) continue;
    const std::lock_guard lock(mutex_);
    if (size > 0) {
      text_.append(buffer.data(), static_cast<std::size_t>(size));
    } else {
      ended_ = true;
    }
    changed_.notify_all();
    if (ended_) return;
  }
}

std::string Child::Output::next_line(std::string_view awaited) {
  std::unique_lock lock(mutex_);
  std::size_t end = std::string::npos;
  const bool came = changed_.wait_for(lock, kPatience, [&] {
    end = text_.find('\n');
    return end != std::string::npos || ended_;
  });
  if (!came) throw in_vain(awaited);
  if (end == std::string::npos) {
    throw std::runtime_error("the program's output ended before " + std::string(awaited));
  }
  std::string line = text_.substr(0, end);
  text_.erase(0, end + 1);
  return line;
}

std::string Child::Output::rest() {
  std::unique_lock lock(mutex_);
  if (!changed_.wait_for(lock, kPatience, [&] { return ended_; })) {
    throw in_vain("the end of the program's output");
  }
  return std::exchange(text_, "");
}
