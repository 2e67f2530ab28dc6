#include "station/web/http.h"

#include <nlohmann/json.hpp>

namespace t1station {

WebAnswer error_answer(const WebError& error) {
  WebAnswer answer;
  answer.status = error.status();
  const nlohmann::json body{{"error", error.what()}};
  answer.body = body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  answer.fields = error.fields();
  return answer;
}

}  // namespace t1station
