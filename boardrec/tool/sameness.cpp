#include "boardrec/tool/sameness.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <vector>

namespace boardrec {
namespace {

constexpr std::size_t kBytesShown = 8;

/// A copy without what is a session's own.
template <class Layout, class Clean>
std::string cleaned(const std::string& bytes, Clean clean) {
  Layout layout{};
  if (bytes.size() != sizeof layout) return bytes;
  std::memcpy(&layout, bytes.data(), sizeof layout);
  Layout rest{};
  clean(layout, rest);
  return {reinterpret_cast<const char*>(&rest), sizeof rest};
}

std::string comparable(std::string_view name, const Value& value) {
  if (name == "status") {
    return cleaned<Status>(value.bytes, [](const Status& from, Status& to) {
      to.size = from.size;
      to.mode = from.mode;
      to.special_device = from.special_device;
    });
  }
  if (name == "statfs") {
    return cleaned<FileSystem>(value.bytes, [](const FileSystem& from, FileSystem& to) {
      to.type = from.type;
      to.block_size = from.block_size;
      to.blocks = from.blocks;
    });
  }
  return value.bytes;
}

std::string part(const std::string& bytes, std::size_t at) {
  std::string text;
  for (std::size_t i = at; i < std::min(bytes.size(), at + kBytesShown); ++i) {
    char hex[8];
    std::snprintf(hex, sizeof hex, " %02x", static_cast<unsigned>(static_cast<unsigned char>(bytes[i])));
    text += hex;
  }
  return text.empty() ? " nothing" : text;
}

std::string difference_of(std::string_view name, const Value& a, const Value& b) {
  const std::string what = "different " + std::string(name);
  const auto of_block = [](const Value& value) { return value.type == ValueType::digest; };
  if (of_block(a) || of_block(b)) {
    const auto digest_of = [&](const Value& value) {
      return of_block(value)
                 ? value.digest
                 : digest(reinterpret_cast<const unsigned char*>(value.bytes.data()), value.bytes.size());
    };
    return a.size == b.size && digest_of(a) == digest_of(b)
               ? ""
               : what + " in blocks of " + std::to_string(a.size) + " and " + std::to_string(b.size) +
                     " bytes";
  }
  if (a.type == ValueType::number && b.type == ValueType::number && a.number != b.number)
    return what + ": " + std::to_string(a.number) + " and " + std::to_string(b.number);
  const std::string first = comparable(name, a);
  const std::string second = comparable(name, b);
  if (first == second) return a.type == b.type ? "" : what + ": there in one of them only";
  const auto at = static_cast<std::size_t>(std::ranges::mismatch(first, second).in1 - first.begin());
  return what + " from byte " + std::to_string(at) + " on:" + part(first, at) + " and" + part(second, at);
}

/// The names of values that tell sessions apart; all others are in the text, or any session's own.
constexpr std::array<std::string_view, 5> kTelling{"bytes", "status", "statfs", "settings", "record"};

std::string difference_of_side(const std::vector<Value>& a, const std::vector<Value>& b,
                               std::string_view names, bool records) {
  for (std::size_t i = 0; !names.empty(); ++i) {
    const std::size_t end = std::min(names.find(' '), names.size());
    const std::string_view name = names.substr(0, end);
    names.remove_prefix(std::min(end + 1, names.size()));
    if (std::ranges::find(kTelling, name) == kTelling.end() || (name == "record" && !records)) continue;
    if (std::string found = difference_of(name, value_at(a, i), value_at(b, i)); !found.empty()) return found;
  }
  return "";
}

}  // namespace

std::string difference_of_values(const Record& a, const Record& b) {
  const CallRow* const row = find_call(a.call);
  if (row == nullptr) return "";
  // Of a record that goes in, the words that count are in the text; the rest is what the program's memory
  // held.
  std::string found = difference_of_side(a.in, b.in, row->in, false);
  return found.empty() ? difference_of_side(a.out, b.out, row->out, true) : found;
}

}  // namespace boardrec
