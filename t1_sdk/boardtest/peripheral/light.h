// The built-in lights: a PWM channel, on the RKD boards an LED beside it. Both tests switch the light on
// for ten seconds, for an operator to watch, and always pass.
#pragma once

/// The driver's PWM record. Period and high time in the driver's time unit.
struct pwm {
  int chan;
  int period;
  int duty;
};
static_assert(sizeof(pwm) == 12);

/// The LED driver's record.
struct led_ctrl {
  unsigned idx;
  unsigned state;
};
static_assert(sizeof(led_ctrl) == 8);

/// Sets a PWM channel. 1 is success here; 0 for a null record or, after one line of text, a failure.
int light_set_pwm_param(pwm* p);
/// Switches the built-in light: `duty` is a percentage from which 20 to 50 is made (0 stays 0), `enable`
/// 0 is off. Always PWM channel 0, whatever `NO` says. Result of light_set_pwm_param.
int light_set_pwm_enable(int NO, int enable, int duty);
/// Sets a PWM channel of an RKD board. 0, or -1 after one line of text.
int set_pwm_light_rkd(int chan, int period, int duty);
/// Sets an LED of an RKD board. 0, or -1 after one line of text.
int set_led_light_rkd(unsigned idx, unsigned state);

/// Test 14592: the built-in light.
void t1_sdk_in_light();
/// Test 69633: the built-in steady light of the RKD boards.
void t1_sdk_in_light_rkd();
