// Fuzz target: anything on an RS485 line, in pieces, while the board receives.
//
// The input: a byte for the way of receiving, a byte for the size of the pieces, a byte for the milliseconds
// between them, then the bytes that arrive.
#include <fcntl.h>
#include <unistd.h>
#include <array>
#include <chrono>
#include <cstring>
#include <memory>

#include "boardsim/board.h"
#include "t1_sdk/boardtest/comm/rs485/exchange.h"
#include "t1_sdk/boardtest/comm/rs485/ports.h"
#include "t1_sdk/boardtest/comm/rs485/variants.h"
#include "t1_sdk/boardtest/platform/uart.h"
#include "tests/fuzz/fuzz.h"

namespace {

using namespace std::chrono_literals;

constexpr char kPort[] = "/dev/uart1";
constexpr int kBuffer = 128;
constexpr std::array<unsigned char, 7> kFrame = {0xD0, 0x01, 0x02, 0x07, 0x5A, 0xA5, 0xD9};

/// Whether a frame is one, computed from the wire's rules.
bool is_frame(const unsigned char* bytes) {
  const int length = bytes[3];
  if (bytes[0] != 0xD0 || length < 4 || length > kBuffer) return false;
  unsigned sum = 0;
  for (int i = 0; i + 1 < length; ++i) sum += bytes[i];
  return (sum & 0xFF) == bytes[length - 1];
}

void exchange(int port, bool with_itself) {
  // On the heap, each of exactly its size, so that a sanitizer sees each byte too far.
  const auto received = std::make_unique<unsigned char[]>(kBuffer);
  const auto sent = std::make_unique<unsigned char[]>(kBuffer);
  std::memcpy(sent.get(), kFrame.data(), kFrame.size());
  fd_set set;
  FD_ZERO(&set);
  FD_SET(port, &set);
  const auto process = with_itself ? rs485_process_rkd037 : rs485_process;
  const int result = process(static_cast<int>(kFrame.size()), kPort, kPort, received.get(), sent.get(), port,
                             set, port, set);
  require((result == 0) == is_frame(received.get()), "the verdict on a frame is wrong");
}

void receive_block(int port, int length) {
  const auto bytes = std::make_unique<unsigned char[]>(static_cast<std::size_t>(std::max(length, 1)));
  fd_set set;
  FD_ZERO(&set);
  FD_SET(port, &set);
  const int count = recvRS485Data(port, &set, bytes.get(), length, 3, 100);
  require(count <= std::max(length, 0), "more bytes than asked for");
}

void on_open_port(std::uint8_t way) {
  const int port = rs485Open(kPort);
  require(port >= 0, "the port does not open");
  if (way < 2) {
    exchange(port, way == 1);
  } else {
    receive_block(port, way - 2);
  }
  close(port);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The echo test, after the five seconds that it waits for the detector.
  constexpr std::uint8_t kEcho = 0xFF;
  boardsim::Board board;
  board->rs485.set_fixture("none");

  Input input(data, size);
  const std::uint8_t way = input.byte();
  const std::size_t piece = std::max<std::size_t>(input.byte(), 1);
  const std::chrono::milliseconds pause(input.byte());
  boardsim::Time when = way == kEcho ? 6s : 1ms;
  for (; !input.empty(); when += pause) {
    board.at(when, [&board, bytes = input.bytes(piece)] { board->uart(1).receive(bytes); });
  }
  if (way == kEcho) {
    rs485_test();
  } else {
    on_open_port(way);
  }

  require(board.open_nodes().empty(), "a node is left open");
  require(board.violations().empty(), "a call that the board does not know");
  return 0;
}
