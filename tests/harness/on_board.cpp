// Switches boards on and checks what is left behind.
#include "tests/harness/on_board.h"

#include <unistd.h>
#include <algorithm>

#include "tests/harness/wire.h"

namespace {

constexpr std::uint16_t kServerPort = 36001;

}  // namespace

std::string own_loopback_address() {
  static unsigned boards = 0;
  while (true) {
    // Processes that run side by side have different ids; boards of one process follow one another.
    const unsigned number = static_cast<unsigned>(getpid()) * 61 + boards++ * 1009;
    const std::string address = "127." + std::to_string(1 + number / 62500 % 250) + "." +
                                std::to_string(1 + number / 250 % 250) + "." +
                                std::to_string(2 + number % 250);
    if (wire::is_free(address, kServerPort)) return address;
  }
}

OnBoard::OnBoard(std::string_view family) : board((switch_on(family), *box_)) {}

void OnBoard::with_family(std::string_view family) {
  check_board();
  switch_on(family);
}

void OnBoard::switch_on(std::string_view family) {
  box_.reset();
  box_.emplace(family);
  address = own_loopback_address();
  box_->set_interface("eth0", address);
}

void OnBoard::check_board() {
  EXPECT_EQ(board.violations(), std::vector<std::string>()) << "calls that the board does not know";
  EXPECT_EQ(board.open_nodes(), open_nodes_) << "nodes left open";
}

std::size_t OnBoard::calls(std::string_view name) const {
  const std::vector<boardsim::Call> trace = board.trace();
  return static_cast<std::size_t>(std::count_if(
      trace.begin(), trace.end(), [&](const boardsim::Call& call) { return call.name == name; }));
}
