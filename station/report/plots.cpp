#include "station/report/plots.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "station/report/html.h"

namespace t1station {
namespace {

// Of the larger plots, in units of the drawing; a page stretches them as it likes.
constexpr double kWidth = 480, kHeight = 210, kLeft = 44, kRight = 14, kTop = 24, kBottom = 28;

std::string place_text(double place) {
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "%.2f", place);
  return text.data();
}

pugi::xml_node add_drawing(pugi::xml_node to, double width, double height, std::string_view of_class) {
  pugi::xml_node drawing = add(to, "svg", {}, of_class);
  set(drawing, "viewBox", "0 0 " + place_text(width) + " " + place_text(height));
  set(drawing, "role", "img");
  return drawing;
}

// A bar that is as wide as its place is: it may be stretched, since there is no text in it.
pugi::xml_node add_stretched(pugi::xml_node to, std::string_view of_class) {
  pugi::xml_node drawing = add_drawing(to, 100, 10, of_class);
  set(drawing, "preserveAspectRatio", "none");
  set(drawing, "aria-hidden", "true");
  return drawing;
}

pugi::xml_node add_box(pugi::xml_node to, double x, double y, double width, double height,
                       std::string_view of_class) {
  pugi::xml_node box = add(to, "rect", {}, of_class);
  set(box, "x", place_text(x));
  set(box, "y", place_text(y));
  set(box, "width", place_text(width));
  set(box, "height", place_text(height));
  return box;
}

void add_line(pugi::xml_node to, double x1, double y1, double x2, double y2, std::string_view of_class) {
  pugi::xml_node line = add(to, "line", {}, of_class);
  set(line, "x1", place_text(x1));
  set(line, "y1", place_text(y1));
  set(line, "x2", place_text(x2));
  set(line, "y2", place_text(y2));
}

void add_label(pugi::xml_node to, double x, double y, const std::string& text, std::string_view anchor,
               std::string_view of_class = {}) {
  pugi::xml_node label = add(to, "text", text, of_class);
  set(label, "x", place_text(x));
  set(label, "y", place_text(y));
  set(label, "text-anchor", anchor);
}

// The smallest step of 1, 2 or 5 tenths, ones, tens ... that divides a range into `most` parts at most.
double step_of(double range, int most) {
  const double rough = range / most;
  const double power = std::pow(10, std::floor(std::log10(rough)));
  for (const double part : {1.0, 2.0, 5.0}) {
    if (part * power >= rough * (1 - 1e-9)) return part * power;
  }
  return 10 * power;
}

/// Where a value stands between two places of a drawing.
struct Scale {
  double low, high, from, to;
  double operator()(double value) const { return from + (value - low) / (high - low) * (to - from); }
};

// Counts at the left, with lines across.
void add_counts(pugi::xml_node drawing, const Scale& y, double most, double right = kWidth - kRight) {
  const double step = std::max(step_of(most, 4), 1.0);
  for (double count = 0; count <= most * (1 + 1e-9); count += step) {
    add_line(drawing, kLeft, y(count), right, y(count), count == 0 ? "axis" : "grid");
    add_label(drawing, kLeft - 6, y(count) + 4, number_text(count), "end");
  }
}

// From where to where a histogram goes: the limits are in it unless they would leave the bars no room.
Scale across(const MeasurementFigures& measurement) {
  constexpr double kLeastOfBars = 0.25;
  const double low = measurement.histogram.front().from, high = measurement.histogram.back().to;
  const double range = high > low ? high - low : std::max(std::abs(high), 1.0) * 0.1;
  const double margin = 0.06 * range;
  double from = low - margin, to = high + margin;
  for (const std::optional<double>& limit : {measurement.low, measurement.high}) {
    if (!limit) continue;
    const double wider_from = std::min(from, *limit - margin), wider_to = std::max(to, *limit + margin);
    if (range < kLeastOfBars * (wider_to - wider_from)) continue;
    from = wider_from;
    to = wider_to;
  }
  return {from, to, kLeft, kWidth - kRight};
}

// A limit stands in the plot, or beyond its end with an arrow to where it is.
void add_limit(pugi::xml_node drawing, const Scale& x, double limit) {
  if (limit < x.low || limit > x.high) {
    const bool is_left = limit < x.low;
    add_label(drawing, is_left ? kLeft + 2 : kWidth - kRight - 2, 14,
              is_left ? "◀ " + number_text(limit) : number_text(limit) + " ▶", is_left ? "start" : "end",
              "limit-label");
    return;
  }
  add_line(drawing, x(limit), kTop - 4, x(limit), kHeight - kBottom, "limit");
  const char* anchor = x(limit) < kWidth / 4 ? "start" : x(limit) > kWidth * 3 / 4 ? "end" : "middle";
  add_label(drawing, x(limit), 14, number_text(limit), anchor, "limit-label");
}

// Where a bar is drawn that leads to so many runs.
pugi::xml_node linked(pugi::xml_node drawing, const std::string& target, std::int64_t runs) {
  if (target.empty()) return drawing;
  pugi::xml_node link = add(drawing, "a");
  set(link, "href", target);
  set(link, "data-runs", std::to_string(runs));
  return link;
}

void add_histogram_bar(pugi::xml_node drawing, const HistogramBar& bar, const Scale& x, const Scale& y,
                       const MeasurementFigures& measurement, const std::string& target) {
  if (bar.values == 0) return;
  const double middle = (bar.from + bar.to) / 2;
  const bool is_outside =
      (measurement.low && middle < *measurement.low) || (measurement.high && middle > *measurement.high);
  const pugi::xml_node place = linked(drawing, target, bar.runs);
  const auto values = static_cast<double>(bar.values);
  const double width = bar.to > bar.from ? x(bar.to) - x(bar.from) : 12;
  const double left = bar.to > bar.from ? x(bar.from) : x(bar.from) - 6;
  pugi::xml_node box = add_box(place, left + 0.5, y(values), std::max(width - 1, 1.0), y(0) - y(values),
                               is_outside ? "column outside" : "column");
  add(box, "title", number_text(bar.from) + " … " + number_text(bar.to) + ": " + std::to_string(bar.values));
}

}  // namespace

