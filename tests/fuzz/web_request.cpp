// Fuzz target: anything as the target, or as the body, of a request to a line's server.
//
// The input: a byte whose lowest bit says body, else target; then its bytes.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>

#include "station/web/http.h"
#include "station/web/json_body.h"
#include "station/web/target.h"
#include "tests/fuzz/fuzz.h"

namespace {

using nlohmann::json;
using t1station::WebError;

constexpr const char* kKeys[] = {"text", "slot", "operator"};

bool is_plain(const std::string& text) {
  const auto is_control = [](unsigned char letter) { return letter < 0x20 || letter == 0x7F; };
  return !json(text).dump().empty() /* throws for what is no UTF-8 */ &&
         std::none_of(text.begin(), text.end(), is_control);
}

void take_target(const std::string& text) {
  try {
    const t1station::Target target = t1station::parse_target(text);
    require(text.starts_with('/') && !target.path.empty(), "a target without a slash is taken");
    for (const std::string& part : target.path) require(is_plain(part), "a part of a path is no plain text");
    for (const auto& [name, value] : target.query) {
      require(is_plain(name) && is_plain(value), "a part of a query is no plain text");
    }
    refuse_other_names(target, {"serial", "limit"});
  } catch (const WebError& error) {
    require(error.status() == 400 && is_plain(error_answer(error).body), "a bad target is refused otherwise");
  }
}

/// What must become of a body: its texts by their keys, or nothing.
std::optional<std::map<std::string, std::string>> texts_of(const std::string& text) {
  const json body = json::parse(text, nullptr, false);
  if (!body.is_object()) return std::nullopt;
  std::map<std::string, std::string> texts;
  for (const auto& [key, value] : body.items()) {
    if (std::find(std::begin(kKeys), std::end(kKeys), key) == std::end(kKeys)) return std::nullopt;
    if (value.is_string()) texts[key] = value;
    if (!value.is_string() && !value.is_null()) return std::nullopt;
  }
  return texts;
}

void take_body(const std::string& text) {
  const auto expected = texts_of(text);
  try {
    const t1station::JsonBody body(text, {kKeys[0], kKeys[1], kKeys[2]});
    require(expected.has_value(), "a body that is no flat object of texts is taken");
    for (const char* key : kKeys) {
      const auto found = expected->find(key);
      require(
          body.optional_text(key) == (found == expected->end() ? std::nullopt : std::optional(found->second)),
          "a text is not what stands in the body");
    }
    if (const auto line = body.optional_line("operator")) require(is_plain(*line), "a line is no plain text");
  } catch (const WebError& error) {
    const std::string reason = error.what();
    const bool is_of_texts =
        reason.find(" twice") != std::string::npos || reason.find("\"operator\" ") != std::string::npos;
    require(error.status() == 400, "a bad body is refused otherwise");
    require(!expected || is_of_texts, "a good body is refused");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const bool is_body = (input.byte() & 1U) != 0;
  const std::string text = input.rest();
  if (is_body) {
    take_body(text);
  } else {
    take_target(text);
  }
  return 0;
}
