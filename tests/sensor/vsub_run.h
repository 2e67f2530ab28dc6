// What the tests of the substrate voltage share: a board with a known record in its store, a console, a
// station.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "t1_sdk/boardtest/sensor/vsub/vsub.h"
#include "tests/harness/station_run.h"
#include "tests/sensor/vsub_records.h"
#include "tests/sensor/vsub_script.h"

/// The board's eMMC says 2694 ("7.6") for both codes, its flash was never written.
class VsubRun : public StationRun {
 protected:
  using Lines = std::vector<std::string>;

  static constexpr std::uint32_t kStored = 2694;  // 0xa86
  static constexpr const char* kTrimName = "微调sub电压";

  explicit VsubRun(std::string_view family = "6455") : StationRun(family) { begin(); }
  ~VsubRun() override {
    t1_sdk_reset_trim_vsub();
    g_sub_value = 0;
  }

  /// Goes on with another board, with nothing said, heard or trimmed.
  void next_board(std::string_view family) {
    StationRun::next_board(family);
    begin();
  }
  /// Forgets what was said, heard and done so far.
  void forget() {
    StationRun::forget();
    board.clear_trace();
  }
  /// Puts a valid record on the eMMC.
  void store(std::uint32_t real, std::uint32_t original, std::string_view voltage = "7.6") {
    board->emmc.set_bytes(vsub::kEmmcVsub, vsub::record(real, original, voltage));
  }
  vsub::Bytes on_emmc() const { return board->emmc.bytes(vsub::kEmmcVsub, vsub::kVsubSize); }
  vsub::Bytes on_flash() const { return board->flash.bytes(vsub::kFlashVsub, vsub::kVsubSize); }
  vsub::Bytes luma_on_flash() const { return board->flash.bytes(vsub::kFlashLuma, vsub::kLumaSize); }
  /// A record that was never written.
  static vsub::Bytes never_written(std::size_t size = vsub::kVsubSize) { return vsub::Bytes(size, 0xFF); }
  unsigned flash_saves() const { return board->flash.erasures(vsub::kBlock); }

  /// A reply of the trims, of the showing and of the automatic level, which share their name.
  void expect_reply(int code, const std::string& value, const std::string& description) {
    ::expect_reply(station, code, kTrimName, value, description);
  }
  void expect_console(const std::string& out, const std::string& err = "") {
    EXPECT_EQ(console.out(), out);
    EXPECT_EQ(console.err(), err);
  }

 private:
  void begin() {
    store(kStored, kStored);
    t1_sdk_reset_trim_vsub();
    g_sub_value = 0;
    board.clear_trace();
  }
};
