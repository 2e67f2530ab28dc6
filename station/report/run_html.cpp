#include "station/report/run_html.h"

#include <algorithm>
#include <array>
#include <pugixml.hpp>
#include <sstream>
#include <string_view>

#include "station/plan/measure.h"
#include "station/text/text.h"

namespace t1station {
namespace {

constexpr std::string_view kStyle = R"(
@page { size: A4; margin: 15mm }
body { font: 10pt/1.4 "Noto Sans CJK SC", "Noto Sans SC", "WenQuanYi Micro Hei", sans-serif; color: #111; margin: 0 auto; max-width: 190mm }
section { break-after: page; padding: 8mm 0 }
h1 { font-size: 18pt; margin: 0 }
.verdict { font-size: 26pt; font-weight: bold; border: 3px solid; padding: 2mm 6mm; margin: 4mm 0; display: inline-block }
.passed { color: #006b4f } .failed { color: #b00020 } .error { color: #7a5200 } .stopped { color: #222 } .interrupted { color: #5b2a86 }
table { border-collapse: collapse; width: 100%; margin: 4mm 0 }
th, td { border: 1px solid #999; padding: 1mm 2mm; text-align: left; vertical-align: top; overflow-wrap: anywhere }
th { background: #eee; font-weight: 600 }
.facts th { width: 42mm }
tr { break-inside: avoid }
.small { font-size: 8pt; overflow-wrap: anywhere }
)";

struct VerdictWords {
  std::string_view verdict, words;
};
constexpr std::array<VerdictWords, 5> kVerdicts{{{"passed", "✓ 合格 PASS"},
                                                 {"failed", "✕ 不合格 FAIL"},
                                                 {"error", "! 异常 ERROR"},
                                                 {"stopped", "■ 停止 STOPPED"},
                                                 {"interrupted", "? 中断 INTERRUPTED"}}};

std::string words_of(const StoredRun& run) {
  if (!run.verdict) return "… 未结束 NO END YET";
  const auto* found = std::find_if(kVerdicts.begin(), kVerdicts.end(),
                                   [&](const VerdictWords& known) { return known.verdict == *run.verdict; });
  return std::string(found == kVerdicts.end() ? *run.verdict : found->words) +
         (run.retried == 1 ? " · 有重测 retried" : "");
}

pugi::xml_node add(pugi::xml_node to, const char* name, const std::string& text,
                   const char* of_class = nullptr) {
  pugi::xml_node node = to.append_child(name);
  if (of_class) node.append_attribute("class").set_value(of_class);
  node.append_child(pugi::node_pcdata).set_value(clean_text(text).c_str());
  return node;
}

void add_fact(pugi::xml_node table, const std::string& name, const std::optional<std::string>& value) {
  if (!value) return;
  pugi::xml_node row = table.append_child("tr");
  add(row, "th", name);
  add(row, "td", *value);
}

std::string limits_of(const StoredMeasurement& measurement) {
  if (measurement.low && measurement.high)
    return shortest(*measurement.low) + " … " + shortest(*measurement.high);
  if (measurement.low) return "≥ " + shortest(*measurement.low);
  return measurement.high ? "≤ " + shortest(*measurement.high) : std::string();
}

void add_attempt(pugi::xml_node table, const StoredAttempt& attempt) {
  pugi::xml_node row = table.append_child("tr");
  add(row, "td", std::to_string(attempt.step_index + 1));
  add(row, "td", attempt.step);
  add(row, "td",
      std::to_string(attempt.code) + (attempt.parameter ? "=" + std::to_string(*attempt.parameter) : ""));
  add(row, "td", std::to_string(attempt.number));
  add(row, "td", attempt.outcome.value_or(""));
  add(row, "td", attempt.seconds ? seconds_text(*attempt.seconds) : "");
  pugi::xml_node words = row.append_child("td");
  for (const std::string& line : lines_of(attempt.description.value_or(""))) add(words, "div", line);
  if (attempt.answer) add(words, "div", "回答 answer: " + *attempt.answer);
  for (const StoredMeasurement& measurement : attempt.measurements) {
    const std::string value = measurement.value ? shortest(*measurement.value) : "未测得 not found";
    add(words, "div",
        measurement.name + ": " + value + " " + measurement.unit.value_or("") + " [" +
            limits_of(measurement) + "] " + measurement.outcome);
  }
}

void add_attempts(pugi::xml_node section, const StoredRun& run) {
  pugi::xml_node table = section.append_child("table");
  pugi::xml_node head = table.append_child("thead").append_child("tr");
  for (const char* name :
       {"#", "步骤 Step", "代码 Code", "次 Attempt", "结果 Outcome", "秒 Seconds", "说明 Words"}) {
    add(head, "th", name);
  }
  pugi::xml_node body = table.append_child("tbody");
  for (const StoredAttempt& attempt : run.attempts) add_attempt(body, attempt);
}

std::string text_of(const pugi::xml_node& node) {
  std::ostringstream text;
  node.print(text, "", pugi::format_raw | pugi::format_no_empty_element_tags, pugi::encoding_utf8);
  return text.str() + "\n";
}

}  // namespace

std::string html_header(const std::string& title) {
  pugi::xml_document document;
  return "<!DOCTYPE html>\n<html lang=\"zh\"><head><meta charset=\"utf-8\">" +
         text_of(add(document, "title", title)) + "<style>" + std::string(kStyle) +
         "</style></head>\n<body>\n";
}

std::string html_footer() {
  return "</body></html>\n";
}

std::string html_run(const StoredRun& run) {
  pugi::xml_document document;
  pugi::xml_node section = document.append_child("section");
  add(section, "h1", "测试报告 Test report: " + run.serial);
  add(section, "div", words_of(run), ("verdict " + run.verdict.value_or("")).c_str());
  pugi::xml_node facts = section.append_child("table");
  facts.append_attribute("class").set_value("facts");
  add_fact(facts, "序列号 Serial number", run.serial);
  add_fact(facts, "计划 Plan", run.plan_name + " " + run.plan_version);
  add_fact(facts, "次数 Run number",
           std::to_string(run.number) + (run.kind == "check" ? ", 点检 check" : ""));
  add_fact(facts, "测试站 Station", run.station + (run.slot ? ", 工位 slot " + *run.slot : ""));
  add_fact(facts, "操作员 Operator", run.operator_name);
  add_fact(facts, "电路板 Board", run.board);
  add_fact(facts, "版本 Build", run.build);
  add_fact(facts, "开始 Started (UTC)", run.started);
  add_fact(facts, "结束 Ended (UTC)", run.ended);
  add_fact(facts, "原因 Reason", run.reason);
  add_fact(facts, "软件 Software", run.software);
  add_attempts(section, run);
  add(section, "p", "run " + run.id + " · plan " + run.plan_id, "small");
  if (run.hash) add(section, "p", "hash " + *run.hash + " · previous " + run.previous.value_or("-"), "small");
  return text_of(section);
}

}  // namespace t1station
