// Every test code on every family of healthy boards, as one table. Fails when a family does not pass a code
// that it is given.
#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/board.h"
#include "catalogue/catalogue.h"
#include "tests/harness/ask.h"
#include "tests/harness/console.h"
#include "tests/harness/station_link.h"
#include "tests/matrix/codes.h"

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

/// "Pass", "Fail", "none" when no reply came, or "code" when one came under another code.
std::string run(int code, std::string_view family) {
  boardsim::Board board(family);
  const Console console;
  StationLink station;
  start_anew();
  ask(code);
  if (!board.violations().empty()) return "!" + board.violations().front();
  const std::vector<std::string> texts = station.texts();
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
  for (const int code : test_codes()) {
    const catalogue::Test& test = *catalogue::find_test(code);
    std::printf("%6d %-29.*s", code, static_cast<int>(test.name.size()), test.name.data());
    for (const boardsim::Family& family : boardsim::families()) {
      const std::string result = run(code, family.name);
      const bool expected = catalogue::is_given(test, family.name);
      given += expected;
      failed += !is_right(test, expected, result);
      std::printf(" %-*s", std::max(6, static_cast<int>(family.name.size())),
                  (expected ? result : "(" + result + ")").c_str());
      std::fflush(stdout);
    }
    std::printf("\n");
  }
  std::printf("\n%d tests given to their family, %d failed\n", given, failed);
  return failed == 0 ? 0 : 1;
}
