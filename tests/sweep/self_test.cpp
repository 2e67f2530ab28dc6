// Runs that lie under one fault, or die of it.
#include "tests/sweep/self_test.h"

#include <sys/mman.h>
#include <unistd.h>
#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/sweep/sweep.h"

namespace {

using namespace std::chrono_literals;

/// One wrong outcome, and what the sweep has to say of it.
struct Planted {
  std::string_view board;
  int code;
  std::string fault;  ///< empty: the healthy run
  void (*spoil)(Outcome& outcome);
  std::string complaint;
};

void passes(Outcome& outcome) {
  outcome.replies = {"Pass"};
}

void fails(Outcome& outcome) {
  outcome.replies = {"Fail"};
}

/// The other reply, whichever it was.
void turns(Outcome& outcome) {
  outcome.replies = {outcome.replies.at(0) == "Pass" ? "Fail" : "Pass"};
}

/// A sanitizer would turn the signal into an exit of its own.
void crash(Outcome&) {
  std::signal(SIGSEGV, SIG_DFL);
  std::raise(SIGSEGV);
}

const std::string kNoClock = "open /dev/rtc #1 ENODEV";
// T1's check reads the five inputs with its output off, then on: T1 is high, then low.
const std::string kHighInput = "ioctl /dev/qznio 0x80044703 #1 EIO";
const std::string kOtherInput = "ioctl /dev/qznio 0x80044703 #2 EIO";  // T2: high, but not looked at
const std::string kLowInput = "ioctl /dev/qznio 0x80044703 #6 EIO";
const std::string kNotJudged = "fails for what is not judged";

const Planted kPlanted[] = {
    {"normal", 1536, "", [](Outcome& o) { o.replies.clear(); }, "0 replies"},
    {"normal", 1536, kNoClock, [](Outcome& o) { o.replies.clear(); }, "0 replies"},
    {"normal", 1536, kNoClock,
     [](Outcome& o) {
       o.replies = {"Fail", "Fail"};
     },
     "2 replies"},
    {"normal", 1536, kNoClock, [](Outcome& o) { o.replies = {"?"}; }, "no reply that a station understands"},
    {"normal", 1536, "send #1 EPIPE", passes, "replies although nothing could be sent"},
    {"normal", 1536, "select #1 time-out", passes, "replies although nothing could be sent"},
    {"normal", 1536, kNoClock, [](Outcome& o) { o.left_open = {"/dev/rtc"}; }, "leaves /dev/rtc open"},
    {"normal", 513, "", [](Outcome& o) { o.left_open.clear(); }, "closes /dev/qznio"},
    {"normal", 1536, kNoClock, [](Outcome& o) { o.took = 1h; }, "takes 3600000 ms"},
    {"normal", 1536, kNoClock, [](Outcome& o) { o.next = "0 replies"; }, "the next request gets 0 replies"},
    {"normal", 1536, kNoClock, [](Outcome& o) { o.violations = {"fork"}; }, "calls what no board has: fork"},
    {"normal", 1536, kNoClock, crash, "is ended by signal 11"},
    {"normal", 1536, kNoClock, [](Outcome&) { std::raise(SIGALRM); }, "hangs"},
    {"normal", 1536, kNoClock, [](Outcome&) { late(); }, "is not over in a day"},
    {"normal", 1536, kNoClock, [](Outcome&) { _exit(0); }, "ends the process"},
    {"normal", 1536, "", crash, "is ended by signal 11"},
    // Verdicts: what must be noticed, what nobody looks at, what depends on the board.
    {"normal", 1536, kNoClock, passes, "passes"},
    {"normal", 1536, "close /dev/rtc #1 EIO", fails, kNotJudged},
    {"ma", 9728, "open /dev/qznio #2 EMFILE", passes, ""},
    {"normal", 12032, "close /dev/mmcblk0p7 #1 EIO", passes, "passes"},
    {"normal", 520, kLowInput, fails, kNotJudged},
    {"normal", 520, kHighInput, passes, "passes"},
    {"normal", 520, kOtherInput, fails, kNotJudged},
    {"normal", 520, "ioctl /dev/qznitc 0x0000888b #2 EIO", fails, kNotJudged},
    {"normal", 520, "open /dev/qznio #4 EMFILE", fails, kNotJudged},
    {"normal", 520, "ioctl /dev/fpga 0x40044603 #6 EIO", turns,
     "replies otherwise than when the call succeeds without effect"},
    {"loop", 518, "open /dev/alarm #3 EMFILE", turns,
     "replies otherwise than when the call succeeds without effect"},
    {"rkd1", 69634, "ioctl /dev/qznio #50+ EIO", passes, "passes"},
    {"normal", 10496, "read /devinfo/TG.bin #1 short 0", passes, "passes"},
    {"normal", 10496, "read /devinfo/TG.bin #1 short 1", fails, kNotJudged},
    {"ma", 1792, "open /dev/motor #1 EMFILE", [](Outcome& o) { o.took = 60ms; }, "takes 60 ms"},
};

const Planted* g_planted = nullptr;

Outcome run_with_it(std::string_view family, int code, const std::vector<std::string>& faults,
                    void (*on_late)()) {
  Outcome outcome = run(family, code, faults, on_late);
  const std::vector<std::string> due =
      g_planted->fault.empty() ? std::vector<std::string>{} : std::vector{g_planted->fault};
  if (faults == due) g_planted->spoil(outcome);
  return outcome;
}

/// What the sweep prints of a cell.
std::string printed(Sweep& sweep, const Planted& planted) {
  std::fflush(stdout);
  const int console = dup(STDOUT_FILENO);
  const int file = memfd_create("printed", MFD_CLOEXEC);
  dup2(file, STDOUT_FILENO);
  sweep_cell(sweep, planted.board, planted.code);
  std::fflush(stdout);
  dup2(console, STDOUT_FILENO);
  close(console);
  std::string text(static_cast<std::size_t>(lseek(file, 0, SEEK_END)), '\0');
  const ssize_t got = pread(file, text.data(), text.size(), 0);
  close(file);
  return text.substr(0, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
}

std::string expected(const Planted& planted) {
  if (planted.complaint.empty()) return "";
  const std::string fault = planted.fault.empty() ? "none" : "'" + planted.fault + "'";
  return "fault_sweep --board " + std::string(planted.board) + " --code " + std::to_string(planted.code) +
         " --fault " + fault + "  # " + planted.complaint + "\n";
}

}  // namespace

bool finds_what_is_planted() {
  bool all = true;
  for (const Planted& planted : kPlanted) {
    g_planted = &planted;
    Sweep sweep{.only = planted.fault.empty() ? "none" : planted.fault, .run_one = run_with_it};
    const std::string text = printed(sweep, planted);
    const bool is_tried = planted.fault.empty() || sweep.tried > 0;
    if (text == expected(planted) && is_tried) continue;
    all = false;
    std::printf("planted: %sfound: %s\n", expected(planted).c_str(),
                is_tried ? text.c_str() : "the fault is not tried");
  }
  return all;
}
