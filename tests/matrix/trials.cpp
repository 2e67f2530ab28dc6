// Each trial runs in a process of its own: a test that the fault holds for ever can be ended.
#include "tests/matrix/trials.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "boardsim/board.h"
#include "tests/harness/ask.h"
#include "tests/harness/console.h"
#include "tests/harness/station_link.h"

namespace {

using namespace std::chrono_literals;

/// What a test does on a healthy board.
struct Healthy {
  std::string_view family;
  std::string fixture;
  std::vector<boardsim::Call> calls;
};

Answer answer_of(StationLink& station) {
  const std::vector<std::string> texts = station.texts();
  if (texts.size() != 1) throw std::runtime_error(std::to_string(texts.size()) + " replies");
  return texts.front().find("<Value>Pass</Value>") != std::string::npos ? Answer::pass : Answer::fail;
}

Healthy run_healthy(int code, std::string_view family) {
  boardsim::Board board(family);
  const Console console;
  StationLink station;
  start_anew();
  board.clear_trace();
  ask(code);
  if (answer_of(station) != Answer::pass) throw std::runtime_error(std::to_string(code) + " does not pass");
  Healthy healthy{family, std::string(board->rs485.fixture().name), board.trace()};
  station.reset();  // a close in good order would keep a port of the PC for a minute: runs are many
  return healthy;
}

bool is_alike(const Healthy& one, const Healthy& other) {
  return std::ranges::equal(one.calls, other.calls, [](const boardsim::Call& a, const boardsim::Call& b) {
    return a.text() == b.text();
  });
}

[[noreturn]] void end_with(Answer answer) {
  std::fflush(nullptr);
  _exit(static_cast<int>(answer));
}

/// What is thrown in here ends the process: no verdict may come of it.
[[noreturn]] void run_with(const std::string& fault, int code, std::string_view family) noexcept {
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  dup2(nowhere, STDOUT_FILENO);
  dup2(nowhere, STDERR_FILENO);
  boardsim::Board board(family);
  StationLink station;
  start_anew();
  board.fault(fault);
  board.at(board.now() + 24h, [] { end_with(Answer::held); });
  ask(code);
  const Answer answer = answer_of(station);
  station.reset();
  end_with(answer);
}

Answer try_fault(const std::string& fault, int code, std::string_view family) {
  std::fflush(nullptr);
  const pid_t process = fork();
  if (process == 0) run_with(fault, code, family);
  int status = 0;
  if (process < 0 || waitpid(process, &status, 0) != process) throw std::runtime_error("no process");
  if (!WIFEXITED(status) || WEXITSTATUS(status) > static_cast<int>(Answer::held))
    throw std::runtime_error("code " + std::to_string(code) + " with " + fault + " ends its process");
  return static_cast<Answer>(WEXITSTATUS(status));
}

}  // namespace

std::vector<Trials> try_code(const catalogue::Test& test) {
  std::vector<Trials> all;
  std::vector<Healthy> known;
  for (const boardsim::Family& family : boardsim::families()) {
    if (!catalogue::is_given(test, family.name)) continue;
    Healthy healthy = run_healthy(test.code, family.name);
    const auto same = std::ranges::find_if(known, [&](const Healthy& one) { return is_alike(one, healthy); });
    if (same != known.end()) {
      all[static_cast<std::size_t>(same - known.begin())].families.push_back(family.name);
    } else {
      known.push_back(std::move(healthy));
      all.push_back({test.code, {family.name}, {}});
    }
  }
  const bool has_jig = test.name.starts_with("alarm");
  for (std::size_t i = 0; i < all.size(); ++i) {
    for (TestFault& fault : test_faults(known[i].calls, known[i].fixture, has_jig)) {
      // Where it passes that all calls fail, it says nothing that the later ones may fail.
      if (fault.kind == FaultKind::later && all[i].all.back().answer == Answer::pass) continue;
      const Answer answer = try_fault(fault.text, test.code, known[i].family);
      all[i].all.push_back({std::move(fault), answer});
    }
  }
  return all;
}
