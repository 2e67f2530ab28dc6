#include "station/report/html.h"

#include <array>
#include <cctype>
#include <cstdio>
#include <sstream>

#include "station/text/text.h"

namespace t1station {

std::optional<Language> language_named(std::string_view name) {
  if (name == "zh") return Language::zh;
  if (name == "en") return Language::en;
  return std::nullopt;
}

const char* html_language(Language language) {
  return language == Language::en ? "en" : "zh-CN";
}

std::string Wording::operator()(std::string_view zh, std::string_view en) const {
  if (language_ == Language::zh) return std::string(zh);
  if (language_ == Language::en || zh == en) return std::string(en);
  return std::string(zh) + " " + std::string(en);
}

pugi::xml_node add(pugi::xml_node to, const char* element, std::string_view text, std::string_view of_class) {
  pugi::xml_node node = to.append_child(element);
  if (!of_class.empty()) set(node, "class", of_class);
  if (!text.empty()) add_text(node, text);
  return node;
}

void add_text(pugi::xml_node to, std::string_view text) {
  to.append_child(pugi::node_pcdata).set_value(clean_text(text).c_str());
}

void set(pugi::xml_node element, const char* attribute, std::string_view value) {
  element.append_attribute(attribute).set_value(clean_text(value).c_str());
}

pugi::xml_node add_link(pugi::xml_node to, const std::string& target, std::string_view text,
                        std::string_view of_class) {
  pugi::xml_node link = add(to, target.empty() ? "span" : "a", text, of_class);
  if (!target.empty()) set(link, "href", target);
  return link;
}

pugi::xml_node add_time(pugi::xml_node to, std::string_view time) {
  std::string shown(time.substr(0, 19));
  if (shown.size() == 19) shown[10] = ' ';
  pugi::xml_node node = add(to, "time", shown + " UTC");
  set(node, "datetime", time);
  return node;
}

std::string html_text(const pugi::xml_node& node) {
  std::ostringstream text;
  for (const pugi::xml_node& child : node) {
    child.print(text, "", pugi::format_raw | pugi::format_no_empty_element_tags, pugi::encoding_utf8);
    text << "\n";
  }
  std::string html = text.str();
  // The only element on these pages that has no end in HTML; in a text the sign "<" is escaped.
  constexpr std::string_view kEnd = "</input>";
  for (std::size_t at = html.find(kEnd); at != std::string::npos; at = html.find(kEnd, at)) {
    html.erase(at, kEnd.size());
  }
  return html;
}

std::string query_value(std::string_view text) {
  std::string value;
  for (const char letter : text) {
    const auto byte = static_cast<unsigned char>(letter);
    if (std::isalnum(byte) != 0 || std::string_view("-_.~:,").find(letter) != std::string_view::npos) {
      value += letter;
      continue;
    }
    std::array<char, 4> escaped{};
    std::snprintf(escaped.data(), escaped.size(), "%%%02X", byte);
    value += escaped.data();
  }
  return value;
}

}  // namespace t1station
