#include "boardsim/jigs/rs485_partner.h"

namespace boardsim {
namespace {

using namespace std::chrono_literals;
using namespace std::string_view_literals;

constexpr Time kUntilFirst = 1s;
constexpr Time kUntilSecond = 100ms;

constexpr std::string_view kFirst = "\xD0\x01\x06\x0F\x11\x62\x80\x32\x34\x12\x78\x56\x9A\xBC\x75"sv;
constexpr std::string_view kSecond = "\xD0\x01\x02\x07\x5A\xA5\xD9"sv;
constexpr std::string_view kWrongSecond = "\xD0\x01\x02\x07\x5A\x5A\xD9"sv;

}  // namespace

void Rs485Partner::later(Time span, void (Rs485Partner::*step)()) {
  after_(span, [this, step, run = run_] {
    if (run == run_) (this->*step)();
  });
}

void Rs485Partner::board_configured() {
  ++run_;
  listening_ = false;
  later(kUntilFirst, &Rs485Partner::send_first);
}

void Rs485Partner::send_first() {
  if (silent_) return;
  heard_.clear();
  listening_ = true;
  send_(kFirst);
}

void Rs485Partner::hear(std::string_view bytes) {
  if (!listening_) return;
  heard_ += bytes;
  if (heard_.size() < kFirst.size()) return;
  listening_ = false;
  if (heard_ == kFirst) later(kUntilSecond, &Rs485Partner::send_second);
}

void Rs485Partner::send_second() {
  if (!silent_) send_(wrong_ ? kWrongSecond : kSecond);
}

}  // namespace boardsim
