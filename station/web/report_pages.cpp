#include "station/web/report_pages.h"

#include <algorithm>
#include <boost/algorithm/string/trim.hpp>
#include <chrono>
#include <functional>
#include <utility>
#include <vector>

#include "station/records/records.h"
#include "station/report/figures_html.h"
#include "station/report/plots.h"
#include "station/report/report_style.h"
#include "station/report/run_html.h"
#include "station/report/verdict_words.h"
#include "station/report/window_html.h"
#include "station/web/asked.h"
#include "station/web/run_question.h"

namespace t1station {
namespace {

constexpr int kRunsOnAPage = 100;
constexpr std::size_t kMostUnits = 20;  // that a search names
constexpr auto kWindowByDefault = std::chrono::days(7);

/// A page that begins with the line's name and the ways to the other pages.
class Page {
 public:
  Page(const Call& call, Subject& subject) : asked_(asked(call, "language")) {
    const LineView line = subject.line().view();
    station_ = line.station;
    if (const auto language = language_named(asked_.value_or(line.language))) {
      say_ = Wording(*language);
    } else if (asked_) {
      throw WebError(400, "\"language\" is zh or en");
    }
    top_ = add(document_, "header", {}, "top screen");
    main_ = add(document_, "main");
  }

  Wording say() const { return say_; }
  const std::string& station() const { return station_; }
  pugi::xml_node main() const { return main_; }

  /// The address of another page, in the same language; what has no value is left out.
  std::string address(const std::string& path, QueryValues query) const {
    query.emplace_back("language", asked_);
    std::string address = path;
    for (const auto& [name, value] : query) {
      if (value) address += (address == path ? "?" : "&") + name + "=" + query_value(*value);
    }
    return address;
  }
  std::string run_address(const std::string& id) const { return address("/runs/" + query_value(id), {}); }

  WebAnswer answer(const std::string& title, int status = 200) {
    add_top();
    pugi::xml_document head;
    add(head, "title", title + " · " + station_);
    WebAnswer answer;
    answer.status = status;
    answer.media_type = "text/html; charset=utf-8";
    const std::string name = say_.language() == Language::en ? "en" : "zh";
    answer.body = "<!DOCTYPE html>\n<html lang=\"" + std::string(html_language(say_.language())) +
                  "\" data-language=\"" + name +
                  "\"><head><meta charset=\"utf-8\">\n"
                  "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n" +
                  html_text(head) +
                  "<link rel=\"icon\" href=\"/page/icon.svg\" type=\"image/svg+xml\">\n"
                  "<link rel=\"stylesheet\" href=\"/page/report.css\">\n"
                  "<link rel=\"stylesheet\" href=\"/page/results.css\">\n"
                  "<script type=\"module\" src=\"/page/results.js\"></script></head>\n<body>\n" +
                  html_text(document_) + "</body></html>\n";
    return answer;
  }

 private:
  void add_top() {
    add(top_, "b", station_);
    add_link(top_, "/", "← " + say_("操作员页面", "Operator's page"));
    add_link(top_, address("/results", {}), say_("结果", "Results"));
    pugi::xml_node search = add(top_, "form");
    set(search, "id", "search");
    set(search, "action", "/runs");
    pugi::xml_node serial = add(search, "input");
    for (const auto& [name, value] :
         {std::pair("name", std::string("search")), std::pair("type", std::string("search")),
          std::pair("required", std::string("required")), std::pair("autofocus", std::string("autofocus")),
          std::pair("placeholder", say_("序列号或其一部分", "Serial number, or a part")),
          std::pair("aria-label", say_("序列号", "Serial number"))}) {
      set(serial, name, value);
    }
    if (asked_) {
      pugi::xml_node language = add(search, "input");
      set(language, "type", "hidden");
      set(language, "name", "language");
      set(language, "value", *asked_);
    }
    add(search, "button", say_("查找", "Search"));
    pugi::xml_node languages = add(top_, "select");
    set(languages, "id", "language");
    set(languages, "aria-label", say_("语言", "Language"));
    for (const auto& [name, text] : {std::pair("zh", "中文"), std::pair("en", "English")}) {
      pugi::xml_node option = add(languages, "option", text);
      set(option, "value", name);
      if (language_named(name) == say_.language()) set(option, "selected", "selected");
    }
    pugi::xml_node reading = add(top_, "div", say_("正在读取记录…", "Reading the records …"));
    set(reading, "id", "reading");
    set(reading, "role", "status");
  }

