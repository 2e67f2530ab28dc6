#include "station/report/figures_text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "station/figures/capability.h"
#include "station/text/text.h"

namespace t1station {
namespace {

constexpr std::size_t kBar = 30;              // columns of the longest bar
constexpr std::size_t kMostKindsInText = 20;  // of failures that are shown
constexpr std::size_t kLongestWords = 60;

std::string plain_number(double number) {
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "%.5g", number);
  return text.data();
}

std::string plain_number(const std::optional<double>& number) {
  return number ? plain_number(*number) : "-";
}

std::string percentage(const Share& share) {
  if (share.all == 0) return "-";
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "%.1f %%", 100 * *share.value());
  return text.data();
}

std::string bar_text(std::int64_t part, std::int64_t most) {
  if (part == 0 || most == 0) return {};
  const double length = static_cast<double>(part) / static_cast<double>(most) * kBar;
  return std::string(std::max<std::size_t>(static_cast<std::size_t>(std::lround(length)), 1), '#');
}

/// A table whose columns are as wide as what stands in them.
class Columns {
 public:
  /// Columns named here with a ">" before them stand at the right, as numbers do.
  explicit Columns(std::vector<std::string> heading) {
    for (std::string& name : heading) {
      is_right_.push_back(name.starts_with('>'));
      if (is_right_.back()) name.erase(0, 1);
    }
    add(std::move(heading));
  }

  void add(std::vector<std::string> row) {
    for (std::string& field : row) field = one_line(field);
    rows_.push_back(std::move(row));
  }

  std::string text() const {
    std::string text;
    for (const std::vector<std::string>& row : rows_) {
      std::string line;
      for (std::size_t column = 0; column < row.size(); ++column) {
        const std::size_t width = width_of(column);
        const std::string blanks(width - display_width(row[column]), ' ');
        line += "  " + (is_right_[column] ? blanks + row[column] : row[column] + blanks);
      }
      text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
    }
    return text;
  }

 private:
  std::size_t width_of(std::size_t column) const {
    std::size_t width = 0;
    for (const std::vector<std::string>& row : rows_) width = std::max(width, display_width(row[column]));
    return width;
  }

  std::vector<std::vector<std::string>> rows_;
  std::vector<bool> is_right_;
};

std::string window_text(const FigureWindow& window) {
  std::string text = window.plan ? "Plan " + *window.plan : "All plans";
  if (window.from) text += ", from " + *window.from;
  if (window.to) text += ", up to " + *window.to;
  if (window.batch) text += ", serial numbers that begin with " + *window.batch;
  return one_line(text) + "\n";
}

std::string yields_text(const Figures& figures) {
  Columns table({"Yield", ">", ">Units", ">Passed", ""});
  const auto add = [&table](const std::string& name, const Share& share) {
    table.add({name, percentage(share), std::to_string(share.all), std::to_string(share.part),
               bar_text(share.part, share.all)});
  };
  add("first pass", figures.first_pass);
  add("first pass, strict", figures.first_pass_strict);
  add("final", figures.final);
  return table.text();
}

std::string runs_text(const Figures& figures) {
  std::string text = std::to_string(figures.runs) + " runs of " + std::to_string(figures.units) + " units";
  if (figures.check_runs > 0) text += ", besides " + std::to_string(figures.check_runs) + " check runs";
  text += "\n\n";
  if (figures.runs == 0) return text;
  Columns table({"Verdict", ">Runs", ">Share", ""});
  const auto add = [&](const std::string& name, const FoundRuns& runs) {
    table.add({name, std::to_string(runs.count), percentage({runs.count, figures.runs}),
               bar_text(runs.count, figures.runs)});
  };
  for (const char* verdict : {"passed", "failed", "error", "stopped", "interrupted", ""}) {
    const auto found = figures.verdicts.find(verdict);
    if (found != figures.verdicts.end()) add(*verdict ? verdict : "no end yet", found->second);
  }
  add("(retried)", figures.retried);
  return text + table.text() + "\n" + yields_text(figures);
}

std::string words_of(const FailureKind& kind) {
  if (!kind.words) {
    std::string words;
    for (const auto& [outcome, runs] : kind.outcomes) words += (words.empty() ? "" : ", ") + outcome;
    return "(" + words + ")";
  }
  return cut_to_width(one_line(*kind.words), kLongestWords);
}

std::string numbers_of(const FailureKind& kind) {
  std::string text;
  for (const auto& [low, high] : kind.numbers) {
    text += (text.empty() ? "" : "; ") + plain_number(low);
    if (low != high) text += " to " + plain_number(high);
  }
  return cut_to_width(text, kLongestWords);
}

