// The program's memory, read without harm where there is none.
#pragma once

#include <cstddef>

namespace boardrec {

/// A part of the program's memory and where its copy goes.
struct Part {
  const void* from;
  void* to;
  std::size_t size;
};

/// Makes what the copies need; false when the program has no descriptors left.
bool prepare_copies();
/// Gives the descriptors back.
void end_copies();
/// Whether the descriptor is used for copies.
bool is_for_copies(int fd);

/// Copies all parts, at most 4096 bytes together; false when one of them cannot be read. The lock is held.
bool copy_parts(const Part* parts, std::size_t count);
/// Copies a block of any size; false when it cannot be read. The lock is held.
bool copy_block(const void* from, void* to, std::size_t size);
/// Copies a text without its zero, at most `room` bytes; its size, or -1 when it cannot be read. The lock is
/// held.
long copy_text(const char* from, char* to, std::size_t room);

}  // namespace boardrec
