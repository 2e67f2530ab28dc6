#include "boardrec/tool/bytes_text.h"

#include <iconv.h>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace boardrec {
namespace {

constexpr std::size_t kBytesPerLine = 16;

std::string hexadecimal(std::string_view bytes) {
  std::string lines;
  for (std::size_t at = 0; at < bytes.size(); at += kBytesPerLine) {
    char text[32];
    std::snprintf(text, sizeof text, "      %04zx ", at);
    lines += text;
    for (const char byte : bytes.substr(at, kBytesPerLine)) {
      std::snprintf(text, sizeof text, " %02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
      lines += text;
    }
    lines += '\n';
  }
  return lines;
}

/// Decodes GBK; a converter costs more than a text.
class Gbk {
 public:
  Gbk() : converter_(iconv_open("UTF-8", "GBK")) {}
  ~Gbk() { iconv_close(converter_); }
  Gbk(const Gbk&) = delete;
  Gbk& operator=(const Gbk&) = delete;

  /// The UTF-8 of a character of two bytes; empty for what is none.
  std::string character(std::string_view bytes) const {
    char in[2] = {bytes[0], bytes[1]};
    char out[8];
    char* from = in;
    char* to = out;
    std::size_t left = sizeof in;
    std::size_t room = sizeof out;
    iconv(converter_, nullptr, nullptr, nullptr, nullptr);
    if (iconv(converter_, &from, &left, &to, &room) != 0 || left != 0) return "";
    return {out, static_cast<std::size_t>(to - out)};
  }

 private:
  iconv_t converter_;
};

/// The Chinese character at the front, as UTF-8; empty when there is none.
std::string chinese_at(std::string_view bytes) {
  static const Gbk gbk;
  const bool begins = bytes.size() > 1 && static_cast<unsigned char>(bytes[0]) > 0x80;
  return begins ? gbk.character(bytes) : "";
}

std::string escaped(char byte) {
  if (byte == '\n') return "\\n";
  if (byte == '\r') return "\\r";
  if (byte == '\t') return "\\t";
  if (byte == '"' || byte == '\\') return {'\\', byte};
  if (byte >= ' ' && byte <= '~') return {byte};
  char text[8];
  std::snprintf(text, sizeof text, "\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
  return text;
}

/// Whether most of it can be read by people.
bool is_text(std::string_view bytes) {
  std::size_t readable = 0;
  for (std::size_t at = 0; at < bytes.size();) {
    const bool chinese = !chinese_at(bytes.substr(at)).empty();
    const std::size_t size = chinese ? 2 : 1;
    if (chinese || (bytes[at] >= ' ' && bytes[at] <= '~') || bytes[at] == '\n' || bytes[at] == '\r')
      readable += size;
    at += size;
  }
  return 4 * readable > 3 * bytes.size();
}

bool holds_text(std::string_view name) {
  return name == "path" || name == "text" || name == "address";
}

std::string value_text(std::string_view name, const Value& value, TextForm form) {
  switch (value.type) {
    case ValueType::absent:
      return "nothing\n";
    case ValueType::number:
      return std::to_string(value.number) + "\n";
    case ValueType::bytes: {
      if (holds_text(name)) return quoted_text(value.bytes, form) + "\n";
      std::string text = std::to_string(value.bytes.size()) + " bytes\n" + hexadecimal(value.bytes);
      if (is_text(value.bytes)) text.append("      ").append(quoted_text(value.bytes, form)).append("\n");
      return text;
    }
    case ValueType::digest:
      break;
  }
  char text[64];
  std::snprintf(text, sizeof text, "%u bytes that are elsewhere in the recording\n", value.size);
  return text;
}

/// The names of a row's values, which stand with a space between.
std::vector<std::string_view> words_of(std::string_view text) {
  std::vector<std::string_view> words;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(' '), text.size());
    words.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return words;
}

std::string side_text(const char* side, const std::vector<Value>& values, std::string_view row,
                      TextForm form) {
  const std::vector<std::string_view> names = words_of(row);
  std::string text;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const std::string_view name = i < names.size() ? names[i] : "value";
    text.append("    ").append(side).append(" ").append(name).append(": ");
    text += value_text(name, values[i], form);
  }
  return text;
}

}  // namespace

std::string quoted_text(std::string_view bytes, TextForm form) {
  std::string text = "\"";
  for (std::size_t at = 0; at < bytes.size();) {
    const std::string chinese = chinese_at(bytes.substr(at));
    if (chinese.empty()) {
      text += escaped(bytes[at]);
      ++at;
    } else {
      text += form == TextForm::utf8 ? chinese : std::string(bytes.substr(at, 2));
      at += 2;
    }
  }
  return text + "\"";
}

std::string values_text(const Record& record, TextForm form) {
  const CallRow* const row = find_call(record.call);
  return side_text("in", record.in, row != nullptr ? row->in : "", form) +
         side_text("out", record.out, row != nullptr ? row->out : "", form);
}

}  // namespace boardrec
