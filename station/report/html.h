// Elements of a page, and the words on it in the languages of its readers.
#pragma once

#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>

namespace t1station {

/// In which language a page speaks; `both` has Chinese and English side by side.
enum class Language { zh, en, both };

/// "zh" or "en"; nothing for other names.
std::optional<Language> language_named(std::string_view name);

/// The language as HTML names it, for example "zh-CN".
const char* html_language(Language language);

/// Says things in the language of a page.
class Wording {
 public:
  explicit Wording(Language language) : language_(language) {}

  std::string operator()(std::string_view zh, std::string_view en) const;
  Language language() const { return language_; }

 private:
  Language language_;
};

/// Adds an element, with a class and a text unless they are empty. Whatever the text is, it stays text.
pugi::xml_node add(pugi::xml_node to, const char* element, std::string_view text = {},
                   std::string_view of_class = {});

/// Adds text behind what is in an element.
void add_text(pugi::xml_node to, std::string_view text);

/// Sets an attribute.
void set(pugi::xml_node element, const char* attribute, std::string_view value);

/// Adds a link, or an element <span> when it leads nowhere.
pugi::xml_node add_link(pugi::xml_node to, const std::string& target, std::string_view text,
                        std::string_view of_class = {});

/// Adds a time of the records, "2026-11-22T03:17:12.345Z", as people read it, in UTC.
pugi::xml_node add_time(pugi::xml_node to, std::string_view time);

/// The elements below a node as HTML, in UTF-8.
std::string html_text(const pugi::xml_node& node);

/// A text as a value of a query, with percent signs.
std::string query_value(std::string_view text);

}  // namespace t1station
