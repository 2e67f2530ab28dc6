// Every test code on every family of healthy boards, as one table. Fails when a family does not pass a code
// that it is given.
#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/board.h"
#include "tests/harness/ask.h"
#include "tests/harness/console.h"
#include "tests/harness/station_link.h"
#include "tests/matrix/codes.h"

namespace {

using Names = std::vector<std::string_view>;

/// A test code and who is given it.
struct Row {
  int code;
  const char* name;
  Names families;  ///< empty: every family
};

// tests/docs_test.sh reads these and the rows line by line.
// clang-format off
const Names kNobody = {"-"};
const Names kCcd = {"6455", "6485", "6484"};
const Names kExpandable = {"normal", "6455", "6485", "6484"};
const Names kModels = {"normal", "k", "6444", "6444-j", "ma", "65xx", "6455", "6485", "65xx-level", "6484"};

const std::vector<Row> kRows = {
    {  -16, "RS485 pan and tilt", {}},
    {  -15, "restart", {}},
    {  513, "alarm 1 in 1 out", {"63xx"}},
    {  518, "alarm 4 in 5 out", {"loop", "loop-c", "68xx-fpga"}},
    {  519, "alarm 4 in 7 out", {"6444"}},
    {  520, "alarm 5 in 3 out", {"normal", "k", "68xx", "68xx-fpga", "ma", "rkd1", "rkd2", "6455", "6485", "6484"}},
    {  521, "alarm 5 in 4 out", kExpandable},
    {  528, "alarm 5 in 5 out", kExpandable},
    {  530, "alarm 8 in 9 out", {"k"}},
    {  531, "alarm 10 in 10 out, switched", {"65xx"}},
    {  532, "alarm 10 in 10 out, levels", {"65xx-level"}},
    {  534, "alarm 3 in 2 out", {"6444-j"}},
    {  535, "alarm 2 in 4 out", {"rkd1", "rkd2"}},
    { 1024, "RS485", {}},
    { 1536, "clock", {}},
    { 1792, "IR-cut filter", {}},
    { 4352, "SD card", {}},
    { 4608, "USB", {}},
    { 7426, "temperature", {}},
    { 9472, "auto-iris", {}},
    { 9728, "set Vsub, 6455", {"6455"}},
    { 9984, "set Vsub, 6485", {"6485"}},
    {10240, "set Vsub, 6484", {"6484"}},
    {10496, "set TG parameters", kModels},
    {10752, "show TG parameters", {}},
    {10768, "auto back focus", {}},
    {10769, "MA self-test", {"ma"}},
    {11009, "raise Vsub, 6455", {"6455"}},
    {11010, "lower Vsub, 6455", {"6455"}},
    {11011, "save Vsub, 6455", {"6455"}},
    {11265, "raise Vsub, 6485", {"6485"}},
    {11266, "lower Vsub, 6485", {"6485"}},
    {11267, "save Vsub, 6485", {"6485"}},
    {11521, "raise Vsub, 6484", {"6484"}},
    {11522, "lower Vsub, 6484", {"6484"}},
    {11523, "save Vsub, 6484", {"6484"}},
    {11776, "automatic level", kCcd},
    {12032, "show Vsub", kNobody},  // fails on every board: no eMMC holds the pairs of a sweep
    {13568, "dead pixels", {}},
    {13824, "flat field", {}},
    {14592, "light", {}},
    {69633, "steady light", {}},
    {69634, "alarm 1 in 3 out", {"rkd1", "rkd2"}},
};
// clang-format on

bool is_given(const Row& row, std::string_view family) {
  return row.families.empty() || std::ranges::find(row.families, family) != row.families.end();
}

/// A board passes what it is given. Whatever else it is asked, it answers; what no board can pass, it fails.
bool is_right(const Row& row, bool given, const std::string& result) {
  if (given) return result == "Pass";
  return result == "Fail" || (result == "Pass" && row.families != kNobody);
}

/// What the reply carries as its TestCode.
std::string replied_code(int code) {
  return "<TestCode>" + std::to_string(code == -16 ? 1024 : code) + "</TestCode>";
}

/// "Pass", "Fail", "none" when no reply came, or "code" when one came under another code.
std::string run(const Row& row, std::string_view family) {
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
  if (!std::ranges::equal(kRows, kTestCodes, {}, &Row::code)) {
    std::printf("the rows are not those of tests/matrix/codes.h\n");
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
  for (const Row& row : kRows) {
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
