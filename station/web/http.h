// A request and its answer, without a socket.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace t1station {

/// Fields of a head: names and values.
using WebFields = std::vector<std::pair<std::string, std::string>>;

/// A request that has come whole.
struct WebRequest {
  std::string method;  ///< "GET"
  std::string target;  ///< as it was sent, for example "/api/runs?limit=10"
  std::string host;    ///< field Host; empty without one
  std::optional<std::string> origin;
  std::string content_type, cookie;  ///< empty without the field
  std::string body;
  std::string address;  ///< of who asks, numeric
};

/// What is said to it.
struct WebAnswer {
  int status = 200;
  std::string media_type = "application/json";
  std::string body;
  WebFields fields{};      ///< besides those that every answer has
  bool is_stream = false;  ///< events follow instead of the body
  std::string session{};   ///< of a stream: whose it is; empty when nobody logs in here
};

/// A request that is answered with an error. what() is the reason, for people.
class WebError : public std::runtime_error {
 public:
  WebError(int status, const std::string& reason, WebFields fields = {})
      : std::runtime_error(reason), status_(status), fields_(std::move(fields)) {}
  int status() const { return status_; }
  const WebFields& fields() const { return fields_; }

 private:
  int status_;
  WebFields fields_;
};

/// {"error": "..."}
WebAnswer error_answer(const WebError& error);

}  // namespace t1station
