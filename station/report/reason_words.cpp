#include "station/report/reason_words.h"

#include <optional>
#include <vector>

#include "station/text/json.h"

namespace t1station {
namespace {

using Texts = std::vector<std::string>;

struct Sentence {
  Texts parts;  ///< of the English: what stands between its stars
  std::string chinese;
};

Sentence sentence_of(std::string_view english, std::string chinese) {
  Sentence sentence{{""}, std::move(chinese)};
  for (const char letter : english) {
    if (letter == '*') {
      sentence.parts.emplace_back();
    } else {
      sentence.parts.back() += letter;
    }
  }
  return sentence;
}

const std::vector<Sentence>& sentences() {
  static const std::vector<Sentence> all = [] {
    std::vector<Sentence> read;
    for (const Json& row : Json::parse(reason_table()))
      read.push_back(sentence_of(row.at(0).get<std::string>(), row.at(1).get<std::string>()));
    return read;
  }();
  return all;
}

/// The texts of the stars, each as short as it can be; nothing when it is another sentence.
std::optional<Texts> stars_in(std::string_view text, const Texts& parts) {
  if (!text.starts_with(parts.front())) return std::nullopt;
  text.remove_prefix(parts.front().size());
  Texts stars;
  for (std::size_t i = 1; i < parts.size(); ++i) {
    const std::string& part = parts[i];
    const bool is_last = i + 1 == parts.size();
    if (is_last && !text.ends_with(part)) return std::nullopt;
    const std::size_t at = is_last ? text.size() - part.size() : text.find(part);
    if (at == std::string_view::npos) return std::nullopt;
    stars.emplace_back(text.substr(0, at));
    text.remove_prefix(at + part.size());
  }
  return text.empty() ? std::optional(stars) : std::nullopt;
}

std::string in_chinese(const std::string& text) {
  for (const Sentence& sentence : sentences()) {
    const std::optional<Texts> stars = stars_in(text, sentence.parts);
    if (!stars) continue;
    std::string chinese = sentence.chinese;
    for (std::size_t i = stars->size(); i > 0; --i) {
      const std::string place = "{" + std::to_string(i) + "}";
      const std::size_t at = chinese.find(place);
      if (at != std::string::npos) chinese.replace(at, place.size(), in_chinese((*stars)[i - 1]));
    }
    return chinese;
  }
  return text;
}

}  // namespace

bool are_stations_words(std::string_view outcome) {
  return outcome == "timed_out" || outcome == "broken";
}

std::string reason_words(const std::string& reason, Wording say) {
  return say(in_chinese(reason), reason);
}

}  // namespace t1station
