// Every test code on every board family, with every call of the test failing in turn. After each fault the
// station must have its one reply, the right verdict, and its next request served.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <new>
#include <stdexcept>
#include <string>

#include "tests/sweep/judge.h"

namespace {

// clang-format off
constexpr int kCodes[] = {
    -16, -15, 513, 518, 519, 520, 521, 528, 530, 531, 532, 534, 535, 1024, 1536, 1792, 4352, 4608, 7426, 9472,
    9728, 9984, 10240, 10496, 10752, 10768, 10769, 11009, 11010, 11011, 11265, 11266, 11267, 11521, 11522, 11523,
    11776, 12032, 13568, 13824, 14592, 69633, 69634};
// clang-format on
constexpr unsigned long kShortStride = 151;  // of the short form: prime, so that it meets every kind of fault
constexpr unsigned kPatience = 20;           // seconds of the PC for one run before it counts as hanging
constexpr int kLate = 3;                     // exit status of a run that takes a day

/// What a worker has done so far; the process that started it sees it even when the worker crashes.
struct Progress {
  char fault[200];      ///< the one that is being tried, "" for the healthy run
  unsigned long index;  ///< its number, from 0
  unsigned long faults, tried, failed;
  bool done;
};

struct Sweep {
  bool list = false;
  unsigned long stride = kShortStride;
  std::FILE* out = stdout;
  unsigned long counted = 0, tried = 0, failed = 0, cells = 0;
};

void late() {
  _exit(kLate);
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

/// Prints and counts what is wrong with one outcome.
void report(Sweep& sweep, Progress& progress, std::string_view board, int code, const std::string& fault,
            const std::vector<std::string>& wrong, const Outcome& outcome) {
  if (sweep.list) {
    std::fprintf(sweep.out, "%s | %d | %s | %s\n", std::string(board).c_str(), code, fault.c_str(),
                 summary(outcome).c_str());
  }
  if (wrong.empty()) return;
  ++progress.failed;
  std::string line = replay_line(board, code, fault) + "  # ";
  for (std::size_t i = 0; i < wrong.size(); ++i) line.append(i == 0 ? "" : "; ").append(wrong[i]);
  std::fprintf(sweep.out, "%s\n", line.c_str());
  std::fflush(sweep.out);  // a crash must not take it along
}

/// One code on one board, from the fault with the number `first` on. Runs in a process of its own.
void work(Sweep& sweep, Progress& progress, std::string_view board, int code, unsigned long first) {
  progress.fault[0] = '\0';
  alarm(kPatience);
  const Outcome healthy = run(board, code, "", late);
  const Judge judge(code, board, healthy);
  if (first == 0) {
    report(sweep, progress, board, code, "", judge.complaints(nullptr, healthy), healthy);
  }
  const std::vector<Fault> faults = faults_of(healthy.trace);
  progress.faults = faults.size();
  for (unsigned long i = first; i < faults.size(); ++i) {
    if ((sweep.counted + i) % sweep.stride != 0) continue;
    const std::string text = faults[i].text();
    std::snprintf(progress.fault, sizeof progress.fault, "%s", text.c_str());
    progress.index = i;
    ++progress.tried;
    alarm(kPatience);
    const Outcome outcome = run(board, code, text, late);
    report(sweep, progress, board, code, text, judge.complaints(&faults[i], outcome), outcome);
  }
  progress.done = true;
}

/// What the program prints goes nowhere; what the sweep prints goes on.
void silence(Sweep& sweep) {
  sweep.out = fdopen(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0), "w");
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  dup2(nowhere, STDOUT_FILENO);
  dup2(nowhere, STDERR_FILENO);
  close(nowhere);
}

bool hangs(int status) {
  return WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM;
}

/// How a worker ended that did not come to its end.
std::string death(int status) {
  if (hangs(status)) return "hangs";
  if (WIFSIGNALED(status)) return "is ended by signal " + std::to_string(WTERMSIG(status));
  return WEXITSTATUS(status) == kLate ? "is not over in a day" : "ends the process";
}

/// Runs one code on one board in workers, each from where the one before ended.
void sweep_cell(Sweep& sweep, Progress& progress, std::string_view board, int code) {
  progress = {};
  unsigned long first = 0;
  bool tried_again = false;
  while (!progress.done) {
    std::fflush(nullptr);
    const pid_t worker = fork();
    if (worker == 0) {
      silence(sweep);
      work(sweep, progress, board, code, first);
      std::fclose(sweep.out);
      _exit(0);
    }
    int status = 0;
    if (worker < 0 || waitpid(worker, &status, 0) != worker) throw std::runtime_error("no process");
    if (progress.done) break;
    if (hangs(status) && !tried_again) {  // the PC may have been busy
      tried_again = true;
      first = progress.index;
      continue;
    }
    ++progress.failed;
    std::printf("%s  # %s\n", replay_line(board, code, progress.fault).c_str(), death(status).c_str());
    if (progress.fault[0] == '\0') break;  // not even the healthy run
    tried_again = false;
    first = progress.index + 1;
  }
  ++sweep.cells;
  sweep.counted += progress.faults;
  sweep.tried += progress.tried;
  sweep.failed += progress.failed;
}

/// One fault again, with the program's texts (GBK) and calls; in this process, so that a debugger sees it.
int replay(std::string_view board, int code, const std::string& text) {
  const Outcome healthy = run(board, code, "", late);
  const bool is_fault = text != "none";
  std::puts("---- with the fault");
  const Outcome outcome = is_fault ? run(board, code, text, late) : healthy;
  const Fault fault = is_fault ? parse_fault(text) : Fault{};
  std::puts("---- its calls");
  for (const boardsim::Call& call : outcome.trace) std::puts(call.timed_text().c_str());
  std::printf("---- %s\n", summary(outcome).c_str());
  const std::vector<std::string> wrong =
      Judge(code, board, healthy).complaints(is_fault ? &fault : nullptr, outcome);
  for (const std::string& what : wrong) std::printf("wrong: %s\n", what.c_str());
  return wrong.empty() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Fails every call of every test on every board family, and looks at what comes of it.");
  Sweep sweep;
  bool all = false;
  std::string only_board;
  int only_code = 0;
  std::string fault;
  app.add_flag("--all", all, "try every fault; without it every " + std::to_string(kShortStride) + "th");
  app.add_option("--stride", sweep.stride, "try every N-th fault")->check(CLI::PositiveNumber);
  app.add_option("--board", only_board, "this board family only");
  app.add_option("--code", only_code, "this test code only");
  app.add_option("--fault", fault, "this fault only, and show what happens; 'none' for none");
  app.add_flag("--list", sweep.list, "print what came of each fault");
  CLI11_PARSE(app, argc, argv);
  if (all) sweep.stride = 1;
  std::signal(SIGPIPE, SIG_IGN);  // as the server does
  if (!fault.empty()) return replay(only_board, only_code, fault);

  void* shared = mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) return 1;
  auto* progress = new (shared) Progress{};
  for (const int code : kCodes) {
    for (const boardsim::Family& family : boardsim::families()) {
      if (!only_board.empty() && family.name != only_board) continue;
      if (only_code == 0 || code == only_code) sweep_cell(sweep, *progress, family.name, code);
    }
  }
  std::printf("%lu of %lu faults tried in %lu tests on boards, %lu wrong\n", sweep.tried, sweep.counted,
              sweep.cells, sweep.failed);
  return sweep.failed == 0 && sweep.cells > 0 ? 0 : 1;
}
