// Looking a code up in a list of codes.
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace boardtest {

/// Whether `code` stands in the list.
template <std::size_t N>
[[nodiscard]] bool contains(const int (&codes)[N], int code) {
  return std::find(std::begin(codes), std::end(codes), code) != std::end(codes);
}

}  // namespace boardtest
