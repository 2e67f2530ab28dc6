#include "station/plan/pattern_syntax.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <vector>

#include "station/text/text.h"

namespace t1station {
namespace {

constexpr int kMostTimes = 1000;  // in {...}
constexpr std::string_view kBlanks = "\\s\\v\\x{feff}\\p{Z}";
constexpr std::string_view kLineEnds = "\\n\\r\\x{2028}\\x{2029}";

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

std::string code_point(std::uint32_t code) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "\\x{%x}", static_cast<unsigned>(code));
  return text.data();
}

class Translation {
 public:
  explicit Translation(std::string_view pattern) : pattern_(pattern) {}

  std::string run() {
    while (!at_end()) translate_next();
    if (open_.size() > 1) refuse(open_.back().start, "the group that begins here has no end");
    return std::move(result_);
  }

 private:
  struct Group {
    std::size_t start = 0;
    bool has_repetition = false;
  };

  [[noreturn]] void refuse(std::size_t byte, const std::string& what) const {
    const std::size_t character = count_characters(pattern_.substr(0, byte)) + 1;
    throw std::invalid_argument("at character " + std::to_string(character) + ": " + what);
  }

  bool at_end() const { return at_ == pattern_.size(); }
  bool sees(std::string_view text) const { return pattern_.substr(at_).starts_with(text); }
  // The group in which we are; the first one is the whole pattern.
  Group& group() { return open_.back(); }

  void add(std::string_view text) { result_ += text; }
  void add_item(std::string_view text) {
    add(text);
    item_ = Group{};
  }

  void translate_next() {
    const char c = pattern_[at_];
    switch (c) {
      case '(':
        return open_group();
      case ')':
        return close_group();
      case '[':
        return translate_class();
      case '\\':
        return translate_escape();
      case '*':
      case '+':
      case '?':
      case '{':
        return translate_repetition();
      case '|':
      case '^':
      case '$':
        item_.reset();  // none of these can be repeated
        add({&c, 1});
        break;
      case '.':
        add_item("[^" + std::string(kLineEnds) + "]");
        break;
      default:
        add_item({&c, 1});
    }
    ++at_;
  }

  void open_group() {
    const std::size_t start = at_;
    const bool is_plain = !sees("(?");
    if (!is_plain && !sees("(?:")) {
      refuse(start,
             "of the groups with (? there is (?: only: no looking ahead or behind, no names, no flags");
    }
    at_ += is_plain ? 1 : 3;
    add(is_plain ? "(" : "(?:");
    open_.push_back({start, false});
    item_.reset();
  }

  void close_group() {
    if (open_.size() == 1) refuse(at_, "this ) closes no group; write \\) for the character");
    ++at_;
    add(")");
    const Group closed = group();
    open_.pop_back();
    group().has_repetition |= closed.has_repetition;
    item_ = closed;
  }

  void translate_repetition() {
    const std::size_t start = at_;
    const int most = read_most_times();
    if (!item_)
      refuse(start, "nothing that could be repeated stands before this; write \\ before the character");
    if (most > 1) {
      if (item_->has_repetition) refuse(start, "a repetition inside a repetition, which could run away");
      group().has_repetition = true;
    }
    if (sees("?")) ++at_;  // as few as possible
    add(pattern_.substr(start, at_ - start));
    item_.reset();
  }

  // Goes behind *, +, ? or {...}, which stands here.
  int read_most_times() {
    const char c = pattern_[at_];
    if (c != '{') {
      ++at_;
      return c == '?' ? 1 : kMostTimes;
    }
    const std::size_t start = at_++;
    const std::optional<int> least = read_number();
    std::optional<int> most = least;
    if (sees(",")) {
      ++at_;
      most = sees("}") ? std::optional(kMostTimes) : read_number();
    }
    if (!least || !most || !sees("}")) {
      refuse(start, "{ begins {n}, {n,} or {n,m}, with numbers up to " + std::to_string(kMostTimes) +
                        "; write \\{ for the character");
    }
    ++at_;
    if (*least > *most) refuse(start, "the numbers in {...} are the wrong way round");
    return *most;
  }

