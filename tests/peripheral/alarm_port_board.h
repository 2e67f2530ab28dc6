// A board whose alarm inputs show what a test wants them to, for the tests of single port checks.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "t1_sdk/boardtest/peripheral/alarm/checks.h"
#include "t1_sdk/boardtest/platform/gpio.h"
#include "tests/harness/console.h"
#include "tests/harness/gbk.h"
#include "tests/harness/on_board.h"

/// Holds the general I/O driver and the node that switches the outputs open, as a test that checks ports
/// does.
class AlarmPortBoard : public OnBoard {
 protected:
  AlarmPortBoard(std::string_view family, const char* node, std::vector<unsigned> lines)
      : OnBoard(family), lines_(std::move(lines)) {
    gpiofd = ::open("/dev/qznio", O_RDWR);
    fd = ::open(node, O_RDWR);
    EXPECT_GT(gpiofd, 0);
    EXPECT_GT(fd, 0);
    board.clear_trace();
    buffer.fill(kUntouched);
  }
  void TearDown() override {
    ::close(gpiofd);
    ::close(fd);
    gpiofd = -1;
    OnBoard::TearDown();
  }

  /// From now on input n reads as bit n of the word, whatever the outputs do. Where several bits are read on
  /// one line, the last of them counts.
  void show(std::uint32_t word) {
    board.clear_faults();
    for (std::size_t bit = 0; bit < lines_.size(); ++bit) {
      board.fault("gpio " + std::to_string(lines_[bit]) + " stuck " +
                  ((word >> bit & 1U) != 0 ? "high" : "low"));
    }
  }
  /// The inputs show `first` until `change`, then `second`.
  void show(std::uint32_t first, std::chrono::milliseconds change, std::uint32_t second) {
    show(first);
    board.at(board.now() + change, [this, second] { show(second); });
  }

  /// The failure that a check wrote; empty when it wrote none.
  std::string text() const { return buffer[0] == kUntouched ? "" : utf8(buffer.data()); }
  bool buffer_is_respected() const {
    return std::all_of(buffer.begin() + kTextSize, buffer.end(), [](char c) { return c == kUntouched; });
  }

  static constexpr std::size_t kTextSize = 512;
  static constexpr char kUntouched = '~';

  Console console;
  std::array<char, kTextSize + 16> buffer{};
  int fd = -1;

 private:
  std::vector<unsigned> lines_;
};
