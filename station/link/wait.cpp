#include "station/link/wait.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <system_error>

#include "station/text/errors.h"

namespace t1station {
namespace {

constexpr double kLongest = 1e6;  // seconds that one poll can be given

}  // namespace

Waited wait_for(int descriptor, short events, double seconds, const Interrupt& interrupt) {
  std::array<pollfd, 2> items{{{descriptor, events, 0}, {interrupt.descriptor(), POLLIN, 0}}};
  const int milliseconds = static_cast<int>(std::ceil(std::clamp(seconds, 0.0, kLongest) * 1000));
  const int ready = poll(items.data(), items.size(), milliseconds);
  if (ready > 0 && items[1].revents != 0) return Waited::interrupted;
  if (ready > 0) return Waited::ready;
  if (ready < 0 && errno != EINTR) throw LinkError("waiting for the board failed: " + error_text(errno));
  return interrupt.is_raised() ? Waited::interrupted : Waited::timed_out;
}

std::string error_text(int error) {
  return std::generic_category().message(error);
}

}  // namespace t1station
