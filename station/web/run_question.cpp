#include "station/web/run_question.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <span>
#include <tuple>

#include "station/records/records.h"
#include "station/text/text.h"
#include "station/web/asked.h"

namespace t1station {
namespace {

constexpr std::array<std::string_view, 26> kNames{
    "serial",      "batch", "serial_part", "verdict", "plan",    "kind",     "station", "slot",   "from",
    "to",          "first", "last",        "retried", "at_once", "step",     "attempt", "words",  "lasted",
    "measurement", "unit",  "low",         "high",    "value",   "at_least", "below",   "at_most"};
constexpr std::array<std::string_view, 10> kAttempts{"passed",  "failed",      "timed_out",  "broken",
                                                     "stopped", "interrupted", "not_passed", "repeated",
                                                     "lost",    "silent"};
constexpr std::array<std::string_view, 6> kValues{"passed", "low", "high", "not_found", "outside", "found"};
constexpr std::array<std::string_view, 2> kKinds{"production", "check"}, kYesNo{"yes", "no"};
constexpr std::array<std::string_view, 1> kYes{"yes"};

// One of some words; nothing when it is not asked for.
std::optional<std::string> asked_word(const Call& call, const std::string& name,
                                      std::span<const std::string_view> words) {
  std::optional<std::string> word = asked(call, name);
  if (!word || std::find(words.begin(), words.end(), *word) != words.end()) return word;
  std::string all;
  for (const std::string_view one : words) {
    all += (all.empty() ? "" : one == words.back() ? " or " : ", ") + std::string(one);
  }
  throw WebError(400, in_quotes(name) + " is " + all);
}

std::optional<bool> asked_yes(const Call& call, const std::string& name) {
  const std::optional<std::string> word = asked_word(call, name, kYesNo);
  return word ? std::optional(*word == "yes") : std::nullopt;
}

std::optional<double> asked_number(const Call& call, const std::string& name) {
  const std::optional<std::string> word = asked(call, name);
  if (!word) return std::nullopt;
  double number = 0;
  const char* end = word->data() + word->size();
  const auto [stop, error] = std::from_chars(word->data(), end, number);
  if (error == std::errc() && stop == end && std::isfinite(number)) return number;
  throw WebError(400, in_quotes(name) + " is a number");
}

std::vector<std::string> asked_verdicts(const Call& call) {
  std::vector<std::string> verdicts;
  std::string rest = asked(call, "verdict").value_or("");
  while (!rest.empty()) {
    const std::string one = rest.substr(0, rest.find(','));
    if (!verdict_named(one) && one != "open")
      throw WebError(
          400,
          "\"verdict\" is passed, failed, error, stopped, interrupted or open, or several of these "
          "with commas between");
    verdicts.push_back(one);
    rest.erase(0, one.size() + 1);
  }
  return verdicts;
}

std::optional<StepFilter> asked_step(const Call& call) {
  const std::optional<std::string> name = asked(call, "step");
  StepFilter step{name.value_or(""), asked_word(call, "attempt", kAttempts).value_or(""),
                  asked(call, "words"), asked_number(call, "lasted")};
  if (step.words && step.attempt != "lost") throw WebError(400, "\"words\" needs \"attempt\", lost");
  if (name) return step;
  if (!step.attempt.empty()) throw WebError(400, "\"attempt\" needs \"step\"");
  if (step.lasted) throw WebError(400, "\"lasted\" needs \"step\"");
  return std::nullopt;
}

std::optional<MeasuredFilter> asked_measured(const Call& call) {
  const std::optional<std::string> name = asked(call, "measurement");
  if (!name) return std::nullopt;
  if (!asked(call, "step")) throw WebError(400, "\"measurement\" needs \"step\"");
  MeasuredFilter measured;
  measured.name = *name;
  measured.unit = asked(call, "unit").value_or("");
  measured.low = asked_number(call, "low");
  measured.high = asked_number(call, "high");
  measured.outcome = asked_word(call, "value", kValues).value_or("");
  measured.at_least = asked_number(call, "at_least");
  measured.below = asked_number(call, "below");
  measured.at_most = asked_number(call, "at_most");
  return measured;
}

// The shortest digits that are this number again.
std::optional<std::string> digits_of(const std::optional<double>& number) {
  if (!number) return std::nullopt;
  std::array<char, 40> text{};
  return std::string(text.data(), std::to_chars(text.data(), text.data() + text.size(), *number).ptr);
}

std::optional<std::string> word_of(const std::optional<bool>& answer) {
  return answer ? std::optional<std::string>(*answer ? "yes" : "no") : std::nullopt;
}

std::optional<std::string> word_if(bool is_asked) {
  return is_asked ? std::optional<std::string>("yes") : std::nullopt;
}

std::optional<std::string> text_if_any(const std::string& text) {
  return text.empty() ? std::nullopt : std::optional(text);
}

// Ids are UUIDs: what is none would be before or behind all runs.
std::optional<std::string> asked_run(const Call& call, const std::string& name) {
  constexpr std::string_view kForm = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
  const std::optional<std::string> id = asked(call, name);
  if (!id) return id;
  const auto fits = [](char given, char form) {
    const bool is_digit = (given >= '0' && given <= '9') || (given >= 'a' && given <= 'f');
    return form == '-' ? given == '-' : is_digit;
  };
  if (!std::equal(id->begin(), id->end(), kForm.begin(), kForm.end(), fits))
    throw WebError(400, in_quotes(name) + " is the id of a run");
  return id;
}

}  // namespace

RunFilter asked_runs(const Call& call, std::vector<std::string_view> others) {
  others.insert(others.end(), kNames.begin(), kNames.end());
  others.push_back("before");
  refuse_other_names(call.target, others);
  RunFilter filter;
  filter.serial = asked(call, "serial");
  filter.batch = asked(call, "batch");
  filter.serial_part = asked(call, "serial_part");
  filter.verdicts = asked_verdicts(call);
  filter.plan = asked(call, "plan");
  filter.kind = asked_word(call, "kind", kKinds);
  filter.station = asked(call, "station");
  if (call.target.query.contains("slot")) filter.slot = call.target.query.at("slot");
  std::tie(filter.from, filter.to) = asked_times(call);
  filter.is_first = asked_word(call, "first", kYes).has_value();
  filter.is_last = asked_word(call, "last", kYes).has_value();
  filter.retried = asked_yes(call, "retried");
  filter.at_once = asked_yes(call, "at_once");
  filter.step = asked_step(call);
  filter.measured = asked_measured(call);
  filter.before = asked_run(call, "before");
  filter.newest_first = true;
  return filter;
}

QueryValues question_of(const RunFilter& filter) {
  std::string verdicts;
  for (const std::string& verdict : filter.verdicts) verdicts += (verdicts.empty() ? "" : ",") + verdict;
  QueryValues question{{"serial", filter.serial},
                       {"batch", filter.batch},
                       {"serial_part", filter.serial_part},
                       {"verdict", text_if_any(verdicts)},
                       {"plan", filter.plan},
                       {"kind", filter.kind},
                       {"station", filter.station},
                       {"slot", filter.slot},
                       {"from", filter.from},
                       {"to", filter.to},
                       {"first", word_if(filter.is_first)},
                       {"last", word_if(filter.is_last)},
                       {"retried", word_of(filter.retried)},
                       {"at_once", word_of(filter.at_once)}};
  const auto add = [&question](const char* name, const std::optional<std::string>& value) {
    question.emplace_back(name, value);
  };
  if (filter.step) {
    add("step", filter.step->name);
    add("attempt", text_if_any(filter.step->attempt));
    add("words", filter.step->words);
    add("lasted", digits_of(filter.step->lasted));
  }
  if (filter.measured) {
    const MeasuredFilter& measured = *filter.measured;
    add("measurement", measured.name);
    add("unit", text_if_any(measured.unit));
    add("low", digits_of(measured.low));
    add("high", digits_of(measured.high));
    add("value", text_if_any(measured.outcome));
    add("at_least", digits_of(measured.at_least));
    add("below", digits_of(measured.below));
    add("at_most", digits_of(measured.at_most));
  }
  return question;
}

}  // namespace t1station
