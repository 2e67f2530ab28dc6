// boardrec redact: a recording without what says whose board it was.
#pragma once

#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "boardrec/session/recording.h"

namespace boardrec {

/// What became of a recording.
struct Redaction {
  Recording recording;
  std::size_t addresses = 0;  ///< different ones that were replaced
  std::size_t macs = 0;
  std::size_t serials = 0;  ///< serial numbers and dates
  std::size_t boot_blocks = 0;
  std::size_t flash_bytes =
      0;  ///< of the factory partitions, outside of the records that are known, made ones
  std::size_t lost_writes = 0;  ///< whose bytes cannot be compared any more, since they contained such
  std::size_t dropped = 0;      ///< calls whose bytes were taken out, as asked for
  std::map<std::string, std::size_t> remaining;  ///< bytes that are left of each node
};

/// Replaces addresses, MAC addresses, serial numbers and dates, by stand-ins of the same length, the same for
/// the same value; empties what nobody knows in boot block and factory partitions; takes out all bytes of
/// the nodes in `dropped`. Throws UsageError for one that no call is on: it may be mistyped.
Redaction redact(const Recording& recording, const std::vector<std::string>& dropped);

/// Says what became of it.
void show_redaction(const Redaction& redaction, std::ostream& out);

}  // namespace boardrec
