// Records and tables of the substrate voltage.
#include "t1_sdk/boardtest/sensor/vsub/records.h"

#include <cstdio>
#include <cstring>

#include "t1_sdk/boardtest/platform/factory_store.h"
#include "t1_sdk/util/checksum.h"

using namespace boardtest;

// clang-format off
const VSUBNAME vsub_6484[29] = {
    {2784, "8.1"},  {2778, "8.3"},  {2772, "8.5"},  {2766, "8.7"},  {2760, "8.9"},  {2755, "9.1"},
    {2749, "9.3"},  {2744, "9.5"},  {2738, "9.7"},  {2732, "9.9"},  {2726, "10.1"}, {2721, "10.3"},
    {2715, "10.5"}, {2709, "10.7"}, {2703, "10.9"}, {2697, "11.1"}, {2691, "11.3"}, {2685, "11.5"},
    {2680, "11.7"}, {2674, "11.9"}, {2668, "12.1"}, {2663, "12.3"}, {2657, "12.5"}, {2651, "12.7"},
    {2645, "12.9"}, {2639, "13.1"}, {2633, "13.3"}, {2627, "13.5"}, {2621, "13.7"},
};

const VSUBNAME vsub_6485[21] = {
    {2758, "6"},   {2750, "6.2"}, {2742, "6.4"}, {2734, "6.6"}, {2726, "6.8"}, {2718, "7"},   {2710, "7.2"},
    {2702, "7.4"}, {2694, "7.6"}, {2686, "7.8"}, {2678, "8"},   {2670, "8.2"}, {2662, "8.4"}, {2654, "8.6"},
    {2646, "8.8"}, {2638, "9"},   {2630, "9.2"}, {2622, "9.4"}, {2614, "9.6"}, {2606, "9.8"}, {2598, "10"},
};

const VSUBNAME vsub_6455[21] = {
    {2758, "6"},   {2750, "6.2"}, {2742, "6.4"}, {2734, "6.6"}, {2726, "6.8"}, {2718, "7"},   {2710, "7.2"},
    {2702, "7.4"}, {2694, "7.6"}, {2686, "7.8"}, {2678, "8"},   {2670, "8.2"}, {2662, "8.4"}, {2654, "8.6"},
    {2646, "8.8"}, {2638, "9"},   {2630, "9.2"}, {2622, "9.4"}, {2614, "9.6"}, {2606, "9.8"}, {2598, "10"},
};
// clang-format on

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

template <std::size_t N>
void put_voltage(VSUB_DATA& record, const VSUBNAME (&table)[N]) {
  for (const VSUBNAME& row : table) {
    if (row.vsub != record.originalVsub) continue;
    std::memcpy(record.voltage, row.voltage, sizeof record.voltage);
    return;
  }
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

void find_vusb_voltage(VSUB_DATA* pData, int devType) {
  if (pData == nullptr) return;
  switch (devType) {
    case 0x9604:
    case 0x960F:
    case 0x9709:
      std::puts("QN_5RX6484A, iQN_5RX6484A, QN_5RX6484A_K, iQN_5RX6484A_E");
      put_voltage(*pData, vsub_6484);
      break;
    case 0x9605:
      std::puts("QN_5RX6485, iQN_5RX6485");
      put_voltage(*pData, vsub_6485);
      break;
    case 0x9603:
      std::puts("QN_5RX6455");
      put_voltage(*pData, vsub_6455);
      break;
    default:
      std::puts("find_vusb_voltage : can't find devtype");
  }
}
