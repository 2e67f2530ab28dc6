#include "boardrec/replay/telling.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <sstream>

#include "boardrec/session/named_calls.h"

namespace boardrec {
namespace {

constexpr std::size_t kShownBytes = 64;
constexpr std::size_t kContext = 24;  // bytes around a difference
constexpr std::string_view kCodeBegins = "<TestCode>";

/// With at least so many digits.
std::string hex(std::uint64_t number, int digits = 1) {
  char text[32];
  std::snprintf(text, sizeof text, "%0*" PRIx64, digits, number);
  return text;
}

bool is_printable(char letter) {
  return letter >= 0x20 && letter < 0x7F;
}

std::string quoted(std::string_view bytes) {
  std::string text = "\"";
  for (const char letter : bytes) {
    if (is_printable(letter) && letter != '"' && letter != '\\') {
      text += letter;
    } else if (letter == '\n') {
      text += "\\n";
    } else {
      text += "\\x" + hex(static_cast<unsigned char>(letter), 2);
    }
  }
  return text + "\"";
}

/// A driver's record as its 32-bit words.
std::string words(std::string_view bytes) {
  std::string text = "{";
  for (std::size_t at = 0; at + sizeof(std::uint32_t) <= bytes.size(); at += sizeof(std::uint32_t)) {
    std::uint32_t word = 0;
    std::memcpy(&word, bytes.data() + at, sizeof word);
    const bool small = word < 0x10000 || word > 0xFFFF0000U;
    text += (at > 0 ? ", " : "") +
            (small ? std::to_string(static_cast<std::int32_t>(word)) : "0x" + hex(word, 8));
  }
  return text + "}";
}

std::string value_text(std::string_view name, const Value& value) {
  switch (value.type) {
    case ValueType::absent:
      return "none";
    case ValueType::number:
      return name == "request" || name == "command" || name == "flags" || name == "mode"
                 ? "0x" + hex(static_cast<std::uint64_t>(value.number))
                 : std::to_string(value.number);
    case ValueType::digest:
      return std::to_string(value.size) + " bytes, digest " + hex(value.digest, 16);
    case ValueType::bytes:
      break;
  }
  if (name == "record" || name == "settings" || name == "set" || name == "entries") return words(value.bytes);
  if (value.bytes.size() <= kShownBytes) return quoted(value.bytes);
  return quoted(std::string_view(value.bytes).substr(0, kShownBytes)) + " and " +
         std::to_string(value.bytes.size() - kShownBytes) + " more bytes";
}

std::string part(const std::string& bytes, std::size_t at) {
  const std::size_t from = at > kContext ? at - kContext : 0;
  return quoted(std::string_view(bytes).substr(std::min(from, bytes.size()), 2 * kContext));
}

bool gives_descriptor(Call call) {
  return call == Call::open || call == Call::socket || call == Call::accept;
}

}  // namespace

std::string Telling::named(std::int64_t fd) const {
  const auto known = descriptors_.find(fd);
  return std::to_string(fd) + (known != descriptors_.end() ? " (" + printable(known->second) + ")" : "");
}

void Telling::follow(const Record& record) {
  if (gives_descriptor(record.call) && record.result >= 0) {
    std::string& name = descriptors_[record.result];
    name = record.call == Call::accept ? "station" : "socket";
    if (record.call == Call::open && !record.in.empty()) name = record.in.front().bytes;
  }
  if (record.call == Call::close && !record.in.empty()) descriptors_.erase(record.in.front().number);
  if (record.call != Call::recv || record.in.empty() || record.out.empty()) return;
  const auto from = descriptors_.find(record.in.front().number);
  if (from == descriptors_.end() || from->second != "station") return;
  received_ += record.out.front().bytes;
  const auto begin = received_.find(kCodeBegins);
  const auto end = begin == std::string::npos ? begin : received_.find('<', begin + 1);
  if (end == std::string::npos) return;
  code_ = received_.substr(begin + kCodeBegins.size(), end - begin - kCodeBegins.size());
  ++requests_;
  received_.clear();
}

std::string Telling::text(Call call, const std::vector<Value>& in) const {
  const CallRow* const row = find_call(call);
  std::string text(row->name);
  std::istringstream names{std::string(row->in)};
  std::string name;
  for (const Value& value : in) {
    names >> name;
    text += &value == in.data() ? " " : ", ";
    text += name + " " + (name == "fd" ? named(value.number) : value_text(name, value));
  }
  return text;
}

std::string Telling::result(const Record& record) const {
  if ((record.flags & kCancelled) != 0) return ", in which the thread was cancelled";
  if ((record.flags & kBegan) != 0) return ", which did not return";
  const char* const error = record.error != 0 ? strerrorname_np(record.error) : nullptr;
  return " = " + std::to_string(record.result) + (error != nullptr ? std::string(" ") + error : "");
}

std::string Telling::first_difference(const std::vector<Value>& recorded,
                                      const std::vector<Value>& now) const {
  for (std::size_t i = 0; i < std::min(recorded.size(), now.size()); ++i) {
    const std::string& one = recorded[i].bytes;
    const std::string& other = now[i].bytes;
    if (recorded[i].type != ValueType::bytes || now[i].type != ValueType::bytes || one == other) continue;
    if (std::max(one.size(), other.size()) <= kShownBytes) return {};  // they stand there whole
    const auto [left, right] = std::mismatch(one.begin(), one.end(), other.begin(), other.end());
    const auto at = static_cast<std::size_t>(left - one.begin());
    return "  from byte " + std::to_string(at) + " of " + std::to_string(one.size()) + " (now " +
           std::to_string(other.size()) + "):\n    recorded: " + part(one, at) +
           "\n    now:      " + part(other, at) + "\n";
  }
  return {};
}

std::string Telling::where() const {
  if (requests_ == 0) return {};
  return ", behind request " + std::to_string(requests_) + " of the station (TestCode " + printable(code_) +
         ")";
}

}  // namespace boardrec
