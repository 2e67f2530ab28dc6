// A partition that is written over, and the damage that its records can take.
#include "boardsim/devices/emmc.h"

#include <sys/stat.h>

namespace boardsim {

Emmc::Emmc(StoragePower& power) : Partition("emmc", kSize, power) {}

mode_t Emmc::mode() const {
  return S_IFBLK | 0600;
}

void Emmc::leave_factory(const Hardware& hardware) {
  for (const FactoryRecord& record : factory_records()) set_bytes(record.position, record.contents(hardware));
}

FaultForms Emmc::fault_forms() {
  std::vector<std::string> names;
  for (const FactoryRecord& record : factory_records()) names.emplace_back(record.name);
  FaultForms forms = Partition::fault_forms();
  forms.push_back(
      {"record RECORD none|magic|checksum",
       "a record of the factory is missing, or has a wrong magic or checksum, for good",
       {one_of("RECORD", names)},
       [this](const FaultArguments& given) { damage(*find_factory_record(given.word(0)), given.word(1)); }});
  return forms;
}

void Emmc::damage(const FactoryRecord& record, std::string_view how) {
  const auto bytes = stored().subspan(record.position, record.size);
  if (how == "none") {
    take_away(bytes);
  } else if (how == "magic") {
    spoil_magic(record, bytes);
  } else {
    spoil_checksum(record, bytes);
  }
}

std::uint8_t Emmc::after_writing(std::uint8_t /*old*/, std::uint8_t written) const {
  return written;
}

}  // namespace boardsim
