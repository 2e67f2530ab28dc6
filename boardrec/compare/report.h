// A comparison for people, and for tools.
#pragma once

#include <string>
#include <vector>

#include "boardrec/compare/comparison.h"
#include "boardrec/compare/untouched.h"

namespace boardrec {

/// A comparison and what stands above it.
struct Report {
  std::string file{};    ///< of the recording
  std::string board{};   ///< the simulated one: "normal (0x9601)"
  double seconds = 0;    ///< length of the recording
  std::string broken{};  ///< why the recording could not be read to its end; empty when it could
  Comparison comparison{};
  std::vector<KnownNode> untouched{};
};

/// Tables of text: a row a device, what differs with its first case, where the programs went different ways,
/// what the recording never touched.
std::string table_text(const Report& report);
/// The same as one JSON document.
std::string json_text(const Report& report);

}  // namespace boardrec
