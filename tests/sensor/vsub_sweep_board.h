// What the tests of the automatic level share.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/sensor/vsub/sweep.h"
#include "tests/sensor/vsub_board.h"

class SweepRun : public VsubRun {
 protected:
  using Commands = std::vector<boardsim::Application::Command>;

  static constexpr int kAutoCode = 0x2E00;
  static constexpr std::uint32_t kPause = 0x31248;
  static constexpr const char* kPaused = "MAtest:CMD:201288, maHeart:0, maStartOK:0x0\n";
  static constexpr const char* kResumed = "MAtest:CMD:201288, maHeart:1, maStartOK:0x0\n";
  static constexpr const char* kNoLumaBack = "read vsub luma from flash error ret = -1\n";

  explicit SweepRun(std::string_view family = "6455") : VsubRun(family) {}

  void expect_auto(const std::string& value = "Pass", const std::string& description = "测试成功") {
    expect_reply(kAutoCode, kTrimName, value, description);
  }
  /// The application was told to pause and to go on.
  void expect_paused_and_resumed() const {
    EXPECT_EQ(board->application.commands(), (Commands{{12, kPause, 0}, {12, kPause, 1}}));
  }
  /// The hardware is left as after a sweep.
  void expect_left_behind() const {
    EXPECT_EQ(board->fpga.reg(0xD0), 0U);
    EXPECT_EQ(board->timing_generator.reg(4), 3U);
    EXPECT_EQ(board.open_nodes(), Lines{});
  }
  /// The pairs on the flash; the record around them must be whole.
  std::vector<vsub::Pair> pairs() const {
    const vsub::Bytes bytes = luma_on_flash();
    const std::vector<vsub::Pair> pairs = vsub::pairs_in(bytes);
    EXPECT_EQ(bytes, vsub::luma_record(pairs));
    return pairs;
  }
  /// 19 pairs two codes apart, all of the same brightness.
  static std::vector<vsub::Pair> sweep_of(std::uint32_t real, std::uint32_t luma) {
    std::vector<vsub::Pair> pairs;
    for (std::uint32_t step = 0; step < 19; ++step) pairs.push_back({real - 18 + 2 * step, luma});
    return pairs;
  }
  static std::vector<vsub::Pair> samples_of(std::uint32_t luma) { return {19, {0xFFFF, luma}}; }

  /// A sweep's trace around its 19 steps, from the reading of the record (or without it) to the storing.
  template <class Steps>
  static void frame(VsubScript& script, bool reads_record, Steps steps) {
    using namespace std::chrono_literals;
    script.open("/dev/fpga");
    script.open("/dev/tg");
    if (reads_record) script.emmc_read(64);
    script.wait(20ms + 50ms);  // the application answers, then it is left alone
    script.afe(4, 2);
    script.afe(5, 0);
    script.afe(6, 0);
    script.fpga(0x80, 0);
    script.fpga(0x2000, 0);
    script.fpga(0xD0, 1);
    for (std::uint32_t step = 0; step < 19; ++step) {
      steps(step);
      script.wait(200ms);
      script.luma();
    }
    script.flash_save();
    script.wait(20ms);
    script.fpga(0xD0, 0);
    script.afe(4, 3);
  }
};
