#include "tests/station/figures_model.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

namespace figures_model {
namespace {

using nlohmann::json;

template <typename T>
json or_null(const std::optional<T>& thing) {
  return thing ? json(*thing) : json(nullptr);
}

json share(double part, double all) {
  return all == 0 ? json(nullptr) : json(part / all);
}

/// Ids of runs, the newest twenty.
json ids(const std::vector<const Run*>& runs) {
  json list = json::array();
  for (const Run* run : runs) {
    if (list.size() < 20) list.push_back(run->id);
  }
  return list;
}

/// The runs of which something is true.
template <typename Which>
std::vector<const Run*> those(const std::vector<const Run*>& runs, const Which& which) {
  std::vector<const Run*> found;
  std::copy_if(runs.begin(), runs.end(), std::back_inserter(found),
               [&](const Run* run) { return which(*run); });
  return found;
}

bool is_older(const Run* one, const Run* other) {
  return std::tie(one->started, one->id) < std::tie(other->started, other->id);
}

bool is_newer(const Run* one, const Run* other) {
  return is_older(other, one);
}

bool is_in(const Run& run, const Window& window) {
  return (!window.from || run.started >= *window.from) && (!window.to || run.started < *window.to) &&
         (!window.plan || run.plan == *window.plan) &&
         (!window.batch || run.serial.rfind(*window.batch, 0) == 0);
}

bool has_ended(const Run& run) {
  return run.verdict.has_value();
}

bool has_passed(const Run& run) {
  return run.verdict == "passed";
}

/// Runs by unit and plan name, each list newest first.
std::map<std::pair<std::string, std::string>, std::vector<const Run*>> by_unit(
    const std::vector<const Run*>& runs) {
  std::map<std::pair<std::string, std::string>, std::vector<const Run*>> units;
  for (const Run* run : runs) units[{run->plan, run->serial}].push_back(run);
  return units;
}

void add_yields(json& document, const std::vector<const Run*>& everything,
                const std::vector<const Run*>& runs) {
  const auto always = by_unit(everything);
  double first = 0, strict = 0, good = 0, last_good = 0;
  std::vector<const Run*> lost, not_passed;
  const auto units = by_unit(runs);
  for (const auto& [unit, here] : units) {
    has_passed(*here.front()) ? void(++last_good) : not_passed.push_back(here.front());
    const Run* begun = always.at(unit).back();
    if (begun != here.back() || !has_ended(*begun)) continue;
    ++strict;
    if (begun->verdict != "stopped" && begun->verdict != "interrupted") ++first;
    has_passed(*begun) && !begun->is_retried ? void(++good) : lost.push_back(begun);
  }
  std::sort(lost.begin(), lost.end(), is_newer);
  std::sort(not_passed.begin(), not_passed.end(), is_newer);
  const auto all = static_cast<double>(units.size());
  document["first_pass_yield"] = share(good, first);
  document["first_pass_yield_strict"] = share(good, strict);
  document["final_yield"] = share(last_good, all);
  document["units"] = all;
  document["first_runs"] = {
      {"units", first}, {"passed", good}, {"units_strict", strict}, {"run_ids", ids(lost)}};
  document["last_runs"] = {{"units", all}, {"passed", last_good}, {"run_ids", ids(not_passed)}};
}

void add_verdicts(json& document, const std::vector<const Run*>& runs) {
  for (const char* name : {"passed", "failed", "error", "stopped", "interrupted"}) {
    const auto found = those(runs, [name](const Run& run) { return run.verdict == name; });
    document["verdicts"].push_back({{"verdict", name}, {"runs", found.size()}, {"run_ids", ids(found)}});
  }
  const auto open = those(runs, [](const Run& run) { return !has_ended(run); });
  document["verdicts"].push_back({{"verdict", nullptr}, {"runs", open.size()}, {"run_ids", ids(open)}});
}

json retried(const std::vector<const Run*>& runs, double all) {
  return {
      {"runs", runs.size()}, {"share", share(static_cast<double>(runs.size()), all)}, {"run_ids", ids(runs)}};
}

/// The words without their numbers, and the numbers: here words have digits with a minus or a point only.
std::string without_numbers(const std::string& words, std::vector<double>& numbers) {
  std::string kind;
  for (std::size_t i = 0; i < words.size();) {
    const bool is_minus = words[i] == '-' && i + 1 < words.size() && std::isdigit(words[i + 1]) &&
                          (i == 0 || words[i - 1] == ' ');
    if (!is_minus && !std::isdigit(words[i])) {
      kind += words[i++];
      continue;
    }
    std::size_t length = 0;
    numbers.push_back(std::stod(words.substr(i), &length));
    kind += '#';
    i += length;
  }
  return kind;
}

void add_failures(json& document, const std::vector<const Run*>& ended) {
  std::map<std::tuple<std::string, std::string, json>, json> kinds;
  for (const Run* run : ended) {
    for (std::size_t i = 0; i < run->attempts.size(); ++i) {
      const Attempt& attempt = run->attempts[i];
      const bool is_last = i + 1 == run->attempts.size() || run->attempts[i + 1].index != attempt.index;
      if (!is_last || attempt.outcome == "passed") continue;
      std::vector<double> numbers;
      json words;
      if (attempt.description) words = without_numbers(*attempt.description, numbers);
      json& kind = kinds[{run->plan, attempt.step, words}];
      if (kind.is_null()) {
        kind = {{"plan", run->plan},
                {"step", attempt.step},
                {"words", words},
                {"runs", 0},
                {"numbers", json::array()},
                {"outcomes", json::object()},
                {"examples", json::array()},
                {"run_ids", json::array()}};
      }
      kind["runs"] = kind["runs"].get<int>() + 1;
      kind["outcomes"][attempt.outcome] = kind["outcomes"].value(attempt.outcome, 0) + 1;
      if (kind["run_ids"].size() < 20) kind["run_ids"].push_back(run->id);
      for (std::size_t n = 0; n < numbers.size(); ++n) {
        if (n == kind["numbers"].size())
          kind["numbers"].push_back({{"low", numbers[n]}, {"high", numbers[n]}});
        json& range = kind["numbers"][n];
        range = {{"low", std::min(range["low"].get<double>(), numbers[n])},
                 {"high", std::max(range["high"].get<double>(), numbers[n])}};
      }
      json& examples = kind["examples"];
      const bool is_known =
          std::find(examples.begin(), examples.end(), or_null(attempt.description)) != examples.end();
      if (attempt.description && !is_known && examples.size() < 3) examples.push_back(*attempt.description);
    }
  }
  std::vector<json> sorted;
  for (auto& [name, kind] : kinds) {
    kind["share"] = share(kind["runs"], static_cast<double>(ended.size()));
    sorted.push_back(kind);
  }
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const json& a, const json& b) { return a["runs"].get<int>() > b["runs"].get<int>(); });
  document["failures"] = sorted;
}