std::string number_text(double number) {
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "%.5g", std::abs(number) < 1e-12 ? 0 : number);
  return text.data();
}

void add_bar(pugi::xml_node to, double part, double mark) {
  pugi::xml_node drawing = add_stretched(to, "bar");
  add_box(drawing, 0, 1, 100, 8, "track");
  if (part > 0) add_box(drawing, 0, 1, std::min(100 * part, 100.0), 8, "part");
  if (mark >= 0) add_box(drawing, std::min(100 * mark, 99.0), 0, 1, 10, "mark");
}

void add_stack(pugi::xml_node to, const std::vector<std::pair<std::string, std::int64_t>>& parts) {
  std::int64_t all = 0;
  for (const auto& [name, size] : parts) all += size;
  if (all == 0) return;
  pugi::xml_node drawing = add_stretched(to, "stack");
  double from = 0;
  for (const auto& [name, size] : parts) {
    const double width = 100 * static_cast<double>(size) / static_cast<double>(all);
    if (size > 0) add_box(drawing, from, 0, width, 10, name);
    from += width;
  }
}

void add_pareto(pugi::xml_node to, const std::vector<std::int64_t>& counts, std::int64_t all,
                const BarLink& link) {
  constexpr std::size_t kMostBars = 12;
  if (counts.empty() || all == 0) return;
  const std::size_t bars = std::min(counts.size(), kMostBars);
  pugi::xml_node drawing = add_drawing(to, kWidth, kHeight, "plot pareto");
  const double right = kWidth - 40;  // the shares stand behind
  const Scale x{0, static_cast<double>(bars), kLeft, right};
  const Scale y{0, static_cast<double>(all), kHeight - kBottom, kTop};
  const Scale share{0, 1, kHeight - kBottom, kTop};
  add_counts(drawing, y, y.high, right);
  for (const int percent : {0, 50, 100}) {
    add_label(drawing, kWidth - 2, share(percent / 100.0) + 4, std::to_string(percent) + " %", "end");
  }
  std::int64_t sum = 0;
  std::string points;
  const double width = std::min((right - kLeft) / static_cast<double>(bars) * 0.7, 60.0);
  for (std::size_t i = 0; i < bars; ++i) {
    const double middle = x(static_cast<double>(i) + 0.5);
    const auto count = static_cast<double>(counts[i]);
    pugi::xml_node box = add_box(linked(drawing, link ? link(i) : "", counts[i]), middle - width / 2,
                                 y(count), width, y(0) - y(count), "column outside");
    add(box, "title", std::to_string(counts[i]));
    add_label(drawing, middle, kHeight - kBottom + 16, std::to_string(i + 1), "middle");
    sum += counts[i];
    const double together = static_cast<double>(sum) / static_cast<double>(all);
    points += place_text(middle) + "," + place_text(share(together)) + " ";
    pugi::xml_node dot = add(drawing, "circle", {}, "dot");
    set(dot, "cx", place_text(middle));
    set(dot, "cy", place_text(share(together)));
    set(dot, "r", "3");
  }
  set(add(drawing, "polyline", {}, "together"), "points", points);
}

void add_histogram(pugi::xml_node to, const MeasurementFigures& measurement, const BarLink& link) {
  if (measurement.histogram.empty()) return;
  std::int64_t most = 1;
  for (const HistogramBar& bar : measurement.histogram) most = std::max(most, bar.values);
  const Scale x = across(measurement);
  if (!std::isfinite(x.high - x.low)) return;  // values that no paper is wide enough for
  pugi::xml_node drawing = add_drawing(to, kWidth, kHeight, "plot histogram");
  const Scale y{0, static_cast<double>(most), kHeight - kBottom, kTop};
  add_counts(drawing, y, static_cast<double>(most));
  const double step = step_of(x.high - x.low, 6), first = std::ceil(x.low / step) * step;
  for (int i = 0; first + i * step <= x.high && i < 7; ++i) {
    const double tick = first + i * step;
    add_line(drawing, x(tick), kHeight - kBottom, x(tick), kHeight - kBottom + 4, "axis");
    add_label(drawing, x(tick), kHeight - kBottom + 17, number_text(tick), "middle");
  }
  for (std::size_t bar = 0; bar < measurement.histogram.size(); ++bar) {
    add_histogram_bar(drawing, measurement.histogram[bar], x, y, measurement, link ? link(bar) : "");
  }
  if (measurement.mean && *measurement.mean >= x.low && *measurement.mean <= x.high) {
    add_line(drawing, x(*measurement.mean), kTop, x(*measurement.mean), kHeight - kBottom, "mean");
  }
  if (measurement.low) add_limit(drawing, x, *measurement.low);
  if (measurement.high) add_limit(drawing, x, *measurement.high);
}

}  // namespace t1station
