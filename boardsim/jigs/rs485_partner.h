// The fixture's device for the echo test: plays the station's part by itself.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "boardsim/kernel/time.h"

namespace boardsim {

/// One second after the board has configured its port it sends a frame, waits for its echo, and 100 ms behind
/// the whole echo sends a second frame. An echo that differs is not answered. Each configuration
/// starts it anew. Called with the board's lock held.
class Rs485Partner {
 public:
  static constexpr int kRate = 38400;  ///< bits per second at which it sends and hears

  using After = std::function<void(Time span, std::function<void()> event)>;
  using Send = std::function<void(std::string_view bytes)>;

  /// `after` runs an event when virtual time has passed; `send` puts bytes on the line.
  Rs485Partner(After after, Send send) : after_(std::move(after)), send_(std::move(send)) {}

  void board_configured();
  void hear(std::string_view bytes);

  /// It never sends anything.
  void be_silent() { silent_ = true; }
  /// Its second frame has a wrong byte.
  void be_wrong() { wrong_ = true; }
  void clear_faults() { silent_ = wrong_ = false; }

 private:
  void send_first();
  void send_second();
  void later(Time span, void (Rs485Partner::*step)());

  After after_;
  Send send_;
  unsigned run_ = 0;  ///< counts configurations; a step of an earlier run is not taken
  bool listening_ = false;
  std::string heard_{};
  bool silent_ = false, wrong_ = false;
};

}  // namespace boardsim
