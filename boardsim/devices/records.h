// Reading and writing the 32-bit words of the records that ioctl requests point to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace boardsim {

/// Word `index` of the record at `record`, which need not be aligned.
std::uint32_t word(const void* record, std::size_t index);
/// Writes word `index` of the record.
void set_word(void* record, std::size_t index, std::uint32_t value);
/// The first `count` words of the record; none for a null pointer.
std::vector<std::uint32_t> words(const void* record, std::size_t count);
/// An ioctl argument that is a number itself, not a pointer.
std::uint32_t value_argument(const void* argument);

}  // namespace boardsim
