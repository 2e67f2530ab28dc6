#include "station/plan/plan_file.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>
#include <map>
#include <memory>

#include "station/catalogue/codes.h"
#include "station/plan/toml_reader.h"
#include "station/text/errors.h"
#include "station/text/sha256.h"
#include "station/text/suggest.h"

namespace t1station {
namespace {

constexpr std::int64_t kFormat = 1;
constexpr std::int64_t kMostAttempts = 10;
constexpr std::int64_t kMostRuns = 1000000;
constexpr double kLongestTimeout = 86400;  // seconds: a day

std::string line_text(const toml::source_position& where) {
  return "line " + std::to_string(where.line);
}

class PlanReader {
 public:
  PlanReader(const toml::table& root, Problems& problems) : root_(root), problems_(problems) {}

  /// Of the plan everything but its id and text; nothing when there was a problem.
  std::optional<Plan> read() {
    TableReader table(root_, problems_);
    table.integer("format", kFormat, kFormat, Need::needed);
    const auto name = table.name("name", Need::needed);
    const auto version = table.text("version", Need::needed);
    const auto serial = read_pattern(table, "serial", Need::needed);
    const auto build = read_pattern(table, "build", Need::optional);
    const auto max_runs = table.integer("max_runs", 1, kMostRuns);
    std::vector<Step> steps = read_steps(table);
    table.refuse_other_keys();
    if (!problems_.none()) return std::nullopt;
    const auto runs = max_runs ? std::optional(static_cast<int>(*max_runs)) : std::nullopt;
    return Plan{"", *name, *version, *serial, build, runs, std::move(steps), ""};
  }

 private:
  using Places = std::map<std::string, toml::source_position>;

  std::optional<Pattern> read_pattern(TableReader& table, std::string_view key, Need need) {
    const std::optional<std::string> text = table.text(key, need);
    if (!text) return std::nullopt;
    try {
      return Pattern(*text);
    } catch (const std::invalid_argument& reason) {
      problems_.add(table.where(key),
                    "the pattern \"" + std::string(key) + "\" cannot be used: " + reason.what());
      return std::nullopt;
    }
  }

  // One of the words, or nothing.
  std::optional<std::string> read_choice(TableReader& table, std::string_view key,
                                         const std::vector<std::string>& words) {
    const std::optional<std::string> word = table.text(key);
    if (!word || std::find(words.begin(), words.end(), *word) != words.end()) return word;
    std::string all;
    for (const std::string& choice : words) all += (all.empty() ? "\"" : ", \"") + choice + "\"";
    problems_.add(table.where(key), "\"" + std::string(key) + "\" is one of " + all + ", not \"" + *word +
                                        "\"" + did_you_mean(nearest(*word, words)));
    return std::nullopt;
  }

  void refuse_second(Places& places, const std::optional<std::string>& name,
                     const toml::source_position& where, std::string_view what) {
    if (!name) return;
    const auto [first, is_new] = places.emplace(*name, where);
    if (is_new) return;
    problems_.add(where, "\"" + *name + "\" is the name of the " + std::string(what) + " of " +
                             line_text(first->second) + " already");
  }

  std::vector<Step> read_steps(TableReader& table) {
    const std::vector<const toml::table*> entries = table.tables("step");
    const toml::array* written = root_["step"].as_array();
    if (!table.has("step") || (written && written->empty()))
      problems_.add(table.where("step"), "there is no step; each begins with [[step]]");
    std::vector<Step> steps;
    Places names;
    for (const toml::table* entry : entries) {
      TableReader step(*entry, problems_);
      steps.push_back(read_step(step));
      if (const std::string& name = steps.back().name; !name.empty())
        refuse_second(names, name, step.where("name"), "step");
      if (steps.back().code == kRestartCode && entry != entries.back()) {
        problems_.add(step.where("test"),
                      "the restart must be the last step: the board is gone for those behind it");
      }
    }
    return steps;
  }

  Step read_step(TableReader& table) {
    Step step;
    step.name = table.name("name", Need::needed).value_or("");
    const std::optional<std::int32_t> code = read_code(table);
    step.code = code.value_or(0);
    step.parameter = read_parameter(table, code);
    step.timeout = read_timeout(table, step.code);
    step.attempts = static_cast<int>(table.integer("attempts", 1, kMostAttempts).value_or(1));
    step.stop_on_fail = read_choice(table, "on_fail", {"continue", "stop"}) == "stop";
    step.always = table.boolean("always").value_or(false);
    step.confirm = read_question(table);
    step.measures = read_measures(table);
    table.refuse_other_keys();
    return step;
  }

