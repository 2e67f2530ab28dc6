// Starts and ends programs.
#include "tests/e2e/child.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>

#include "tests/harness/wire.h"

namespace {

/// What runs in the new process.
[[noreturn]] void become(char* const* arguments, int out, int err, pid_t parent) {
  constexpr int kNotStarted = 127;
  prctl(PR_SET_PDEATHSIG, SIGTERM);  // nothing is left behind by a test that crashes
  if (getppid() != parent) _exit(kNotStarted);
  dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
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
  const pid_t parent = getpid();
  pid_ = fork();
  if (pid_ == 0) become(arguments.data(), out_.file, err_.file, parent);
  if (pid_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
}

Child::~Child() {
  terminate();
  try {
    exit_status();
  } catch (const std::runtime_error&) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
}

void Child::terminate() {
  signal(SIGTERM);
}

void Child::signal(int number) {
  if (!has_ended()) kill(pid_, number);
}

int Child::exit_status() {
  wire::wait_until([this] { return has_ended(); }, "the program ended");
  return status_;
}

bool Child::has_ended() {
  int status = 0;
  if (status_ < 0 && waitpid(pid_, &status, WNOHANG) == pid_)
    status_ = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  return status_ >= 0;
}

std::string Child::next_line(Output& output, std::string_view awaited) {
  std::string text;
  const auto has_come = [&] {
    const bool ended = has_ended();
    text = output.text();
    return text.find('\n') != std::string::npos || ended;
  };
  wire::wait_until(has_come, "there was " + std::string(awaited));
  const std::size_t end = text.find('\n');
  if (end == std::string::npos) throw std::runtime_error("the program ended before " + std::string(awaited));
  output.taken += end + 1;
  return text.substr(0, end);
}

std::string Child::rest(Output& output) {
  exit_status();
  const std::string text = output.text();
  output.taken += text.size();
  return text;
}

Child::Output::Output() : file(memfd_create("output", MFD_CLOEXEC)) {
  if (file < 0) throw std::system_error(errno, std::generic_category(), "memfd_create");
}

Child::Output::~Output() {
  close(file);
}

std::string Child::Output::text() const {
  struct stat status = {};
  fstat(file, &status);
  std::string text(static_cast<std::size_t>(status.st_size) - taken, '\0');
  const ssize_t size = pread(file, text.data(), text.size(), static_cast<off_t>(taken));
  text.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
  return text;
}
