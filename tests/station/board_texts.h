// What boards say, as GBK bytes, and the records that carry it. Written independently of any board's sources.
#pragma once

#include <string>
#include <string_view>

#include "tests/harness/framing.h"
#include "tests/harness/golden.h"

namespace board_texts {

// clang-format off
inline const std::string rtc_name_gbk = "\xB2\xE2\xCA\xD4" "RTC" "\xCA\xB1\xD6\xD3";
inline const std::string rtc_name = "测试RTC时钟";
inline const std::string light_name_gbk = "\xB2\xE2\xCA\xD4\xC4\xDA\xD6\xC3\xB5\xC6";
inline const std::string light_name = "测试内置灯";
inline const std::string success_gbk = "\xB2\xE2\xCA\xD4\xB3\xC9\xB9\xA6";
inline const std::string success = "测试成功";
inline const std::string read_failed_gbk = "RTC" "\xB6\xC1\xC8\xA1\xCA\xA7\xB0\xDC";
inline const std::string read_failed = "RTC读取失败";
inline const std::string result_gbk = "\xB2\xE2\xCA\xD4\xBD\xE1\xB9\xFB";
inline const std::string prompt_gbk = "\n\xC7\xEB\xD1\xA1\xD4\xF1\xB2\xE2\xCA\xD4\xCF\xEE(\xC4\xAC\xC8\xCF\xD6\xB5=0): \n";
inline const std::string prompt = "\n请选择测试项(默认值=0): \n";
inline const std::string title_gbk =
    "*           VELTRONIX IPC \xCD\xE2\xC9\xE8\xB2\xE2\xCA\xD4\xB3\xCC\xD0\xF2           *\n";
inline const std::string title = "*           VELTRONIX IPC 外设测试程序           *\n";
// clang-format on

/// Bytes from their hexadecimal digits.
inline std::string bytes_of(std::string_view hex) {
  std::string bytes;
  for (std::size_t at = 0; at < hex.size(); at += 2) {
    bytes.push_back(static_cast<char>(std::stoi(std::string(hex.substr(at, 2)), nullptr, 16)));
  }
  return bytes;
}

/// A reply as a document, texts as GBK bytes. An empty description becomes an empty element.
inline std::string reply_document(int code, const std::string& name_gbk, const std::string& value,
                                  const std::string& description_gbk) {
  const std::string description =
      description_gbk.empty() ? "<Description/>" : "<Description>" + description_gbk + "</Description>";
  return "<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n<TestItem>\r\n<TestCode>" + std::to_string(code) +
         "</TestCode>\r\n<TestName>" + name_gbk + "</TestName>\r\n<Result>\r\n<ResultItem>\r\n<Name>" +
         result_gbk + "</Name>\r\n<Value>" + value + "</Value>\r\n" + description +
         "\r\n</ResultItem>\r\n</Result>\r\n</TestItem>\r\n";
}

/// The records of banner, menu and heartbeat; banner and menu in one piece.
inline std::string banner() {
  return bytes_of(golden::kBanner);
}
inline std::string menu() {
  return bytes_of(golden::kMenu);
}
inline std::string heartbeat() {
  return bytes_of(golden::kPrompt);
}
inline std::string greeting() {
  return banner() + menu();
}

/// A reply's record.
inline std::string reply(int code, const std::string& name_gbk, const std::string& value,
                         const std::string& description_gbk) {
  return record_of(reply_document(code, name_gbk, value, description_gbk));
}

/// The record of the clock's "Pass".
inline std::string rtc_pass() {
  return bytes_of(golden::kClockPasses);
}

/// A request's record.
inline std::string request(int code) {
  return record_of("<TestItem><TestCode>" + std::to_string(code) + "</TestCode></TestItem>");
}

}  // namespace board_texts
