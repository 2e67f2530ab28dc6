// Faults are matched word by word with every form; the one that gets furthest tells what is wrong.
#include "boardsim/kernel/fault_forms.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <optional>
#include <stdexcept>
#include <utility>

namespace boardsim {
namespace {

std::optional<std::uint32_t> number_in(std::string_view word) {
  const bool hexadecimal = word.starts_with("0x");
  const std::string_view digits = hexadecimal ? word.substr(2) : word;
  std::uint32_t value = 0;
  const auto [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), value, hexadecimal ? 16 : 10);
  if (error != std::errc{} || end != digits.data() + digits.size()) return std::nullopt;
  return value;
}

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (std::size_t end = 0; end != std::string_view::npos;) {
    end = text.find(separator);
    parts.push_back(text.substr(0, end));
    if (end != std::string_view::npos) text.remove_prefix(end + 1);
  }
  return parts;
}

void add(std::vector<std::string>& all, const std::vector<std::string>& more) {
  for (const std::string& one : more) {
    if (std::ranges::find(all, one) == all.end()) all.push_back(one);
  }
}

}  // namespace

FaultValue number(std::string_view name, std::uint32_t least, std::uint32_t most) {
  return {.name = name, .kind = FaultValue::Kind::number, .least = least, .most = most};
}

FaultValue count(std::string_view name) {
  return {.name = name, .kind = FaultValue::Kind::count, .least = 1};
}

FaultValue one_of(std::string_view name, std::vector<std::string> names) {
  return {.name = name, .kind = FaultValue::Kind::names, .names = std::move(names)};
}

FaultValue text(std::string_view name) {
  return {.name = name};
}

std::string_view FaultArguments::word(std::size_t index) const {
  return given(index) ? values_.at(index).front() : std::string_view();
}

std::uint32_t FaultArguments::number(std::size_t index) const {
  return fault_number(word(index));
}

std::vector<std::uint32_t> FaultArguments::numbers(std::size_t index) const {
  std::vector<std::uint32_t> numbers;
  for (const std::string_view word : words(index)) numbers.push_back(fault_number(word));
  return numbers;
}

FaultForm::FaultForm(std::string words, std::string meaning, std::vector<FaultValue> values,
                     std::function<void(const FaultArguments&)> lay)
    : words_(std::move(words)), meaning_(std::move(meaning)), lay_(std::move(lay)) {
  auto value = values.begin();
  for (std::string_view word : split(words_, ' ')) {
    Place place;
    place.optional = word.starts_with('[');
    if (place.optional) word = word.substr(1, word.size() - 2);
    place.repeated = word.ends_with("...");
    place.is_value = std::isupper(static_cast<unsigned char>(word.front())) != 0;
    if (place.is_value) {
      place.value = std::move(*value++);
    } else {
      for (const std::string_view choice : split(word, '|')) place.choices.emplace_back(choice);
    }
    places_.push_back(std::move(place));
  }
}

bool FaultForm::begins_with(std::string_view word) const {
  return words_.starts_with(word) && (words_.size() == word.size() || words_[word.size()] == ' ');
}

bool FaultForm::takes(const Place& place, std::string_view word) {
  if (!place.is_value) return std::ranges::find(place.choices, word) != place.choices.end();
  const FaultValue& value = place.value;
  if (value.kind == FaultValue::Kind::text) return true;
  if (std::ranges::find(value.names, word) != value.names.end()) return true;
  if (value.kind == FaultValue::Kind::names) return false;
  if (value.kind == FaultValue::Kind::count && word.ends_with('+')) word.remove_suffix(1);
  const auto given = number_in(word);
  return given && *given >= value.least && *given <= value.most;
}

std::string FaultForm::possible(const FaultValue& value) {
  std::vector<std::string> what = value.names;
  if (value.kind == FaultValue::Kind::number && (value.least > 0 || value.most < UINT32_MAX)) {
    std::string range = "from " + std::to_string(value.least);
    if (value.most < UINT32_MAX) range = std::to_string(value.least) + " to " + std::to_string(value.most);
    what.insert(what.begin(), range);
  }
  return either(what);
}

std::string FaultForm::possible() const {
  std::vector<std::string> lines;
  for (const Place& place : places_) {
    const std::string what = place.is_value ? possible(place.value) : "";
    if (!what.empty()) add(lines, {std::string(place.value.name) + ": " + what});
  }
  std::string text;
  for (const std::string& line : lines) text.append(text.empty() ? "" : "; ").append(line);
  return text;
}

std::vector<std::string> FaultForm::wanted(const Place& place) {
  if (!place.is_value) return place.choices;
  const FaultValue& value = place.value;
  std::vector<std::string> wanted;
  if (value.kind == FaultValue::Kind::count) {
    wanted.emplace_back("a count from 1, like 2 or 2+");
  } else if (value.kind == FaultValue::Kind::number) {
    wanted.push_back("a number from " + std::to_string(value.least) + " to " + std::to_string(value.most));
  } else if (value.kind == FaultValue::Kind::text) {
    wanted.emplace_back(value.name);
  }
  add(wanted, value.names);
  return wanted;
}

FaultForm::Match FaultForm::match(const FaultWords& words) const {
  Match match;
  for (const Place& place : places_) {
    FaultWords taken;
    do {
      if (match.words == words.size()) break;
      if (!takes(place, words[match.words])) {
        match.wanted = wanted(place);
        return match;
      }
      taken.push_back(words[match.words++]);
    } while (place.repeated);
    if (taken.empty() && !place.optional) {
      match.wanted = wanted(place);
      return match;
    }
    if (place.is_value || place.choices.size() > 1) match.arguments.values_.push_back(std::move(taken));
  }
  match.whole = match.words == words.size();
  return match;
}

bool lay_fault(std::span<const FaultForm> forms, const FaultWords& words) {
  std::size_t furthest = 0;
  std::vector<std::string> wanted;
  std::string expected;
  if (words.empty()) return false;
  for (const FaultForm& form : forms) {
    if (!form.begins_with(words.front())) continue;
    const FaultForm::Match match = form.match(words);
    if (match.whole) {
      form.lay(match.arguments);
      return true;
    }
    if (match.words < furthest) continue;
    if (match.words > furthest) {
      wanted.clear();
      expected.clear();
    }
    furthest = match.words;
    add(wanted, match.wanted);
    expected.append(expected.empty() ? "" : ", ").append(form.words());
  }
  if (furthest == 0) return false;
  std::string reason = furthest == words.size() ? "behind it there can be " + either(wanted)
                       : wanted.empty()
                           ? "it ends before \"" + std::string(words[furthest]) + "\""
                           : "\"" + std::string(words[furthest]) + "\" can only be " + either(wanted);
  refuse_fault(words, reason, expected);
}

std::uint32_t fault_number(std::string_view word) {
  if (const auto number = number_in(word)) return *number;
  throw std::invalid_argument("fault: \"" + std::string(word) + "\" is not a number");
}

void refuse_fault(const FaultWords& words, std::string_view reason, std::string_view expected) {
  std::string text = "fault: \"";
  for (const std::string_view word : words) text.append(text.ends_with('"') ? "" : " ").append(word);
  text.append("\" is not understood: ").append(reason);
  throw std::invalid_argument(text.append("; expected ").append(expected));
}

std::string either(const std::vector<std::string>& words) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0) text.append(i + 1 == words.size() ? " or " : ", ");
    text.append(words[i]);
  }
  return text;
}

}  // namespace boardsim
