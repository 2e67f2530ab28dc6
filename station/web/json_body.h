// The body of a request: a JSON object of texts.
#pragma once

#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace t1station {

/// A flat JSON object whose values are texts; null is as good as not there.
class JsonBody {
 public:
  /// Throws WebError: no JSON, no object, a value that is no text, a key twice, another key than these.
  JsonBody(std::string_view text, std::initializer_list<std::string_view> keys);

  /// Throws WebError when it is not there.
  std::string text(const std::string& key) const;
  std::optional<std::string> optional_text(const std::string& key) const;
  /// A text that people wrote and will read: one line, not blank, at most 200 characters. Throws WebError for
  /// any other.
  std::optional<std::string> optional_line(const std::string& key) const;
  /// Throws WebError also when it is not there.
  std::string line(const std::string& key) const;

 private:
  std::map<std::string, std::string> texts_;
};

}  // namespace t1station
