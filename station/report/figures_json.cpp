#include "station/report/figures_json.h"

#include <array>

#include "station/figures/capability.h"
#include "station/text/json.h"

namespace t1station {
namespace {

Json share_of(std::int64_t part, std::int64_t all) {
  return json_or_null(Share{part, all}.value());
}

std::int64_t ended_runs(const Figures& figures) {
  const auto open = figures.verdicts.find("");
  return figures.runs - (open == figures.verdicts.end() ? 0 : open->second.count);
}

Json plans_of(const Figures& figures) {
  Json plans = Json::array();
  for (const PlanNamed& plan : figures.plans) {
    plans.push_back({{"name", plan.name}, {"versions", plan.versions}});
  }
  return plans;
}

Json verdicts_of(const Figures& figures) {
  Json verdicts = Json::array();
  for (const std::string_view name : {"passed", "failed", "error", "stopped", "interrupted", ""}) {
    const auto found = figures.verdicts.find(std::string(name));
    const FoundRuns runs = found == figures.verdicts.end() ? FoundRuns() : found->second;
    verdicts.push_back({{"verdict", name.empty() ? Json(nullptr) : Json(name)},
                        {"runs", runs.count},
                        {"run_ids", runs.ids}});
  }
  return verdicts;
}

Json retried_of(const FoundRuns& runs, std::int64_t all) {
  return {{"runs", runs.count}, {"share", share_of(runs.count, all)}, {"run_ids", runs.ids}};
}

Json failures_of(const Figures& figures) {
  Json failures = Json::array();
  for (const FailureKind& kind : figures.failures) {
    Json numbers = Json::array();
    for (const auto& [low, high] : kind.numbers) numbers.push_back({{"low", low}, {"high", high}});
    failures.push_back({{"plan", kind.plan},
                        {"step", kind.step},
                        {"words", json_or_null(kind.words)},
                        {"outcomes", kind.outcomes},
                        {"runs", kind.runs.count},
                        {"share", share_of(kind.runs.count, ended_runs(figures))},
                        {"numbers", numbers},
                        {"examples", kind.examples},
                        {"run_ids", kind.runs.ids}});
  }
  return failures;
}

Json steps_of(const Figures& figures) {
  Json steps = Json::array();
  for (const StepFigures& step : figures.steps) {
    const auto failed = step.outcomes.find("failed");
    const std::int64_t failures = failed == step.outcomes.end() ? 0 : failed->second;
    steps.push_back({{"plan", step.plan},
                     {"step", step.step},
                     {"index", step.index},
                     {"runs", step.runs},
                     {"attempts", step.attempts},
                     {"outcomes", step.outcomes},
                     {"failed_share", share_of(failures, step.attempts)},
                     {"median", json_or_null(step.median)},
                     {"percentile_95", json_or_null(step.percentile_95)},
                     {"not_passed_run_ids", step.not_passed.ids},
                     {"retried", retried_of(step.retried, step.runs)}});
  }
  return steps;
}

Json slots_of(const Figures& figures) {
  Json slots = Json::array();
  for (const SlotFigures& slot : figures.slots) {
    slots.push_back({{"station", slot.station},
                     {"slot", json_or_null(slot.slot)},
                     {"runs", slot.runs},
                     {"not_passed", slot.not_passed.count},
                     {"share", share_of(slot.not_passed.count, slot.runs)},
                     {"others", {{"runs", slot.others.all}, {"not_passed", slot.others.part}}},
                     {"p", json_or_null(slot.p)},
                     {"marked", slot.is_marked},
                     {"run_ids", slot.not_passed.ids}});
  }
  return slots;
}

Json units_of(const Share& share) {
  return {{"units", share.all}, {"passed", share.part}};
}

Json batches_of(const Figures& figures) {
  Json batches = Json::array();
  for (const BatchFigures& batch : figures.batches) {
    batches.push_back({{"begin", batch.begin},
                       {"units", batch.units},
                       {"first_pass_yield", json_or_null(batch.first_pass.value())},
                       {"final_yield", json_or_null(batch.final.value())},
                       {"first_runs", units_of(batch.first_pass)},
                       {"last_runs", units_of(batch.final)},
                       {"others", units_of(batch.others)},
                       {"p", json_or_null(batch.p)},
                       {"marked", batch.is_marked},
                       {"run_ids", batch.lost.ids}});
  }
  return batches;
}

Json capability_of(const MeasurementFigures& measurement) {
  if (!measurement.capability) return nullptr;
  const Capability& found = *measurement.capability;
  return {{"cpk", found.cpk}, {"low", found.low}, {"high", found.high}};
}

Json normality_of(const MeasurementFigures& measurement) {
  if (!measurement.normality) return nullptr;
  const Normality& found = *measurement.normality;
  return {{"test", kNormalityTest},
          {"p", found.p},
          {"skewness", found.skewness},
          {"excess_kurtosis", found.excess_kurtosis},
          {"warning", found.is_warning}};
}

Json drift_of(const MeasurementFigures& measurement) {
  if (!measurement.drift) return nullptr;
  const Drift& found = *measurement.drift;
  return {{"test", kDriftTest},
          {"p", found.p},
          {"correlation", found.correlation},
          {"rise", found.rise},
          {"warning", found.is_warning}};
}

Json histogram_of(const MeasurementFigures& measurement) {
  Json bars = Json::array();
  for (const HistogramBar& bar : measurement.histogram) {
    bars.push_back({{"from", bar.from}, {"to", bar.to}, {"values", bar.values}, {"run_ids", bar.ids}});
  }
  return bars;
}

Json measurements_of(const Figures& figures) {
  Json measurements = Json::array();
  for (const MeasurementFigures& one : figures.measurements) {
    measurements.push_back({{"plan", one.plan},
                            {"step", one.step},
                            {"name", one.name},
                            {"unit", json_or_null(one.unit)},
                            {"low", json_or_null(one.low)},
                            {"high", json_or_null(one.high)},
                            {"values", one.values},
                            {"not_found", one.not_found},
                            {"too_low", one.too_low},
                            {"too_high", one.too_high},
                            {"minimum", json_or_null(one.minimum)},
                            {"maximum", json_or_null(one.maximum)},
                            {"mean", json_or_null(one.mean)},
                            {"deviation", json_or_null(one.deviation)},
                            {"capability", capability_of(one)},
                            {"normality", normality_of(one)},
                            {"drift", drift_of(one)},
                            {"histogram", histogram_of(one)},
                            {"run_ids", one.outside.ids}});
  }
  return measurements;
}

}  // namespace

std::string figures_json(const Figures& figures) {
  const Json json{{"first_pass_yield", json_or_null(figures.first_pass.value())},
                  {"first_pass_yield_strict", json_or_null(figures.first_pass_strict.value())},
                  {"final_yield", json_or_null(figures.final.value())},
                  {"from", json_or_null(figures.window.from)},
                  {"to", json_or_null(figures.window.to)},
                  {"plan", json_or_null(figures.window.plan)},
                  {"batch", json_or_null(figures.window.batch)},
                  {"plans", plans_of(figures)},
                  {"runs", figures.runs},
                  {"check_runs", figures.check_runs},
                  {"verdicts", verdicts_of(figures)},
                  {"retried", retried_of(figures.retried, ended_runs(figures))},
                  {"units", figures.units},
                  {"first_runs",
                   {{"units", figures.first_pass.all},
                    {"passed", figures.first_pass.part},
                    {"units_strict", figures.first_pass_strict.all},
                    {"run_ids", figures.first_lost.ids}}},
                  {"last_runs",
                   {{"units", figures.final.all},
                    {"passed", figures.final.part},
                    {"run_ids", figures.last_not_passed.ids}}},
                  {"failures", failures_of(figures)},
                  {"steps", steps_of(figures)},
                  {"slots", slots_of(figures)},
                  {"batches", batches_of(figures)},
                  {"measurements", measurements_of(figures)}};
  return json_text(json);
}

}  // namespace t1station
