// Erasing whole blocks; the rest is a partition whose bits a write can only clear.
#include "boardsim/devices/flash.h"

#include <algorithm>
#include <cerrno>

#include "boardsim/devices/records.h"

namespace boardsim {
namespace {

// clang-format off
constexpr Request kFlashRequests[] = {
    {0x40084D02, Request::Argument::record, "{start, length}", 2, "makes whole blocks all ones again", true},
};
// clang-format on

}  // namespace

Flash::Flash(StoragePower& power) : Partition("flash", kSize, power) {}

std::span<const Request> Flash::requests() const {
  return kFlashRequests;
}

Answer Flash::answer(const Request& /*request*/, void* argument) {
  return erase(word(argument, 0), word(argument, 1));
}

Answer Flash::erase(std::size_t start, std::size_t length) {
  if (start % kBlock != 0 || length % kBlock != 0 || length == 0 || start > kSize || length > kSize - start) {
    return Answer::fails(EINVAL);
  }
  std::size_t blocks = length / kBlock;
  const bool cut = erase_cut_ && blocks >= *erase_cut_;
  if (cut) blocks = *erase_cut_;
  std::ranges::fill(stored().subspan(start, blocks * kBlock), std::uint8_t{0xFF});
  for (std::size_t i = 0; i < blocks; ++i) ++erasures_[start / kBlock + i];
  if (!cut) return Answer::ok();
  cut_power();
  return Answer::fails(EIO);
}

std::uint8_t Flash::after_writing(std::uint8_t old, std::uint8_t written) const {
  return old & written;
}

FaultForms Flash::fault_forms() {
  FaultForms forms = Partition::fault_forms();
  forms.push_back(
      {"flash cut erase [BLOCKS]",
       "power fails in the next erase request of at least so many blocks, without a number of any: so many "
       "are erased, and it fails with EIO",
       {number("BLOCKS")},
       [this](const FaultArguments& given) { erase_cut_ = given.given(0) ? given.number(0) : 0; }});
  return forms;
}

void Flash::clear_faults() {
  Partition::clear_faults();
  erase_cut_.reset();
}

}  // namespace boardsim
