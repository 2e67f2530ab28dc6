// The lines that the alarm tests of fixed steps print, for words that a test expects to be read.
#pragma once

#include <array>
#include <cctype>
#include <cstdio>
#include <string>

using StepReferences = std::array<unsigned, 4>;

/// The number of a step as an index.
inline std::size_t step_index(int step) {
  return static_cast<std::size_t>(step - 1);
}

/// The line of a step (1 to 4) that read a word.
inline std::string step_line(int step, unsigned word, const StepReferences& references) {
  static const char* const kLabels[] = {
      "##1 0x1 0x1 0x1 0x1 0x0 0x80000018",
      "##2 0x0 0x0 0x0 0x0 0x0 0xC0000018",
      "##3 0x0 0x0 0x0 0x1 0x1 0x80000018",
      "##4 0x0 0x0 0x0 0x0 0x0 0xC0000018",
  };
  const unsigned reference = references[step_index(step)];
  char words[64];
  std::snprintf(words, sizeof words, "trigger_in=0x%04x,ref=0x%04x\n", word, reference);
  return std::string(kLabels[step_index(step)]) + ", " + (word == reference ? "成功" : "失败") + "," + words;
}

/// Five cycles of four steps that read the same words each time.
inline std::string said_by_cycles(const std::array<unsigned, 4>& words, const StepReferences& references) {
  std::string text;
  for (int cycle = 1; cycle <= 5; ++cycle) {
    text += "\n第" + std::to_string(cycle) + "次测试\n";
    for (int step = 1; step <= 4; ++step) text += step_line(step, words[step_index(step)], references);
  }
  return text;
}

/// A fault as the name of its test.
inline std::string fault_name(std::string fault) {
  for (char& letter : fault) {
    if (std::isalnum(static_cast<unsigned char>(letter)) == 0) letter = '_';
  }
  return fault;
}
