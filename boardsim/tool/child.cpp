#include "boardsim/tool/child.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>

#include "boardsim/tool/program_file.h"

namespace boardsim {
namespace {

constexpr int kPatience = 20;  // seconds until the board must be in place
constexpr const char* kPreload = "libboardsim_preload.so";
constexpr const char* kRecorder = "boardrec/libboardrecord.so";  // beside the launcher's folder
constexpr const char* kReplay = "boardrec/libboardreplay.so";

// What even a raw system call of the program must not be able to do to this PC.
constexpr std::array kDropped{CAP_SYS_BOOT,  CAP_SYS_ADMIN, CAP_SYS_TIME,  CAP_SYS_MODULE,
                              CAP_SYS_RAWIO, CAP_MKNOD,     CAP_NET_ADMIN, CAP_SYS_TTY_CONFIG};

struct Pipe {
  int ends[2] = {-1, -1};
  Pipe() {
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe can be made");
  }
  ~Pipe() {
    close_reading();
    close_writing();
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  int take_reading() { return std::exchange(ends[0], -1); }
  void close_reading() { shut(ends[0]); }
  void close_writing() { shut(ends[1]); }

 private:
  static void shut(int& end) {
    if (end >= 0) close(end);
    end = -1;
  }
};

/// Between fork and exec: only plain system calls from here on.
void give_up_privileges() {
  for (const int capability : kDropped) prctl(PR_CAPBSET_DROP, capability, 0, 0, 0);
  prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0);
  // Inheritable ones would get past the bounding set.
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> sets{};
  if (syscall(SYS_capget, &header, sets.data()) == 0) {
    for (auto& set : sets) set.inheritable = 0;
    syscall(SYS_capset, &header, sets.data());
  }
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
}

[[noreturn]] void become(const char* path, char* const arguments[], char* const environment[],
                         const Pipe& output, const Pipe& errors, const Pipe& report, pid_t parent) {
  // Nothing is left behind when the launcher dies, not even when it is killed.
  prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0);
  if (getppid() != parent) _exit(kExitBroken);
  give_up_privileges();
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  // The launcher's own way with broken pipes is not the program's.
  signal(SIGPIPE, SIG_DFL);
  dup2(output.ends[1], STDOUT_FILENO);
  dup2(errors.ends[1], STDERR_FILENO);
  fcntl(report.ends[1], F_SETFD, 0);
  execve(path, arguments, environment);
  const char* const error = std::strerror(errno);
  [[maybe_unused]] const auto ignored = write(report.ends[1], error, std::strlen(error));
  _exit(kExitBroken);
}

std::string preload_path() {
  return std::filesystem::read_symlink("/proc/self/exe").replace_filename(kPreload).string();
}

/// A library of recordings, beside the launcher's folder.
std::string recordings_library(const char* name, const char* option) {
  const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path();
  const std::string path = (folder / name).string();
  if (access(path.c_str(), R_OK) != 0) throw std::runtime_error("there is no " + path + " for " + option);
  return path;
}

/// On a board, a program goes on without a recording that cannot be made; here nothing is begun.
void make_recording(const std::string& file) {
  const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) throw std::runtime_error("the recording " + file + " cannot be written");
  close(fd);
}

/// A program that did not come as far as its first line has recorded nothing.
void remove_empty(const std::string& file) {
  std::error_code ignored;
  if (std::filesystem::is_empty(file, ignored)) std::filesystem::remove(file, ignored);
}

/// LD_PRELOAD: a sanitizer's runtime, where the program or the board was built with one, must come first; the
/// recorder stands before all that answers. Behind a replay stands the board all the same: what is in no
/// recording must not reach the PC.
std::string preload_list(const ProgramFile& program, const Options& options) {
  const std::string path = preload_path();
  std::string list;
  const auto add = [&](const std::string& library) {
    if (list.find(library) == std::string::npos) list.append(list.empty() ? "" : ":").append(library);
  };
  if (const char* first = std::getenv("BOARDSIM_PRELOAD_FIRST")) add(first);
  for (const std::string& library : read_program_file(path).sanitizers) add(library);
  for (const std::string& library : program.sanitizers) add(library);
  if (!options.record.empty()) add(recordings_library(kRecorder, "--record"));
  if (!options.replay.empty()) add(recordings_library(kReplay, "--replay"));
  add(path);
  return list;
}

std::vector<std::string> environment_with(const Options& options, const Config& config,
                                          const ProgramFile& program) {
  std::vector<std::string> variables;
  const std::string& record = options.record;
  if (!record.empty()) variables.push_back("BOARDRECORD=" + record);
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string_view text = *variable;
    const bool other_record = text.starts_with("BOARDRECORD=") && !record.empty();
    if (!text.starts_with("LD_PRELOAD=") && !other_record) variables.emplace_back(text);
  }
  variables.push_back("LD_PRELOAD=" + preload_list(program, options));
  if (!options.replay.empty()) {
    variables.push_back("BOARDREPLAY=" + options.replay);
    variables.push_back("BOARDREPLAY_SPEED=" +
                        (config.pace == "virtual" ? "0" : std::to_string(config.speed)));
  }
  variables.push_back(std::string(kConfigVariable) + "=" + config.to_json());
  return variables;
}

std::vector<char*> pointers_to(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

Child::Child(const Options& options) {
  const std::string path = find_program(options.program.front());
  const ProgramFile file = read_program_file(path);
  if (!file.dynamic) {
    throw std::runtime_error(path +
                             " is linked statically: no board can be put in front of its system calls");
  }
  Pipe output;
  Pipe errors;
  Pipe report;
  Config config = options.config;
  config.report_fd = report.ends[1];
  std::vector<std::string> arguments = options.program;
  if (!options.record.empty()) make_recording(options.record);
  std::vector<std::string> variables = environment_with(options, config, file);
  const std::vector<char*> argument_pointers = pointers_to(arguments);
  const std::vector<char*> variable_pointers = pointers_to(variables);
  const pid_t parent = getpid();
  pid_ = fork();
  if (pid_ < 0) throw std::runtime_error(std::string("no process can be started: ") + std::strerror(errno));
  if (pid_ == 0) {
    become(path.c_str(), argument_pointers.data(), variable_pointers.data(), output, errors, report, parent);
  }
  output_ = output.take_reading();
  errors_ = errors.take_reading();
  report.close_writing();
  try {
    pid_fd_ = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
    if (pid_fd_ < 0) throw std::runtime_error(std::string("pidfd_open: ") + std::strerror(errno));
    await_board(report.ends[0]);
  } catch (...) {
    kill(pid_, SIGKILL);
    wait();
    if (!options.record.empty()) remove_empty(options.record);
    throw;
  }
}

Child::~Child() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    wait();
  }
  for (const int fd : {pid_fd_, output_, errors_}) close(fd);
}

/// The board reports over a pipe that it is in place. A program that starts without it never does.
void Child::await_board(int report) {
  std::string text;
  std::array<char, 1024> part{};
  while (text != kInPlace) {
    pollfd awaited{report, POLLIN, 0};
    const int ready = poll(&awaited, 1, kPatience * 1000);
    if (ready < 0 && errno == EINTR) continue;
    if (ready == 0) {
      throw std::runtime_error("the board was not in place within " + std::to_string(kPatience) + " s");
    }
    const ssize_t size = ready > 0 ? read(report, part.data(), part.size()) : 0;
    if (size > 0) {
      text.append(part.data(), static_cast<std::size_t>(size));
      continue;
    }
    throw std::runtime_error(!text.empty() ? text : "the program started without the board in front of it");
  }
}

int Child::wait() {
  int status = 0;
  while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace boardsim
