#include "boardsim/kernel/readiness.h"

#include <array>
#include <string>

#include "boardsim/kernel/own_descriptor.h"
#include "boardsim/kernel/real.h"

namespace boardsim {

Readiness::Readiness() = default;
Readiness::~Readiness() = default;

int Readiness::open(int flags) {
  if (!make_pipe()) return -1;
  // Each opening by name has flags of its own, which a copy would share with the others. Open for both
  // directions it sees neither end of file nor a pipe that nobody reads.
  const std::string name = "/proc/self/fd/" + std::to_string(out_->get());
  return real::open(name.c_str(), O_RDWR | O_CLOEXEC | (flags & O_NONBLOCK));
}

void Readiness::set(bool readable) {
  readable_ = readable;
  if (out_) show();
}

bool Readiness::make_pipe() {
  if (out_) return true;
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) < 0) return false;
  out_ = std::make_unique<OwnDescriptor>(ends[0]);
  in_ = std::make_unique<OwnDescriptor>(ends[1]);
  show();
  return true;
}

void Readiness::show() {
  if (shown_ == readable_) return;
  char byte = 0;
  [[maybe_unused]] const auto ignored =
      readable_ ? real::write(in_->get(), &byte, sizeof byte) : real::read(out_->get(), &byte, sizeof byte);
  shown_ = readable_;
}

}  // namespace boardsim