  std::optional<std::int32_t> read_code(TableReader& table) {
    const toml::node* value = table.find("test", Need::needed);
    if (!value) return std::nullopt;
    std::string word;
    if (value->is_integer()) {
      word = std::to_string(*value->value<std::int64_t>());
    } else if (value->is_string()) {
      word = *value->value<std::string>();
    } else {
      problems_.add(*value, "\"test\" is a short name or a code");
      return std::nullopt;
    }
    try {
      return parse_code(word);
    } catch (const UsageError& reason) {
      problems_.add(*value, reason.what());
      return std::nullopt;
    }
  }

  std::optional<std::int32_t> read_parameter(TableReader& table, std::optional<std::int32_t> code) {
    using Limits = std::numeric_limits<std::int32_t>;
    const auto number = table.integer("param", Limits::min(), Limits::max());
    if (!code || (!number && table.has("param"))) return std::nullopt;
    const auto parameter = number ? std::optional(static_cast<std::int32_t>(*number)) : std::nullopt;
    const catalogue::Test* test = catalogue::find_test(*code);
    if (!parameter && test && takes_parameter(*test)) {
      problems_.add(table.where("test"), "\"param\" is missing: " + name_of(*code) + " needs a voltage, " +
                                             possible_voltages(*test));
      return std::nullopt;
    }
    try {
      check_parameter(*code, parameter);
    } catch (const UsageError& reason) {
      problems_.add(table.where("param"), reason.what());
    }
    return parameter;
  }

  double read_timeout(TableReader& table, std::int32_t code) {
    const std::optional<double> seconds = table.number("timeout");
    if (!seconds) return default_timeout(code);
    if (*seconds <= 0 || *seconds > kLongestTimeout)
      problems_.add(table.where("timeout"), "\"timeout\" is more than 0 seconds and at most a day (86400)");
    return *seconds;
  }

  std::optional<Question> read_question(TableReader& table) {
    const toml::node* value = table.find("confirm");
    if (!value) return std::nullopt;
    const toml::table* words = value->as_table();
    if (!words) {
      problems_.add(*value, "\"confirm\" is the question in two languages, { zh = \"...\", en = \"...\" }");
      return std::nullopt;
    }
    TableReader question(*words, problems_);
    const auto zh = question.text("zh", Need::needed);
    const auto en = question.text("en", Need::needed);
    question.refuse_other_keys();
    return Question{zh.value_or(""), en.value_or("")};
  }

  std::vector<Measure> read_measures(TableReader& table) {
    std::vector<Measure> measures;
    Places names;
    for (const toml::table* entry : table.tables("measure")) {
      TableReader measure(*entry, problems_);
      measures.push_back(read_measure(measure));
      if (const std::string& name = measures.back().name; !name.empty())
        refuse_second(names, name, measure.where("name"), "measurement");
    }
    return measures;
  }

  Measure read_measure(TableReader& table) {
    using From = Measure::From;
    static const std::map<std::string, From> kFrom{
        {"description", From::description}, {"console", From::console}, {"seconds", From::seconds}};
    Measure measure;
    measure.name = table.text("name", Need::needed).value_or("");
    const auto from = read_choice(table, "from", {"description", "console", "seconds"});
    if (from) measure.from = kFrom.at(*from);
    const bool is_understood = from || !table.has("from");
    measure.match = read_match(table, measure.from, is_understood ? Need::needed : Need::optional);
    measure.unit = table.text("unit").value_or("");
    measure.low = table.number("low");
    measure.high = table.number("high");
    if (measure.low && measure.high && *measure.low > *measure.high) {
      problems_.add(std::max(table.where("low"), table.where("high")),
                    "the limits are the wrong way round: \"low\" is above \"high\"");
    }
    table.refuse_other_keys();
    return measure;
  }

  std::optional<Pattern> read_match(TableReader& table, Measure::From from, Need need) {
    if (from == Measure::From::seconds) {
      if (table.find("match"))
        problems_.add(table.where("match"),
                      "nothing is searched for the seconds: \"match\" does not belong here");
      return std::nullopt;
    }
    const std::optional<Pattern> match = read_pattern(table, "match", need);
    if (match && match->groups() != 1) {
      problems_.add(table.where("match"), "\"match\" has one group, which is the number, not " +
                                              std::to_string(match->groups()) +
                                              "; (?:...) only holds together");
    }
    return match;
  }

  const toml::table& root_;
  Problems& problems_;
};

}  // namespace

Plan parse_plan(std::string_view file, std::string text) try {
  const toml::table root = parse_toml(file, text);
  Problems problems;
  std::optional<Plan> plan = PlanReader(root, problems).read();
  if (!plan) throw BadFile(file, problems.take());
  plan->id = sha256_hex(text);
  plan->text = std::move(text);
  return std::move(*plan);
} catch (const BadFile& reason) {
  throw BadPlan(reason);
}

Plan read_plan(const std::string& file) try {
  return parse_plan(file, read_toml_file(file));
} catch (const BadFile& reason) {
  throw BadPlan(reason);
}

}  // namespace t1station
