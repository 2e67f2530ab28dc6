// Fisher's exact test.
#pragma once

#include <cstdint>

namespace t1station {

/// Two groups, each counted by whether something happened.
struct FourNumbers {
  std::int64_t first_yes = 0, first_no = 0, second_yes = 0, second_no = 0;
};

/// How likely it is, two-sided, that two groups differ at least so much when both are drawn from the same
/// lot: the sum over all tables with the same totals that are no likelier than this one. 1 when a total is 0.
double fisher_exact(const FourNumbers& table);

/// Whether a group of so many differs from the others, rather than by chance: `p` < 0.01, 20 or more.
inline bool is_marked(double p, std::int64_t size) {
  return p < 0.01 && size >= 20;
}

}  // namespace t1station
