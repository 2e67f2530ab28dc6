// A port behind one relay, as the hardware sees its test when all is well.
#pragma once

#include <chrono>

#include "tests/peripheral/hardware_script.h"

/// One repetition that passes: relay off, relay on, output on, and a reading after each.
inline void one_relay_script(HardwareScript& it, unsigned in, unsigned out, unsigned relay) {
  using namespace std::chrono_literals;
  it.drive(relay, 0);
  it.drive(out, 0);
  it.wait(500ms);
  it.read(in);
  it.drive(relay, 1);
  it.wait(500ms);
  it.drive(out, 0);
  it.wait(500ms);
  it.read(in);
  it.wait(500ms);
  it.drive(out, 1);
  it.wait(500ms);
  it.read(in);
  it.wait(500ms);
}
