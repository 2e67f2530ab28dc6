#include "boardsim/tool/serial_device.h"

#include <array>
#include <memory>
#include <mutex>
#include <string_view>

#include "boardsim/board/state.h"
#include "boardsim/kernel/own_thread.h"
#include "boardsim/kernel/pseudo_terminal.h"
#include "boardsim/kernel/real.h"
#include "boardsim/tool/pc_device.h"

namespace boardsim {
namespace {

// Bytes closer together than this, by the PC's clock, are one block: a driver hands over blocks, not bytes.
constexpr int kPauseBetweenBlocks = 20;  // ms

/// The next block of bytes; empty when the terminal has failed.
std::string next_block(int fd) {
  std::string block;
  std::array<char, 512> bytes{};
  pollfd look{fd, POLLIN, 0};
  while (real::poll(&look, 1UL, block.empty() ? -1 : kPauseBetweenBlocks) > 0) {
    const ssize_t size = real::read(fd, bytes.data(), bytes.size());
    if (size <= 0) break;
    block.append(bytes.data(), static_cast<std::size_t>(size));
  }
  return block;
}

void carry_to_board(BoardState& board, int fd) {
  for (std::string block = next_block(fd); !block.empty(); block = next_block(fd)) {
    const Locked lock(board.mutex);
    board.devices.rs485.terminal_sent(block);
  }
}

}  // namespace

void offer_uart1(Board& board, const std::string& path) {
  const Inside inside;
  const std::shared_ptr<PseudoTerminal> terminal = offer_device("--uart1", path);
  BoardState& state = board.state();
  {
    const Locked lock(state.mutex);
    state.devices.rs485.set_fixture("terminal");
    state.devices.rs485.set_terminal([terminal](std::string_view bytes) {
      // A line does not wait for anybody to listen.
      [[maybe_unused]] const auto ignored = real::write(terminal->far(), bytes.data(), bytes.size());
    });
  }
  start_own_thread([&state, terminal] { carry_to_board(state, terminal->far()); });
}

}  // namespace boardsim
