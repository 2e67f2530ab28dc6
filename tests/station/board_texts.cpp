// The records of a healthy board.
#include "tests/station/board_texts.h"

#include <string_view>

#include "tests/harness/golden.h"

namespace board_texts {
namespace {

std::string bytes_of(std::string_view hex) {
  std::string bytes;
  for (std::size_t at = 0; at < hex.size(); at += 2) {
    bytes.push_back(static_cast<char>(std::stoi(std::string(hex.substr(at, 2)), nullptr, 16)));
  }
  return bytes;
}

}  // namespace

std::string reply_document(int code, const std::string& name_gbk, const std::string& value,
                           const std::string& description_gbk) {
  const std::string description =
      description_gbk.empty() ? "<Description/>" : "<Description>" + description_gbk + "</Description>";
  return "<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n<TestItem>\r\n<TestCode>" + std::to_string(code) +
         "</TestCode>\r\n<TestName>" + name_gbk + "</TestName>\r\n<Result>\r\n<ResultItem>\r\n<Name>" +
         result_gbk + "</Name>\r\n<Value>" + value + "</Value>\r\n" + description +
         "\r\n</ResultItem>\r\n</Result>\r\n</TestItem>\r\n";
}

std::string banner() {
  return bytes_of(golden::kBanner);
}

std::string menu() {
  return bytes_of(golden::kMenu);
}

std::string heartbeat() {
  return bytes_of(golden::kPrompt);
}

std::string greeting() {
  return banner() + menu();
}

std::string reply(int code, const std::string& name_gbk, const std::string& value,
                  const std::string& description_gbk) {
  return record_of(reply_document(code, name_gbk, value, description_gbk));
}

std::string rtc_pass() {
  return bytes_of(golden::kClockPasses);
}

std::string request(int code) {
  return record_of("<TestItem><TestCode>" + std::to_string(code) + "</TestCode></TestItem>");
}

}  // namespace board_texts
