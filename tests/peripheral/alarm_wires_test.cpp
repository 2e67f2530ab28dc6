// What the alarm tests say of every single fault of the jig (a wrong wire, input or output, a shorted pair),
// on every kind of board with every code that it is given. docs/fault-matrix.md has each of them with its
// texts.
#include <gtest/gtest.h>
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "tests/matrix/faults.h"

namespace {

/// Codes whose texts name no port.
constexpr int kWithoutNames[] = {535, 69634};

bool names_ports(int code) {
  for (const int without : kWithoutNames) {
    if (code == without) return false;
  }
  return true;
}

/// Whether a text has the port's name in it, as a word.
bool contains_name(const std::string& line, const std::string& port) {
  for (std::size_t at = line.find(port); at != std::string::npos; at = line.find(port, at + 1)) {
    const std::size_t behind = at + port.size();
    if (behind == line.size() || std::isdigit(static_cast<unsigned char>(line[behind])) == 0) return true;
  }
  return false;
}

/// Whether a line says that something is wrong with a port: by its name, by its number, or by its bit in the
/// word.
bool names(const std::string& line, const std::string& port) {
  if (contains_name(line, port)) return true;
  if (port.starts_with("T") && line.starts_with("报警输入" + port.substr(1) + ",")) return true;
  unsigned word = 0;
  unsigned reference = 0;
  const std::size_t at = line.find("=0x");
  if (at == std::string::npos || std::sscanf(line.c_str() + at, "=0x%x,ref=0x%x", &word, &reference) != 2) {
    return false;
  }
  return port.starts_with("T") && ((word ^ reference) >> (std::stoi(port.substr(1)) - 1) & 1U) != 0;
}

std::vector<std::string> words_of(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

bool has_word(const char* text, const std::string& word) {
  return std::ranges::count(words_of(text), word) != 0;
}

/// Inputs or outputs of a jig in which a code does not see a fault.
struct HiddenFaults {
  int code;
  const char* families;
  const char* names;
};

// clang-format off
/// Inputs that are always at one level: shorted, they look as they should.
const HiddenFaults kAlikeInputs[] = {
    // One net: T3, T4 and SYNC on one contact. Boards with an alarm driver and MA boards have one each.
    {520, "normal 6455 6485 6484 k 68xx-fpga", "T3 T4 SYNC"},
    {521, "normal 6455 6485 6484",             "T3 T4 SYNC"},
    {528, "normal 6455 6485 6484",             "T3 T4 SYNC"},
    // Outputs that are always driven together.
    {518, "68xx-fpga",                         "T1 T2 T3 T4"},
    {518, "loop loop-c",                       "T1 T2"},
    {518, "loop loop-c",                       "T3 T4"},
    {519, "6444",                              "T1 T2 T3 T4"},
    {531, "65xx",                              "T1 T2 T3 T4 T5 T6 T7 T8 T9 T10"},
    {532, "65xx-level",                        "T1 T2 T3 T4 T5 T6 T7 T8"},
    {532, "65xx-level",                        "T9 T10"},
    {534, "6444-j",                            "T1 T3 T4"},
    // One input is read while the outputs of the other rest.
    {535, "rkd1 rkd2",                         "T1 T2"},
};
// clang-format on

/// Outputs of which several stand in a row before an input: one of them may be stuck closed.
const HiddenFaults kOutputsInARow[] = {
    {519, "6444", "F1 F2 F3"},   // T4
    {520, "ma", "F5 F6"},        // SYNC
    {530, "normal k", "F8 F9"},  // SYNC
};

/// Whether no input shows a fault, given in words.
bool is_hidden(const TestedBoard& board, int code, const std::vector<std::string>& fault) {
  const auto applies = [&](const HiddenFaults& row) {
    return row.code == code && has_word(row.families, board.family) && has_word(row.names, fault[1]);
  };
  if (fault[0] == "output") return fault[2] == "closed" && std::ranges::any_of(kOutputsInARow, applies);
  if (fault[0] != "short") return false;
  return std::ranges::any_of(
      kAlikeInputs, [&](const HiddenFaults& row) { return applies(row) && has_word(row.names, fault[2]); });
}

/// Whether a failed test names a port that the fault, given in words, is on. The text of an output is that of
/// its inputs.
bool names_port(const Outcome& outcome, const std::vector<std::string>& fault) {
  if (fault[0] == "output") return true;
  return std::ranges::any_of(outcome.lines, [&](const std::string& line) {
    return names(line, fault[1]) || (fault[0] == "short" && fault[2] != "GND" && names(line, fault[2]));
  });
}

class AlarmWiresTest : public ::testing::TestWithParam<TestedBoard> {};

INSTANTIATE_TEST_SUITE_P(Boards, AlarmWiresTest, ::testing::ValuesIn(tested_boards()), [](const auto& row) {
  std::string name = row.param.title();
  std::erase_if(name, [](char letter) { return std::isalnum(static_cast<unsigned char>(letter)) == 0; });
  return name;
});

TEST_P(AlarmWiresTest, EveryFaultFailsAndNamesItsPortUnlessNoInputShowsIt) {
  for (const int code : GetParam().codes) {
    for (const JigFault& fault : faults_of(GetParam(), code)) {
      SCOPED_TRACE(std::to_string(code) + ", " + fault.text);
      const Outcome outcome = run_alarm_code(GetParam(), code, fault.text);
      const std::vector<std::string> words = words_of(fault.text);
      EXPECT_EQ(outcome.passed, is_hidden(GetParam(), code, words));
      EXPECT_EQ(outcome.code, outcome.passed ? 0 : 10);
      EXPECT_EQ(outcome.lines.empty(), outcome.passed) << "a test that passes has nothing to say";
      EXPECT_TRUE(outcome.passed || !names_ports(code) || names_port(outcome, words));
    }
  }
}

}  // namespace
