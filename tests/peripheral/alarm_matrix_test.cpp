// What the alarm tests say of every single cut wire and every shorted pair, on every kind of board with every
// code that it is given.
#include <gtest/gtest.h>
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
      EXPECT_TRUE(!names_ports(code) || any_names(outcome, words[1]) || any_names(outcome, words[2]));
    }
  }
}

TEST_P(AlarmMatrixTest, EveryShortToGroundIsFound) {
  for (const int code : GetParam().codes) {
    for (const JigFault& fault : faults_of(GetParam(), code)) {
      if (fault.text.starts_with("short ") && fault.text.ends_with(" GND")) {
        EXPECT_FALSE(run_alarm_code(GetParam(), code, fault.text).passed) << code << ", " << fault.text;
      }
    }
  }
}

}  // namespace
