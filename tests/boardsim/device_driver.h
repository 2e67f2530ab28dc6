// Short ways to drive a simulated device without the rest of the board.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "boardsim/devices/device.h"

namespace boardsim::test {

using Words = std::vector<std::uint32_t>;

/// An answer's result, or minus its errno.
inline long outcome(const Answer& answer) {
  return answer.error != 0 ? -answer.error : answer.result;
}

/// Issues a request on a record of these words and returns the words as the device leaves them.
inline Words exchange(Device& device, std::uint32_t request, Words record) {
  device.ioctl(request, record.data());
  return record;
}

/// The outcome of a request on a record of these words.
inline long send(Device& device, std::uint32_t request, Words record) {
  return outcome(device.ioctl(request, record.data()));
}

/// What the trace shows of a record of these words.
inline Words traced(const Device& device, std::uint32_t request, const Words& record) {
  return device.words_in(request, record.data());
}

/// Lays a fault given as one text, its words separated by single blanks.
template <typename Faulty>
bool lay(Faulty& device, std::string_view text) {
  std::vector<std::string_view> words;
  for (std::size_t end = 0; end != std::string_view::npos;) {
    end = text.find(' ');
    words.push_back(text.substr(0, end));
    if (end != std::string_view::npos) text.remove_prefix(end + 1);
  }
  return lay_fault(device.fault_forms(), words);
}

}  // namespace boardsim::test