  std::optional<std::string> asked_;
  Wording say_{Language::zh};
  std::string station_;
  pugi::xml_document document_;
  pugi::xml_node top_, main_;
};

// A page that says what is wrong in place of one that cannot be shown.
WebAnswer page_or_trouble(const Call& call, Subject& subject, const std::function<WebAnswer(Page&)>& show) {
  WebError trouble(400, "");
  try {
    Page page(call, subject);
    try {
      return show(page);
    } catch (const WebError& error) {
      trouble = error;
    } catch (const RecordsBroken& error) {
      trouble = WebError(503, error.what());
    } catch (const RecordsRefused& error) {
      trouble = WebError(503, error.what());
    }
  } catch (const WebError& error) {
    trouble = error;  // of the language: the page is in the station's
  }
  Call plain = call;
  if (!language_named(asked(call, "language").value_or(""))) plain.target.query.erase("language");
  Page page(plain, subject);
  const std::string title =
      trouble.status() == 404 ? page.say()("没有找到", "Not found") : page.say()("出错", "Trouble");
  add(page.main(), "h1", title);
  add(page.main(), "p", trouble.what(), "trouble");
  return page.answer(title, trouble.status());
}

FigureWindow asked_window(const Call& call) {
  const auto [from, to] = asked_times(call);
  FigureWindow window{from, to, asked(call, "plan"), asked(call, "batch")};
  if (!call.target.query.contains("from") && !call.target.query.contains("to")) {
    window.from = record_time(std::chrono::system_clock::now() - kWindowByDefault);
  }
  return window;
}

QueryValues question_of(const FigureWindow& window) {
  return {
      {"from", window.from.value_or("")}, {"to", window.to}, {"plan", window.plan}, {"batch", window.batch}};
}

void add_time_field(pugi::xml_node form, const char* name, const std::string& title,
                    const std::optional<std::string>& time) {
  pugi::xml_node label = add(form, "label");
  add(label, "span", title);
  pugi::xml_node field = add(label, "input");
  set(field, "type", "datetime-local");
  set(field, "step", "1");
  set(field, "id", name);
  set(field, "data-utc", time.value_or(""));
}

void add_window_form(pugi::xml_node to, const Figures& figures, Wording say) {
  pugi::xml_node form = add(to, "form", {}, "screen");
  set(form, "id", "window");
  add_time_field(form, "from", say("从", "From"), figures.window.from);
  add_time_field(form, "to", say("到", "To"), figures.window.to);
  pugi::xml_node label = add(form, "label");
  add(label, "span", say("计划", "Plan"));
  pugi::xml_node plans = add(label, "select");
  set(plans, "id", "plan");
  set(add(plans, "option", say("全部", "All")), "value", "");
  for (const PlanNamed& plan : figures.plans) {
    pugi::xml_node option = add(plans, "option", plan.name);
    set(option, "value", plan.name);
    if (plan.name == figures.window.plan) set(option, "selected", "selected");
  }
  label = add(form, "label");
  add(label, "span", say("序列号开头", "Serial number begins with"));
  pugi::xml_node batch = add(label, "input");
  set(batch, "id", "batch");
  set(batch, "value", figures.window.batch.value_or(""));
  add(form, "button", say("显示", "Show"));
  pugi::xml_node ready = add(form, "span", {}, "ready");
  for (const auto& [days, name] :
       {std::pair("0", say("今天", "Today")), std::pair("1", say("从昨天", "Since yesterday")),
        std::pair("6", say("七天", "Seven days")), std::pair("29", say("三十天", "Thirty days")),
        std::pair("all", say("全部", "All"))}) {
    pugi::xml_node button = add(ready, "button", name, "plain");
    set(button, "type", "button");
    set(button, "data-days", days);
  }
  pugi::xml_node zone = add(form, "span", say("时区", "Time zone") + ": ", "zone");
  set(add(zone, "span", "UTC"), "id", "zone");
}

/// What a list of runs is of, in words.
class FilterWords {
 public:
  explicit FilterWords(Wording say) : say_(say) {}

