// The pin number of each board function.
#pragma once

#include <cstdint>

/// One pin number a board function; 0 where the board has none.
struct gpio_pin_tab {
  std::uint8_t alarm_in1;
  std::uint8_t alarm_in2;
  std::uint8_t alarm_out1;
  std::uint8_t alarm_out2;
  std::uint8_t ircut_2b;
  std::uint8_t ircut_1b;
  std::uint8_t IRCUT_en;
  std::uint8_t IRCUT_motor_feedback;
  std::uint8_t photoelectricSW_en;
  std::uint8_t IR_feedback;
  std::uint8_t IR_en;
  std::uint8_t red_led_ctrl;
  std::uint8_t blue_led_ctrl;
  std::uint8_t yellow_led_ctrl;
  std::uint8_t RS485_tx_en;
  std::uint8_t autoIris_cs;
  std::uint8_t camerafront_reset;
  std::uint8_t FPGA_reset;
  std::uint8_t manual_restore_defaultcfg;
};
static_assert(sizeof(gpio_pin_tab) == 19);

/// The pins of this board; all zero until gpio_pin_cfg().
extern gpio_pin_tab g_gpio_sets;

/// Fills g_gpio_sets, the same for every board. Called once a connection. Always 0.
int gpio_pin_cfg();
