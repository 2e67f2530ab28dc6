// The two kinds of automatic level, what they print, what they store, and what they ask of the hardware.
#pragma once

#include <gtest/gtest.h>
#include <chrono>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/sensor/vsub/sweep.h"
#include "tests/sensor/vsub_run.h"

/// A sweep of voltages, or the sampling without one.
struct Sweep {
  const char* name;
  const char* family;  ///< whose automatic level it is
  void (*run)();
  const char* opening;       ///< what it prints first
  const char* write_failed;  ///< what it prints before the result
  const char* stored;        ///< what it prints of pairs that were read back
  bool has_voltage;

  /// Its 19 pairs around a stored code, all of the same brightness.
  std::vector<vsub::Pair> pairs(std::uint32_t real, std::uint32_t luma) const {
    std::vector<vsub::Pair> pairs;
    for (std::uint32_t step = 0; step < 19; ++step) {
      pairs.push_back({has_voltage ? real - 18 + 2 * step : 0xFFFF, luma});
    }
    return pairs;
  }
};

inline void PrintTo(const Sweep& sweep, std::ostream* out) {
  *out << sweep.name;
}

inline constexpr Sweep kSweeps[] = {
    {"Sweep", "6455", SetVsubGetLuma, "flash vsub: 0xa86\n",
     "write vsub luma to flash error ret = ", "vsub_luma pair number: 19\n", true},
    {"Sampling", "normal", SetNonVsubGetLuma, "",
     "write luma to flash error ret = ", "luma pair number: 19\n", false},
};

inline constexpr int kAutoLevel = 0x2E00;
inline constexpr std::uint32_t kPause = 0x31248;
inline constexpr const char* kPaused = "MAtest:CMD:201288, maHeart:0, maStartOK:0x0\n";
inline constexpr const char* kResumed = "MAtest:CMD:201288, maHeart:1, maStartOK:0x0\n";
inline constexpr const char* kNoLumaBack = "read vsub luma from flash error ret = -1\n";

/// The application was told to pause and to go on, and the hardware is left as after a sweep.
inline void expect_put_back(const boardsim::Board& board) {
  using Commands = std::vector<boardsim::Application::Command>;
  EXPECT_EQ(board->application.commands(), (Commands{{12, kPause, 0}, {12, kPause, 1}}));
  EXPECT_EQ(board->fpga.reg(0xD0), 0U);
  EXPECT_EQ(board->timing_generator.reg(4), 3U);
  EXPECT_EQ(board.open_nodes(), std::vector<std::string>{});
}

/// The pairs on the flash; the record around them must be whole.
inline std::vector<vsub::Pair> stored_pairs(const boardsim::Board& board) {
  const vsub::Bytes bytes = board->flash.bytes(vsub::kFlashLuma, vsub::kLumaSize);
  const std::vector<vsub::Pair> pairs = vsub::pairs_in(bytes);
  EXPECT_EQ(bytes, vsub::luma_record(pairs));
  return pairs;
}

/// What a sweep around a stored code asks of the hardware, up to the closing of its two nodes.
inline void sweep_script(VsubScript& script, const Sweep& sweep, std::uint32_t real) {
  using namespace std::chrono_literals;
  script.open("/dev/fpga");
  script.open("/dev/tg");
  if (sweep.has_voltage) script.emmc_read(64);
  script.wait(20ms + 50ms);  // the application answers, then it is left alone
  script.afe(4, 2);
  script.afe(5, 0);
  script.afe(6, 0);
  script.fpga(0x80, 0);
  script.fpga(0x2000, 0);
  script.fpga(0xD0, 1);
  for (const vsub::Pair& pair : sweep.pairs(real, 0)) {
    if (sweep.has_voltage) script.apply(pair.code);
    script.wait(200ms);
    script.luma();
  }
  script.flash_save();
  script.wait(20ms);
  script.fpga(0xD0, 0);
  script.afe(4, 3);
}
