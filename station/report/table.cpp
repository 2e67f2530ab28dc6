// Laying out tables by terminal columns.
#include "station/report/table.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <vector>

#include "station/catalogue/codes.h"
#include "station/terminal/progress.h"
#include "station/text/text.h"

namespace t1station {
namespace {

using Row = std::vector<std::string>;

constexpr std::string_view kGap = "  ";
constexpr std::size_t kLongestRule = 40;  // columns; descriptions may be much longer

std::string pad_left(const std::string& text, std::size_t columns) {
  const std::size_t width = display_width(text);
  return width < columns ? std::string(columns - width, ' ') + text : text;
}

std::vector<std::size_t> column_widths(const std::vector<Row>& rows) {
  std::vector<std::size_t> widths(rows.front().size(), 0);
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], display_width(row[i]));
  }
  return widths;
}

std::string without_end_blanks(std::string line) {
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

// Rows of plain text; `right` names the columns whose texts end on one line.
std::vector<std::string> lay_out(const std::vector<Row>& rows, const std::vector<std::size_t>& right) {
  const std::vector<std::size_t> widths = column_widths(rows);
  std::vector<std::string> lines;
  for (const Row& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (i > 0) line += kGap;
      const bool is_right = std::find(right.begin(), right.end(), i) != right.end();
      line += is_right ? pad_left(row[i], widths[i]) : pad_to_width(row[i], widths[i]);
    }
    lines.push_back(without_end_blanks(line));
  }
  return lines;
}

std::string hexadecimal(std::int32_t code) {
  if (code < 0) return "";
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "0x%X", static_cast<unsigned>(code));
  return text.data();
}

// As on the command line.
std::string typed_name(std::int32_t code, std::optional<std::int32_t> parameter) {
  return name_of(code) + (parameter ? "=" + std::to_string(*parameter) : "");
}

// A step by its name in the plan, and how often it was tried.
std::string row_name(const Result& result) {
  if (result.step.empty()) return typed_name(result.code, result.parameter);
  return result.step + (result.attempts > 1 ? " x" + std::to_string(result.attempts) : "");
}

// A name is one line whatever the board put into it.
std::string one_line(const std::string& text) {
  std::string line = text;
  std::replace(line.begin(), line.end(), '\n', ' ');
  std::replace(line.begin(), line.end(), '\t', ' ');
  return line;
}

std::string totals(const RunReport& report) {
  std::string line =
      std::to_string(report.results.size()) + (report.results.size() == 1 ? " test: " : " tests: ");
  for (const auto& [outcome, name, label, counted] : outcomes()) {
    const std::size_t count = report.count(outcome);
    const bool is_always_shown = outcome == Outcome::passed || outcome == Outcome::failed;
    if (count == 0 && !is_always_shown) continue;
    if (outcome != Outcome::passed) line += ", ";
    line += std::to_string(count) + " ";
    line += counted;
  }
  return line + ", " + seconds_text(report.seconds()) + " s";
}

// Last of all, so that whoever looks up sees it.
std::string verdict_line(const RunReport& report) {
  if (!report.ended) return "";
  std::string line =
      one_line(clean_text(report.serial)) + ": " + std::string(verdict_name(report.ended->verdict));
  if (report.ended->retried) line += ", retried";
  if (!report.ended->reason.empty()) line += " (" + one_line(clean_text(report.ended->reason)) + ")";
  return line + "\n";
}

// "temperature 10 to 60 degC"
std::string limits_of(const Measure& measure) {
  std::string text = measure.name;
  if (measure.low) text += (measure.high ? " " : " from ") + shortest(*measure.low);
  if (measure.high) text += (measure.low ? " to " : " up to ") + shortest(*measure.high);
  return measure.unit.empty() ? text : text + " " + measure.unit;
}

