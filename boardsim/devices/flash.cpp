// Erasing whole blocks; the rest is a partition whose bits a write can only clear.
#include "boardsim/devices/flash.h"

#include <algorithm>
#include <cerrno>

#include "boardsim/devices/records.h"

namespace boardsim {
namespace {

constexpr std::uint32_t kErase = 0x40084D02;

}  // namespace

Flash::Flash(StoragePower& power) : Partition("flash", kSize, power) {}

Answer Flash::ioctl(std::uint32_t request, void* argument) {
  if (request != kErase) return Answer::unknown();
  if (argument == nullptr) return Answer::fails(EFAULT);
  return erase(word(argument, 0), word(argument, 1));
}

std::vector<std::uint32_t> Flash::words_in(std::uint32_t request, const void* argument) const {
  return request == kErase ? words(argument, 2) : std::vector<std::uint32_t>{};
}

bool Flash::needs_writing(std::uint32_t request) const {
  return request == kErase;
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
       "power fails in the next erase request of at least so many blocks (0): so many are erased",
       {number("BLOCKS")},
       [this](const FaultArguments& given) { erase_cut_ = given.given(0) ? given.number(0) : 0; }});
  return forms;
}

void Flash::clear_faults() {
  Partition::clear_faults();
  erase_cut_.reset();
}

}  // namespace boardsim
