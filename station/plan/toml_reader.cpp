#include "station/plan/toml_reader.h"

#include <algorithm>
#include <cmath>

#include "station/text/suggest.h"
#include "station/text/text.h"

namespace t1station {
namespace {

std::string_view type_name(const toml::node& value) {
  switch (value.type()) {
    case toml::node_type::string:
      return "a text";
    case toml::node_type::integer:
      return "a whole number";
    case toml::node_type::floating_point:
      return "a number with a fraction";
    case toml::node_type::boolean:
      return "true or false";
    case toml::node_type::array:
      return "an array";
    case toml::node_type::table:
      return "a table";
    default:
      return "a date or a time";
  }
}

// What people are shown is one line.
bool can_be_shown(const std::string& text) {
  return clean_text(text) == text && text.find_first_of("\n\t") == std::string::npos;
}

bool is_name(const std::string& text) {
  constexpr std::size_t kLongestName = 40;
  constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz0123456789-";
  return !text.empty() && text.size() <= kLongestName &&
         text.find_first_not_of(kLetters) == std::string::npos;
}

}  // namespace

void Problems::add(const toml::source_position& where, std::string message) {
  found_.push_back(
      {std::max<std::size_t>(where.line, 1), std::max<std::size_t>(where.column, 1), std::move(message)});
}

const toml::node* TableReader::find(std::string_view key, Need need) {
  known_.emplace_back(key);
  const toml::node* value = table_.get(key);
  if (!value && need == Need::needed) problems_.add(where(), in_quotes(key) + " is missing");
  return value;
}

void TableReader::refuse_type(const toml::node& value, std::string_view key, std::string_view expected) {
  problems_.add(value,
                in_quotes(key) + " is " + std::string(expected) + ", not " + std::string(type_name(value)));
}

std::optional<std::string> TableReader::text(std::string_view key, Need need) {
  const toml::node* value = find(key, need);
  if (!value) return std::nullopt;
  std::optional<std::string> text = value->value_exact<std::string>();
  if (!text) {
    refuse_type(*value, key, "a text");
  } else if (without_blanks_around(*text).empty()) {
    problems_.add(*value, in_quotes(key) + " is empty");
    text.reset();
  } else if (!can_be_shown(*text)) {
    problems_.add(*value, in_quotes(key) + " is one line without control characters");
    text.reset();
  }
  return text;
}

std::optional<std::string> TableReader::name(std::string_view key, Need need) {
  std::optional<std::string> name = text(key, need);
  if (!name || is_name(*name)) return name;
  problems_.add(where(key),
                in_quotes(key) + " is 1 to 40 letters a to z, digits and hyphens, not " + in_quotes(*name));
  return std::nullopt;
}

std::optional<std::int64_t> TableReader::integer(std::string_view key, std::int64_t least, std::int64_t most,
                                                 Need need) {
  const toml::node* value = find(key, need);
  if (!value) return std::nullopt;
  const std::optional<std::int64_t> number = value->value_exact<std::int64_t>();
  if (!number) {
    refuse_type(*value, key, "a whole number");
  } else if (*number < least || *number > most) {
    const std::string possible = std::to_string(least) + (least < most ? " to " + std::to_string(most) : "");
    problems_.add(*value, in_quotes(key) + " is " + possible + ", not " + std::to_string(*number));
    return std::nullopt;
  }
  return number;
}

std::optional<double> TableReader::number(std::string_view key) {
  const toml::node* value = find(key);
  if (!value) return std::nullopt;
  if (!value->is_number()) {
    refuse_type(*value, key, "a number");
    return std::nullopt;
  }
  const std::optional<double> number = value->value<double>();
  if (number && std::isfinite(*number)) return number;
  problems_.add(*value, in_quotes(key) + " is a number of a certain size");
  return std::nullopt;
}

std::optional<bool> TableReader::boolean(std::string_view key) {
  const toml::node* value = find(key);
  if (!value) return std::nullopt;
  if (!value->is_boolean()) refuse_type(*value, key, "true or false");
  return value->value_exact<bool>();
}

const toml::table* TableReader::table(std::string_view key) {
  const toml::node* value = find(key);
  if (value && !value->is_table()) refuse_type(*value, key, "a table");
  return value ? value->as_table() : nullptr;
}

std::vector<const toml::table*> TableReader::tables(std::string_view key) {
  std::vector<const toml::table*> tables;
  const toml::node* value = find(key);
  if (!value) return tables;
  const std::string heading = "tables that are headed [[" + std::string(key) + "]]";
  if (!value->is_array()) {
    refuse_type(*value, key, heading);
    return tables;
  }
  for (const toml::node& entry : *value->as_array()) {
    if (!entry.is_table()) refuse_type(entry, key, heading);
    if (entry.is_table()) tables.push_back(entry.as_table());
  }
  return tables;
}

void TableReader::refuse_other_keys() {
  for (const auto& [key, value] : table_) {
    if (std::find(known_.begin(), known_.end(), key.str()) != known_.end()) continue;
    problems_.add(key.source().begin, in_quotes(key.str()) + " is no key that is known here" +
                                          did_you_mean(nearest(key.str(), known_)));
  }
}

toml::source_position TableReader::where(std::string_view key) const {
  const toml::node* value = table_.get(key);
  return value ? value->source().begin : where();
}

}  // namespace t1station
