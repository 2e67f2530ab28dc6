// What a board has and a recording never used.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "boardrec/session/recording.h"

namespace boardrec {

/// A node of a simulated board and the requests that its driver knows.
struct KnownNode {
  struct Request {
    std::uint32_t number = 0;
    std::string meaning{};  ///< for a reader
  };
  std::string path{};
  std::vector<Request> requests{};
  bool is_used = false;  ///< set by untouched(): what follows are the requests that were not
};

/// Those nodes that the recorded program never asked, with all their requests, and of the others the requests
/// that it did not use.
std::vector<KnownNode> untouched(const Recording& recording, const std::vector<KnownNode>& known);

}  // namespace boardrec
