// Every test code on every family of healthy boards, as one table. Fails when a family does not pass a code
// that it is given.
#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/board.h"
#include "tests/harness/ask.h"
#include "tests/harness/console.h"
#include "tests/harness/station_link.h"
#include "tests/matrix/codes.h"
#include "tests/matrix/given.h"

namespace {

/// A board passes what it is given. Whatever else it is asked, it answers; what no board can pass, it fails.
bool is_right(const GivenCode& row, bool given, const std::string& result) {
  if (given) return result == "Pass";
  return result == "Fail" || (result == "Pass" && !is_given_to_nobody(row));
}

/// What the reply carries as its TestCode.
std::string replied_code(int code) {
  return "<TestCode>" + std::to_string(code == -16 ? 1024 : code) + "</TestCode>";
}

/// "Pass", "Fail", "none" when no reply came, or "code" when one came under another code.
std::string run(const GivenCode& row, std::string_view family) {
  boardsim::Board board(family);
  const Console console;
  StationLink station;
  start_anew();
  ask(row.code);
  if (!board.violations().empty()) return "!" + board.violations().front();
  const std::vector<std::string> texts = station.texts();
  if (texts.size() != 1) return "none";
  if (texts.front().find(replied_code(row.code)) == std::string::npos) return "code";
  return texts.front().find("<Value>Pass</Value>") != std::string::npos ? "Pass" : "Fail";
}

}  // namespace

int main() {
  if (!std::ranges::equal(given_codes(), kTestCodes, {}, &GivenCode::code)) {
    std::printf("tests/matrix/given.cpp has other codes than tests/matrix/codes.h\n");
    return 1;
  }
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
  for (const GivenCode& row : given_codes()) {
    std::printf("%6d %-29s", row.code, row.name);
    for (const boardsim::Family& family : boardsim::families()) {
      const std::string result = run(row, family.name);
      const bool expected = is_given(row, family.name);
      given += expected;
      failed += !is_right(row, expected, result);
      std::printf(" %-*s", std::max(6, static_cast<int>(family.name.size())),
                  (expected ? result : "(" + result + ")").c_str());
      std::fflush(stdout);
    }
    std::printf("\n");
  }
  std::printf("\n%d tests given to their family, %d failed\n", given, failed);
  return failed == 0 ? 0 : 1;
}
