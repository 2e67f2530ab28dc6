#include "boardsim/kernel/pseudo_terminal.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include "boardsim/kernel/real.h"

namespace boardsim {
namespace {

/// The name of the near side and its descriptor; false with errno.
bool open_near(int far, std::array<char, 64>& name, int& near) {
  if (grantpt(far) != 0 || unlockpt(far) != 0) return false;
  if (const int error = ptsname_r(far, name.data(), name.size())) return errno = error, false;
  near = real::open(name.data(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  return near >= 0;
}

}  // namespace

PseudoTerminal::PseudoTerminal(int far, int near, std::string name)
    : far_(far), near_(near), name_(std::move(name)) {}

std::unique_ptr<PseudoTerminal> PseudoTerminal::make() {
  const int far = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (far < 0) return nullptr;
  std::array<char, 64> name{};
  int near = -1;
  if (!open_near(far, name, near)) {
    const int error = errno;
    real::close(far);
    return errno = error, nullptr;
  }
  return std::unique_ptr<PseudoTerminal>(new PseudoTerminal(far, near, name.data()));
}

}  // namespace boardsim
