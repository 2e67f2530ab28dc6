#include "station/report/run_json.h"

#include <cstdint>

#include "station/text/json.h"
#include "station/text/text.h"

namespace t1station {
namespace {

Json measurement_of(const StoredMeasurement& measurement) {
  return {{"name", measurement.name},
          {"value", json_or_null(measurement.value)},
          {"unit", json_or_null(measurement.unit)},
          {"low", json_or_null(measurement.low)},
          {"high", json_or_null(measurement.high)},
          {"outcome", measurement.outcome}};
}

Json all_measurements(const StoredAttempt& attempt) {
  Json all = Json::array();
  for (const StoredMeasurement& measurement : attempt.measurements)
    all.push_back(measurement_of(measurement));
  return all;
}

Json connection_of(const StoredConnection& connection) {
  return {
      {"id", connection.id}, {"at", connection.at}, {"board", connection.board}, {"build", connection.build}};
}

Json attempt_of(const StoredAttempt& attempt, const std::string& run) {
  const auto text_of = [](const std::optional<std::string>& bytes) {
    return bytes ? Json(gbk_to_utf8_as_far_as_it_is(*bytes)) : Json(nullptr);
  };
  const auto exact = [](const std::optional<std::string>& bytes) {
    return bytes ? Json(base64(*bytes)) : Json(nullptr);
  };
  return {{"id", attempt.id},
          {"run_id", run},
          {"connection_id", json_or_null(attempt.connection_id)},
          {"step", attempt.step},
          {"step_index", attempt.step_index},
          {"number", attempt.number},
          {"code", attempt.code},
          {"parameter", json_or_null(attempt.parameter)},
          {"started", attempt.started},
          {"ended", json_or_null(attempt.ended)},
          {"seconds", json_or_null(attempt.seconds)},
          {"outcome", json_or_null(attempt.outcome)},
          {"board_name", json_or_null(attempt.board_name)},
          {"description", json_or_null(attempt.description)},
          {"request", text_of(attempt.request)},
          {"request_base64", exact(attempt.request)},
          {"reply", text_of(attempt.reply)},
          {"reply_base64", exact(attempt.reply)},
          {"console", attempt.console ? Json(printed_text(*attempt.console)) : Json(nullptr)},
          {"console_base64", exact(attempt.console)},
          {"answer", json_or_null(attempt.answer)},
          {"measurements", all_measurements(attempt)}};
}

Json run_of(const StoredRun& run) {
  return {{"id", run.id},
          {"serial", run.serial},
          {"plan_id", run.plan_id},
          {"plan_name", run.plan_name},
          {"plan_version", run.plan_version},
          {"kind", run.kind},
          {"station", run.station},
          {"slot", json_or_null(run.slot)},
          {"operator", json_or_null(run.operator_name)},
          {"board", json_or_null(run.board)},
          {"build", json_or_null(run.build)},
          {"number", run.number},
          {"started", run.started},
          {"ended", json_or_null(run.ended)},
          {"seconds", json_or_null(run.seconds)},
          {"verdict", json_or_null(run.verdict)},
          {"reason", json_or_null(run.reason)},
          {"retried", json_or_null(run.retried)},
          {"software", run.software},
          {"sequence", json_or_null(run.sequence)},
          {"previous", json_or_null(run.previous)},
          {"hash", json_or_null(run.hash)}};
}

}  // namespace

std::string run_json(const StoredRun& run) {
  Json json = run_of(run);
  json["connections"] = Json::array();
  for (const StoredConnection& connection : run.connections) {
    json["connections"].push_back(connection_of(connection));
  }
  json["attempts"] = Json::array();
  for (const StoredAttempt& attempt : run.attempts) json["attempts"].push_back(attempt_of(attempt, run.id));
  return json_text(json);
}

std::string run_row_json(const StoredRun& run) {
  return json_text(run_of(run));
}

std::string measurements_json(const StoredAttempt& attempt) {
  return json_text(all_measurements(attempt));
}

std::string base64(std::string_view bytes) {
  constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t start = 0; start < bytes.size(); start += 3) {
    std::uint32_t group = 0;
    const std::size_t size = std::min<std::size_t>(3, bytes.size() - start);
    for (std::size_t i = 0; i < 3; ++i) {
      group = group << 8U | (i < size ? static_cast<unsigned char>(bytes[start + i]) : 0U);
    }
    for (std::size_t i = 0; i < 4; ++i) {
      text += i <= size ? kLetters[group >> (18U - 6U * i) & 0x3FU] : '=';
    }
  }
  return text;
}

}  // namespace t1station
