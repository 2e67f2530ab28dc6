#include "station/report/run_html.h"

#include <algorithm>
#include <string_view>

#include "station/plan/measure.h"
#include "station/report/reason_words.h"
#include "station/report/report_style.h"
#include "station/report/run_json.h"
#include "station/report/verdict_words.h"
#include "station/text/software.h"
#include "station/text/text.h"

namespace t1station {
namespace {

std::string limits_of(const StoredMeasurement& measurement) {
  if (measurement.low && measurement.high)
    return shortest(*measurement.low) + " … " + shortest(*measurement.high);
  if (measurement.low) return "≥ " + shortest(*measurement.low);
  return measurement.high ? "≤ " + shortest(*measurement.high) : std::string("–");
}

/// A run's report.
class RunPage {
 public:
  RunPage(pugi::xml_node to, const StoredRun& run, Wording say) : to_(to), run_(run), say_(say) {}

  void add_all() {
    add_title();
    add_facts();
    add_attempts();
    add_measurements();
    add_proof();
    add_messages();
  }

 private:
  void add_title() {
    pugi::xml_node title = add(to_, "div", {}, "title");
    pugi::xml_node unit = add(title, "div");
    add(unit, "div", say_("测试报告", "Test report"), "small");
    add(unit, "h1", run_.serial);
    std::string plan = run_.plan_name + " " + run_.plan_version;
    if (run_.kind == "check") plan += " · " + say_("点检", "check of the slot, no production");
    add(unit, "div", plan);
    pugi::xml_node verdict = add(title, "div");
    add_verdict(verdict, run_.verdict, say_, "large");
    if (run_.retried == 1) add(verdict, "div", say_("有重测", "retried"), "warning");
    if (run_.reason) add(to_, "p", reason_words(*run_.reason, say_), "text reason");
  }

  pugi::xml_node add_fact(pugi::xml_node facts, const std::string& name, const std::string& value) {
    pugi::xml_node fact = add(facts, "div");
    add(fact, "span", name, "name");
    return add(fact, "span", value, "value");
  }
  void add_fact(pugi::xml_node facts, const std::string& name, const std::optional<std::string>& value) {
    if (value && !value->empty()) add_fact(facts, name, *value);
  }

  void add_facts() {
    pugi::xml_node facts = add(to_, "div", {}, "pairs");
    add_fact(facts, say_("序列号", "Serial number"), run_.serial);
    add_fact(facts, say_("计划", "Plan"), run_.plan_name + " " + run_.plan_version);
    add_time(add_fact(facts, say_("开始", "Started"), std::string()), run_.started);
    if (run_.ended) add_time(add_fact(facts, say_("结束", "Ended"), std::string()), *run_.ended);
    if (run_.seconds) add_fact(facts, say_("用时 (秒)", "Seconds"), seconds_text(*run_.seconds));
    add_fact(facts, say_("该板第几次", "Run of the unit"), std::to_string(run_.number));
    add_fact(facts, say_("测试站", "Station"), run_.station);
    add_fact(facts, say_("工位", "Slot"), run_.slot);
    add_fact(facts, say_("操作员", "Operator"), run_.operator_name);
    add_fact(facts, say_("电路板地址", "Board"), run_.board);
    add_fact(facts, say_("版本", "Build"), run_.build);
    add_fact(facts, say_("软件", "Software"), run_.software);
  }

  pugi::xml_node add_table(const std::string& title,
                           const std::vector<std::pair<std::string, const char*>>& heads) {
    add(to_, "h2", title);
    pugi::xml_node table = add(to_, "table");
    pugi::xml_node row = add(add(table, "thead"), "tr");
    for (const auto& [name, of_class] : heads) add(row, "th", name, of_class);
    return add(table, "tbody");
  }

