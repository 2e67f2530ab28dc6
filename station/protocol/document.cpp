// Building requests, and reading what boards send: GBK first, then XML, then the elements one by one.
#include "station/protocol/document.h"

#include <charconv>
#include <pugixml.hpp>
#include <regex>

#include "station/text/errors.h"
#include "station/text/text.h"

namespace t1station {
namespace {

// A reference to the character zero would end a text early and so could turn "Pass&#0;ed" into "Pass".
void refuse_nul(const std::string& document) {
  static const std::regex nul_reference("&#x?0*;");
  if (document.find('\0') != std::string::npos || std::regex_search(document, nul_reference)) {
    throw ProtocolError("the document holds a NUL character");
  }
}

pugi::xml_node only_child(const pugi::xml_node& parent, const char* name) {
  const pugi::xml_node child = parent.child(name);
  std::string where = std::string("<") + name + ">";
  if (parent.type() == pugi::node_element) where.append(" in <").append(parent.name()).append(">");
  if (!child) throw ProtocolError("the document has no " + where);
  if (child.next_sibling(name)) throw ProtocolError("the document has more than one " + where);
  return child;
}

// The text of an element, which must hold nothing but text.
std::string text_of(const pugi::xml_node& element) {
  std::string text;
  for (const pugi::xml_node& node : element.children()) {
    if (node.type() == pugi::node_element) {
      throw ProtocolError(std::string("<") + element.name() + "> holds elements where a text is due");
    }
    text += node.value();
  }
  return text;
}

std::int32_t code_of(const pugi::xml_node& root) {
  const std::string text = text_of(only_child(root, "TestCode"));
  std::int32_t code = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, code);
  if (error != std::errc() || stop != end) {
    throw ProtocolError("the test code \"" + clean_text(text) + "\" is no number");
  }
  return code;
}

ServiceMessage read_service_message(const pugi::xml_node& root) {
  ServiceMessage message;
  for (const pugi::xml_node& context : root.children("TestContext")) {
    message.exact.push_back(text_of(context));
    message.lines.push_back(clean_text(message.exact.back()));
  }
  if (message.lines.empty()) throw ProtocolError("a service message has no <TestContext>");
  return message;
}

Reply read_reply(const pugi::xml_node& root, std::int32_t code) {
  const pugi::xml_node item = only_child(only_child(root, "Result"), "ResultItem");
  const std::string value = text_of(only_child(item, "Value"));
  if (value != "Pass" && value != "Fail") {
    throw ProtocolError("the result \"" + clean_text(value) + "\" is neither Pass nor Fail");
  }
  Reply reply;
  reply.code = code;
  reply.test_name = clean_text(text_of(only_child(root, "TestName")));
  reply.passed = value == "Pass";
  reply.description = clean_text(text_of(only_child(item, "Description")));
  return reply;
}

}  // namespace

std::string make_request(std::int32_t code, std::optional<std::int32_t> parameter) {
  std::string request = "<TestItem><TestCode>" + std::to_string(code) + "</TestCode>";
  if (parameter) request += "<Parameters>" + std::to_string(*parameter) + "</Parameters>";
  return request + "</TestItem>";
}

Document parse_document(std::string_view gbk) {
  const std::string utf8 = gbk_to_utf8(gbk);
  refuse_nul(utf8);
  pugi::xml_document xml;
  // The header says GBK, which was true until a moment ago: the encoding is given, not looked up.
  const pugi::xml_parse_result result = xml.load_buffer(
      utf8.data(), utf8.size(), pugi::parse_default | pugi::parse_ws_pcdata_single, pugi::encoding_utf8);
  if (!result) {
    throw ProtocolError(std::string("the document is no XML: ") + result.description() + " at byte " +
                        std::to_string(result.offset));
  }
  const pugi::xml_node root = only_child(xml, "TestItem");
  const std::int32_t code = code_of(root);
  if (code == kServiceCode) return read_service_message(root);
  return read_reply(root, code);
}

}  // namespace t1station
