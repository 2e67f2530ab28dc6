#include "t1_sdk/boardtest/sensor/vsub/records.h"

#include "t1_sdk/boardtest/platform/factory_store.h"
#include "t1_sdk/util/checksum.h"

using namespace boardtest;

namespace {

/// Where a record lies, and how many of its leading bytes its checksum covers.
template <typename Record>
struct Place {
  unsigned offset;
  int summed = offsetof(Record, checkSum);
};
constexpr Place<VSUB_DATA> kData{kVsubOffset};
constexpr Place<VSUB_LUMA_DATA> kLuma{kVsubLumaOffset};

template <typename Record>
std::uint32_t sum_of(Record& record, const Place<Record>& place) {
  return static_cast<std::uint32_t>(checkSum(reinterpret_cast<char*>(&record), place.summed));
}

template <typename Record>
int write_record(Record* record, const Place<Record>& place) {
  if (record == nullptr) return -10;
  record->magicNumber = kRecordMagic;
  record->checkSum = sum_of(*record, place);
  return flash_save_dev_info(kVsubBlock, place.offset, reinterpret_cast<char*>(record), sizeof *record);
}

template <typename Record>
int read_record(Record* record, const Place<Record>& place) {
  if (record == nullptr) return -10;
  const int result =
      emmc_read_dev_info(kVsubBlock, place.offset, reinterpret_cast<char*>(record), sizeof *record);
  if (result < 0) return result;
  if (record->magicNumber != kRecordMagic) return -11;
  if (record->checkSum != sum_of(*record, place)) return -13;
  return result;
}

}  // namespace

int writeVsubData(VSUB_DATA* pData) {
  return write_record(pData, kData);
}

int readVsubData(VSUB_DATA* pData) {
  return read_record(pData, kData);
}

int writeVsubLumaData(VSUB_LUMA_DATA* pData) {
  return write_record(pData, kLuma);
}

int readVsubLumaData(VSUB_LUMA_DATA* pData) {
  return read_record(pData, kLuma);
}
