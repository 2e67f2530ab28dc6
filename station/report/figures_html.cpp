#include "station/report/figures_html.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "station/figures/capability.h"
#include "station/report/failure_words.h"
#include "station/report/figure_cells.h"
#include "station/report/plots.h"
#include "station/report/reason_words.h"
#include "station/report/side_by_side_html.h"
#include "station/report/verdict_words.h"

namespace t1station {
namespace {

constexpr std::size_t kMostKinds = 50;  // of failures that are shown

std::string seconds_or_dash(const std::optional<double>& seconds) {
  if (!seconds) return "–";
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), *seconds < 100 ? "%.3g" : "%.0f", *seconds);
  return text.data();
}

std::string number_or_dash(const std::optional<double>& number) {
  return number ? number_text(*number) : "–";
}

/// Adds the sections one behind the other.
class FiguresPage {
 public:
  FiguresPage(pugi::xml_node to, const Figures& figures, Wording say, const FigureLinks& links)
      : to_(to), figures_(figures), say_(say), links_(links), runs_(figures.window, links.runs) {}

  void add_all() {
    add_tiles();
    if (figures_.runs == 0) {
      add(to_, "p", say_("这段时间内没有运行。", "There are no runs in this window."), "nothing");
      return;
    }
    pugi::xml_node halves = add(to_, "div", {}, "halves");
    add_verdicts(halves);
    add_pareto_plot(halves);
    add_failures();
    add_slots(to_, figures_, say_, runs_);
    add_batches(to_, figures_, say_, runs_, links_.window);
    add_steps();
    add_measurements();
  }

 private:
  pugi::xml_node add_tile(pugi::xml_node tiles, const char* figure, const std::string& name,
                          const std::string& number) {
    pugi::xml_node tile = add(tiles, "div", {}, "tile");
    set(tile, "data-figure", figure);
    add(tile, "span", name);
    add(tile, "b", number);
    return tile;
  }

  // `all` are the runs that the units are judged by, `lost` those of them that count against the yield.
  void add_yield(pugi::xml_node tiles, const char* figure, const std::string& name, const Share& share,
                 const RunFilter& all, const RunFilter& lost) {
    pugi::xml_node tile = add_tile(tiles, figure, name, share_text(share));
    pugi::xml_node of = add(tile, "span", {}, "of");
    runs_.add(of, share.all, all,
              std::to_string(share.part) + " / " + std::to_string(share.all) + " " + say_("块板", "units"));
    if (share.part == share.all) return;
    add_text(of, " · ");
    const std::int64_t count = share.all - share.part;
    runs_.add(of, count, lost, say_("未合格", "lost") + " " + std::to_string(count));
  }

  void add_first_yield(pugi::xml_node tiles, const char* figure, const std::string& name, const Share& share,
                       const std::vector<std::string>& verdicts) {
    const RunFilter first = runs_.first(verdicts);
    RunFilter lost = first;
    lost.at_once = false;
    add_yield(tiles, figure, name, share, first, lost);
  }

  void add_tiles() {
    pugi::xml_node tiles = add(to_, "div", {}, "tiles");
    add_first_yield(tiles, "first_pass_yield", say_("一次合格率", "First-pass yield"), figures_.first_pass,
                    kJudged);
    add_first_yield(tiles, "first_pass_yield_strict", say_("一次合格率（严格）", "First-pass yield, strict"),
                    figures_.first_pass_strict, kEnded);
    RunFilter last = runs_.all();
    last.is_last = true;
    RunFilter lost = last;
    lost.verdicts = kNotPassedYet;
    add_yield(tiles, "final_yield", say_("最终合格率", "Final yield"), figures_.final, last, lost);
    pugi::xml_node runs = add_tile(tiles, "runs", say_("运行次数", "Runs"), "");
    runs_.add(runs.child("b"), figures_.runs, runs_.all());
    pugi::xml_node of = add(runs, "span", {}, "of");
    runs_.add(of, figures_.units, last, std::to_string(figures_.units) + " " + say_("块板", "units"));
    if (figures_.check_runs == 0) return;
    add_text(of, " · ");
    RunFilter checks = runs_.all();
    checks.kind = "check";
    runs_.add(of, figures_.check_runs, checks,
              say_("另有点检", "besides checks") + " " + std::to_string(figures_.check_runs));
  }

