// Every test code on every family of healthy boards, as one table. Fails when a family does not pass a code
// that it is given, or when a code takes another time than prescribed.
#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "boardsim/board.h"
#include "catalogue/catalogue.h"
#include "tests/harness/ask.h"
#include "tests/harness/console.h"
#include "tests/harness/station_link.h"
#include "tests/matrix/codes.h"
#include "tests/matrix/wait_matrix.h"

namespace {

/// A board passes what it is given. Whatever else it is asked, it answers; what no board can pass, it fails.
bool is_right(const catalogue::Test& test, bool given, const std::string& result) {
  if (given) return result == "Pass";
  return result == "Fail" || (result == "Pass" && (test.is_for_all || !test.families.empty()));
}

/// What the reply carries as its TestCode.
std::string replied_code(int code) {
  return "<TestCode>" + std::to_string(code == -16 ? 1024 : code) + "</TestCode>";
}

/// "Pass", "Fail", "none" when no reply came, or "code" when one came under another code. `taken`: virtual
/// time.
std::string run(int code, std::string_view family, boardsim::Time& taken) {
  boardsim::Board board(family);
  const Console console;
  StationLink station;
  start_anew();
  const boardsim::Time begin = board.now();
  ask(code);
  taken = board.now() - begin;
  if (!board.violations().empty()) return "!" + board.violations().front();
  const std::vector<std::string> texts = station.texts();
  station.reset();  // a close in good order would keep a port of the PC for a minute: runs are many
  if (texts.size() != 1) return "none";
  if (texts.front().find(replied_code(code)) == std::string::npos) return "code";
  return texts.front().find("<Value>Pass</Value>") != std::string::npos ? "Pass" : "Fail";
}

}  // namespace

int main() {
  std::printf(
      "Every code on every family of healthy boards; "
      "in brackets where the family is not given the code.\n\n");
  std::printf("%-36s", "code");
  for (const boardsim::Family& family : boardsim::families()) {
    std::printf(" %-*s", std::max(6, static_cast<int>(family.name.size())), family.name.data());
  }
  std::printf("\n");
  int given = 0;
  int failed = 0;
  int untimely = prescribes_what_exists() ? 0 : 1;
  for (const int code : test_codes()) {
    const catalogue::Test& test = *catalogue::find_test(code);
    std::printf("%6d %-29.*s", code, static_cast<int>(test.name.size()), test.name.data());
    std::vector<std::pair<std::string_view, boardsim::Time>> times;
    for (const boardsim::Family& family : boardsim::families()) {
      boardsim::Time taken{};
      const std::string result = run(code, family.name, taken);
      times.emplace_back(family.name, taken);
      const bool expected = catalogue::is_given(test, family.name);
      given += expected;
      failed += !is_right(test, expected, result);
      std::printf(" %-*s", std::max(6, static_cast<int>(family.name.size())),
                  (expected ? result : "(" + result + ")").c_str());
      std::fflush(stdout);
    }
    std::printf("\n");
    for (const auto& [family, taken] : times) untimely += !is_prescribed(code, family, taken);
  }
  std::printf("\n%d tests given to their family, %d failed; %d take another time than prescribed\n", given,
              failed, untimely);
  if (untimely > 0) std::printf("The times are the rows of tests/matrix/wait_matrix.cpp.\n");
  return failed + untimely == 0 ? 0 : 1;
}