  void add_attempts() {
    pugi::xml_node body = add_table(say_("步骤与尝试", "Steps and attempts"),
                                    {{"#", "number"},
                                     {say_("步骤", "Step"), ""},
                                     {say_("代码", "Code"), "number"},
                                     {say_("次", "Attempt"), "number"},
                                     {say_("结果", "Outcome"), ""},
                                     {say_("秒", "Seconds"), "number"},
                                     {say_("电路板的说明", "The board's words"), "words"}});
    for (const StoredAttempt& attempt : run_.attempts) {
      pugi::xml_node row = add(body, "tr");
      set(row, "data-attempt", attempt.id);
      add(row, "td", std::to_string(attempt.step_index + 1), "number");
      add(row, "td", attempt.step);
      add(row, "td",
          std::to_string(attempt.code) + (attempt.parameter ? "=" + std::to_string(*attempt.parameter) : ""),
          "number");
      add(row, "td", std::to_string(attempt.number), "number");
      add_outcome(add(row, "td"), attempt);
      add(row, "td", attempt.seconds ? seconds_text(*attempt.seconds) : "", "number");
      pugi::xml_node words = add(row, "td", {}, "words");
      const bool are_stations = are_stations_words(attempt.outcome.value_or(""));
      for (const std::string& line : lines_of(attempt.description.value_or("")))
        add(words, "div", are_stations ? reason_words(line, say_) : line, "text");
      if (attempt.answer) {
        add(words, "div",
            say_("人的回答", "a person's answer") + ": " +
                (*attempt.answer == "yes" ? say_("是", "yes") : say_("否", "no")));
      }
    }
    if (run_.attempts.empty()) add(to_, "p", say_("没有任何步骤开始。", "No step was begun."), "nothing");
  }

  // Its colour is that of the verdict that it leads to.
  void add_outcome(pugi::xml_node cell, const StoredAttempt& attempt) {
    const std::string outcome = attempt.outcome.value_or("open");
    const bool is_error = outcome == "timed_out" || outcome == "broken";
    add(cell, "span", attempt.outcome ? outcome_words(outcome, say_) : "…",
        "verdict " + (is_error ? "error" : outcome));
  }

  void add_measurements() {
    const bool has_any = std::any_of(run_.attempts.begin(), run_.attempts.end(),
                                     [](const StoredAttempt& one) { return !one.measurements.empty(); });
    if (!has_any) return;
    pugi::xml_node body = add_table(say_("测量值", "Measurements"), {{say_("步骤", "Step"), ""},
                                                                     {say_("次", "Attempt"), "number"},
                                                                     {say_("测量", "Measurement"), ""},
                                                                     {say_("实测值", "Value"), "number"},
                                                                     {say_("单位", "Unit"), ""},
                                                                     {say_("限值", "Limits"), ""},
                                                                     {say_("结果", "Outcome"), ""}});
    for (const StoredAttempt& attempt : run_.attempts) {
      for (const StoredMeasurement& measurement : attempt.measurements) {
        pugi::xml_node row = add(body, "tr");
        add(row, "td", attempt.step);
        add(row, "td", std::to_string(attempt.number), "number");
        add(row, "td", measurement.name);
        add(row, "td",
            measurement.value ? shown_value(*measurement.value, measurement.low, measurement.high) : "–",
            "number");
        add(row, "td", measurement.unit.value_or(""));
        add(row, "td", limits_of(measurement), "nowrap");
        add(add(row, "td"), "span", measured_words(measurement.outcome, say_),
            measurement.outcome == "passed" ? "verdict passed" : "verdict failed");
      }
    }
  }

  // What shows years later that nothing was changed since.
  void add_proof() {
    add(to_, "h2", say_("记录", "Record"));
    pugi::xml_node facts = add(to_, "table", {}, "facts");
    const auto add_row = [&facts](const std::string& name, const std::string& value) {
      pugi::xml_node row = add(facts, "tr");
      add(row, "th", name);
      add(row, "td", value, "small");
    };
    add_row(say_("运行编号", "Run"), run_.id);
    add_row(say_("计划编号", "Plan's SHA-256"), run_.plan_id);
    if (run_.sequence) add_row(say_("序号", "Sequence"), std::to_string(*run_.sequence));
    if (run_.hash) add_row(say_("校验值", "Hash"), *run_.hash);
    if (run_.hash) add_row(say_("前一次的校验值", "Hash before it"), run_.previous.value_or("–"));
  }