  void add_verdicts(pugi::xml_node to) {
    pugi::xml_node section = add_figure_section(to, say_("运行结果", "Runs by verdict"), "verdicts");
    std::vector<std::pair<std::string, std::int64_t>> parts;
    for (const char* verdict : {"passed", "failed", "error", "stopped", "interrupted"}) {
      parts.emplace_back(verdict, runs_with(verdict));
    }
    parts.emplace_back("open", runs_with(""));
    add_stack(section, parts);
    pugi::xml_node body = add_heading(
        add(section, "table"),
        {{say_("结果", "Verdict"), ""}, {say_("次数", "Runs"), "number"}, {say_("比例", "Share"), "number"}});
    for (const auto& [name, count] : parts) {
      const bool is_open = name == "open";
      if (is_open && count == 0) continue;
      pugi::xml_node row = add(body, "tr");
      set(row, "data-verdict", name);
      add_verdict(add(row, "td"), is_open ? std::nullopt : std::optional(name), say_);
      runs_.add(add(row, "td", {}, "number"), count, runs_.ended({name}));
      add(row, "td", share_text({count, figures_.runs}), "number");
    }
    pugi::xml_node row = add(body, "tr");
    set(row, "data-verdict", "retried");
    add(row, "td", say_("其中有重测", "of these retried"), "nothing");
    RunFilter retried = runs_.all();
    retried.retried = true;
    runs_.add(add(row, "td", {}, "number"), figures_.retried.count, retried);
    add(row, "td", share_text({figures_.retried.count, figures_.runs - runs_with("")}), "number");
  }

  std::int64_t runs_with(const std::string& verdict) const {
    const auto found = figures_.verdicts.find(verdict);
    return found == figures_.verdicts.end() ? 0 : found->second.count;
  }

  // The board's words, what their numbers were where they differ, and how the attempts ended.
  void add_words(pugi::xml_node cell, const FailureKind& kind) {
    std::string outcomes;
    for (const auto& [outcome, runs] : kind.outcomes) {
      outcomes += (outcomes.empty() ? "" : ", ") + outcome_words(outcome, say_);
      if (kind.outcomes.size() > 1) outcomes += " " + std::to_string(runs);
    }
    ShownWords shown = shown_words(kind);
    const bool are_stations = std::all_of(kind.outcomes.begin(), kind.outcomes.end(),
                                          [](const auto& one) { return are_stations_words(one.first); });
    if (are_stations) shown.words = reason_words(shown.words, say_);
    add(cell, "div", kind.words ? shown.words : say_("（无说明）", "(no words)"),
        kind.words ? "text" : "nothing");
    add(cell, "div", outcomes + (shown.numbers.empty() ? "" : " · " + shown.numbers), "small");
  }

  RunFilter runs_of_kind(const FailureKind& kind) const {
    RunFilter filter = runs_.of_step(kind.plan, kind.step, kind.words ? "lost" : "silent");
    if (kind.words) filter.step->words = words_id(*kind.words);
    return filter;
  }

  // How many of each kind of failure there are, and all together.
  std::pair<std::vector<std::int64_t>, std::int64_t> failure_counts() const {
    std::vector<std::int64_t> counts;
    std::int64_t all = 0;
    for (const FailureKind& kind : figures_.failures) {
      counts.push_back(kind.runs.count);
      all += kind.runs.count;
    }
    return {counts, all};
  }

  void add_pareto_plot(pugi::xml_node to) {
    const auto [counts, all] = failure_counts();
    if (all == 0) return;
    const auto link = [this](std::size_t kind) { return links_.runs(runs_of_kind(figures_.failures[kind])); };
    add_pareto(add_figure_section(to, say_("帕累托图", "Pareto of failures"), "pareto"), counts, all,
               links_.runs ? BarLink(link) : nullptr);
  }

