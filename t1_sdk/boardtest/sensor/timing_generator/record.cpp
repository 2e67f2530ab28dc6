#include "t1_sdk/boardtest/sensor/timing_generator/record.h"

#include "t1_sdk/boardtest/platform/factory_store.h"
#include "t1_sdk/util/checksum.h"

using namespace boardtest;

namespace {

char* bytes_of(tg_data_cen& record) {
  return reinterpret_cast<char*>(&record);
}

}  // namespace

unsigned boardtest::tg_checksum(tg_data_cen& record) {
  const auto pairs = static_cast<int>(record.tgNum * sizeof(reg_pair_time));
  constexpr int kHead = offsetof(tg_data_cen, tgPairs) - offsetof(tg_data_cen, tgNum);
  return static_cast<unsigned>(checkSum(bytes_of(record) + offsetof(tg_data_cen, tgNum), kHead + pairs));
}

int read_tg_data(tg_data_cen* tg) {
  if (tg == nullptr) return -10;
  const int result = emmc_read_dev_info(kTgBlock, kTgOffset, bytes_of(*tg), sizeof *tg);
  if (result < 0) return result;
  if (tg->magic != kRecordMagic) return -11;
  if (tg->tgNum > kMostTgPairs) return -12;
  if (tg->cs != tg_checksum(*tg)) return -13;
  return result;
}
