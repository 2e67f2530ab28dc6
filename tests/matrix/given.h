// Which families are given which codes: the one list for whatever goes through the codes board by board.
#pragma once

#include <string_view>
#include <vector>

/// A test code and who is given it.
struct GivenCode {
  int code;
  const char* name;
  std::vector<std::string_view> families;  ///< empty: every family
};

/// All of them, in the order of tests/matrix/codes.h.
const std::vector<GivenCode>& given_codes();

/// Whether a family is given the code.
bool is_given(const GivenCode& row, std::string_view family);

/// Whether no family can pass the code.
bool is_given_to_nobody(const GivenCode& row);