  void add_failures() {
    pugi::xml_node section = add_figure_section(
        to_, say_("不合格项目（按次数）", "What did not pass, most frequent first"), "failures");
    if (figures_.failures.empty()) {
      add(section, "p", say_("所有运行均合格。", "Nothing: every run passed."), "nothing");
      return;
    }
    const std::int64_t all = failure_counts().second;
    pugi::xml_node body =
        add_heading(add(section, "table"), {{"#", "number"},
                                            {say_("次数", "Runs"), "number"},
                                            {say_("比例", "Share"), "number"},
                                            {say_("累计", "Together"), "number"},
                                            {say_("计划", "Plan"), ""},
                                            {say_("步骤", "Step"), ""},
                                            {say_("电路板的说明", "The board's words"), "words"}});
    const std::int64_t ended = figures_.runs - runs_with("");
    std::int64_t sum = 0;
    for (std::size_t i = 0; i < std::min(figures_.failures.size(), kMostKinds); ++i) {
      const FailureKind& kind = figures_.failures[i];
      pugi::xml_node row = add(body, "tr");
      set(row, "data-step", kind.step);
      add(row, "td", std::to_string(i + 1), "number");
      runs_.add(add(row, "td", {}, "number"), kind.runs.count, runs_of_kind(kind));
      add(row, "td", share_text({kind.runs.count, ended}), "number");
      add(row, "td", share_text({sum += kind.runs.count, all}), "number");
      add(row, "td", kind.plan, "name");
      add(row, "td", kind.step, "name");
      add_words(add(row, "td", {}, "words"), kind);
    }
    if (figures_.failures.size() > kMostKinds) {
      const std::string rest = std::to_string(figures_.failures.size() - kMostKinds);
      add(section, "p", say_("另有 " + rest + " 种。", "And " + rest + " more."), "note");
    }
  }

  void add_step_numbers(pugi::xml_node row, const StepFigures& step) {
    const auto add_number = [&](std::int64_t runs, const char* attempt, const std::string& text) {
      runs_.add(add(row, "td", {}, "number"), runs, runs_.of_step(step.plan, step.step, attempt), text);
    };
    const auto failed = step.outcomes.find("failed");
    const Share share{failed == step.outcomes.end() ? 0 : failed->second, step.attempts};
    add_number(step.runs, "", std::to_string(step.runs));
    add_number(step.runs, "", std::to_string(step.attempts));
    add_number(step.failed.count, "failed", share_text(share));
    add_number(step.not_passed.count, "not_passed", std::to_string(step.not_passed.count));
    add_number(step.retried.count, "repeated", std::to_string(step.retried.count));
    add_seconds(row, step, step.median, step.median_runs);
    add_seconds(row, step, step.percentile_95, step.percentile_95_runs);
  }

  // Leads to the runs in which an attempt took so long or longer.
  void add_seconds(pugi::xml_node row, const StepFigures& step, const std::optional<double>& seconds,
                   std::int64_t runs) {
    RunFilter filter = runs_.of_step(step.plan, step.step);
    filter.step->lasted = seconds;
    runs_.add(add(row, "td", {}, "number"), runs, filter, seconds_or_dash(seconds));
  }

  void add_steps() {
    if (figures_.steps.empty()) return;
    pugi::xml_node section = add_figure_section(to_, say_("步骤", "Steps"), "steps");
    pugi::xml_node body =
        add_heading(add(section, "table"), {{say_("计划", "Plan"), ""},
                                            {say_("步骤", "Step"), ""},
                                            {say_("运行", "Runs"), "number"},
                                            {say_("尝试", "Attempts"), "number"},
                                            {say_("不合格", "Failed"), "number"},
                                            {say_("未合格运行", "Runs not passed at once"), "number"},
                                            {say_("重测", "Retried"), "number"},
                                            {say_("中位数 (秒)", "Median (s)"), "number"},
                                            {"95 % " + say_("(秒)", "(s)"), "number"},
                                            {"", "of-bar"}});
    double longest = 0;
    for (const StepFigures& step : figures_.steps)
      longest = std::max(longest, step.percentile_95.value_or(0));
    for (const StepFigures& step : figures_.steps) {
      pugi::xml_node row = add(body, "tr");
      set(row, "data-step", step.step);
      add(row, "td", step.plan, "name");
      add(row, "td", std::to_string(step.index + 1) + " " + step.step, "name");
      add_step_numbers(row, step);
      pugi::xml_node bar = add(row, "td", {}, "of-bar");
      if (longest > 0)
        add_bar(bar, step.percentile_95.value_or(0) / longest, step.median.value_or(0) / longest);
    }
    add(section, "p",
        say_("横条到 95 % 分位数，竖线为中位数。",
             "The bar goes to the 95th percentile, the stroke is the median."),
        "note");
  }

  void add_measurements() {
    if (figures_.measurements.empty()) return;
    pugi::xml_node section = add_figure_section(to_, say_("测量值", "Measurements"), "measurements");
    pugi::xml_node cards = add(section, "div", {}, "halves");
    for (const MeasurementFigures& one : figures_.measurements) add_measurement(cards, one);
    add(section, "p",
        say_("虚线为限值，竖直实线为平均值。", "Limits are dashed, the upright line is the mean."), "note");
  }

