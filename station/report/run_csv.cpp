#include "station/report/run_csv.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <vector>

#include "station/report/run_json.h"
#include "station/text/text.h"

namespace t1station {
namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";  // by which spreadsheets know UTF-8

// In the order of row_of().
constexpr std::string_view kHeader =
    "run_id,run_serial,run_plan_id,run_plan_name,run_plan_version,run_kind,run_station,run_slot,run_operator,"
    "run_board,run_build,run_number,run_started,run_ended,run_seconds,run_verdict,run_reason,run_retried,"
    "run_software,run_sequence,run_previous,run_hash,id,connection_id,step,step_index,number,code,parameter,"
    "started,ended,"
    "seconds,outcome,board_name,description,request_base64,reply_base64,console_base64,answer,"
    "measurements\r\n";

// Whether a spreadsheet may take a text for a formula. The full-width signs count as the others in an East
// Asian one; the apostrophe is there so that taking one away always gives the text again.
bool looks_like_formula(std::string_view text) {
  constexpr std::array<std::string_view, 12> kSigns{"=",  "+", "-",  "@",  "\t", "\r",
                                                    "\n", "'", "＝", "＋", "－", "＠"};
  return std::any_of(kSigns.begin(), kSigns.end(),
                     [text](std::string_view sign) { return text.starts_with(sign); });
}

std::string field(const std::string& text) {
  const std::string harmless = (looks_like_formula(text) ? "'" : "") + text;
  if (harmless.find_first_of(",\"\r\n") == std::string::npos) return harmless;
  std::string quoted = "\"";
  for (const char letter : harmless) quoted += letter == '"' ? std::string("\"\"") : std::string(1, letter);
  return quoted + '"';
}

std::string field(const std::optional<std::string>& text) {
  return text ? field(*text) : std::string();
}

std::string field(std::int64_t number) {
  return std::to_string(number);
}

std::string field(const std::optional<std::int64_t>& number) {
  return number ? field(*number) : std::string();
}

// The shortest text that is read back as the same number.
std::string field(const std::optional<double>& number) {
  if (!number) return {};
  std::array<char, 32> text{};
  return {text.data(), std::to_chars(text.data(), text.data() + text.size(), *number).ptr};
}

std::string bytes_field(const std::optional<std::string>& bytes) {
  return bytes ? field(base64(*bytes)) : std::string();
}

std::string joined(const std::vector<std::string>& fields) {
  std::string line;
  for (const std::string& text : fields) line += (&text == fields.data() ? "" : ",") + text;
  return line;
}

std::string run_fields(const StoredRun& run) {
  return joined({field(run.id),        field(run.serial),       field(run.plan_id),
                 field(run.plan_name), field(run.plan_version), field(run.kind),
                 field(run.station),   field(run.slot),         field(run.operator_name),
                 field(run.board),     field(run.build),        field(run.number),
                 field(run.started),   field(run.ended),        field(run.seconds),
                 field(run.verdict),   field(run.reason),       field(run.retried),
                 field(run.software),  field(run.sequence),     field(run.previous),
                 field(run.hash)});
}

std::string attempt_fields(const StoredAttempt& attempt) {
  return joined({field(attempt.id), field(attempt.connection_id), field(attempt.step),
                 field(attempt.step_index), field(attempt.number), field(attempt.code),
                 field(attempt.parameter), field(attempt.started), field(attempt.ended),
                 field(attempt.seconds), field(attempt.outcome), field(attempt.board_name),
                 field(attempt.description), field(base64(attempt.request)), bytes_field(attempt.reply),
                 bytes_field(attempt.console), field(attempt.answer), field(measurements_json(attempt))});
}

}  // namespace

std::string csv_header(CsvText text) {
  return text == CsvText::gbk ? std::string(kHeader) : std::string(kUtf8Mark) + std::string(kHeader);
}

std::string csv_rows(const StoredRun& run, CsvText text) {
  const std::string common = run_fields(run);
  std::string rows;
  for (const StoredAttempt& attempt : run.attempts) rows += common + "," + attempt_fields(attempt) + "\r\n";
  return text == CsvText::gbk ? utf8_to_gbk(rows) : rows;
}

}  // namespace t1station
