#include "station/web/json_body.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "station/text/text.h"
#include "station/web/http.h"

namespace t1station {
namespace {

constexpr std::size_t kLongestText = 200;  // characters

[[noreturn]] void refuse(const std::string& reason) {
  throw WebError(400, "the body makes no sense: " + reason);
}

/// Takes what the parser meets, and complains of the first thing that has no place in a flat object.
class FlatObject final : public nlohmann::json_sax<nlohmann::json> {
 public:
  std::map<std::string, std::string> texts;

  bool null() override { return value("null", true); }
  bool boolean(bool /*value*/) override { return value("true or false", false); }
  bool number_integer(number_integer_t /*value*/) override { return value("a number", false); }
  bool number_unsigned(number_unsigned_t /*value*/) override { return value("a number", false); }
  bool number_float(number_float_t /*value*/, const string_t& /*text*/) override {
    return value("a number", false);
  }
  bool binary(binary_t& /*value*/) override { return value("bytes", false); }
  bool start_array(std::size_t /*size*/) override { return value("an array", false); }
  bool end_array() override { return true; }
  bool end_object() override { return true; }

  bool string(string_t& text) override {
    if (!is_inside_) refuse("it is no object");
    texts.emplace(key_, text);
    return true;
  }
  bool start_object(std::size_t /*size*/) override {
    if (is_inside_) refuse(in_quotes(key_) + " is an object, not a text");
    is_inside_ = true;
    return true;
  }
  bool key(string_t& name) override {
    if (std::find(keys_.begin(), keys_.end(), name) != keys_.end())
      refuse(in_quotes(name) + " is there twice");
    keys_.push_back(name);
    key_ = name;
    return true;
  }
  bool parse_error(std::size_t position, const std::string& /*token*/,
                   const nlohmann::detail::exception& /*error*/) override {
    refuse("no JSON from byte " + std::to_string(position) + " on");
  }

  const std::vector<std::string>& keys() const { return keys_; }

 private:
  bool value(std::string_view type, bool is_allowed) const {
    if (!is_inside_) refuse("it is no object");
    if (!is_allowed) refuse(in_quotes(key_) + " is " + std::string(type) + ", not a text");
    return true;
  }

  bool is_inside_ = false;
  std::string key_;
  std::vector<std::string> keys_;
};

}  // namespace

JsonBody::JsonBody(std::string_view text, std::initializer_list<std::string_view> keys) {
  FlatObject object;
  nlohmann::json::sax_parse(text, &object);
  for (const std::string& key : object.keys()) {
    if (std::find(keys.begin(), keys.end(), key) == keys.end()) refuse("what is \"" + key + "\"?");
  }
  texts_ = std::move(object.texts);
}

std::optional<std::string> JsonBody::optional_text(const std::string& key) const {
  const auto found = texts_.find(key);
  return found == texts_.end() ? std::nullopt : std::optional(found->second);
}

std::string JsonBody::text(const std::string& key) const {
  const std::optional<std::string> text = optional_text(key);
  if (!text) refuse(in_quotes(key) + " is missing");
  return *text;
}

std::optional<std::string> JsonBody::optional_line(const std::string& key) const {
  const std::optional<std::string> line = optional_text(key);
  if (!line || without_blanks_around(*line).empty()) return std::nullopt;
  if (clean_text(*line) != *line || line->find_first_of("\n\t") != std::string::npos) {
    refuse(in_quotes(key) + " is one line without control characters");
  }
  if (count_characters(*line) > kLongestText) {
    refuse(in_quotes(key) + " has more than " + std::to_string(kLongestText) + " characters");
  }
  return line;
}

std::string JsonBody::line(const std::string& key) const {
  const std::optional<std::string> line = optional_line(key);
  if (!line) refuse(in_quotes(key) + " is missing or blank");
  return *line;
}

}  // namespace t1station
