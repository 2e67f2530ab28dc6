// Random byte streams for the RS485 ports, and what a program may make of them.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/comm/rs485_run.h"

namespace rs485 {

/// The same numbers on every PC.
class Dice {
 public:
  explicit Dice(std::uint32_t seed) : engine_(seed) {}
  /// 0 to `sides` - 1.
  std::size_t roll(std::size_t sides) { return engine_() % sides; }
  bool chance(std::size_t percent) { return roll(100) < percent; }
  std::string bytes(std::size_t size) {
    std::string text(size, '\0');
    for (char& byte : text) byte = static_cast<char>(engine_());
    return text;
  }

 private:
  std::mt19937 engine_;
};

/// What stands where a frame should.
inline std::string bad_stream(Dice& dice, const std::string& frame) {
  switch (dice.roll(10)) {
    case 0:
      return "";
    case 1:
      return dice.bytes(1 + dice.roll(20));
    case 2:
      return dice.bytes(4096);
    case 3:
      return frame.substr(0, 1 + dice.roll(frame.size() - 1));
    case 4:
      return with_byte(frame, dice.roll(frame.size()), dice.bytes(1)[0]);
    case 5:
      return frame_of(5 + dice.roll(250), dice.bytes(1)[0]);
    case 6:
      return std::string("\xD0\x01\x02", 3) + dice.bytes(1);
    case 7:
      return std::string("\xD0\x01\x02", 3) + dice.bytes(1 + dice.roll(300));
    case 8:
      return std::string(dice.roll(200), '\xD0') + frame;
    default:
      return sealed("\xD0" + dice.bytes(1 + dice.roll(30)));
  }
}

/// Plays streams and remembers what had been called when each chunk arrived.
class StreamPlayer {
 public:
  explicit StreamPlayer(boardsim::Board& board) : board_(board) {}

  void arrive(std::chrono::milliseconds when, unsigned port, const std::string& bytes) {
    board_.at(when, [this, port, bytes] {
      arrived_.push_back({board_.trace().size(), port, bytes});
      board_->uart(port).receive(bytes);
    });
  }
  /// The same in chunks, some of them later.
  void arrive_in_chunks(Dice& dice, std::chrono::milliseconds when, unsigned port, const std::string& bytes) {
    for (std::size_t at = 0; at < bytes.size();) {
      const std::size_t size = 1 + dice.roll(bytes.size() - at);
      arrive(when, port, bytes.substr(at, size));
      if (dice.chance(50)) when += std::chrono::milliseconds(dice.roll(4000));
      at += size;
    }
  }

  /// What the program read after its n-th wait (from 0), n being counted over all its waits. A wait that was
  /// in vain has none.
  std::map<std::size_t, std::string> reads() const {
    constexpr std::size_t kRoom = 4096;
    std::map<std::size_t, std::string> read;
    std::map<std::string, std::string> waiting;
    std::size_t waits = 0;
    auto chunk = arrived_.begin();
    const std::vector<boardsim::Call> trace = board_.trace();
    for (std::size_t i = 0; i < trace.size(); ++i) {
      for (; chunk != arrived_.end() && chunk->calls_before <= i; ++chunk) {
        std::string& queue = waiting[port(chunk->port)];
        queue += chunk->bytes.substr(0, kRoom - queue.size());
      }
      const boardsim::Call& call = trace[i];
      if (call.name == "select" && call.node != "station") ++waits;
      if (call.request == 0x5503) waiting[call.node].clear();
      if (call.name == "read" && call.result > 0) {
        const auto size = static_cast<std::size_t>(call.result);
        read[waits - 1] += waiting[call.node].substr(0, size);
        waiting[call.node].erase(0, size);
      }
    }
    return read;
  }

 private:
  struct Chunk {
    std::size_t calls_before;
    unsigned port;
    std::string bytes;
  };
  boardsim::Board& board_;
  std::vector<Chunk> arrived_;
};

/// A buffer of 128 bytes into which frames are received in two parts.
class FrameBuffer {
 public:
  void zero(std::size_t size) { std::fill_n(bytes_.begin(), size, '\0'); }
  /// Whether a header came.
  bool take_header(const std::string& read) {
    bytes_.replace(0, read.size(), read);
    return read.size() == 4 && read[0] == '\xD0';
  }
  void take_rest(const std::string& read) {
    const std::size_t size = std::min(read.size(), bytes_.size() - 4);
    bytes_.replace(4, size, read.substr(0, size));
  }
  std::size_t claimed() const { return static_cast<unsigned char>(bytes_[3]); }
  std::string frame() const { return bytes_.substr(0, claimed()); }
  bool is_sealed() const {
    return claimed() >= 4 && claimed() <= bytes_.size() &&
           bytes_[claimed() - 1] == seal_of(bytes_.substr(0, claimed() - 1));
  }

 private:
  std::string bytes_ = std::string(128, '\0');
};

}  // namespace rs485
