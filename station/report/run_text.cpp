#include "station/report/run_text.h"

#include "station/plan/measure.h"
#include "station/text/text.h"

namespace t1station {
namespace {

std::string column(const std::string& text, std::size_t width) {
  return pad_to_width(one_line(text), width) + "  ";
}

std::string line(const std::string& name, const std::optional<std::string>& text) {
  return text ? pad_to_width(name, 10) + "  " + one_line(*text) + "\n" : std::string();
}

std::string verdict_of(const StoredRun& run) {
  return run.verdict.value_or("no end yet") + (run.retried == 1 ? ", retried" : "");
}

std::string measurement_text(const StoredMeasurement& measurement) {
  std::string text = "      " + measurement.name + ": ";
  text +=
      measurement.value ? shown_value(*measurement.value, measurement.low, measurement.high) : "not found";
  if (measurement.value && measurement.unit) text += " " + *measurement.unit;
  if (measurement.low) text += ", at least " + shortest(*measurement.low);
  if (measurement.high) text += ", at most " + shortest(*measurement.high);
  return one_line(text + ": " + measurement.outcome) + "\n";
}

std::string attempt_text(const StoredAttempt& attempt) {
  std::string text = std::to_string(attempt.step_index + 1) + ". " + attempt.step + ", attempt " +
                     std::to_string(attempt.number) + ", code " + std::to_string(attempt.code);
  if (attempt.parameter) text += "=" + std::to_string(*attempt.parameter);
  text += ": " + attempt.outcome.value_or("no end yet");
  if (attempt.seconds) text += " (" + seconds_text(*attempt.seconds) + " s)";
  if (attempt.answer) text += ", answered " + *attempt.answer;
  text = one_line(text) + "\n";
  if (attempt.description) text += "      " + one_line(*attempt.description) + "\n";
  for (const StoredMeasurement& measurement : attempt.measurements) text += measurement_text(measurement);
  return text;
}

}  // namespace

std::string runs_heading() {
  return column("Run", 36) + column("Started", 24) + column("Serial", 16) + column("Plan", 16) +
         column("Slot", 6) + "Verdict\n";
}

std::string runs_line(const StoredRun& run) {
  std::string text = column(run.id, 36) + column(run.started, 24) + column(run.serial, 16) +
                     column(run.plan_name + " " + run.plan_version, 16) + column(run.slot.value_or("-"), 6) +
                     verdict_of(run);
  if (run.reason) text += ": " + one_line(*run.reason);
  return text + "\n";
}

std::string run_text(const StoredRun& run) {
  std::string text = line("Run", run.id) + line("Serial", run.serial) +
                     line("Plan", run.plan_name + " " + run.plan_version + " (" + run.plan_id + ")") +
                     line("Kind", run.kind) + line("Number", std::to_string(run.number)) +
                     line("Station", run.station) + line("Slot", run.slot) +
                     line("Operator", run.operator_name) + line("Board", run.board) +
                     line("Build", run.build) + line("Started", run.started) + line("Ended", run.ended);
  if (run.seconds) text += line("Seconds", seconds_text(*run.seconds));
  text += line("Verdict", verdict_of(run)) + line("Reason", run.reason) + line("Software", run.software);
  if (run.sequence) text += line("Sequence", std::to_string(*run.sequence));
  text += line("Previous", run.previous) + line("Hash", run.hash) + "\n";
  for (const StoredAttempt& attempt : run.attempts) text += attempt_text(attempt);
  if (run.attempts.empty()) text += "No test was asked for.\n";
  return text;
}

}  // namespace t1station
