// What two lists have in common.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace boardrec {

/// A place in the alignment of two lists: items that are alike, or one that the other list lacks.
struct Aligned {
  std::optional<std::size_t> a, b;  ///< at least one
};

/// The longest common subsequence of two lists of so many items, in their order. Lists that differ in more
/// than some thousand items are alike as far as was found by then, and all that is left differs.
std::vector<Aligned> align(std::size_t a_size, std::size_t b_size,
                           const std::function<bool(std::size_t a, std::size_t b)>& alike);
/// The same of texts.
std::vector<Aligned> align(const std::vector<std::string>& a, const std::vector<std::string>& b);

}  // namespace boardrec