  void add_measurement(pugi::xml_node cards, const MeasurementFigures& one) {
    pugi::xml_node card = add(cards, "div", {}, "card");
    set(card, "data-measurement", one.name);
    add(card, "h3", one.step + ": " + one.name + (one.unit ? " (" + *one.unit + ")" : ""));
    add(card, "div", one.plan, "small");
    const auto link = [&](std::size_t bar) { return links_.runs(runs_of_bar(one, bar)); };
    add_histogram(card, one, links_.runs ? BarLink(link) : nullptr);
    pugi::xml_node facts = add(card, "table", {}, "facts");
    const auto add_fact = [&facts](const std::string& name, const std::string& value) {
      pugi::xml_node row = add(facts, "tr");
      add(row, "th", name);
      return add(row, "td", value);
    };
    add_fact(say_("限值", "Limits"), number_or_dash(one.low) + " … " + number_or_dash(one.high));
    add_values(add_fact(say_("数量", "Values"), ""), one);
    runs_.add(add_fact(say_("超限的运行", "Runs outside"), ""), one.outside.count,
              runs_measured(one, "outside"));
    add_fact(say_("平均值 ± 标准差", "Mean ± deviation"),
             number_or_dash(one.mean) + " ± " + number_or_dash(one.deviation));
    add_fact(say_("最小 … 最大", "Least … most"),
             number_or_dash(one.minimum) + " … " + number_or_dash(one.maximum));
    set(add_fact("Cpk", capability_text(one)), "data-figure", "cpk");
    add_warnings(card, one);
  }

  RunFilter runs_measured(const MeasurementFigures& one, const std::string& outcome) const {
    RunFilter filter = runs_.of_step(one.plan, one.step);
    MeasuredFilter measured;
    measured.name = one.name;
    measured.unit = one.unit.value_or("");
    measured.low = one.low;
    measured.high = one.high;
    measured.outcome = outcome;
    filter.measured = measured;
    return filter;
  }

  RunFilter runs_of_bar(const MeasurementFigures& one, std::size_t bar) const {
    RunFilter filter = runs_measured(one, "found");
    filter.measured->at_least = one.histogram[bar].from;
    const bool is_last = bar + 1 == one.histogram.size();
    (is_last ? filter.measured->at_most : filter.measured->below) = one.histogram[bar].to;
    return filter;
  }

  // How many values there are, and how many are not as they should be.
  void add_values(pugi::xml_node cell, const MeasurementFigures& one) {
    runs_.add(cell, one.runs, runs_measured(one, "found"), std::to_string(one.values));
    const auto add_count = [&](std::int64_t values, std::int64_t runs, const std::string& outcome) {
      if (values == 0) return;
      add_text(cell, ", ");
      runs_.add(cell, runs, runs_measured(one, outcome),
                std::to_string(values) + " " + measured_words(outcome, say_));
    };
    add_count(one.too_low, one.too_low_runs, "low");
    add_count(one.too_high, one.too_high_runs, "high");
    add_count(one.not_found, one.not_found_runs, "not_found");
  }

  std::string capability_text(const MeasurementFigures& one) const {
    if (!one.capability) {
      return one.values < static_cast<std::int64_t>(kFewestValues)
                 ? say_("少于 30 个值", "of fewer than 30 values none")
                 : "–";
    }
    return number_text(one.capability->cpk) + " (95 %: " + number_text(one.capability->low) + " … " +
           number_text(one.capability->high) + ")";
  }

  void add_warnings(pugi::xml_node card, const MeasurementFigures& one) {
    if (one.normality && one.normality->is_warning) {
      add(card, "p",
          say_("不是正态分布，Cpk 不可靠", "Not normally distributed: do not rely on its Cpk") + " (" +
              kNormalityTest + ", p " + chance_text(one.normality->p) + ")",
          "warning");
    }
    if (one.drift && one.drift->is_warning) {
      add(card, "p",
          say_("随时间漂移", "Drifts with time, by") + " " + number_text(one.drift->rise) + " (" +
              kDriftTest + ", p " + chance_text(one.drift->p) + ")",
          "warning");
    }
  }

  pugi::xml_node to_;
  const Figures& figures_;
  Wording say_;
  const FigureLinks& links_;
  FigureRuns runs_;
};

}  // namespace

void add_figures(pugi::xml_node to, const Figures& figures, Wording say, const FigureLinks& links) {
  FiguresPage(to, figures, say, links).add_all();
}

}  // namespace t1station
