// Workers: processes that each try the faults of one code on one board, and report what is wrong.
#include "tests/sweep/sweep.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <functional>
#include <map>
#include <new>
#include <optional>
#include <stdexcept>

#include "tests/sweep/judge.h"

namespace {

constexpr unsigned kPatience = 20;  // seconds of the PC for one run before it counts as hanging
constexpr unsigned long kKnownStride = 7;
constexpr int kLate = 3;  // exit status of a run that takes a day

/// What a worker has done so far; the process that started it sees it even when the worker crashes.
struct Progress {
  char fault[200];   ///< the one that is being tried, "" for the healthy run
  std::size_t next;  ///< how many of the chosen faults are behind it, this one included
  std::size_t way;   ///< what the healthy run is known by
  unsigned long faults, tried, undecided, failed;
  bool done;
};

Progress& shared_progress() {
  static void* memory =
      mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::runtime_error("no memory");
  return *new (memory) Progress{};
}

std::string replay_line(std::string_view board, int code, const std::string& fault) {
  std::string line = "fault_sweep --board " + std::string(board) + " --code " + std::to_string(code);
  return fault.empty() ? line + " --fault none" : line + " --fault '" + fault + "'";
}

std::string summary(const Outcome& outcome) {
  std::string text;
  for (const std::string& reply : outcome.replies) text += reply + " ";
  if (outcome.replies.empty()) text = "no reply ";
  text += std::to_string(outcome.took.count() / 1000) + " ms, open:";
  for (const std::string& name : outcome.left_open) text += " " + name;
  return text;
}

/// What a run of a code is known by: the same for the same calls.
std::size_t way_of(int code, const std::vector<boardsim::Call>& trace) {
  std::string text = std::to_string(code);
  for (const boardsim::Call& call : trace) text += call.name + call.node + std::to_string(call.request);
  return std::hash<std::string>{}(text);
}

/// The faults that are tried: of each call on each node at least one, another one on another board. The short
/// form is satisfied with some of the calls on a board where the test goes a way that it has gone before.
std::vector<Fault> chosen(const Sweep& sweep, std::size_t way, const std::vector<Fault>& faults) {
  std::map<std::pair<std::string, std::string>, std::vector<const Fault*>> groups;
  for (const Fault& fault : faults) groups[{fault.call, fault.node}].push_back(&fault);
  const unsigned long every = sweep.short_form && sweep.met.contains(way) ? kKnownStride : 1;
  std::vector<Fault> some;
  unsigned long number = sweep.cells;
  for (const auto& [target, group] : groups) {
    if (number++ % every != 0) continue;
    const std::size_t first = sweep.counted % std::min(group.size(), std::size_t{sweep.stride});
    for (std::size_t i = first; i < group.size(); i += sweep.stride) {
      if (sweep.only.empty() || group[i]->text() == sweep.only) some.push_back(*group[i]);
    }
  }
  return some;
}

/// One code on one board. Lives in a process of its own.
class Worker {
 public:
  Worker(const Sweep& sweep, Progress& progress, std::string_view board, int code)
      : sweep_(sweep), progress_(progress), board_(board), code_(code) {
    silence();
    alarm(kPatience);
    healthy_ = sweep_.run_one(board_, code_, {}, late);
    enter_levels(board_, code_, healthy_);
    judge_.emplace(code_, board_, healthy_);
  }
  ~Worker() { std::fclose(out_); }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  /// Tries the faults from the `first` of the chosen ones on.
  void work(std::size_t first) {
    if (first == 0) report("", judge_->complaints(nullptr, healthy_, nullptr), healthy_);
    const std::vector<Fault> faults = faults_of(healthy_.trace);
    progress_.faults = faults.size();
    progress_.way = way_of(code_, healthy_.trace);
    const std::vector<Fault> some = chosen(sweep_, progress_.way, faults);
    for (std::size_t i = first; i < some.size(); ++i) {
      std::snprintf(progress_.fault, sizeof progress_.fault, "%s", some[i].text().c_str());
      progress_.next = i + 1;
      try_one(some[i]);
      ++progress_.tried;
    }
    progress_.done = true;
  }

 private:
  /// What the program prints goes nowhere; what the sweep prints goes on.
  void silence() {
    out_ = fdopen(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0), "w");
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    close(nowhere);
  }

