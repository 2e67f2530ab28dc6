#include "station/web/target.h"

#include <algorithm>
#include <cctype>
#include <charconv>

#include "station/text/text.h"
#include "station/web/http.h"

namespace t1station {
namespace {

[[noreturn]] void refuse_target(const std::string& reason) {
  throw WebError(400, "the target makes no sense: " + reason);
}

char escaped_byte(std::string_view digits) {
  unsigned byte = 0;
  const auto [stop, error] = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
  if (digits.size() != 2 || error != std::errc() || stop != digits.data() + 2) {
    refuse_target("a percent sign needs two hexadecimal digits behind it");
  }
  return static_cast<char>(byte);
}

bool is_control(char letter) {
  return std::iscntrl(static_cast<unsigned char>(letter)) != 0;
}

std::string decoded(std::string_view text, bool plus_is_blank) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%') {
      plain += escaped_byte(text.substr(i + 1, 2));
      i += 2;
    } else {
      plain += plus_is_blank && text[i] == '+' ? ' ' : text[i];
    }
  }
  if (utf8_length(plain) != plain.size() || std::any_of(plain.begin(), plain.end(), is_control)) {
    refuse_target("it is no text of one line");
  }
  return plain;
}

// Calls for each part between separators, at least once.
template <typename Call>
void for_each_part(std::string_view text, char separator, const Call& call) {
  for (std::size_t end = text.find(separator); end != std::string_view::npos; end = text.find(separator)) {
    call(text.substr(0, end));
    text.remove_prefix(end + 1);
  }
  call(text);
}

}  // namespace

Target parse_target(std::string_view target) {
  if (!target.starts_with('/')) refuse_target("it does not begin with a slash");
  Target parsed;
  const std::size_t mark = target.find('?');
  for_each_part(target.substr(1, mark == std::string_view::npos ? mark : mark - 1), '/',
                [&parsed](std::string_view part) { parsed.path.push_back(decoded(part, false)); });
  if (mark == std::string_view::npos) return parsed;
  for_each_part(target.substr(mark + 1), '&', [&parsed](std::string_view part) {
    if (part.empty()) return;
    const std::size_t sign = part.find('=');
    const std::string name = decoded(part.substr(0, sign), true);
    const std::string value =
        sign == std::string_view::npos ? std::string() : decoded(part.substr(sign + 1), true);
    if (!parsed.query.emplace(name, value).second) refuse_target(in_quotes(name) + " is there twice");
  });
  return parsed;
}

void refuse_other_names(const Target& target, std::span<const std::string_view> names) {
  for (const auto& [name, value] : target.query) {
    if (std::find(names.begin(), names.end(), name) == names.end())
      refuse_target("what is \"" + name + "\"?");
  }
}

}  // namespace t1station
