// A file of the PC that is readable just when its owner says so.
#pragma once

#include <memory>

namespace boardsim {

class OwnDescriptor;

/// Descriptors for a node, so that the PC's own select and poll tell whether something waits at it. They are
/// always writable.
class Readiness {
 public:
  Readiness();
  ~Readiness();
  Readiness(const Readiness&) = delete;
  Readiness& operator=(const Readiness&) = delete;

  /// One more descriptor, closed on exec; of the flags of open(2) it takes O_NONBLOCK. -1 with errno.
  int open(int flags);
  /// Whether all descriptors are readable, now and later.
  void set(bool readable);

 private:
  bool make_pipe();
  void show();

  std::unique_ptr<OwnDescriptor> out_,
      in_;  ///< of a pipe with one byte in it while readable; made when needed
  bool readable_ = false;
  bool shown_ = false;
};

}  // namespace boardsim
