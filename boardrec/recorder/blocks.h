// Which long blocks of bytes a recording has had.
#pragma once

#include <cstdint>

namespace boardrec {

/// Whether a block of this digest was remembered, and not yet forgotten for others. The lock is held.
bool had_block(std::uint64_t digest);
/// The lock is held.
void remember_block(std::uint64_t digest);

}  // namespace boardrec