std::string failures_text(const Figures& figures) {
  if (figures.failures.empty()) return {};
  Columns table({">Runs", "", "Plan", "Step", "What did not pass", "Numbers (#)"});
  const std::size_t shown = std::min(figures.failures.size(), kMostKindsInText);
  for (std::size_t i = 0; i < shown; ++i) {
    const FailureKind& kind = figures.failures[i];
    table.add({std::to_string(kind.runs.count),
               bar_text(kind.runs.count, figures.failures.front().runs.count), kind.plan, kind.step,
               words_of(kind), numbers_of(kind)});
  }
  const std::size_t rest = figures.failures.size() - shown;
  return "\n" + table.text() + (rest > 0 ? "  and " + std::to_string(rest) + " more\n" : "");
}

std::string steps_text(const Figures& figures) {
  if (figures.steps.empty()) return {};
  Columns table({"Plan", "Step", ">Runs", ">Attempts", ">Failed", ">Retried", ">Median (s)", ">95 % (s)"});
  for (const StepFigures& step : figures.steps) {
    const auto failed = step.outcomes.find("failed");
    const std::int64_t failures = failed == step.outcomes.end() ? 0 : failed->second;
    table.add({step.plan, step.step, std::to_string(step.runs), std::to_string(step.attempts),
               percentage({failures, step.attempts}), percentage({step.retried.count, step.runs}),
               plain_number(step.median), plain_number(step.percentile_95)});
  }
  return "\n" + table.text();
}

std::string slots_text(const Figures& figures) {
  if (figures.slots.empty()) return {};
  Columns table({"Station", "Slot", ">Runs", ">Not passed", ">Share", "", ">p", ""});
  for (const SlotFigures& slot : figures.slots) {
    table.add({slot.station, slot.slot.value_or("-"), std::to_string(slot.runs),
               std::to_string(slot.not_passed.count), percentage({slot.not_passed.count, slot.runs}),
               bar_text(slot.not_passed.count, slot.runs), plain_number(slot.p),
               slot.is_marked ? "! differs from the other slots" : ""});
  }
  return "\n" + table.text();
}

std::string batches_text(const Figures& figures) {
  if (!has_batches(figures)) return {};
  Columns table({"Batch", ">Units", ">First runs", ">Lost", ">Share", "", ">p", ">Final yield", ""});
  for (const BatchFigures& batch : figures.batches) {
    const Share lost{batch.lost.count, batch.first_pass.all};
    table.add({batch.begin, std::to_string(batch.units), std::to_string(lost.all), std::to_string(lost.part),
               percentage(lost), bar_text(lost.part, lost.all), plain_number(batch.p),
               percentage(batch.final), batch.is_marked ? "! differs from the other batches" : ""});
  }
  return "\n" + table.text();
}

std::string warnings_of(const MeasurementFigures& measurement) {
  std::string text;
  if (measurement.normality && measurement.normality->is_warning) {
    text += "  ! not normally distributed (" + std::string(kNormalityTest) + ", p " +
            plain_number(measurement.normality->p) + ")\n";
  }
  if (measurement.drift && measurement.drift->is_warning) {
    text += "  ! drifts by " + plain_number(measurement.drift->rise) + " (" + kDriftTest + ", p " +
            plain_number(measurement.drift->p) + ")\n";
  }
  return text;
}

std::string measurement_text(const MeasurementFigures& measurement) {
  std::string title = measurement.plan + ", " + measurement.step + ": " + measurement.name;
  if (measurement.unit) title += " (" + *measurement.unit + ")";
  if (measurement.low) title += ", at least " + plain_number(*measurement.low);
  if (measurement.high) title += ", at most " + plain_number(*measurement.high);
  std::string text = "\n" + one_line(title) + "\n  " + std::to_string(measurement.values) + " values";
  const auto add_count = [&text](std::int64_t count, const std::string& what) {
    if (count > 0) text += ", " + std::to_string(count) + " " + what;
  };
  add_count(measurement.too_low, "too low");
  add_count(measurement.too_high, "too high");
  add_count(measurement.not_found, "not found");
  if (measurement.mean) text += ", mean " + plain_number(*measurement.mean);
  if (measurement.deviation) text += ", deviation " + plain_number(*measurement.deviation);
  if (const auto& found = measurement.capability) {
    text += ", Cpk " + plain_number(found->cpk) + " (95 %: " + plain_number(found->low) + " to " +
            plain_number(found->high) + ")";
  }
  text += "\n" + warnings_of(measurement);
  if (measurement.histogram.empty()) return text;
  const auto most =
      std::max_element(measurement.histogram.begin(), measurement.histogram.end(),
                       [](const HistogramBar& a, const HistogramBar& b) { return a.values < b.values; });
  Columns bars({">From", ">Values", ""});
  for (const HistogramBar& bar : measurement.histogram) {
    bars.add({plain_number(bar.from), std::to_string(bar.values), bar_text(bar.values, most->values)});
  }
  return text + bars.text();
}

}  // namespace

std::string figures_text(const Figures& figures) {
  std::string text = window_text(figures.window) + runs_text(figures) + failures_text(figures) +
                     steps_text(figures) + slots_text(figures) + batches_text(figures);
  for (const MeasurementFigures& measurement : figures.measurements) text += measurement_text(measurement);
  return text;
}

}  // namespace t1station
