// What a station reads in a reply.
#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "tests/e2e/station.h"
#include "tests/harness/gbk.h"

/// What a test came to.
struct Result {
  std::string value;
  std::string description;
  bool operator==(const Result&) const = default;
};

inline void PrintTo(const Result& result, std::ostream* out) {
  *out << result.value << " " << result.description;
}

/// The text of an element; empty when it is empty.
inline std::string element(const std::string& xml, const std::string& name) {
  const std::size_t start = xml.find("<" + name + ">");
  const std::size_t end = xml.find("</" + name + ">");
  if (start == std::string::npos || end == std::string::npos) return "";
  return xml.substr(start + name.size() + 2, end - start - name.size() - 2);
}

/// Takes the next reply, which must carry that test code.
inline Result take_reply(Station& station, int code) {
  int prompts = 0;
  const std::string digits = station.next_reply(prompts);
  std::string bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  }
  const std::string xml = utf8(bytes.substr(4));
  EXPECT_EQ(element(xml, "TestCode"), std::to_string(code));
  return {element(xml, "Value"), element(xml, "Description")};
}
