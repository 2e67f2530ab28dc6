// Every test code that a board answers, for whatever goes through all of them.
#pragma once

#include <algorithm>
#include <vector>

#include "catalogue/catalogue.h"

/// The codes, in ascending order.
inline std::vector<int> test_codes() {
  std::vector<int> codes;
  for (const catalogue::Test& test : catalogue::tests()) codes.push_back(test.code);
  std::ranges::sort(codes);
  return codes;
}