  std::string of(const RunFilter& filter) {
    if (filter.serial) add(say_("序列号", "Serial number") + " " + *filter.serial);
    if (filter.batch) add(batch_words(*filter.batch, say_));
    if (filter.serial_part) add(say_("序列号含", "Serial number with") + " " + *filter.serial_part);
    if (filter.kind) add(*filter.kind == "check" ? say_("点检", "checks") : say_("生产", "production"));
    if (filter.verdicts.size() > 1) add(verdicts_of(filter.verdicts));
    if (filter.station) add(say_("测试站", "station") + " " + *filter.station);
    if (filter.slot)
      add(filter.slot->empty() ? say_("无工位", "no slot") : say_("工位", "slot") + " " + *filter.slot);
    if (filter.is_first) add(say_("每块板的第一次运行", "each unit's first run"));
    if (filter.is_last) add(say_("每块板的最后一次运行", "each unit's last run"));
    if (filter.retried) add(*filter.retried ? say_("有重测", "retried") : say_("无重测", "not retried"));
    if (filter.at_once)
      add(*filter.at_once ? say_("一次合格", "passed at once") : say_("非一次合格", "not passed at once"));
    if (filter.step) add_step(*filter.step);
    if (filter.measured) add_measured(*filter.measured);
    return words_;
  }

 private:
  void add(const std::string& words) { words_ += (words_.empty() ? "" : " · ") + words; }

  std::string verdicts_of(const std::vector<std::string>& verdicts) {
    std::string words;
    for (const std::string& verdict : verdicts) {
      const bool is_open = verdict == "open";
      words +=
          (words.empty() ? "" : " / ") + verdict_words(is_open ? std::nullopt : std::optional(verdict), say_);
    }
    return words;
  }

  void add_step(const StepFilter& step) {
    std::string words = say_("步骤", "step") + " " + step.name;
    if (step.attempt == "not_passed") {
      words += ": " + say_("有一次未合格", "an attempt did not pass");
    } else if (step.attempt == "repeated") {
      words += ": " + say_("有重测", "tried again");
    } else if (step.attempt == "lost") {
      words += ": " + say_("最后一次未合格", "its last attempt did not pass") +
               (step.words ? say_("，说明相同", ", with the same words") : "");
    } else if (step.attempt == "silent") {
      words += ": " + say_("最后一次未合格，无说明", "its last attempt did not pass, without words");
    } else if (!step.attempt.empty()) {
      words += ": " + say_("有一次", "an attempt") + " " + outcome_words(step.attempt, say_);
    }
    if (step.lasted) words += " ≥ " + number_text(*step.lasted) + " " + say_("秒", "s");
    add(words);
  }

  void add_measured(const MeasuredFilter& measured) {
    std::string words = measured.name;
    if (measured.outcome == "outside") {
      words += " " + say_("超限", "outside its limits");
    } else if (!measured.outcome.empty() && measured.outcome != "found") {
      words += " " + measured_words(measured.outcome, say_);
    }
    if (measured.at_least) words += " ≥ " + number_text(*measured.at_least);
    if (measured.below) words += " < " + number_text(*measured.below);
    if (measured.at_most) words += " ≤ " + number_text(*measured.at_most);
    add(words + (measured.unit.empty() ? "" : " " + measured.unit));
  }

