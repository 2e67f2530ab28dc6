// A live line with a bar, or plain lines.
#include "station/terminal/progress.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

#include "station/catalogue/codes.h"
#include "station/run/slot.h"
#include "station/text/text.h"

namespace t1station {
namespace {

constexpr std::string_view kSpinner = "|/-\\";
constexpr std::size_t kBarWidth = 20;

std::string bar(double share) {
  const double filled = std::clamp(share, 0.0, 1.0) * static_cast<double>(kBarWidth);
  const std::size_t count = static_cast<std::size_t>(filled);
  return std::string("[").append(count, '#').append(kBarWidth - count, '.').append("]");
}

std::string whole(double seconds) {
  return std::to_string(std::lround(std::floor(seconds)));
}

std::string usual_text(double seconds) {
  return seconds >= 1 ? std::to_string(std::lround(seconds)) : seconds_text(seconds);
}

}  // namespace

std::string colored_label(Outcome outcome, bool color) {
  const std::string label(outcome_label(outcome));
  if (!color) return label;
  std::string_view start = "\x1b[33m";
  if (outcome == Outcome::passed) start = "\x1b[32m";
  if (outcome == Outcome::failed) start = "\x1b[31m";
  return std::string(start) + label + "\x1b[0m";
}

std::string shown_lines(const ServiceMessage& message) {
  std::string shown;
  for (const std::string& context : message.lines) {
    for (const std::string& line : lines_of(context)) shown += line + "\n";
  }
  return shown;
}

void Progress::on(const RunEvent& event) {
  if (const auto* connected = std::get_if<Connected>(&event)) greeted(*connected);
  if (const auto* started = std::get_if<StepStarted>(&event)) {
    index_ = started->index;
    total_ = started->total;
    code_ = started->step.code;
    attempt_ = 0;
    attempts_ = started->step.attempts;
    ticked(0);
  }
  if (const auto* started = std::get_if<AttemptStarted>(&event)) {
    attempt_ = started->number;
    if (started->step.confirm) notice(started->step.confirm->text() + " [y/n]");
  }
  if (const auto* tick = std::get_if<AttemptTicked>(&event)) ticked(tick->elapsed);
  if (const auto* awaited = std::get_if<AnswerAwaited>(&event)) {
    redraw(kAnswerTime - awaited->left, awaited->question.en + " [y/n], " + whole(awaited->left) + " s left");
  }
  if (const auto* ended_attempt = std::get_if<AttemptEnded>(&event)) ended(*ended_attempt);
  if (const auto* step = std::get_if<StepEnded>(&event)) finished(step->result);
}

void Progress::greeted(const Connected& event) {
  if (!style_.greeting || !event.is_first) return;
  erase_line();
  for (const ServiceMessage& message : event.greeting) out_ << shown_lines(message);
  out_ << std::flush;
}

// Attempts that another one follows; the last one is shown with the step.
void Progress::ended(const AttemptEnded& event) {
  const bool is_last = event.number == event.step.attempts || event.result.outcome == Outcome::passed ||
                       event.result.outcome == Outcome::interrupted;
  if (!is_last) finished(event.result);
}

void Progress::ticked(double elapsed) {
  const catalogue::Test* test = catalogue::find_test(code_);
  const double usual = test ? test->seconds / style_.speed : 0;
  std::string rest;
  if (usual > 0) rest += bar(elapsed / usual) + " ";
  rest += whole(elapsed) + " s";
  if (usual > 0) rest += " of about " + usual_text(usual) + " s";
  redraw(elapsed, rest);
}

void Progress::notice(const std::string& text) {
  erase_line();
  out_ << "t1station: " << text << std::endl;
}

void Progress::waiting(const std::string& reason, double elapsed) {
  redraw(elapsed, reason + ", " + whole(elapsed) + " s");
}

// The one line of a terminal.
void Progress::redraw(double elapsed, const std::string& rest) {
  if (!style_.live) return;
  const std::size_t turn = static_cast<std::size_t>(std::max(0.0, elapsed * 10)) % kSpinner.size();
  std::string line;
  line += kSpinner[turn];
  if (total_ > 0) line += " " + heading() + " ";
  line += " " + rest;
  erase_line();
  out_ << cut_to_width(line, style_.columns - 1) << std::flush;
}

void Progress::finished(const Result& result) {
  erase_line();
  out_ << heading() << ": " << colored_label(result.outcome, style_.color) << " ("
       << seconds_text(result.seconds) << " s)" << std::endl;
}

std::string Progress::heading() const {
  return std::string("[") + std::to_string(index_ + 1) + "/" + std::to_string(total_) + "] " +
         title_of(code_) +
         (attempts_ > 1 && attempt_ > 0
              ? ", attempt " + std::to_string(attempt_) + " of " + std::to_string(attempts_)
              : "");
}

void Progress::erase_line() {
  if (style_.live) out_ << "\r\x1b[K";
}

}  // namespace t1station
