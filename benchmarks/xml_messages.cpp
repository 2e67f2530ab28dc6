#include "benchmarks/xml_messages.h"

#include <cstddef>
#include <cstdlib>
#include <map>
#include <utility>

namespace {

void append(std::string& text, const Element& element, const char* line_end) {
  text.append("<").append(element.name).append(">");
  if (!element.children.empty()) text.append(line_end);
  for (const Element& child : element.children) append(text, child, line_end);
  text.append(element.text).append("</").append(element.name).append(">").append(line_end);
}

/// A message of the board's, with its header and line ends, or of a station's, which has neither.
Message message(std::string name, bool from_board, Element root) {
  std::string text;
  if (from_board) text.append(kHeader);
  append(text, root, from_board ? "\r\n" : "");
  return {std::move(name), from_board, std::move(root), std::move(text)};
}

Element reply(std::string description) {
  return {"TestItem",
          "",
          {{"TestCode", "1536"},
           {"TestName", "测试RTC时钟"},
           {"Result",
            "",
            {{"ResultItem",
              "",
              {{"Name", "测试结果"}, {"Value", "Fail"}, {"Description", std::move(description)}}}}}}};
}

/// The reply whose description fills it up to `size` bytes, as lines of a listing.
Message reply_of(std::string name, std::size_t size) {
  const std::size_t fixed = message("", true, reply("")).text.size();
  static constexpr char kLine[] = "{0x00000010, 0x0000abcd} [5000us] 测试\n";
  std::string description;
  while (description.size() < size - fixed) description.append(kLine);
  // Cut in front of a character, not inside it, and filled up.
  description.resize(size - fixed - 3);
  while ((static_cast<unsigned char>(description.back()) & 0x80) != 0) description.pop_back();
  description.resize(size - fixed, '.');
  return message(std::move(name), true, reply(std::move(description)));
}

Message make_document(int elements) {
  constexpr int kGroup = 10;  // an element and nine children
  Element root{"Records"};
  for (int i = 0; i < elements; i += kGroup) {
    Element record{"Record"};
    for (int field = 1; field < kGroup; ++field) {
      record.children.push_back({"Field", "value " + std::to_string(i + field)});
    }
    root.children.push_back(std::move(record));
  }
  return message(std::to_string(elements) + "_elements", true, std::move(root));
}

}  // namespace

const Message& request_60() {
  static const Message request =
      message("request_60", false, {"R", "", {{"TestCode", "9728"}, {"Parameters", "650"}}});
  return request;
}

const Message& reply_400() {
  static const Message reply = reply_of("reply_400", 400);
  return reply;
}

const Message& reply_1900() {
  static const Message reply = reply_of("reply_1900", 1900);
  return reply;
}

const Message& document_of(int elements) {
  static std::map<int, Message> documents;
  auto found = documents.find(elements);
  if (found == documents.end()) found = documents.emplace(elements, make_document(elements)).first;
  return found->second;
}
