// Fuzz target: any bytes as /devinfo/TG.bin, read, stored in the factory store and shown again.
//
// The input: a byte for the board family; four for its device type code, the lowest first, 0 for the family's
// own; one each for type and version of FPGA and sensor; then the file.
#include <cstring>
#include <memory>

#include "boardsim/board.h"
#include "t1_sdk/boardtest/sensor/timing_generator/file.h"
#include "t1_sdk/boardtest/sensor/timing_generator/record.h"
#include "t1_sdk/boardtest/sensor/timing_generator/timing_generator.h"
#include "tests/fuzz/fuzz.h"

namespace {

// Where the boot block has what a block of the file is for.
constexpr std::size_t kSensorType = 87;
constexpr std::size_t kSensorVersion = 91;
constexpr std::size_t kFpgaType = 95;
constexpr std::size_t kFpgaVersion = 96;
// Where the parameters are stored, on the one medium or on the other.
constexpr std::size_t kOnEmmc = 0x20000;
constexpr std::size_t kOnFlash = 19 * 0x10000 + 0xF800;

/// Makes the board the one that the input names.
void identify(boardsim::Board& board, Input& input) {
  std::uint32_t code = 0;
  for (unsigned shift = 0; shift < 32; shift += 8) code |= std::uint32_t{input.byte()} << shift;
  if (code != 0) board.set_type(code);
  for (const std::size_t field : {kFpgaType, kFpgaVersion, kSensorType, kSensorVersion}) {
    board.boot_block()[field] = input.byte();
  }
}

bool is_stored(const std::vector<std::uint8_t>& medium, const tg_data_cen& record) {
  return std::memcmp(medium.data(), &record, sizeof record) == 0;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const auto families = boardsim::families();
  boardsim::Board board(families[input.byte() % families.size()].name);
  identify(board, input);
  board->files.set("/devinfo/TG.bin", input.rest());

  const auto record = std::make_unique<tg_data_cen>();
  const int result = getTgFromFile(record.get());
  t1_sdk_setTGParam();
  if (result >= 0) {
    require(result <= 128 && record->tgNum == static_cast<unsigned>(result), "the number of pairs is wrong");
    const bool on_emmc = is_stored(board->emmc.bytes(kOnEmmc, sizeof *record), *record);
    require(on_emmc || is_stored(board->flash.bytes(kOnFlash, sizeof *record), *record),
            "something else was stored");
    const auto stored = std::make_unique<tg_data_cen>();
    if (on_emmc) require(read_tg_data(stored.get()) == sizeof *stored, "what was stored cannot be read");
  }
  t1_sdk_printTGParam();

  require(board.open_nodes().empty(), "a node is left open");
  require(board.violations().empty(), "a call that the board does not know");
  return 0;
}
