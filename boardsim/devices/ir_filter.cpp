#include "boardsim/devices/ir_filter.h"

#include <algorithm>

namespace boardsim {
namespace {

enum Line : unsigned {
  kFront = 86,
  kMagnetEnable = 87,
  kBack = 88,
  kStepperEnable = 110,
  kCoil111 = 111,
  kCoil113 = 113,
};

constexpr std::string_view kDay = "dayICR";
constexpr std::string_view kNight = "nightICR";

/// Place of the coils' state in the order of a step away from home.
int phase_of(int coil_111, int coil_113) {
  constexpr int kPhases[2][2] = {{3, 2}, {0, 1}};  // [111][113]
  return kPhases[coil_111][coil_113];
}

}  // namespace

void IrFilter::drive(unsigned line, int level) {
  switch (line) {
    case kFront:
      front_ = level;
      return drive_magnet();
    case kBack:
      back_ = level;
      return drive_magnet();
    case kMagnetEnable:
      magnet_enable_ = level;
      return drive_magnet();
    case kStepperEnable:
      stepper_enable_ = level;
      return drive_stepper();
    case kCoil111:
      coil_111_ = level;
      return drive_stepper();
    case kCoil113:
      coil_113_ = level;
      return drive_stepper();
    default:
      return;
  }
}

void IrFilter::drive_magnet() {
  if (magnet_enable_ == 0 || front_ == back_) return;
  side_ = front_ != 0 ? Side::day : Side::night;
}

void IrFilter::drive_stepper() {
  if (stepper_enable_ == 0) {
    phase_.reset();
    return;
  }
  const int phase = phase_of(coil_111_, coil_113_);
  const int turned = (phase - phase_.value_or(phase) + 4) % 4;  // 3 is one quarter back; 2 moves nothing
  phase_ = phase;
  if (turned == 1) position_ = std::min(position_ + 1, kTravel);
  if (turned == 3) position_ = std::max(position_ - 1, 0);
}

bool IrFilter::is_command(std::string_view text) {
  return text == kDay || text == kNight;
}

void IrFilter::run(std::string_view command) {
  side_ = command == kDay ? Side::day : Side::night;
}

FaultForms IrFilter::fault_forms() {
  return {{"home switch never",
           "line 26 reads 0 wherever the rotor of the IR-cut filter stands",
           {},
           [this](const FaultArguments&) { switch_never_ = true; }}};
}

}  // namespace boardsim