/// Between two values in proportion to their distance.
json percentile(std::vector<double> values, double part) {
  if (values.empty()) return nullptr;
  std::sort(values.begin(), values.end());
  const double place = part * static_cast<double>(values.size() - 1);
  const double low = values[static_cast<std::size_t>(std::floor(place))];
  const double high = values[static_cast<std::size_t>(std::ceil(place))];
  return low + (high - low) * (place - std::floor(place));
}

void add_steps(json& document, const std::vector<const Run*>& ended) {
  std::map<std::pair<std::string, std::string>, int> names;  // and the smallest index
  for (const Run* run : ended) {
    for (const Attempt& attempt : run->attempts) {
      const auto found = names.try_emplace({run->plan, attempt.step}, attempt.index).first;
      found->second = std::min(found->second, attempt.index);
    }
  }
  std::vector<json> steps;
  for (const auto& [name, index] : names) {
    std::vector<double> seconds;
    std::map<std::string, int> outcomes;
    int attempts = 0;
    std::vector<const Run*> runs, again, not_passed;
    for (const Run* run : ended) {
      int tries = 0, bad = 0;
      for (const Attempt& attempt : run->attempts) {
        if (run->plan != name.first || attempt.step != name.second) continue;
        ++tries;
        ++outcomes[attempt.outcome];
        if (attempt.outcome != "passed") ++bad;
        if (attempt.seconds) seconds.push_back(*attempt.seconds);
      }
      attempts += tries;
      if (tries > 0) runs.push_back(run);
      if (tries > 1) again.push_back(run);
      if (bad > 0) not_passed.push_back(run);
    }
    steps.push_back({{"plan", name.first},
                     {"step", name.second},
                     {"index", index},
                     {"runs", runs.size()},
                     {"attempts", attempts},
                     {"outcomes", outcomes},
                     {"failed_share", share(outcomes.count("failed") ? outcomes.at("failed") : 0, attempts)},
                     {"median", percentile(seconds, 0.5)},
                     {"percentile_95", percentile(seconds, 0.95)},
                     {"not_passed_run_ids", ids(not_passed)},
                     {"retried", retried(again, static_cast<double>(runs.size()))}});
  }
  std::stable_sort(steps.begin(), steps.end(), [](const json& a, const json& b) {
    return std::pair(a["plan"], a["index"]) < std::pair(b["plan"], b["index"]);
  });
  document["steps"] = steps;
}

