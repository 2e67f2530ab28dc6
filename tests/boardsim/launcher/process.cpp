#include "tests/boardsim/launcher/process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>

Process::Process(std::vector<std::string> command) {
  std::vector<char*> arguments;
  for (std::string& word : command) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  int out_ends[2];
  int err_ends[2];
  if (pipe2(out_ends, O_CLOEXEC) != 0 || pipe2(err_ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe2");
  pid_ = fork();
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0);
    dup2(out_ends[1], STDOUT_FILENO);
    dup2(err_ends[1], STDERR_FILENO);
    execv(arguments.front(), arguments.data());
    _exit(126);
  }
  close(out_ends[1]);
  close(err_ends[1]);
  out_fd_ = out_ends[0];
  err_fd_ = err_ends[0];
}

Process::~Process() {
  if (pid_ > 0) {
    signal(SIGKILL);
    wait();
  }
  if (out_fd_ >= 0) close(out_fd_);
  if (err_fd_ >= 0) close(err_fd_);
}

bool Process::wait_for(const std::string& text) {
  while (out.find(text) == std::string::npos) {
    if (!read_some()) return false;
  }
  return true;
}

int Process::wait() {
  while (read_some()) {
  }
  int status = 0;
  while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

void Process::signal(int number) const {
  kill(pid_, number);
}

/// False when both outputs have been closed.
bool Process::read_some() {
  std::array<pollfd, 2> awaited{{{out_fd_, POLLIN, 0}, {err_fd_, POLLIN, 0}}};
  if (out_fd_ < 0 && err_fd_ < 0) return false;
  poll(awaited.data(), awaited.size(), -1);
  const auto take = [](short ready, int& fd, std::string& text) {
    if (fd < 0 || ready == 0) return;
    std::array<char, 4096> bytes{};
    const ssize_t size = read(fd, bytes.data(), bytes.size());
    if (size > 0) {
      text.append(bytes.data(), static_cast<std::size_t>(size));
    } else {
      close(fd);
      fd = -1;
    }
  };
  take(awaited[0].revents, out_fd_, out);
  take(awaited[1].revents, err_fd_, err);
  return true;
}
