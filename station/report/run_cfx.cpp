#include "station/report/run_cfx.h"

#include "station/records/records.h"
#include "station/report/attempt_words.h"
#include "station/text/json.h"
#include "station/text/sha256.h"

namespace t1station {
namespace {

constexpr const char* kName = "CFX.Production.TestAndInspection.UnitsTested";

// A UUID (version 8: made from a hash) that stands for a part of what `of` names.
std::string derived_id(const std::string& of, const std::string& part) {
  const std::string hex = sha256_hex(of + " " + part);
  return hex.substr(0, 8) + "-" + hex.substr(8, 4) + "-8" + hex.substr(13, 3) + "-8" + hex.substr(17, 3) +
         "-" + hex.substr(20, 12);
}

// Of a verdict or an attempt's outcome.
const char* result_of(const std::string& word) {
  if (word == "passed") return "Passed";
  if (word == "failed") return "Failed";
  return word == "stopped" || word == "interrupted" ? "Aborted" : "Error";
}

Json measurement_of(const StoredMeasurement& stored, const StoredAttempt& attempt, std::size_t place) {
  return {{"$type", "CFX.Structures.NumericMeasurement, CFX"},
          {"MeasuredValue",
           {{"Value", json_or_null(stored.value)},
            {"ValueUnits", json_or_null(stored.unit)},
            {"ExpectedValue", nullptr},
            {"ExpectedValueUnits", nullptr},
            {"MinimumAcceptableValue", json_or_null(stored.low)},
            {"MaximumAcceptableValue", json_or_null(stored.high)}}},
          {"UniqueIdentifier", derived_id(attempt.id, "measurement " + std::to_string(place))},
          {"MeasurementName", stored.name},
          {"TimeRecorded", attempt.ended.value_or(attempt.started)},
          {"Sequence", place + 1},
          {"Result", stored.outcome == "passed" ? "Passed"
                     : stored.value             ? "Failed"
                                                : "Error"},
          {"CRDs", nullptr}};
}

Json symptoms_of(const StoredAttempt& attempt) {
  Json symptoms = Json::array();
  if (attempt.outcome != "failed") return symptoms;
  symptoms.push_back({{"UniqueIdentifier", derived_id(attempt.id, "symptom")},
                      {"SymptomCode", attempt.step},
                      {"SymptomCategory", nullptr},
                      {"Description", failure_words(attempt)},
                      {"Comments", nullptr},
                      {"ComponentsOfInterest", Json::array()},
                      {"RegionOfInterest", nullptr},
                      {"Priority", 1},
                      {"RelatedMeasurements", Json::array()}});
  return symptoms;
}

Json test_of(const StoredAttempt& attempt) {
  const std::string outcome = attempt.outcome.value_or("");
  const bool has_reply = outcome == "passed" || outcome == "failed";
  Json measurements = Json::array();
  for (const StoredMeasurement& measurement : attempt.measurements) {
    measurements.push_back(measurement_of(measurement, attempt, measurements.size()));
  }
  return {{"UniqueIdentifier", attempt.id},
          {"TestName", attempt.step},
          {"TestStartTime", attempt.started},
          {"TestEndTime", attempt.ended.value_or(attempt.started)},
          {"TestConditions", Json::array()},
          {"TestProcedure", "code " + std::to_string(attempt.code) +
                                (attempt.parameter ? "=" + std::to_string(*attempt.parameter) : "")},
          {"Comments", "attempt " + std::to_string(attempt.number)},
          {"Result", result_of(outcome)},
          {"Error", has_reply ? Json(nullptr) : json_or_null(attempt.description)},
          {"SymptomsFound", symptoms_of(attempt)},
          {"DefectsFound", Json::array()},
          {"Measurements", measurements}};
}

Json body_of(const StoredRun& run) {
  Json tests = Json::array();
  for (const StoredAttempt& attempt : run.attempts) tests.push_back(test_of(attempt));
  return {{"$type", std::string(kName) + ", CFX"},
          {"TransactionId", run.id},
          {"TestMethod", "Automated"},
          {"Tester",
           {{"OperatorIdentifier", json_or_null(run.operator_name)},
            {"ActorType", "Human"},
            {"LastName", nullptr},
            {"FirstName", nullptr},
            {"LoginName", json_or_null(run.operator_name)}}},
          {"SamplingInformation",
           {{"SamplingMethod", "NoSampling"}, {"LotSize", nullptr}, {"SampleSize", nullptr}}},
          {"TestedUnits", Json::array({{{"UnitIdentifier", run.serial},
                                        {"UnitPositionNumber", 1},
                                        {"OverallResult", result_of(*run.verdict)},
                                        {"Tests", tests}}})}};
}

}  // namespace

std::string cfx_message(const StoredRun& run) {
  if (!run.verdict) return {};
  const Json message{{"MessageName", kName},
                     {"Version", "1.3"},
                     {"TimeStamp", run.ended.value_or(run.started)},
                     {"UniqueID", derived_id(run.id, "UnitsTested")},
                     {"Source", run.station},
                     {"Target", nullptr},
                     {"RequestID", nullptr},
                     {"MessageBody", body_of(run)}};
  return json_text(message) + "\n";
}

}  // namespace t1station