/// Of all the ways to choose `first` of `all`, the share of those that have `k` of the `yes`.
double likelihood(double k, double yes, double first, double all) {
  const auto ways = [](double n, double of) {
    return std::lgamma(n + 1) - std::lgamma(of + 1) - std::lgamma(n - of + 1);
  };
  return std::exp(ways(yes, k) + ways(all - yes, first - k) - ways(all, first));
}

double fisher(double yes, double first_yes, double first, double all) {
  double p = 0;
  const double own = likelihood(first_yes, yes, first, all);
  for (double k = std::max(0.0, yes + first - all); k <= std::min(yes, first); ++k) {
    const double this_one = likelihood(k, yes, first, all);
    if (this_one <= own * (1 + 1e-7)) p += this_one;
  }
  return std::min(p, 1.0);
}

void add_slots(json& document, const std::vector<const Run*>& ended) {
  std::set<std::pair<std::string, std::optional<std::string>>> names;
  for (const Run* run : ended) names.emplace(run->station, run->slot);
  const auto all_bad = those(ended, [](const Run& run) { return !has_passed(run); });
  for (const auto& name : names) {
    const auto runs =
        those(ended, [&](const Run& run) { return run.station == name.first && run.slot == name.second; });
    const auto bad = those(runs, [](const Run& run) { return !has_passed(run); });
    const std::size_t others = ended.size() - runs.size();
    json p;
    if (others > 0) {
      p = fisher(static_cast<double>(all_bad.size()), static_cast<double>(bad.size()),
                 static_cast<double>(runs.size()), static_cast<double>(ended.size()));
    }
    document["slots"].push_back(
        {{"station", name.first},
         {"slot", or_null(name.second)},
         {"runs", runs.size()},
         {"not_passed", bad.size()},
         {"share", share(static_cast<double>(bad.size()), static_cast<double>(runs.size()))},
         {"others", {{"runs", others}, {"not_passed", all_bad.size() - bad.size()}}},
         {"p", p},
         {"marked", others > 0 && p.get<double>() < 0.01 && runs.size() >= 20},
         {"run_ids", ids(bad)}});
  }
}

/// The characters of a text.
std::vector<std::string> characters(const std::string& text) {
  std::vector<std::string> list;
  for (const char letter : text) {
    if ((letter & 0xC0) == 0x80) {
      list.back() += letter;
    } else {
      list.emplace_back(1, letter);
    }
  }
  return list;
}

