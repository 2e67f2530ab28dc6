// What the tests of the dispatcher share: a board with a trim begun, a station, the console.
#pragma once

#include <gtest/gtest.h>
#include <algorithm>
#include <array>
#include <string>

#include "t1_sdk/boardtest/sensor/vsub/trim.h"
#include "t1_sdk/boardtest/sensor/vsub/vsub.h"
#include "t1_sdk/boardtest/service/dispatch.h"
#include "t1_sdk/boardtest/service/server.h"
#include "tests/harness/station_run.h"

/// An idle counter that shows whether it was reset.
inline constexpr int kNoted = 11;

/// The request of a code, however that is written.
inline std::string request(const std::string& code) {
  return "<TestItem><TestCode>" + code + "</TestCode></TestItem>";
}

/// Requests are handed to the dispatcher directly, with a trim unfinished and an idle counter of kNoted.
class DispatchTest : public StationRun {
 protected:
  DispatchTest() {
    g_iTimeCount = kNoted;
    g_sub_value = 77;
    begin_trim();
  }
  ~DispatchTest() override {
    g_iTimeCount = 0;
    g_sub_value = 0;
    t1_sdk_reset_trim_vsub();
  }

  /// Hands a request over as the receiver does: in a buffer of its own, ended by a NUL.
  static int dispatch(std::string xml, int length = 0) {
    return process_client_operation(reinterpret_cast<unsigned char*>(xml.data()), length);
  }
  static int dispatch(int code) { return dispatch(request(std::to_string(code))); }

  static void begin_trim() {
    for (int slot = 0; slot < 3; ++slot) {
      g_trim_vsub[slot] = 100 + slot;
      g_base_vsub[slot] = 200 + slot;
    }
  }
  static bool trim_is_untouched() {
    return std::equal(g_trim_vsub, g_trim_vsub + 3, std::array{100, 101, 102}.begin()) &&
           std::equal(g_base_vsub, g_base_vsub + 3, std::array{200, 201, 202}.begin());
  }
  static bool trim_is_reset() {
    return std::all_of(g_trim_vsub, g_trim_vsub + 3, [](int code) { return code == 0; }) &&
           std::all_of(g_base_vsub, g_base_vsub + 3, [](int code) { return code == 0; });
  }
  /// Dispatches, and expects what every unusable request leads to.
  void expect_invalid(const std::string& xml) {
    console.clear();
    station.forget();
    g_iTimeCount = kNoted;
    EXPECT_EQ(dispatch(xml), 0) << xml;
    EXPECT_EQ(console.out(), "testCode is invalid\n") << xml;
    EXPECT_EQ(station.bytes(), "") << xml;
    EXPECT_EQ(g_iTimeCount, kNoted) << xml;
  }
  /// Dispatches, and expects the clock test to have run.
  void expect_clock_test(const std::string& xml) {
    station.forget();
    EXPECT_EQ(dispatch(xml), 0) << xml;
    EXPECT_EQ(station.reply().code, 1536) << xml;
  }
};
