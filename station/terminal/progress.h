// What a person sees on standard error while tests run.
#pragma once

#include <ostream>
#include <string>

#include "station/run/events.h"

namespace t1station {

/// How progress is shown.
struct ProgressStyle {
  bool live = false;         ///< one line that is redrawn; false: one line for each test when it is over
  bool color = false;        ///< results in color
  bool greeting = true;      ///< show banner and menu
  double speed = 1;          ///< the board runs so many times as fast as usual
  std::size_t columns = 80;  ///< width of the terminal; a live line never reaches its end
};

/// Shows a run, or the wait for a board alone, on a stream.
class Progress final : public Listener {
 public:
  Progress(std::ostream& out, const ProgressStyle& style) : out_(out), style_(style) {}

  void notice(const std::string& text) override;
  void waiting(const std::string& reason, double elapsed) override;
  void on(const RunEvent& event) override;

 private:
  void greeted(const Connected& event);
  void ticked(double elapsed);
  void ended(const AttemptEnded& event);
  void finished(const Result& result);
  std::string heading() const;
  void redraw(double elapsed, const std::string& rest);
  void erase_line();

  std::ostream& out_;
  ProgressStyle style_;
  std::size_t index_ = 0;
  std::size_t total_ = 0;
  std::int32_t code_ = 0;
  int attempt_ = 1, attempts_ = 1;
};

/// The outcome's label, in its color when `color` is set: green, red, or yellow for everything undecided.
std::string colored_label(Outcome outcome, bool color);

/// All lines of a service message, each with a line end.
std::string shown_lines(const ServiceMessage& message);

}  // namespace t1station
