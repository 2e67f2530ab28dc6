// What ioctl requests hand over: the sizes of drivers' records, and which arguments are plain numbers.
#pragma once

#include <cstdint>

namespace boardrec {

/// What stands behind an ioctl's third argument.
struct Handed {
  enum class What { nothing, number, record, unknown } what;
  std::uint32_t size;  ///< of a record, bytes; of an unknown one what the request's number says, maybe 0
};

/// The kind of node that the path leads to, 0 for any other.
std::uint8_t node_kind(const char* path);

/// What a request to a node of this kind hands over.
Handed handed_over(std::uint8_t kind, std::uint32_t request);

}  // namespace boardrec