/// What all serial numbers begin with, and one character more of this one.
std::string batch_of(const std::string& serial, const std::vector<const Run*>& runs) {
  std::string batch;
  for (const std::string& character : characters(serial)) {
    batch += character;
    if (!those(runs, [&](const Run& run) { return run.serial.rfind(batch, 0) != 0; }).empty()) break;
  }
  return batch;
}

void add_batches(json& document, const std::vector<const Run*>& everything,
                 const std::vector<const Run*>& runs) {
  const auto always = by_unit(everything);
  std::map<std::string, std::vector<const Run*>> batches;
  for (const Run* run : runs) batches[batch_of(run->serial, runs)].push_back(run);
  const double all = document["first_runs"]["units"], good = document["first_runs"]["passed"];
  for (const auto& [name, of_batch] : batches) {
    json its;
    add_yields(its, everything, of_batch);
    const double units = its["first_runs"]["units"], passed = its["first_runs"]["passed"];
    const auto lost = those(of_batch, [&](const Run& run) {
      return always.at({run.plan, run.serial}).back() == &run && has_ended(run) && run.verdict != "stopped" &&
             run.verdict != "interrupted" && (!has_passed(run) || run.is_retried);
    });
    json p;
    if (units > 0 && units < all) p = fisher(good, passed, units, all);
    document["batches"].push_back(
        {{"begin", name},
         {"units", its["units"]},
         {"first_pass_yield", its["first_pass_yield"]},
         {"final_yield", its["final_yield"]},
         {"first_runs", {{"units", units}, {"passed", passed}}},
         {"last_runs", {{"units", its["units"]}, {"passed", its["last_runs"]["passed"]}}},
         {"others", {{"units", all - units}, {"passed", good - passed}}},
         {"p", p},
         {"marked", !p.is_null() && p.get<double>() < 0.01 && units >= 20},
         {"run_ids", ids(lost)}});
  }
}

/// Mean, deviation and what follows from them.
void add_moments(json& entry, const std::vector<double>& values) {
  for (const char* key : {"minimum", "maximum", "mean", "deviation", "capability"}) entry[key] = nullptr;
  if (values.empty()) return;
  const auto n = static_cast<double>(values.size());
  double sum = 0, squares = 0;
  for (const double value : values) sum += value;
  const double mean = sum / n;
  for (const double value : values) squares += (value - mean) * (value - mean);
  entry["minimum"] = *std::min_element(values.begin(), values.end());
  entry["maximum"] = *std::max_element(values.begin(), values.end());
  entry["mean"] = mean;
  if (n > 1) entry["deviation"] = std::sqrt(squares / (n - 1));
  const bool has_limits = !entry["low"].is_null() || !entry["high"].is_null();
  if (n < 30 || squares < 1e-12 || !has_limits) return;
  const double deviation = entry["deviation"];
  double cpk = 1e300;
  if (!entry["low"].is_null()) cpk = std::min(cpk, (mean - entry["low"].get<double>()) / 3 / deviation);
  if (!entry["high"].is_null()) cpk = std::min(cpk, (entry["high"].get<double>() - mean) / 3 / deviation);
  const double reach = 1.959963984540054 * std::sqrt(1 / 9.0 / n + cpk * cpk / 2 / (n - 1));
  entry["capability"] = {{"cpk", cpk}, {"low", cpk - reach}, {"high", cpk + reach}};
}

