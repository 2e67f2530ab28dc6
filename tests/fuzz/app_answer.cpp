// Fuzz target: anything as the answer of the camera's application to a command.
//
// The input is a row of pieces: a byte for the pause before it in tens of milliseconds, a byte for its length
// in units of 20 bytes, its bytes.
#include <chrono>

#include "boardsim/board.h"
#include "t1_sdk/boardtest/platform/app_channel.h"
#include "t1_sdk/boardtest/sensor/ma.h"
#include "tests/fuzz/fuzz.h"

namespace {

constexpr std::uint32_t kSelfTest = 0x23;
constexpr std::size_t kUnit = 20;

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  boardsim::Board board("ma");
  test_item = {};

  std::vector<boardsim::Application::Reply> replies;
  for (Input input(data, size); !input.empty();) {
    const std::chrono::milliseconds pause(10 * input.byte());
    replies.push_back({pause, input.bytes(kUnit * input.byte())});
  }
  board->application.set_answer(kSelfTest, replies);
  enableAPPCMD(kSelfTest, 1);
  t1_sdk_ma();

  require(board->application.commands().size() == 2, "the application was not asked twice");
  require(board.open_nodes().empty(), "a node is left open");
  require(board.violations().empty(), "a call that the board does not know");
  return 0;
}
