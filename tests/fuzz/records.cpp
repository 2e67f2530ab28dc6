// Fuzz target: anything as a stored record of the factory store, read by every test that reads it.
//
// The input: a byte for the board family, a byte whose low two bits choose the record and whose top bit has
// its magic and checksum put right, then the record. Bytes that it lacks stay as the factory left them.
#include <cstring>
#include <memory>

#include "boardsim/board.h"
#include "t1_sdk/boardtest/sensor/correction.h"
#include "t1_sdk/boardtest/sensor/timing_generator/record.h"
#include "t1_sdk/boardtest/sensor/timing_generator/timing_generator.h"
#include "t1_sdk/boardtest/sensor/vsub/models.h"
#include "t1_sdk/boardtest/sensor/vsub/records.h"
#include "t1_sdk/boardtest/sensor/vsub/vsub.h"
#include "tests/fuzz/fuzz.h"
#include "tests/harness/descriptor_sweep.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

/// Where a record lies on the eMMC, and what seals it.
struct Place {
  std::size_t position, size;
  std::size_t magic, checksum;
  std::size_t sum_begin, sum_end;
};
constexpr Place kPlaces[] = {
    {0x00000, 4112, 0, 4, 12, 4112},
    {0x10000, 200, 0, 4, 16, 200},
    {0x20000, 1580, 0, 1576, 4, 40},  // and the pairs behind
    {0x30000, 64, 16, 40, 0, 40},
};
constexpr std::size_t kTiming = 2;

std::uint32_t word(const Bytes& record, std::size_t at) {
  std::uint32_t value = 0;
  std::memcpy(&value, &record[at], sizeof value);
  return value;
}

void put(Bytes& record, std::size_t at, std::uint32_t value) {
  std::memcpy(&record[at], &value, sizeof value);
}

void seal(const Place& place, bool timing, Bytes& record) {
  put(record, place.magic, 0x565A514E);
  std::size_t end = place.sum_end;
  if (timing) end += 12 * std::min<std::size_t>(word(record, 4), 128);
  std::uint32_t sum = 0;
  for (std::size_t i = place.sum_begin; i < end; ++i) sum += record[i];
  put(record, place.checksum, sum);
}

using Test = void (*)();
constexpr Test kTrims[][3] = {
    {t1_sdk_addVsub6455, t1_sdk_decVsub6455, t1_sdk_saveVsub6455},
    {t1_sdk_addVsub6485, t1_sdk_decVsub6485, t1_sdk_saveVsub6485},
    {t1_sdk_addVsub6484, t1_sdk_decVsub6484, t1_sdk_saveVsub6484},
};

void run_tests(std::size_t model, bool sweeps) {
  t1_sdk_check_camera_dpi();
  t1_sdk_check_ff_corr();
  t1_sdk_printTGParam();
  t1_sdk_printVsub();
  for (const Test trim : kTrims[model % std::size(kTrims)]) trim();
  t1_sdk_reset_trim_vsub();
  if (sweeps) t1_sdk_autoCCDLevel();
}

/// The readers themselves, into memory of exactly the records' sizes.
void read_all(std::size_t which, bool sealed) {
  const auto timing = std::make_unique<tg_data_cen>();
  const int timing_result = read_tg_data(timing.get());
  if (timing_result >= 0) require(timing->tgNum <= 128, "a record with too many pairs is taken");
  const auto vsub = std::make_unique<VSUB_DATA>();
  const int vsub_result = readVsubData(vsub.get());
  for (const int type : {0x9603, 0x9604, 0x9605}) find_vusb_voltage(vsub.get(), type);
  const int results[] = {check_camera_dpi(), reaf_ff_corr_info(), timing->tgNum > 128 ? 0 : timing_result,
                         vsub_result};
  if (sealed) require(results[which] >= 0, "a record with magic and checksum is refused");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const DescriptorSweep sweep;
  const auto families = boardsim::families();
  boardsim::Board board(families[input.byte() % families.size()].name);
  g_sub_value = 0;
  t1_sdk_reset_trim_vsub();

  const std::uint8_t choice = input.byte();
  const std::size_t which = choice % std::size(kPlaces);
  const Place& place = kPlaces[which];
  Bytes record = board->emmc.bytes(place.position, place.size);
  const std::string bytes = input.bytes(place.size);
  std::copy(bytes.begin(), bytes.end(), record.begin());
  const bool sealed = (choice & 0x80) != 0;
  if (sealed) seal(place, which == kTiming, record);
  board->emmc.set_bytes(place.position, record);

  read_all(which, sealed);
  run_tests(choice >> 2 & 0xFU, (choice & 0x40) != 0);
  require(board.violations().empty(), "a call that the board does not know");
  return 0;
}
