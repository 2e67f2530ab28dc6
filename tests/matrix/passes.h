// What a pass of each test proves and what somebody must add to it, as far as it is known from what the tests
// do. Which faults pass unseen is found by trying.
#pragma once

#include <span>
#include <string_view>
#include <vector>

/// One test, or several that do the same. All texts are Markdown, without an end of line.
struct TestPasses {
  std::vector<int> codes;
  std::string_view title;
  std::string_view need;    ///< what must be added, in a few words
  std::string_view proves;  ///< what is known of the board when the test passes
  std::string_view lacks;   ///< what one might think that it proves
  std::string_view add;     ///< what a person or a fixture must add, and how
};

/// Every code once.
std::span<const TestPasses> test_passes();