  std::optional<int> read_number() {
    const std::string_view rest = pattern_.substr(at_);
    int number = 0;
    const auto [stop, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
    if (error != std::errc() || !is_digit(rest[0]) || number > kMostTimes) return std::nullopt;
    at_ += static_cast<std::size_t>(stop - rest.data());
    return number;
  }

  void translate_class() {
    const std::size_t start = at_++;
    add("[");
    if (sees("^")) {
      add("^");
      ++at_;
    }
    if (sees("]")) refuse(start, "brackets with nothing in them; write \\] for the character");
    while (!at_end() && !sees("]")) {
      for (const std::string_view name : {"[:", "[=", "[."}) {
        if (sees(name)) refuse(at_, "names of classes are no ECMAScript; write \\[ for the character");
      }
      if (sees("\\")) {
        add(escape_in_class());
      } else {
        if (sees("[")) add("\\");
        add(pattern_.substr(at_++, 1));
      }
    }
    if (at_end()) refuse(start, "the [ that stands here has no ]");
    ++at_;
    add_item("]");
  }

  std::string escape_in_class() {
    if (sees("\\s")) {
      at_ += 2;
      return std::string(kBlanks);
    }
    if (sees("\\b")) {
      at_ += 2;
      return code_point('\b');
    }
    return escape();
  }

  void translate_escape() {
    if (sees("\\b") || sees("\\B")) {
      add(pattern_.substr(at_, 2));
      at_ += 2;
      item_.reset();
    } else if (sees("\\s") || sees("\\S")) {
      add_item((sees("\\s") ? "[" : "[^") + std::string(kBlanks) + "]");
      at_ += 2;
    } else {
      add_item(escape());
    }
  }

  // The escape that stands here, which means the same inside and outside of brackets.
  std::string escape() {
    const std::size_t start = at_++;
    if (at_end()) refuse(start, "nothing stands behind this backslash");
    const char c = pattern_[at_++];
    if (is_digit(c) && c != '0') refuse(start, "a reference back to a group, which could run away");
    if (std::string_view("dDwWSfnrtv").find(c) != std::string_view::npos) return {'\\', c};
    switch (c) {
      case '0':
        return code_point(0);
      case 'x':
        return code_point(read_hexadecimal(start, 2));
      case 'u':
        return code_point(read_hexadecimal(start, 4));
      case 'c':
        if (at_end() || !is_letter(pattern_[at_])) refuse(start, "behind \\c stands a letter");
        return code_point(static_cast<std::uint32_t>(pattern_[at_++]) & 0x1FU);
      default:
        break;
    }
    if (is_letter(c)) refuse(start, std::string("\\") + c + " has no meaning");
    const bool is_ascii = static_cast<unsigned char>(c) < 0x80;
    return is_ascii ? code_point(static_cast<unsigned char>(c)) : std::string{c};
  }

  std::uint32_t read_hexadecimal(std::size_t start, std::size_t digits) {
    const std::string_view word = pattern_.substr(at_, digits);
    std::uint32_t code = 0;
    const auto [stop, error] = std::from_chars(word.data(), word.data() + word.size(), code, 16);
    if (error != std::errc() || stop != word.data() + digits) {
      refuse(start, "behind \\" + std::string(digits == 2 ? "x" : "u") + " stand " + std::to_string(digits) +
                        " hexadecimal digits");
    }
    if (code >= 0xD800 && code <= 0xDFFF) refuse(start, "half a character; write the character itself");
    at_ += digits;
    return code;
  }

  std::string_view pattern_;
  std::size_t at_ = 0;
  std::string result_;
  std::vector<Group> open_{{}};
  std::optional<Group> item_;  // what the next sign would repeat
};

}  // namespace

std::string translate_pattern(std::string_view utf8) {
  return Translation(utf8).run();
}

}  // namespace t1station
