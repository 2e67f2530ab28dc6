// TOML files before the parser sees them: it must not be led into nesting that its stack does not hold.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "station/plan/toml_reader.h"
#include "station/text/text.h"

namespace t1station {
namespace {

constexpr std::size_t kLargestFile = 64 << 10;  // bytes
constexpr int kMostDots = 16;                   // outside of texts, in one line: a.b.c = 1 nests three deep
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

[[noreturn]] void refuse(std::string_view file, const FileProblem& problem) {
  throw BadFile(file, {problem});
}

// The place of a byte, as people count.
FileProblem at(std::string_view text, std::size_t byte, std::string message) {
  const std::string_view before = text.substr(0, byte);
  const std::size_t line_start = before.rfind('\n') + 1;  // npos + 1 is 0
  const auto lines = std::count(before.begin(), before.end(), '\n');
  return {static_cast<std::size_t>(lines) + 1, count_characters(before.substr(line_start)) + 1,
          std::move(message)};
}

// The end of the text in quotes or of the comment that begins at `start`, or of the single character that
// does.
std::size_t end_of_token(std::string_view text, std::size_t start) {
  const char first = text[start];
  if (first == '#') return std::min(text.find('\n', start), text.size());
  if (first != '"' && first != '\'') return start + 1;
  const std::string three(3, first);
  const bool is_long = text.substr(start).starts_with(three);
  const std::string_view quotes = std::string_view(three).substr(0, is_long ? 3 : 1);
  for (std::size_t i = start + quotes.size(); i < text.size(); ++i) {
    if (first == '"' && text[i] == '\\') {
      ++i;
    } else if (text.substr(i).starts_with(quotes)) {
      std::size_t end = i + quotes.size();
      while (is_long && end < text.size() && text[end] == first)
        ++end;  // quotes at the end of a long text are its own
      return end;
    } else if (!is_long && text[i] == '\n') {
      return i;  // no TOML, which the parser will say
    }
  }
  return text.size();
}

// The parser makes a table of every dot in a key, and takes tables apart by calling itself for each that is
// inside.
void refuse_deep_nesting(std::string_view file, std::string_view text) {
  int dots = 0;
  for (std::size_t i = 0; i < text.size(); i = end_of_token(text, i)) {
    if (text[i] == '\n') dots = 0;
    if (text[i] == '.' && ++dots > kMostDots) refuse(file, at(text, i, "this is nested too deep"));
  }
}

/// What helps people who are no programmers, behind the parser's words.
struct Hint {
  std::string_view words, help;
};
constexpr Hint kHints[] = {
    {"could not determine value type", "a text stands between straight quotes, \"like this\""},
    {"unknown escape sequence", "a pattern stands between single quotes, 'like this'"},
    {"cannot redefine existing array", "a heading in double brackets, [[like this]], has them each time"},
};

// The parser's message without what it was about to do.
std::string reason_of(const toml::parse_error& error) {
  std::string_view reason = error.description();
  const std::size_t end = reason.find(": ");
  if (reason.starts_with("Error while parsing ") && end != std::string_view::npos)
    reason.remove_prefix(end + 2);
  std::string text = "this is no TOML: " + std::string(reason);
  for (const Hint& hint : kHints) {
    if (reason.find(hint.words) != std::string_view::npos) text.append("; ").append(hint.help);
  }
  return text;
}

}  // namespace

toml::table parse_toml(std::string_view file, std::string_view text) {
  if (text.size() > kLargestFile) {
    refuse(file, {1, 1, "the file has more than " + std::to_string(kLargestFile) + " bytes"});
  }
  if (text.starts_with(kByteOrderMark)) {
    refuse(file, {1, 1, "the file begins with a byte order mark: save it as UTF-8 without one"});
  }
  const std::size_t valid = utf8_length(text);
  if (valid < text.size()) refuse(file, at(text, valid, "this is no UTF-8: save the file as UTF-8"));
  refuse_deep_nesting(file, text);
  try {
    return toml::parse(text);
  } catch (const toml::parse_error& error) {
    const toml::source_position where = error.source().begin;
    refuse(file, {where.line, where.column, reason_of(error)});
  }
}

std::string read_toml_file(const std::string& file) {
  const auto cannot = [&file] {
    refuse(file, {1, 1, std::string("the file cannot be read: ") + std::strerror(errno)});
  };
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(file.c_str(), "rb"), std::fclose);
  if (!stream) cannot();
  std::string text(kLargestFile + 1, '\0');  // one more than parse_toml() takes, which refuses it
  text.resize(std::fread(text.data(), 1, text.size(), stream.get()));
  if (std::ferror(stream.get()) != 0) cannot();
  return text;
}

}  // namespace t1station
