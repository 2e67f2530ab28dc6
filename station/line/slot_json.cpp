#include "station/line/slot_json.h"

#include "station/text/json.h"

namespace t1station {
namespace {

/// An object whose members are moved into their places. Braces would copy each value, with all that is in it,
/// twice: this is written ten times a second, of all slots.
class Members {
 public:
  explicit Members(std::size_t count) { members_.reserve(count); }
  Members& add(const char* name, Json value) {
    members_.emplace_back(name, std::move(value));
    return *this;
  }
  Json object() { return std::move(members_); }

 private:
  Json::object_t members_;
};

Json text_or_null(const std::string& text) {
  return text.empty() ? Json(nullptr) : Json(text);
}

Json measurement_json(const Measurement& measurement) {
  return {{"name", measurement.name},
          {"value", json_or_null(measurement.value)},
          {"unit", text_or_null(measurement.unit)},
          {"low", json_or_null(measurement.low)},
          {"high", json_or_null(measurement.high)},
          {"outcome", measurement.outcome}};
}

Json failure_of(const StepFailure& failure) {
  Json measurements = Json::array();
  for (const Measurement& measurement : failure.measurements) {
    measurements.push_back(measurement_json(measurement));
  }
  return {{"step", failure.step},       {"outcome", failure.outcome},   {"description", failure.description},
          {"attempt", failure.attempt}, {"attempts", failure.attempts}, {"measurements", measurements}};
}

Json run_of(const RunView& run) {
  Json failures = Json::array();
  for (const StepFailure& failure : run.failures) failures.push_back(failure_of(failure));
  Json question = nullptr;
  if (run.question) question = {{"zh", run.question->zh}, {"en", run.question->en}};
  return Members(13)
      .add("id", run.id)
      .add("serial", run.serial)
      .add("started", run.started)
      .add("seconds", json_or_null(run.seconds))
      .add("verdict", run.verdict ? Json(verdict_name(*run.verdict)) : Json(nullptr))
      .add("retried", run.retried)
      .add("reason", text_or_null(run.reason))
      .add("step", text_or_null(run.step))
      .add("index", run.index)
      .add("total", run.total)
      .add("attempt", run.attempt)
      .add("question", std::move(question))
      .add("failures", std::move(failures))
      .object();
}

Json slot_of(const SlotView& slot) {
  Json plan = nullptr;
  if (!slot.plan_name.empty()) plan = {{"name", slot.plan_name}, {"version", slot.plan_version}};
  return Members(8)
      .add("name", slot.name)
      .add("state", slot_state_name(slot.state))
      .add("next", slot.is_next)
      .add("answers", slot.has_answer)
      .add("reason", text_or_null(slot.reason))
      .add("plan", std::move(plan))
      .add("run", slot.run ? run_of(*slot.run) : Json(nullptr))
      .object();
}

}  // namespace

std::string slot_json(const SlotView& slot) {
  return json_text(slot_of(slot));
}

}  // namespace t1station
