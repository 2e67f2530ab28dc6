#include "station/report/run_format.h"

#include <array>
#include <memory>
#include <stdexcept>

#include "station/report/run_cfx.h"
#include "station/report/run_csv.h"
#include "station/report/run_html.h"
#include "station/report/run_json.h"
#include "station/report/run_junit.h"
#include "station/report/run_ocp.h"

namespace t1station {
namespace {

constexpr std::array<std::string_view, 6> kNames{"jsonl", "csv", "junit", "ocp", "cfx", "html"};

std::string nothing() {
  return {};
}

RunFormat ocp() {
  const auto writer = std::make_shared<OcpWriter>();
  return {[writer] { return writer->header(); }, [writer](const StoredRun& run) { return writer->run(run); },
          nothing};
}

RunFormat csv(CsvText text) {
  return {[text] { return csv_header(text); }, [text](const StoredRun& run) { return csv_rows(run, text); },
          nothing};
}

RunFormat html(Language language) {
  return {[language] { return html_header(Wording(language)("测试报告", "Test report"), language); },
          [language](const StoredRun& run) { return html_run(run, language); }, html_footer};
}

}  // namespace

std::span<const std::string_view> format_names() {
  return kNames;
}

RunFormat format_named(std::string_view name, FormatChoice choice) {
  if (name == "jsonl") return {nothing, [](const StoredRun& run) { return run_json(run) + "\n"; }, nothing};
  if (name == "csv") return csv(choice.csv_text);
  if (name == "junit")
    return {[] { return std::string(junit_header()); }, junit_suite,
            [] { return std::string(junit_footer()); }};
  if (name == "ocp") return ocp();
  if (name == "cfx") return {nothing, cfx_message, nothing};
  if (name == "html") return html(choice.language);
  throw std::out_of_range("no format " + std::string(name));
}

}  // namespace t1station
