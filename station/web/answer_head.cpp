#include "station/web/answer_head.h"

#include <array>
#include <ctime>
#include <map>

namespace t1station {
namespace {

constexpr std::string_view kAlways =
    "Content-Security-Policy: default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; "
    "img-src 'self'; worker-src 'self'; base-uri 'none'; form-action 'self'; frame-ancestors 'none'\r\n"
    "X-Content-Type-Options: nosniff\r\n"
    "Referrer-Policy: no-referrer\r\n"
    "Cross-Origin-Resource-Policy: same-origin\r\n";

std::string_view words_of(int status) {
  static const std::map<int, std::string_view> kWords{
      {200, "OK"},
      {400, "Bad Request"},
      {401, "Unauthorized"},
      {403, "Forbidden"},
      {404, "Not Found"},
      {405, "Method Not Allowed"},
      {408, "Request Timeout"},
      {409, "Conflict"},
      {413, "Content Too Large"},
      {414, "URI Too Long"},
      {415, "Unsupported Media Type"},
      {431, "Request Header Fields Too Large"},
      {500, "Internal Server Error"},
      {503, "Service Unavailable"},
  };
  const auto found = kWords.find(status);
  return found == kWords.end() ? "Error" : found->second;
}

std::string http_date() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  std::array<char, 40> text{};
  std::strftime(text.data(), text.size(), "%a, %d %b %Y %H:%M:%S GMT", &utc);
  return text.data();
}

}  // namespace

std::string answer_head(const WebAnswer& answer, bool of_api, bool is_last) {
  std::string head = "HTTP/1.1 " + std::to_string(answer.status) + " " +
                     std::string(words_of(answer.status)) + "\r\nDate: " + http_date() +
                     "\r\nContent-Type: " + answer.media_type + "\r\n";
  if (!answer.is_stream) head += "Content-Length: " + std::to_string(answer.body.size()) + "\r\n";
  if (is_last || answer.is_stream) head += "Connection: close\r\n";
  head += of_api ? "Cache-Control: no-store\r\n" : "Cache-Control: no-cache\r\n";
  head += kAlways;
  for (const auto& [name, value] : answer.fields) head += name + ": " + value + "\r\n";
  return head + "\r\n";
}

}  // namespace t1station
