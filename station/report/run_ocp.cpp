#include "station/report/run_ocp.h"

#include <utility>

#include "station/records/records.h"
#include "station/report/attempt_words.h"
#include "station/text/json.h"

namespace t1station {
namespace {

constexpr const char* kBoard = "board";  // hardwareInfoId of the unit
constexpr const char* kBuild = "build";  // softwareInfoId of its program

/// Collects a run's lines.
class Lines {
 public:
  explicit Lines(std::int64_t& next) : next_(next) {}

  void add(const std::string& timestamp, const char* artifact, Json content) {
    const Json line{{artifact, std::move(content)}, {"sequenceNumber", next_++}, {"timestamp", timestamp}};
    text_ += json_text(line) + "\n";
  }
  void add_to_run(const std::string& timestamp, const char* what, Json content) {
    add(timestamp, "testRunArtifact", {{what, std::move(content)}});
  }
  void add_to_step(const std::string& timestamp, const std::string& step, const char* what, Json content) {
    add(timestamp, "testStepArtifact", {{"testStepId", step}, {what, std::move(content)}});
  }
  std::string take() { return std::move(text_); }

 private:
  std::int64_t& next_;
  std::string text_;
};

Json unit_of(const StoredRun& run) {
  Json unit{
      {"dutInfoId", "dut"},
      {"name", run.serial},
      {"hardwareInfos",
       Json::array({{{"hardwareInfoId", kBoard}, {"name", "main board"}, {"serialNumber", run.serial}}})}};
  if (run.build) {
    unit["softwareInfos"] = Json::array({{{"softwareInfoId", kBuild},
                                          {"name", "test program"},
                                          {"version", *run.build},
                                          {"softwareType", "FIRMWARE"}}});
  }
  return unit;
}

Json start_of(const StoredRun& run) {
  return {{"name", run.plan_name},
          {"version", run.plan_version},
          {"commandLine", run.software},
          {"parameters", Json::object()},
          {"dutInfo", unit_of(run)},
          {"metadata",
           {{"run", run.id},
            {"kind", run.kind},
            {"number", run.number},
            {"station", run.station},
            {"slot", json_or_null(run.slot)},
            {"operator", json_or_null(run.operator_name)},
            {"board", json_or_null(run.board)},
            {"plan", run.plan_id},
            {"verdict", json_or_null(run.verdict)},
            {"reason", json_or_null(run.reason)},
            {"hash", json_or_null(run.hash)}}}};
}

Json validated(const StoredMeasurement& stored) {
  Json measurement{{"name", stored.name}, {"value", *stored.value}};
  if (stored.unit) measurement["unit"] = *stored.unit;
  Json validators = Json::array();
  if (stored.low)
    validators.push_back({{"name", "low"}, {"type", "GREATER_THAN_OR_EQUAL"}, {"value", *stored.low}});
  if (stored.high)
    validators.push_back({{"name", "high"}, {"type", "LESS_THAN_OR_EQUAL"}, {"value", *stored.high}});
  if (!validators.empty()) measurement["validators"] = validators;
  measurement["hardwareInfoId"] = kBoard;
  measurement["metadata"] = {{"outcome", stored.outcome}};
  return measurement;
}

bool has_reply(const StoredAttempt& attempt) {
  return attempt.outcome == "passed" || attempt.outcome == "failed";
}

const char* status_of(const StoredAttempt& attempt) {
  if (has_reply(attempt)) return "COMPLETE";
  return attempt.outcome == "stopped" ? "SKIP" : "ERROR";
}

void add_attempt(Lines& lines, const StoredAttempt& attempt) {
  const std::string& id = attempt.id;
  const std::string& end = attempt.ended.value_or(attempt.started);
  lines.add_to_step(attempt.started, id, "testStepStart", {{"name", attempt.step}});
  lines.add_to_step(attempt.started, id, "extension",
                    {{"name", "attempt"},
                     {"content",
                      {{"number", attempt.number},
                       {"stepIndex", attempt.step_index},
                       {"code", attempt.code},
                       {"parameter", json_or_null(attempt.parameter)},
                       {"seconds", json_or_null(attempt.seconds)},
                       {"outcome", json_or_null(attempt.outcome)},
                       {"answer", json_or_null(attempt.answer)}}}});
  for (const StoredMeasurement& measurement : attempt.measurements) {
    if (measurement.value) {
      lines.add_to_step(end, id, "measurement", validated(measurement));
    } else {
      lines.add_to_step(end, id, "log",
                        {{"severity", "ERROR"}, {"message", measurement.name + " was not found"}});
    }
  }
  if (!attempt.outcome) return;
  const std::string words = failure_words(attempt);
  if (has_reply(attempt)) {
    const bool has_passed = attempt.outcome == "passed";
    lines.add_to_step(end, id, "diagnosis",
                      {{"verdict", attempt.step + "-" + *attempt.outcome},
                       {"type", has_passed ? "PASS" : "FAIL"},
                       {"message", words},
                       {"hardwareInfoId", kBoard}});
  } else {
    lines.add_to_step(end, id, "error", {{"symptom", *attempt.outcome}, {"message", words}});
  }
  lines.add_to_step(end, id, "testStepEnd", {{"status", status_of(attempt)}});
}

Json end_of(const std::string& verdict) {
  if (verdict == verdict_name(Verdict::passed)) return {{"status", "COMPLETE"}, {"result", "PASS"}};
  if (verdict == verdict_name(Verdict::failed)) return {{"status", "COMPLETE"}, {"result", "FAIL"}};
  return {{"status", "ERROR"}, {"result", "NOT_APPLICABLE"}};
}

}  // namespace

std::string OcpWriter::header() {
  Lines lines(next_);
  lines.add(record_time(), "schemaVersion", {{"major", 2}, {"minor", 0}});
  return lines.take();
}

std::string OcpWriter::run(const StoredRun& run) {
  const std::string end = run.ended.value_or(run.started);
  Lines lines(next_);
  lines.add_to_run(run.started, "testRunStart", start_of(run));
  for (const StoredAttempt& attempt : run.attempts) add_attempt(lines, attempt);
  const bool has_no_result = run.verdict && end_of(*run.verdict)["status"] == "ERROR";
  if (has_no_result) {
    lines.add_to_run(end, "error", {{"symptom", *run.verdict}, {"message", run.reason.value_or("")}});
  }
  if (run.verdict) lines.add_to_run(end, "testRunEnd", end_of(*run.verdict));
  return lines.take();
}

}  // namespace t1station
