// /dev/motor: the motor driver that moves the IR-cut filter.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "boardsim/core/device.h"

namespace boardsim {

/// Requests: 0x40044301 configures, with a record of 644 bytes: a count, then 16 entries of 40 bytes each.
/// The motor behind it is chip 7 of type 0, in the first entry (words 6 and 7); all other words are 0.
/// Anything else fails with EINVAL. 0x40044901 and 0x40044902 move, the argument being the number itself;
/// without a configuration since the node was opened they fail with EINVAL. Faults: "motor rejects move
/// N[+]": the N-th move from now on fails with EIO; with + every later one too.
class Motor : public Device {
 public:
  Answer open(int flags) override;
  Answer ioctl(std::uint32_t request, void* argument) override;
  /// Of a configuration the count, the chip number and the type.
  std::vector<std::uint32_t> words_in(std::uint32_t request, const void* argument) const override;
  bool fault(const std::vector<std::string_view>& words) override;
  void clear_faults() override { rejected_.clear(); }

  unsigned moves() const { return moves_; }         ///< number of moves carried out
  std::uint32_t travel() const { return travel_; }  ///< argument of the last of them

 private:
  struct Rejected {
    unsigned first;
    bool goes_on;
    unsigned asked = 0;
  };

  Answer move(std::uint32_t travel);
  bool rejects();

  std::vector<Rejected> rejected_;
  bool configured_ = false;
  unsigned moves_ = 0;
  std::uint32_t travel_ = 0;
};

}  // namespace boardsim
