// The records of a healthy board.
#include "tests/station/board_texts.h"

namespace board_texts {

std::string length_field(std::int32_t length) {
  const auto bits = static_cast<std::uint32_t>(length);
  std::string bytes;
  for (unsigned shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<char>(bits >> shift & 0xFF));
  return bytes;
}

std::string record(const std::string& document) {
  return length_field(static_cast<std::int32_t>(document.size())) + document;
}

std::string reply_document(int code, const std::string& name_gbk, const std::string& value,
                           const std::string& description_gbk) {
  const std::string description =
      description_gbk.empty() ? "<Description/>" : "<Description>" + description_gbk + "</Description>";
  return "<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n<TestItem>\r\n<TestCode>" + std::to_string(code) +
         "</TestCode>\r\n<TestName>" + name_gbk + "</TestName>\r\n<Result>\r\n<ResultItem>\r\n<Name>" +
         result_gbk + "</Name>\r\n<Value>" + value + "</Value>\r\n" + description +
         "\r\n</ResultItem>\r\n</Result>\r\n</TestItem>\r\n";
}

std::string service_document(int result_num, const std::vector<std::string>& lines_gbk) {
  std::string document =
      "<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n<TestItem>\r\n<TestCode>255</TestCode>\r\n<ResultNum>" +
      std::to_string(result_num) + "</ResultNum>\r\n";
  for (const std::string& line : lines_gbk) document += "<TestContext>" + line + "</TestContext>\r\n";
  return document + "</TestItem>\r\n";
}

std::string banner() {
  const std::string stars = std::string(50, '*') + "\n";
  return record(service_document(4, {stars, title_gbk, stars, "BUILD: Mar 29 2019-22:09:55"}));
}

std::string menu() {
  return record(service_document(19, {"\n\tT1 test menu:\n", help_gbk, quit_gbk}));
}

std::string heartbeat() {
  return record(service_document(1, {prompt_gbk}));
}

std::string greeting() {
  return banner() + menu();
}

std::string reply(int code, const std::string& name_gbk, const std::string& value,
                  const std::string& description_gbk) {
  return record(reply_document(code, name_gbk, value, description_gbk));
}

std::string rtc_pass() {
  return reply(1536, rtc_name_gbk, "Pass", success_gbk);
}

std::string request(int code) {
  return record("<TestItem><TestCode>" + std::to_string(code) + "</TestCode></TestItem>");
}

}  // namespace board_texts
