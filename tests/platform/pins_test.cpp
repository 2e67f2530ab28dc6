// The table of pins by board function.
#include "t1_sdk/boardtest/platform/pins.h"

#include <gtest/gtest.h>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "tests/harness/console.h"
#include "tests/harness/on_board.h"

namespace {

using Pins = std::array<std::uint8_t, 19>;

Pins pins_of(const gpio_pin_tab& table) {
  Pins pins;
  std::memcpy(pins.data(), &table, pins.size());
  return pins;
}

// Taken before any test runs.
const Pins kPinsAtStart = pins_of(g_gpio_sets);

TEST(PinsTest, OnePinOfOneByteForEachOfNineteenFunctionsInTheirOrder) {
  static_assert(sizeof(gpio_pin_tab) == 19);
  EXPECT_EQ(offsetof(gpio_pin_tab, alarm_in1), 0U);
  EXPECT_EQ(offsetof(gpio_pin_tab, alarm_in2), 1U);
  EXPECT_EQ(offsetof(gpio_pin_tab, alarm_out1), 2U);
  EXPECT_EQ(offsetof(gpio_pin_tab, alarm_out2), 3U);
  EXPECT_EQ(offsetof(gpio_pin_tab, ircut_2b), 4U);
  EXPECT_EQ(offsetof(gpio_pin_tab, ircut_1b), 5U);
  EXPECT_EQ(offsetof(gpio_pin_tab, IRCUT_en), 6U);
  EXPECT_EQ(offsetof(gpio_pin_tab, IRCUT_motor_feedback), 7U);
  EXPECT_EQ(offsetof(gpio_pin_tab, photoelectricSW_en), 8U);
  EXPECT_EQ(offsetof(gpio_pin_tab, IR_feedback), 9U);
  EXPECT_EQ(offsetof(gpio_pin_tab, IR_en), 10U);
  EXPECT_EQ(offsetof(gpio_pin_tab, red_led_ctrl), 11U);
  EXPECT_EQ(offsetof(gpio_pin_tab, blue_led_ctrl), 12U);
  EXPECT_EQ(offsetof(gpio_pin_tab, yellow_led_ctrl), 13U);
  EXPECT_EQ(offsetof(gpio_pin_tab, RS485_tx_en), 14U);
  EXPECT_EQ(offsetof(gpio_pin_tab, autoIris_cs), 15U);
  EXPECT_EQ(offsetof(gpio_pin_tab, camerafront_reset), 16U);
  EXPECT_EQ(offsetof(gpio_pin_tab, FPGA_reset), 17U);
  EXPECT_EQ(offsetof(gpio_pin_tab, manual_restore_defaultcfg), 18U);
}

TEST(PinsTest, BeforeTheyAreFilledAllPinsAreZero) {
  EXPECT_EQ(kPinsAtStart, Pins{});
}

class PinFillingTest : public OnBoard {};

TEST_F(PinFillingTest, EveryBoardHasTheSameNinePinsAndTheOtherTenStayZero) {
  const Console console;
  const Pins expected = {28, 29, 30, 31, 83, 82, 0, 0, 0, 0, 0, 0, 0, 0, 38, 0, 32, 0, 36};
  for (const boardsim::Family& family : boardsim::families()) {
    with_family(family.name);
    board.clear_trace();
    g_gpio_sets = {};
    EXPECT_EQ(gpio_pin_cfg(), 0);
    EXPECT_EQ(pins_of(g_gpio_sets), expected) << family.name;
    EXPECT_TRUE(board.hardware_trace().empty());
  }
  EXPECT_EQ(console.out(), "");
}

}  // namespace
