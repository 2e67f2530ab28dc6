// Fuzz target: any bytes as /devinfo/TG.bin, read, stored in the factory store and shown again.
#include <cstring>
#include <memory>

#include "boardsim/board.h"
#include "t1_sdk/boardtest/sensor/tg_param.h"
#include "tests/fuzz/fuzz.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  boardsim::Board board("ma");  // a board that reads back what it stores
  board.set_file("/devinfo/TG.bin", Input(data, size).rest());

  const auto record = std::make_unique<tg_data_cen>();
  const int result = getTgFromFile(record.get());
  t1_sdk_setTGParam();
  if (result >= 0) {
    require(result <= 128 && record->tgNum == static_cast<unsigned>(result), "the number of pairs is wrong");
    const auto stored = std::make_unique<tg_data_cen>();
    require(read_tg_data(stored.get()) == sizeof *stored, "what was stored cannot be read");
    require(std::memcmp(stored.get(), record.get(), sizeof *stored) == 0, "something else was stored");
  }
  t1_sdk_printTGParam();

  require(board.open_nodes().empty(), "a node is left open");
  require(board.violations().empty(), "a call that the board does not know");
  return 0;
}
