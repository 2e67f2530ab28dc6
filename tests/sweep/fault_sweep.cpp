// Every test code on every board family, with every call of the test failing in turn. After each fault the
// station must have its one reply, the right verdict, and its next request served.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/matrix/codes.h"
#include "tests/sweep/self_test.h"
#include "tests/sweep/sweep.h"

namespace {

// Of the short form: prime, so that it meets every kind of fault.
constexpr unsigned long kShortStride = 1009;

std::vector<std::string> board_names() {
  std::vector<std::string> names;
  for (const boardsim::Family& family : boardsim::families()) names.emplace_back(family.name);
  return names;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Fails every call of every test on every board family, and looks at what comes of it.");
  Sweep sweep{.stride = kShortStride};
  bool all = false;
  bool self_test = false;
  std::string only_board;
  int only_code = 0;
  std::string fault;
  const std::vector<int> codes = test_codes();
  app.add_flag("--all", all, "try every fault; without it one of each code, board, call and node");
  app.add_option("--stride", sweep.stride, "of each code, board, call and node every N-th fault")
      ->check(CLI::PositiveNumber);
  auto* board = app.add_option("--board", only_board, "this board family only");
  auto* code = app.add_option("--code", only_code, "this test code only");
  board->check(CLI::IsMember(board_names()));
  code->check(CLI::IsMember(codes));
  app.add_option("--fault", fault, "this fault only, and show what happens; 'none' for none")
      ->needs(board)
      ->needs(code);
  app.add_flag("--list", sweep.list, "print what came of each fault");
  app.add_flag("--self-test", self_test,
               "plant one wrong outcome after another, and see whether it is found");
  CLI11_PARSE(app, argc, argv);
  std::signal(SIGPIPE, SIG_IGN);  // as the server does
  if (self_test) return finds_what_is_planted() ? 0 : 1;
  if (!fault.empty()) return replay(only_board, only_code, fault) ? 0 : 1;

  if (all) sweep.stride = 1;
  sweep.short_form = sweep.stride == kShortStride;
  for (const int one : codes) {
    for (const std::string& name : board_names()) {
      if (!only_board.empty() && name != only_board) continue;
      if (only_code == 0 || one == only_code) sweep_cell(sweep, name, one);
    }
  }
  std::printf("%lu of %lu faults tried in %lu tests on boards, %lu of them undecided, %lu wrong\n",
              sweep.tried, sweep.counted, sweep.cells, sweep.undecided, sweep.failed);
  if (sweep.failed == 0) return 0;
  std::printf(
      "What is right is in tables: times and what stays open in tests/sweep/judge.cpp, replies in "
      "tests/sweep/verdict.cpp.\n");
  return 1;
}
