// What the alarm tests say of every single cut wire and every shorted pair, on every kind of board with every
// code that it is given.
#include <gtest/gtest.h>
#include <algorithm>
#include <cctype>
#include <cstdint>
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

bool any_names(const Outcome& outcome, const std::string& port) {
  for (const std::string& line : outcome.lines) {
    if (names(line, port)) return true;
  }
  return false;
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

/// Inputs of a jig that a code always expects at one level: shorted, they look as they should.
struct AlikeInputs {
  int code;
  const char* families;
  const char* inputs;
};

// clang-format off
const AlikeInputs kAlikeInputs[] = {
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

bool is_hidden(const TestedBoard& board, int code, const std::string& one, const std::string& other) {
  return std::ranges::any_of(kAlikeInputs, [&](const AlikeInputs& row) {
    return row.code == code && has_word(row.families, board.family) && has_word(row.inputs, one) &&
           has_word(row.inputs, other);
  });
}

class AlarmMatrixTest : public ::testing::TestWithParam<TestedBoard> {};

INSTANTIATE_TEST_SUITE_P(Boards, AlarmMatrixTest, ::testing::ValuesIn(tested_boards()), [](const auto& row) {
  std::string name = row.param.title();
  std::erase_if(name, [](char letter) { return std::isalnum(static_cast<unsigned char>(letter)) == 0; });
  return name;
});

TEST_P(AlarmMatrixTest, AHealthyBoardPassesAllItsCodes) {
  for (const int code : GetParam().codes) {
    const Outcome outcome = run_alarm_code(GetParam(), code, "");
    EXPECT_TRUE(outcome.passed) << code;
    EXPECT_EQ(outcome.description, "测试成功") << code;
    EXPECT_EQ(outcome.lines, std::vector<std::string>()) << code;
  }
}

TEST_P(AlarmMatrixTest, EveryCutWireIsFoundAndItsPortNamed) {
  for (const int code : GetParam().codes) {
    for (const JigFault& fault : faults_of(GetParam(), code)) {
      if (!fault.text.starts_with("wire ")) continue;
      SCOPED_TRACE(std::to_string(code) + ", " + fault.text);
      const Outcome outcome = run_alarm_code(GetParam(), code, fault.text);
      EXPECT_FALSE(outcome.passed);
      EXPECT_EQ(outcome.code, 10);
      EXPECT_FALSE(outcome.lines.empty());
      EXPECT_TRUE(!names_ports(code) || any_names(outcome, words_of(fault.text)[1]));
    }
  }
}

TEST_P(AlarmMatrixTest, EveryShortThatIsFoundNamesAShortedPort) {
  for (const int code : GetParam().codes) {
    for (const JigFault& fault : faults_of(GetParam(), code)) {
      if (!fault.text.starts_with("short ")) continue;
      SCOPED_TRACE(std::to_string(code) + ", " + fault.text);
      const Outcome outcome = run_alarm_code(GetParam(), code, fault.text);
      if (outcome.passed) {
        EXPECT_EQ(outcome.lines, std::vector<std::string>()) << "a test that passes has nothing to say";
        continue;
      }
      EXPECT_EQ(outcome.code, 10);
      const std::vector<std::string> words = words_of(fault.text);
      EXPECT_TRUE(!names_ports(code) || any_names(outcome, words[1]) ||
                  (words[2] != "GND" && any_names(outcome, words[2])));
    }
  }
}

TEST_P(AlarmMatrixTest, TheShortsThatPassAreThoseBetweenInputsThatAreAlwaysAlike) {
  for (const int code : GetParam().codes) {
    for (const JigFault& fault : faults_of(GetParam(), code)) {
      if (!fault.text.starts_with("short ")) continue;
      const std::vector<std::string> words = words_of(fault.text);
      EXPECT_EQ(run_alarm_code(GetParam(), code, fault.text).passed,
                is_hidden(GetParam(), code, words[1], words[2]))
          << code << ", " << fault.text;
    }
  }
}

}  // namespace
