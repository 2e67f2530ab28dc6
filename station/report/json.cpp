#include "station/report/json.h"

#include <cmath>

#include "station/catalogue/codes.h"
#include "station/text/json.h"
#include "station/text/software.h"

namespace t1station {
namespace {

double rounded_to_milliseconds(double seconds) {
  return std::round(seconds * 1000) / 1000;
}

Json measurement_of(const Measurement& measurement) {
  Json json;
  json["name"] = measurement.name;
  json["value"] = json_or_null(measurement.value);
  json["unit"] = measurement.unit.empty() ? Json(nullptr) : Json(measurement.unit);
  json["low"] = json_or_null(measurement.low);
  json["high"] = json_or_null(measurement.high);
  json["outcome"] = measurement.outcome;
  return json;
}

/// What a unit's way through a plan has besides.
void add_unit(Json& json, const RunReport& report) {
  if (!report.ended) return;
  json["serial"] = report.serial;
  json["plan"] = {{"name", report.plan}, {"version", report.plan_version}};
  json["run"] = report.run;
  json["verdict"] = verdict_name(report.ended->verdict);
  json["reason"] = report.ended->reason.empty() ? Json(nullptr) : Json(report.ended->reason);
  json["retried"] = report.ended->retried;
  json["hash"] = report.ended->hash;
}

Json test_of(const Result& result) {
  Json test;
  test["code"] = result.code;
  test["name"] = name_of(result.code);
  test["title"] = title_of(result.code);
  test["parameter"] = result.parameter ? Json(*result.parameter) : Json(nullptr);
  test["board_name"] = result.test_name;
  test["result"] = outcome_name(result.outcome);
  test["seconds"] = rounded_to_milliseconds(result.seconds);
  test["description"] = result.description;
  if (result.step.empty()) return test;
  test["step"] = result.step;
  test["attempts"] = result.attempts;
  test["answer"] = result.answer.empty() ? Json(nullptr) : Json(result.answer);
  test["measurements"] = Json::array();
  for (const Measurement& measurement : result.measurements)
    test["measurements"].push_back(measurement_of(measurement));
  return test;
}

}  // namespace

std::string json_report(const RunReport& report) {
  Json summary;
  summary["total"] = report.results.size();
  for (const OutcomeTexts& texts : outcomes()) {
    summary[std::string(texts.name)] = report.count(texts.outcome);
  }
  summary["seconds"] = rounded_to_milliseconds(report.seconds());

  Json json;
  json["board"] = report.board;
  json["build"] = report.build;
  json["software"] = software();
  json["started"] = report.started + "Z";
  json["exit_code"] = report.exit_code;
  add_unit(json, report);
  json["summary"] = summary;
  json["tests"] = Json::array();
  for (const Result& result : report.results) json["tests"].push_back(test_of(result));
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace t1station
