// A partition that is written over, and the damage that its records can take.
#include "boardsim/devices/emmc.h"

#include <sys/stat.h>

#include "boardsim/devices/fault_words.h"

namespace boardsim {

Emmc::Emmc(StoragePower& power) : Partition("emmc", kSize, power) {}

Answer Emmc::ioctl(std::uint32_t /*request*/, void* /*argument*/) {
  return Answer::unknown();
}

std::vector<std::uint32_t> Emmc::words_in(std::uint32_t /*request*/, const void* /*argument*/) const {
  return {};
}

mode_t Emmc::mode() const {
  return S_IFBLK | 0600;
}

void Emmc::leave_factory(std::uint32_t type) {
  for (const FactoryRecord& record : factory_records()) set_bytes(record.position, record.contents(type));
}

bool Emmc::fault(const std::vector<std::string_view>& words) {
  if (words.empty() || words[0] != "record") return Partition::fault(words);
  constexpr std::string_view kExpected = "record dead-pixels|flat-field|timing|vsub none|magic|checksum";
  const FactoryRecord* const record = words.size() == 3 ? find_factory_record(words[1]) : nullptr;
  if (record == nullptr) refuse_fault(words, kExpected);
  const auto bytes = stored().subspan(record->position, record->size);
  if (words[2] == "none") {
    take_away(bytes);
  } else if (words[2] == "magic") {
    spoil_magic(*record, bytes);
  } else if (words[2] == "checksum") {
    spoil_checksum(*record, bytes);
  } else {
    refuse_fault(words, kExpected);
  }
  return true;
}

std::uint8_t Emmc::after_writing(std::uint8_t /*old*/, std::uint8_t written) const {
  return written;
}

}  // namespace boardsim
