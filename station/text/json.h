// JSON as the station writes it: members in the order in which they were said.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace t1station {

using Json = nlohmann::ordered_json;

/// In one line. Bytes that are no UTF-8 become U+FFFD.
inline std::string json_text(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

/// What is not there is null.
template <typename T>
Json json_or_null(const std::optional<T>& thing) {
  return thing ? Json(*thing) : Json(nullptr);
}

}  // namespace t1station
