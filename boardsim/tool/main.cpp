// boardsim: runs a board's program, unmodified, on a simulated board.
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>

#include "boardrec/session/recording.h"
#include "boardsim/tool/address.h"
#include "boardsim/tool/child.h"
#include "boardsim/tool/comparison.h"
#include "boardsim/tool/console_device.h"
#include "boardsim/tool/console_text.h"
#include "boardsim/tool/learning.h"
#include "boardsim/tool/options.h"
#include "boardsim/tool/state_folder.h"

namespace {

using namespace boardsim;

// What a user ends a launcher with.
constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP};
constexpr int kEndedBySignal = 128;  // and the signal's number

/// One of the program's two outputs, on its way to the launcher's own and to the console's device.
class Relay {
 public:
  /// `to`: -1 for nowhere.
  Relay(int from, int to, bool utf8, const ConsoleDevice* device)
      : from_(from), to_(to), utf8_(utf8), device_(device) {}

  /// -1 once the program has closed it.
  int source() const { return from_; }

  /// Passes on what can be read.
  void run() {
    std::array<char, 4096> bytes{};
    const ssize_t size = read(from_, bytes.data(), bytes.size());
    if (size < 0 && errno == EINTR) return;
    if (size <= 0) {
      from_ = -1;
      if (utf8_) write_all(text_.finish());
      return;
    }
    const std::string_view part(bytes.data(), static_cast<std::size_t>(size));
    if (device_ != nullptr) device_->print(part);
    write_all(utf8_ ? text_.convert(part) : std::string(part));
  }

 private:
  void write_all(std::string_view text) const {
    while (to_ >= 0 && !text.empty()) {
      const ssize_t written = write(to_, text.data(), text.size());
      if (written < 0 && errno != EINTR) return;
      if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
    }
  }

  int from_;
  int to_;
  bool utf8_;
  const ConsoleDevice* device_;
  ConsoleText text_{};
};

/// Signals that end a launcher are passed on to the program instead; they arrive at the returned descriptor.
int signals_to_pass_on() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : kSignals) sigaddset(&signals, signal);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  signal(SIGPIPE, SIG_IGN);
  return signalfd(-1, &signals, SFD_CLOEXEC);
}

void pass_on_signal(int signals, pid_t pid) {
  signalfd_siginfo info{};
  if (read(signals, &info, sizeof info) == sizeof info) kill(pid, static_cast<int>(info.ssi_signo));
}

/// Passes output and signals on until the program has ended and everything that it printed was shown.
int run_to_the_end(Child& child, int signals, const Options& options, const ConsoleDevice* device) {
  // What a comparison prints is read by tools.
  const int shown_at = options.compare.empty() ? STDOUT_FILENO : -1;
  Relay output(child.output(), shown_at, options.utf8_console, device);
  Relay errors(child.errors(), STDERR_FILENO, options.utf8_console, device);
  bool alive = true;
  while (alive || output.source() >= 0 || errors.source() >= 0) {
    std::array<pollfd, 4> awaited{{{output.source(), POLLIN, 0},
                                   {errors.source(), POLLIN, 0},
                                   {signals, POLLIN, 0},
                                   {alive ? child.pid_fd() : -1, POLLIN, 0}}};
    if (poll(awaited.data(), awaited.size(), -1) < 0) continue;
    if (awaited[0].revents != 0) output.run();
    if (awaited[1].revents != 0) errors.run();
    if (awaited[2].revents != 0) pass_on_signal(signals, child.pid());
    if (awaited[3].revents != 0) alive = false;
  }
  return child.wait();
}

void announce(const Config& config) {
  Board board(config.board);
  set_up_board(board, config);
  std::printf("boardsim: board %s (0x%x) at %s:%d\n", config.board.c_str(), config.type,
              service_address(board).c_str(), kServicePort);
  std::fflush(stdout);
}

void announce_replay(const Options& options) {
  const std::string& file = options.replay;
  const boardrec::Recording recording = boardrec::read_recording(file);
  const double seconds = static_cast<double>(recording.records.back().ended) / 1e9;
  std::printf("boardsim: replays %s: %zu records, %.3f s\n", file.c_str(), recording.records.size(), seconds);
  if (!recording.broken.empty()) std::printf("boardsim: %s\n", recording.broken.c_str());
  std::fflush(stdout);
}

/// The program's exit status.
int run_on_board(Options& options, int signals) {
  Config& config = options.config;
  if (!config.state.empty()) use_state(config.state, config.board);
  const OwnAddress address(options.address);
  config.own_address = address.text();
  config.interfaces.emplace("eth0", address.text());
  std::optional<ConsoleDevice> device;
  if (!options.console_tty.empty()) device.emplace(options.console_tty);
  if (options.compare.empty()) announce(config);
  Child child(options);
  const int status = run_to_the_end(child, signals, options, device ? &*device : nullptr);
  if (device) device->wait_for_readers();
  for (const std::string& path : {config.control, config.uart1, options.console_tty}) {
    std::error_code ignored;
    if (!path.empty()) std::filesystem::remove(path, ignored);
  }
  return status;
}

int launch(Options& options) {
  const int signals = signals_to_pass_on();
  if (!options.replay.empty()) {
    announce_replay(options);
    Child child(options);
    return run_to_the_end(child, signals, options, nullptr);
  }
  if (options.compare.empty()) return run_on_board(options, signals);
  const ComparedSession session(options);
  const int status = run_on_board(options, signals);
  const bool was_stopped =
      std::ranges::any_of(kSignals, [status](int signal) { return status == kEndedBySignal + signal; });
  if (was_stopped) return status;
  if (!options.learn.empty()) keep_learned(session.recording(), options.config.board, options.learn);
  return session.report(options);
}

}  // namespace

int main(int argc, char** argv) {
  int exit_code = 0;
  std::optional<Options> options = read_options(argc, argv, exit_code);
  if (!options) return exit_code;
  try {
    return launch(*options);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "boardsim: %s\n", error.what());
    return kExitBroken;
  }
}
