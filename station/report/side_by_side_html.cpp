#include "station/report/side_by_side_html.h"

#include <algorithm>

#include "station/report/plots.h"

namespace t1station {
namespace {

// What a whole bar stands for.
double longest_bar(std::initializer_list<Share> shares, double most) {
  for (const Share& share : shares) most = std::max(most, share.value().value_or(0));
  return most;
}

// Two shares as a bar and a stroke, the other one's as a number, the chance that they are alike, and the
// mark; `whose` are the others, in Chinese.
void add_comparison(pugi::xml_node row, const Share& own, const Share& others, double most,
                    const std::optional<double>& p, bool is_marked, const std::string& whose, Wording say) {
  add(row, "td", share_text(own), "number");
  add_bar(add(row, "td", {}, "of-bar"), own.value().value_or(0) / most,
          others.all > 0 ? *others.value() / most : -1);
  add(row, "td", share_text(others), "number");
  add(row, "td", chance_text(p), "number");
  pugi::xml_node mark = add(row, "td");
  if (!is_marked) return;
  set(row, "data-marked", "true");
  const bool is_worse = own.value() > others.value();
  add(mark, "span",
      say("比其他" + whose + (is_worse ? "差" : "好"),
          is_worse ? "worse than the others" : "better than the others"),
      is_worse ? "warning" : "");
}

}  // namespace

void add_slots(pugi::xml_node to, const Figures& figures, Wording say, const FigureRuns& runs) {
  pugi::xml_node section = add_figure_section(to, say("工位比较", "Slots side by side"), "slots");
  pugi::xml_node body = add_heading(add(section, "table"), {{say("测试站", "Station"), ""},
                                                            {say("工位", "Slot"), ""},
                                                            {say("已结束", "Ended runs"), "number"},
                                                            {say("未合格", "Not passed"), "number"},
                                                            {say("比例", "Share"), "number"},
                                                            {"", "of-bar"},
                                                            {say("其他工位", "Other slots"), "number"},
                                                            {"p", "number"},
                                                            {"", ""}});
  double most = 0.01;
  for (const SlotFigures& slot : figures.slots)
    most = longest_bar({{slot.not_passed.count, slot.runs}, slot.others}, most);
  for (const SlotFigures& slot : figures.slots) {
    pugi::xml_node row = add(body, "tr");
    set(row, "data-slot", slot.slot.value_or(""));
    add(row, "td", slot.station);
    add(row, "td", slot.slot.value_or("–"));
    RunFilter ended = runs.ended(kEnded), not_passed = runs.ended(kNotPassed);
    ended.station = not_passed.station = slot.station;
    ended.slot = not_passed.slot = slot.slot.value_or("");
    runs.add(add(row, "td", {}, "number"), slot.runs, ended);
    runs.add(add(row, "td", {}, "number"), slot.not_passed.count, not_passed);
    add_comparison(row, {slot.not_passed.count, slot.runs}, slot.others, most, slot.p, slot.is_marked, "工位",
                   say);
  }
  add(section, "p",
      say("竖线为其他工位的比例；p 为 Fisher 精确检验（双侧），p < 0.01 时标记。",
          "The stroke is the other slots' share; p is that of Fisher's exact test, two-sided: "
          "marked below 0.01."),
      "note");
}

void add_batches(pugi::xml_node to, const Figures& figures, Wording say, const FigureRuns& runs,
                 const WindowLink& link) {
  if (!has_batches(figures)) return;
  pugi::xml_node section = add_figure_section(to, say("批次比较", "Batches side by side"), "batches");
  pugi::xml_node body =
      add_heading(add(section, "table"), {{say("序列号开头", "Serial numbers begin with"), ""},
                                          {say("块板", "Units"), "number"},
                                          {say("最终合格率", "Final yield"), "number"},
                                          {say("第一次运行", "First runs"), "number"},
                                          {say("非一次合格", "Not passed at once"), "number"},
                                          {say("比例", "Share"), "number"},
                                          {"", "of-bar"},
                                          {say("其他批次", "Other batches"), "number"},
                                          {"p", "number"},
                                          {"", ""}});
  double most = 0.01;
  const auto lost_of = [](const Share& good) { return Share{good.all - good.part, good.all}; };
  for (const BatchFigures& batch : figures.batches)
    most = longest_bar({lost_of(batch.first_pass), lost_of(batch.others)}, most);
  for (const BatchFigures& batch : figures.batches) {
    pugi::xml_node row = add(body, "tr");
    set(row, "data-batch", batch.begin);
    FigureWindow window = figures.window;
    window.batch = batch.begin;
    add_link(add(row, "td", {}, "name"), link ? link(window) : "", batch.begin);
    const auto add_runs = [&](std::int64_t count, RunFilter filter, const std::string& text) {
      filter.batch = batch.begin;
      runs.add(add(row, "td", {}, "number"), count, filter, text);
    };
    RunFilter last = runs.all(), lost = runs.first(kJudged);
    last.is_last = true;
    lost.at_once = false;
    add_runs(batch.units, last, std::to_string(batch.units));
    last.verdicts = kNotPassedYet;
    add_runs(batch.final.all - batch.final.part, last, share_text(batch.final));
    add_runs(batch.first_pass.all, runs.first(kJudged), std::to_string(batch.first_pass.all));
    add_runs(batch.lost.count, lost, std::to_string(batch.lost.count));
    add_comparison(row, lost_of(batch.first_pass), lost_of(batch.others), most, batch.p, batch.is_marked,
                   "批次", say);
  }
  add(section, "p",
      say("开头比这段时间内所有序列号共有的多一个字符。标记同上。",
          "One character more than all serial numbers of the window have in common. Marked as slots are."),
      "note");
}

}  // namespace t1station