  Outcome under(const Fault& fault) const {
    alarm(kPatience);
    return sweep_.run_one(board_, code_, laid(fault, healthy_.trace), late);
  }

  void try_one(const Fault& fault) {
    const Outcome outcome = under(fault);
    const std::optional<Fault> twin = judge_->twin(fault);
    if (twin && !twins_.contains(twin->text())) twins_[twin->text()] = under(*twin).replies;
    const auto* replies = twin ? &twins_[twin->text()] : nullptr;
    progress_.undecided += judge_->is_undecided(fault);
    report(fault.text(), judge_->complaints(&fault, outcome, replies), outcome);
  }

  /// Prints and counts what is wrong with one outcome.
  void report(const std::string& fault, const std::vector<std::string>& wrong, const Outcome& outcome) {
    if (sweep_.list) {
      std::fprintf(out_, "%s | %d | %s | %s\n", board_.c_str(), code_, fault.c_str(),
                   summary(outcome).c_str());
    }
    if (wrong.empty()) return;
    ++progress_.failed;
    std::string line = replay_line(board_, code_, fault) + "  # ";
    for (std::size_t i = 0; i < wrong.size(); ++i) line.append(i == 0 ? "" : "; ").append(wrong[i]);
    std::fprintf(out_, "%s\n", line.c_str());
    std::fflush(out_);  // a crash must not take it along
  }

  const Sweep& sweep_;
  Progress& progress_;
  const std::string board_;
  const int code_;
  std::FILE* out_ = nullptr;
  Outcome healthy_;
  std::optional<Judge> judge_;
  std::map<std::string, std::vector<std::string>> twins_;  // what they reply: several faults have the same
};

bool hangs(int status) {
  return WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM;
}

/// How a worker ended that did not come to its end.
std::string death(int status) {
  if (hangs(status)) return "hangs";
  if (WIFSIGNALED(status)) return "is ended by signal " + std::to_string(WTERMSIG(status));
  return WEXITSTATUS(status) == kLate ? "is not over in a day" : "ends the process";
}

}  // namespace

void late() {
  _exit(kLate);
}

void sweep_cell(Sweep& sweep, std::string_view board, int code) {
  Progress& progress = shared_progress();
  std::size_t first = 0;
  bool tried_again = false;
  while (!progress.done) {
    std::fflush(nullptr);
    const pid_t process = fork();
    if (process == 0) {
      Worker(sweep, progress, board, code).work(first);
      _exit(0);
    }
    int status = 0;
    if (process < 0 || waitpid(process, &status, 0) != process) throw std::runtime_error("no process");
    if (progress.done) break;
    if (hangs(status) && !tried_again) {  // the PC may have been busy
      tried_again = true;
      first = progress.next == 0 ? 0 : progress.next - 1;
      continue;
    }
    ++progress.failed;
    progress.tried += progress.fault[0] != '\0';
    std::printf("%s  # %s\n", replay_line(board, code, progress.fault).c_str(), death(status).c_str());
    if (progress.fault[0] == '\0') break;  // not even the healthy run
    tried_again = false;
    first = progress.next;
  }
  ++sweep.cells;
  sweep.met.insert(progress.way);
  sweep.counted += progress.faults;
  sweep.tried += progress.tried;
  sweep.undecided += progress.undecided;
  sweep.failed += progress.failed;
}

bool replay(std::string_view board, int code, const std::string& text) {
  Outcome healthy = run(board, code, {}, late);
  enter_levels(board, code, healthy);
  const Judge judge(code, board, healthy);
  const bool is_fault = text != "none";
  const Fault fault = is_fault ? parse_fault(text) : Fault{};
  const std::optional<Fault> twin = is_fault ? judge.twin(fault) : std::nullopt;
  std::vector<std::string> replies;
  if (twin) replies = run(board, code, laid(*twin, healthy.trace), late).replies;
  std::puts("---- with the fault");
  const Outcome outcome = is_fault ? run(board, code, laid(fault, healthy.trace), late) : healthy;
  std::puts("---- its calls");
  for (const boardsim::Call& call : outcome.trace) std::puts(call.timed_text().c_str());
  std::printf("---- %s\n", summary(outcome).c_str());
  const auto wrong = judge.complaints(is_fault ? &fault : nullptr, outcome, twin ? &replies : nullptr);
  for (const std::string& what : wrong) std::printf("wrong: %s\n", what.c_str());
  return wrong.empty();
}