std::string remarks_on(const Step& step) {
  std::vector<std::string> remarks;
  for (const Measure& measure : step.measures) remarks.push_back("measures " + limits_of(measure));
  if (step.confirm) remarks.emplace_back("asks a person");
  if (step.stop_on_fail) remarks.emplace_back("stops when it fails");
  if (step.always) remarks.emplace_back("always");
  std::string text;
  for (const std::string& remark : remarks) text += (text.empty() ? "" : ", ") + remark;
  return text;
}

std::string usual_seconds_of(const Step& step) {
  const catalogue::Test* test = catalogue::find_test(step.code);
  return test ? std::to_string(test->seconds) : "?";
}

}  // namespace

std::string results_table(const RunReport& report, bool color) {
  std::vector<Row> rows{{"Test", "Code", "Result", "Seconds", "Board's name", "Description"}};
  std::vector<const Result*> origins{nullptr};
  for (const Result& result : report.results) {
    std::vector<std::string> description = lines_of(result.description);
    for (const Measurement& measurement : result.measurements) {
      if (std::string trouble = trouble_with(measurement); !trouble.empty()) description.push_back(trouble);
    }
    if (description.empty()) description.emplace_back();
    for (std::string& line : description) line = one_line(line);
    rows.push_back({row_name(result), std::to_string(result.code), std::string(outcome_label(result.outcome)),
                    seconds_text(result.seconds), one_line(result.test_name), description.front()});
    origins.push_back(&result);
    for (std::size_t i = 1; i < description.size(); ++i) {
      rows.push_back({"", "", "", "", "", description[i]});
      origins.push_back(nullptr);
    }
  }
  const std::vector<std::size_t> widths = column_widths(rows);
  const std::vector<std::string> lines = lay_out(rows, {1, 3});
  std::string table;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    std::string line = lines[i];
    if (color && origins[i]) {
      // Colors go in last, since they take bytes but no columns. What stands before is ASCII.
      const std::string label(outcome_label(origins[i]->outcome));
      const std::size_t before = widths[0] + kGap.size() + widths[1] + kGap.size();
      line.replace(before, label.size(), colored_label(origins[i]->outcome, true));
    }
    table += line + "\n";
    if (i == 0) {
      Row rule;
      for (const std::size_t width : widths) rule.emplace_back(std::min(width, kLongestRule), '-');
      table += lay_out({rule}, {}).front() + "\n";
    }
  }
  return table + "\n" + totals(report) + "\n" + verdict_line(report);
}

std::string tests_table(const std::optional<std::string>& family) {
  std::vector<const catalogue::Test*> tests;
  for (const catalogue::Test& test : catalogue::tests()) {
    if (!family || catalogue::is_given(test, *family)) tests.push_back(&test);
  }
  if (!family) std::ranges::sort(tests, {}, &catalogue::Test::code);

  std::vector<Row> rows{{"Code", "Hex", "Name", "Seconds", "Title"}};
  for (const catalogue::Test* test : tests) {
    rows.push_back({std::to_string(test->code), hexadecimal(test->code), std::string(test->name),
                    std::to_string(test->seconds), std::string(test->title)});
  }
  std::string table;
  for (const std::string& line : lay_out(rows, {0, 1, 3})) table += line + "\n";
  return table;
}

std::string plan_table(const Plan& plan) {
  std::vector<Row> rows{{"Step", "Test", "Code", "Attempts", "Seconds", "Remarks"}};
  for (const Step& step : plan.steps) {
    rows.push_back({step.name, typed_name(step.code, step.parameter), std::to_string(step.code),
                    std::to_string(step.attempts), usual_seconds_of(step), remarks_on(step)});
  }
  std::string table;
  for (const std::string& line : lay_out(rows, {2, 3, 4})) table += line + "\n";
  const std::size_t count = plan.steps.size();
  return table + "\n" + std::to_string(count) + (count == 1 ? " step, usually " : " steps, usually ") +
         whole_seconds_text(plan.usual_seconds()) + " s\n";
}

}  // namespace t1station