  Wording say_;
  std::string words_;
};

void add_filter(pugi::xml_node to, const RunFilter& filter, Wording say) {
  if (filter.from || filter.to || filter.plan) add_window(to, {filter.from, filter.to, filter.plan}, say);
  const std::string words = FilterWords(say).of(filter);
  if (!words.empty()) add(to, "p", words);
}

// Somebody searches: for a unit whose whole serial number it is, else for all that have it in theirs, which
// are returned.
std::vector<std::string> find_units(RunFilter& filter, const Call& call, Subject& subject) {
  const std::string text = boost::algorithm::trim_copy(asked(call, "search").value_or(""));
  if (text.empty()) return {};
  RecordsReader records = subject.reader();
  RunFilter whole;
  whole.serial = text;
  whole.limit = 1;
  records.for_each_row(whole, [&filter](const StoredRun& run) { filter.serial = run.serial; });
  if (filter.serial) return {};
  filter.serial_part = text;
  return records.serials_with(text, kMostUnits + 1);
}

// Units to choose from.
void add_units(pugi::xml_node to, const std::vector<std::string>& units, const Page& page) {
  if (units.size() < 2) return;
  pugi::xml_node list = add(to, "p", {}, "units");
  for (std::size_t i = 0; i < std::min(units.size(), kMostUnits); ++i) {
    if (i > 0) add_text(list, " · ");
    add_link(list, page.address("/runs", {{"serial", units[i]}}), units[i]);
  }
  if (units.size() > kMostUnits) add_text(list, page.say()(" · 还有更多", " · and more"));
}

WebAnswer run_list(Page& page, const Call& call, Subject& subject) {
  RunFilter filter = asked_runs(call, {"search", "language"});
  filter.limit = kRunsOnAPage + 1;
  const Wording say = page.say();
  const std::vector<std::string> units = find_units(filter, call, subject);
  std::vector<StoredRun> runs = subject.runs(filter);
  const bool has_more = runs.size() > static_cast<std::size_t>(kRunsOnAPage);
  if (has_more) runs.pop_back();

  pugi::xml_node title = add(page.main(), "div", {}, "title");
  pugi::xml_node left = add(title, "div");
  const bool is_whole = !has_more && !filter.before;
  add(left, "h1", say("运行记录", "Runs") + (is_whole ? ": " + std::to_string(runs.size()) : ""));
  add_filter(left, filter, say);
  add_units(left, units, page);
  if (filter.verdicts.size() == 1) {
    const std::string& verdict = filter.verdicts.front();
    add_verdict(title, verdict == "open" ? std::nullopt : std::optional(verdict), say, "large");
  }
  if (runs.empty()) {
    add(page.main(), "p", say("没有这样的运行。", "There are no such runs."), "nothing");
  } else {
    add_runs_table(page.main(), runs, say, [&page](const std::string& id) { return page.run_address(id); });
  }
  if (has_more) {
    QueryValues question = question_of(filter);
    question.emplace_back("before", runs.back().id);
    pugi::xml_node more = add(page.main(), "p");
    set(add_link(more, page.address("/runs", std::move(question)), say("更早的 →", "Older →")), "id",
        "older");
  }
  return page.answer(say("运行记录", "Runs"));
}

}  // namespace

WebAnswer show_results(const Call& call, Subject& subject) {
  return page_or_trouble(call, subject, [&](Page& page) {
    refuse_other_names(call.target, {"from", "to", "plan", "batch", "language"});
    const Figures figures = subject.figures(asked_window(call));
    const Wording say = page.say();
    add_window_form(page.main(), figures, say);
    pugi::xml_node title = add(page.main(), "div");
    add(title, "h1", say("测试结果：", "Results of ") + page.station());
    add_window(title, figures.window, say);
    add_figures(
        page.main(), figures, say,
        {[&page](const RunFilter& filter) { return page.address("/runs", question_of(filter)); },
         [&page](const FigureWindow& window) { return page.address("/results", question_of(window)); }});
    return page.answer(say("结果", "Results"));
  });
}

WebAnswer show_run_list(const Call& call, Subject& subject) {
  return page_or_trouble(call, subject, [&](Page& page) { return run_list(page, call, subject); });
}

WebAnswer show_run_report(const Call& call, Subject& subject) {
  return page_or_trouble(call, subject, [&](Page& page) {
    refuse_other_names(call.target, {"language"});
    const Wording say = page.say();
    const std::optional<StoredRun> run = subject.reader().run(call.words[0]);
    if (!run) throw WebError(404, "there is no such run");
    pugi::xml_node ways = add(page.main(), "p", {}, "screen");
    add_link(ways, page.address("/runs", {{"serial", run->serial}}),
             say("该板的所有运行", "All runs of this unit"));
    add_text(ways, " · ");
    add_link(ways, "/api/runs/" + query_value(run->id), "JSON");
    add_run_report(page.main(), *run, say);
    return page.answer(run->serial);
  });
}

WebAnswer show_report_style(const Call& /*call*/, Subject& /*subject*/) {
  WebAnswer answer;
  answer.media_type = "text/css; charset=utf-8";
  answer.body = report_style();
  return answer;
}

}  // namespace t1station
