#include "t1_sdk/boardtest/sensor/vsub/models.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <span>

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

/// A table of codes, and how an operator's entry is looked up in it.
struct boardtest::VoltageTable {
  const char* models;  ///< as the console names them
  std::span<const VSUBNAME> rows;
  int lowest = 0;    ///< tenths of a volt of the first row; the others follow in steps of two
  int fallback = 0;  ///< the code for an entry outside the table
};

namespace {

constexpr VoltageTable k6455{"QN_5RX6455", vsub_6455, 60, 2686};
constexpr VoltageTable k6485{"QN_5RX6485, iQN_5RX6485", vsub_6485};
constexpr VoltageTable k6484{"QN_5RX6484A, iQN_5RX6484A, QN_5RX6484A_K, iQN_5RX6484A_E", vsub_6484, 81, 2784};

constexpr CcdModel kCcdModels[] = {
    {0x9603, &k6455, 24, 0},
    {0x9605, &k6485, 24, 1},
    {0x9604, &k6484, 20, 2},
    {0x960F, &k6484, 20},  // has a limit and has never had a slot: its trims fail
    {0x9709, &k6484},
    {0x9702},
    {0x9703},
};

/// The code for an entry in tenths of a volt.
int code_of(const VoltageTable& table, int tenths) {
  const int highest = table.lowest + 2 * static_cast<int>(table.rows.size()) - 1;
  if (tenths < table.lowest || tenths > highest) {
    std::puts("error num");
    return table.fallback;
  }
  return static_cast<int>(table.rows[static_cast<std::size_t>(tenths - table.lowest) / 2].vsub);
}

void put_voltage(VSUB_DATA& record, const VoltageTable& table) {
  for (const VSUBNAME& row : table.rows) {
    if (row.vsub != record.originalVsub) continue;
    std::memcpy(record.voltage, row.voltage, sizeof record.voltage);
    return;
  }
}

}  // namespace

const CcdModel* boardtest::ccd_model(int devType) {
  const auto* found = std::find_if(std::begin(kCcdModels), std::end(kCcdModels),
                                   [devType](const CcdModel& row) { return row.code == devType; });
  return found == std::end(kCcdModels) ? nullptr : found;
}

void find_vusb_voltage(VSUB_DATA* pData, int devType) {
  if (pData == nullptr) return;
  const CcdModel* const model = ccd_model(devType);
  if (model == nullptr || model->voltages == nullptr) {
    std::puts("find_vusb_voltage : can't find devtype");
    return;
  }
  std::puts(model->voltages->models);
  put_voltage(*pData, *model->voltages);
}

int t1_sdk_vsub_code_to_regval(int devType, int sub_value) {
  const int tenths = sub_value / 10;
  std::printf("temp_sub_value = %d", tenths);
  if (devType == 1) return code_of(k6455, tenths);
  if (devType == 0) return code_of(k6484, tenths);
  std::printf("unsupported devType = %d\n", devType);
  return -1;
}