  void add_message(pugi::xml_node to, const char* kind, const std::string& name, const std::string& text,
                   const std::string& bytes) {
    add(to, "div", name + ", " + std::to_string(bytes.size()) + " " + say_("字节", "bytes"), "small");
    set(add(to, "pre", text), "data-message", kind);
    pugi::xml_node exact = add(to, "details");
    add(exact, "summary", say_("原始字节 (base64)", "Exact bytes (base64)"), "small");
    set(add(exact, "pre", base64(bytes)), "data-bytes", kind);
  }

  void add_messages() {
    if (run_.attempts.empty()) return;
    pugi::xml_node section = add(to_, "section", {}, "screen");
    add(section, "h2", say_("原始消息", "Messages as they were"));
    for (const StoredAttempt& attempt : run_.attempts) {
      pugi::xml_node details = add(section, "details");
      const std::string number = std::to_string(attempt.number);
      add(details, "summary",
          std::to_string(attempt.step_index + 1) + " " + attempt.step + " · " +
              say_("第 " + number + " 次", "attempt " + number));
      add_message(details, "request", say_("请求", "Request"), gbk_to_utf8_as_far_as_it_is(attempt.request),
                  attempt.request);
      if (attempt.reply) {
        add_message(details, "reply", say_("应答", "Reply"), gbk_to_utf8_as_far_as_it_is(*attempt.reply),
                    *attempt.reply);
      }
      if (attempt.console) {
        add_message(details, "console", say_("控制台", "Console"), printed_text(*attempt.console),
                    *attempt.console);
      }
    }
  }

  pugi::xml_node to_;
  const StoredRun& run_;
  Wording say_;
};

}  // namespace

std::string html_header(const std::string& title, Language language) {
  pugi::xml_document document;
  add(document, "title", title);
  return "<!DOCTYPE html>\n<html lang=\"" + std::string(html_language(language)) +
         "\"><head><meta charset=\"utf-8\">\n" + html_text(document) + "<style>\n" +
         std::string(report_style()) + "</style></head>\n<body>\n";
}

std::string html_footer() {
  pugi::xml_document document;
  add(document, "footer", software(), "small");
  return html_text(document) + "</body></html>\n";
}

void add_run_report(pugi::xml_node to, const StoredRun& run, Wording say) {
  RunPage(to, run, say).add_all();
}

std::string html_run(const StoredRun& run, Language language) {
  pugi::xml_document document;
  add_run_report(add(document, "section", {}, "run"), run, Wording(language));
  return html_text(document);
}

void add_runs_table(pugi::xml_node to, const std::vector<StoredRun>& runs, Wording say,
                    const std::function<std::string(const std::string& id)>& link) {
  pugi::xml_node table = add(to, "table", {}, "runs");
  pugi::xml_node row = add(add(table, "thead"), "tr");
  for (const std::string& name :
       {say("开始", "Started"), say("序列号", "Serial number"), say("结果", "Verdict"), say("计划", "Plan"),
        say("测试站", "Station"), say("工位", "Slot"), say("第几次", "Run"), say("秒", "Seconds"),
        say("原因", "Reason")}) {
    add(row, "th", name);
  }
  pugi::xml_node body = add(table, "tbody");
  for (const StoredRun& run : runs) {
    row = add(body, "tr");
    set(row, "data-run", run.id);
    add_time(add(row, "td"), run.started);
    add_link(add(row, "td"), link ? link(run.id) : "", run.serial);
    pugi::xml_node verdict = add(row, "td");
    add_verdict(verdict, run.verdict, say);
    if (run.retried == 1) add(verdict, "div", say("有重测", "retried"), "small");
    if (run.kind == "check") add(verdict, "div", say("点检", "check"), "small");
    add(row, "td", run.plan_name + " " + run.plan_version);
    add(row, "td", run.station);
    add(row, "td", run.slot.value_or("–"));
    add(row, "td", std::to_string(run.number));
    add(row, "td", run.seconds ? seconds_text(*run.seconds) : "");
    add(row, "td", run.reason ? reason_words(*run.reason, say) : "");
  }
}

}  // namespace t1station
