#include "station/web/http.h"

#include "station/text/json.h"

namespace t1station {

WebAnswer error_answer(const WebError& error) {
  WebAnswer answer;
  answer.status = error.status();
  answer.body = json_text({{"error", error.what()}});
  answer.fields = error.fields();
  return answer;
}

}  // namespace t1station