void add_measurements(json& document, const std::vector<const Run*>& ended) {
  std::map<std::tuple<std::string, std::string, std::string, json, json, json>, json> entries;
  std::map<json, std::vector<double>> values;
  for (const Run* run : ended) {
    for (const Attempt& attempt : run->attempts) {
      for (const Measured& one : attempt.measurements) {
        json& entry = entries[{run->plan, attempt.step, one.name, or_null(one.unit), or_null(one.low),
                               or_null(one.high)}];
        if (entry.is_null()) {
          entry = {{"plan", run->plan},
                   {"step", attempt.step},
                   {"name", one.name},
                   {"unit", or_null(one.unit)},
                   {"low", or_null(one.low)},
                   {"high", or_null(one.high)},
                   {"passed", 0},
                   {"not_found", 0},
                   {"too_low", 0},
                   {"too_high", 0},
                   {"run_ids", json::array()},
                   {"data", json::array()}};
        }
        const std::string count =
            one.outcome == "low" || one.outcome == "high" ? "too_" + one.outcome : one.outcome;
        entry[count] = entry[count].get<int>() + 1;
        json& list = entry["run_ids"];
        const bool is_known = std::find(list.begin(), list.end(), run->id) != list.end();
        if (one.outcome != "passed" && !is_known && list.size() < 20) list.push_back(run->id);
        if (one.value) entry["data"].push_back(*one.value);
      }
    }
  }
  for (auto& [name, entry] : entries) {
    const auto data = entry["data"].get<std::vector<double>>();
    entry.erase("data");
    entry.erase("passed");
    entry["values"] = data.size();
    add_moments(entry, data);
    document["measurements"].push_back(entry);
  }
}

}  // namespace

json document_of(const Runs& runs, const Window& window) {
  std::vector<const Run*> everything, here;
  std::map<std::string, std::set<std::string>> plans;
  json document{{"from", or_null(window.from)},   {"to", or_null(window.to)},
                {"plan", or_null(window.plan)},   {"check_runs", 0},
                {"plans", json::array()},         {"verdicts", json::array()},
                {"slots", json::array()},         {"measurements", json::array()},
                {"batch", or_null(window.batch)}, {"batches", json::array()}};
  for (const Run& run : runs) {
    plans[run.plan].insert(run.version);
    if (run.kind == "production") everything.push_back(&run);
    if (run.kind == "check" && is_in(run, window))
      document["check_runs"] = document["check_runs"].get<int>() + 1;
  }
  for (const auto& [name, versions] : plans)
    document["plans"].push_back({{"name", name}, {"versions", versions}});
  std::sort(everything.begin(), everything.end(), is_newer);
  here = those(everything, [&](const Run& run) { return is_in(run, window); });
  const auto ended = those(here, has_ended);
  document["runs"] = here.size();
  document["retried"] =
      retried(those(ended, [](const Run& run) { return run.is_retried; }), static_cast<double>(ended.size()));
  add_yields(document, everything, here);
  add_batches(document, everything, here);
  add_verdicts(document, here);
  add_failures(document, ended);
  add_steps(document, ended);
  add_slots(document, ended);
  add_measurements(document, ended);
  return document;
}

json comparable(json document) {
  for (json& one : document["measurements"]) {
    for (const char* key : {"normality", "drift", "histogram"}) one.erase(key);
  }
  return document;
}

std::string difference(const json& one, const json& other, const std::string& path) {
  const auto both = [&] { return path + ": " + one.dump() + ", not " + other.dump(); };
  if (one.is_number() && other.is_number()) {
    const double a = one, b = other;
    return std::abs(a - b) <= 1e-9 * std::max({1.0, std::abs(a), std::abs(b)}) ? "" : both();
  }
  if (one.type() != other.type() || one.size() != other.size()) return both();
  if (one.is_object()) {
    for (const auto& [key, value] : one.items()) {
      if (!other.contains(key)) return path + "/" + key + " is not there";
      if (const std::string found = difference(value, other[key], path + "/" + key); !found.empty())
        return found;
    }
    return {};
  }
  if (one.is_array()) {
    for (std::size_t i = 0; i < one.size(); ++i) {
      const std::string found = difference(one[i], other[i], path + "/" + std::to_string(i));
      if (!found.empty()) return found;
    }
    return {};
  }
  return one == other ? "" : both();
}

}  // namespace figures_model
