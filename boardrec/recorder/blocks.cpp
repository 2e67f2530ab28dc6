#include "boardrec/recorder/blocks.h"

#include <cstddef>

namespace boardrec {
namespace {

constexpr std::size_t kSets = 1024;
constexpr std::size_t kWays = 4;

/// Digests that end alike share a set, in which the oldest gives way.
struct Set {
  std::uint64_t digests[kWays];
  std::size_t oldest;
};

constinit Set sets[kSets]{};

Set& set_of(std::uint64_t digest) {
  return sets[digest % kSets];
}

}  // namespace

bool had_block(std::uint64_t digest) {
  for (const std::uint64_t known : set_of(digest).digests) {
    if (known == digest && digest != 0) return true;
  }
  return false;
}

void remember_block(std::uint64_t digest) {
  if (had_block(digest)) return;
  Set& set = set_of(digest);
  set.digests[set.oldest] = digest;
  set.oldest = (set.oldest + 1) % kWays;
}

}  // namespace boardrec
