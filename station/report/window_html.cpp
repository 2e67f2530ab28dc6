#include "station/report/window_html.h"

#include <vector>

#include "station/report/figures_html.h"
#include "station/report/run_html.h"

namespace t1station {
namespace {

constexpr std::size_t kMostRuns = 1000;  // that are listed

// The runs of the window that did not pass, the oldest first; counts those that are too many for a list.
std::vector<StoredRun> not_passed(const Figures& figures, RecordsReader& records, std::size_t& more) {
  RunFilter filter;
  filter.from = figures.window.from;
  filter.to = figures.window.to;
  filter.plan = figures.window.plan;
  filter.kind = "production";
  std::vector<StoredRun> runs;
  records.for_each_row(filter, [&](const StoredRun& run) {
    if (run.verdict == "passed") return;
    if (runs.size() < kMostRuns)
      runs.push_back(run);
    else
      ++more;
  });
  return runs;
}

void add_not_passed(pugi::xml_node body, const Figures& figures, RecordsReader& records, Wording say) {
  std::size_t more = 0;
  const std::vector<StoredRun> runs = not_passed(figures, records, more);
  if (runs.empty()) return;
  add(body, "h2", say("未合格的运行", "Runs that did not pass"));
  add_runs_table(body, runs, say, nullptr);
  if (more == 0) return;
  const std::string rest = std::to_string(more);
  add(body, "p", say("另有 " + rest + " 次。", "And " + rest + " more."), "note");
}

}  // namespace

std::string batch_words(const std::string& batch, Wording say) {
  return say("序列号开头", "serial numbers that begin with") + " " + batch + "…";
}

void add_window(pugi::xml_node to, const FigureWindow& window, Wording say) {
  pugi::xml_node line = add(to, "div", {}, "window");
  if (window.from)
    add_time(line, *window.from);
  else
    add_text(line, say("最早记录", "the beginning"));
  add_text(line, " – ");
  if (window.to)
    add_time(line, *window.to);
  else
    add_text(line, say("最新记录", "the end"));
  add_text(line,
           " · " + (window.plan ? say("计划", "plan") + " " + *window.plan : say("所有计划", "all plans")));
  if (window.batch) add_text(line, " · " + batch_words(*window.batch, say));
}

std::string window_html(const Figures& figures, RecordsReader& records, const std::string& made,
                        Language language) {
  const Wording say(language);
  pugi::xml_document document;
  pugi::xml_node body = add(document, "main");
  pugi::xml_node title = add(add(body, "div", {}, "title"), "div");
  add(title, "h1", say("测试线报告", "Report of the line"));
  add_window(title, figures.window, say);
  add_figures(body, figures, say, {});
  add_not_passed(body, figures, records, say);
  add(body, "h2", say("记录", "Record"));
  pugi::xml_node made_at = add(body, "p", say("生成时间", "Made at") + " ", "small");
  add_time(made_at, made);
  const std::optional<std::string> head = records.head();
  if (head)
    add(body, "p", say("最后一次运行的校验值", "Hash of the run that ended last") + " " + *head, "small");
  return html_header(say("测试线报告", "Report of the line"), language) + html_text(document) + html_footer();
}

}  // namespace t1station
