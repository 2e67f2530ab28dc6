// Tries the faults of a test on the boards that are given it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "catalogue/catalogue.h"
#include "tests/matrix/test_faults.h"

/// What a station hears of a test.
enum class Answer : char { pass, fail, held };  ///< held: the test is not over in a day

/// A fault that was tried, and what came of it.
struct Trial {
  TestFault fault;
  Answer answer;
};

/// A code on boards of some families, on all of which the healthy test makes the same calls. They are tried
/// on the first.
struct Trials {
  int code;
  std::vector<std::string_view> families;
  std::vector<Trial> all;
};

/// Tries a code on the families that it is given to. Throws std::runtime_error when a healthy board does not
/// pass it.
std::vector<Trials> try_code(const catalogue::Test& test);
