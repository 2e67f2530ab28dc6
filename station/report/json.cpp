#include "station/report/json.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "station/catalogue/codes.h"

namespace t1station {
namespace {

using Json = nlohmann::ordered_json;

double rounded_to_milliseconds(double seconds) {
  return std::round(seconds * 1000) / 1000;
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
  json["started"] = report.started + "Z";
  json["exit_code"] = report.exit_code;
  json["summary"] = summary;
  json["tests"] = Json::array();
  for (const Result& result : report.results) json["tests"].push_back(test_of(result));
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace t1station
