#include "boardrec/tool/stand_ins.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <vector>

namespace boardrec {
namespace {

constexpr std::string_view kUnconfigured = "198.51.100.64";
constexpr std::size_t kMacSize = 6;
constexpr std::size_t kTries = 300;         // to find an address that stands for no other
constexpr std::size_t kMacText = 17;        // 02:00:00:00:00:01
constexpr std::size_t kShortestSerial = 6;  // what is shorter stands in texts by chance

bool is_digit(char character) {
  return std::isdigit(static_cast<unsigned char>(character)) != 0;
}

bool is_hex(char character) {
  return std::isxdigit(static_cast<unsigned char>(character)) != 0;
}

bool stays(const std::string& dotted) {
  return dotted == "0.0.0.0" || dotted == "255.255.255.255" || dotted.starts_with("127.") ||
         dotted == kUnconfigured;
}

/// Counts in the four parts, each of which keeps its number of digits.
std::string nth_address(const std::string& dotted, std::size_t n) {
  struct Part {
    std::size_t lowest, count;
  };
  constexpr std::array<Part, 4> kParts{{{0, 0}, {1, 9}, {10, 90}, {100, 100}}};
  std::array<std::size_t, 4> digits{};
  std::size_t part = 0;
  for (const char character : dotted) {
    if (character == '.') {
      ++part;
    } else {
      ++digits[part];
    }
  }
  std::array<std::size_t, 4> values{};
  for (std::size_t i = 4; i-- > 0;) {
    const Part& row = kParts[digits[i]];
    values[i] = row.lowest + n % row.count;
    n /= row.count;
  }
  std::string text;
  for (const std::size_t value : values) text.append(text.empty() ? "" : ".").append(std::to_string(value));
  return text;
}

/// An IPv4 address at this place of a text, with no digit or point around it; empty when there is none.
std::string address_at(const std::string& text, std::size_t at) {
  if (at > 0 && (is_digit(text[at - 1]) || text[at - 1] == '.')) return "";
  std::size_t end = at;
  while (end < text.size() && (is_digit(text[end]) || text[end] == '.')) ++end;
  const std::string dotted = text.substr(at, end - at);
  in_addr address{};
  return dotted.size() <= 15 && inet_pton(AF_INET, dotted.c_str(), &address) == 1 ? dotted : "";
}

std::string mac_at(const std::string& text, std::size_t at) {
  if (at + kMacText > text.size() || (at > 0 && is_hex(text[at - 1]))) return "";
  if (at + kMacText < text.size() && is_hex(text[at + kMacText])) return "";
  for (std::size_t i = 0; i < kMacText; ++i) {
    const char character = text[at + i];
    if (i % 3 == 2 ? character != text[at + 2] || (character != ':' && character != '-') : !is_hex(character))
      return "";
  }
  return text.substr(at, kMacText);
}

}  // namespace

bool is_blank(std::string_view bytes) {
  if (bytes.empty()) return true;
  const auto alike = [&bytes](char byte) { return byte == bytes.front(); };
  return std::ranges::all_of(bytes, alike) &&
         std::string_view("\0\xFF 0", 4).find(bytes.front()) != std::string_view::npos;
}

std::string StandIns::address(const std::string& dotted) {
  if (stays(dotted)) return dotted;
  const auto known = addresses_.find(dotted);
  if (known != addresses_.end()) return known->second;
  const std::size_t first = addresses_.size();
  std::string made;
  for (std::size_t n = first;; ++n) {
    made = nth_address(dotted, n);
    // There are few with one digit a part: when they are taken, two have the same stand-in.
    if (!stays(made) && (n - first > kTries || !taken_.contains(made))) break;
  }
  taken_.insert(made);
  return addresses_.emplace(dotted, made).first->second;
}

std::string StandIns::address_bytes(std::string_view bytes) {
  char dotted[INET_ADDRSTRLEN] = "";
  inet_ntop(AF_INET, bytes.data(), dotted, sizeof dotted);
  in_addr stand_in{};
  inet_pton(AF_INET, address(dotted).c_str(), &stand_in);
  return {reinterpret_cast<const char*>(&stand_in), sizeof stand_in};
}

std::string StandIns::mac(const std::string& bytes) {
  if (is_blank(bytes)) return bytes;
  const auto known = macs_.find(bytes);
  if (known != macs_.end()) return known->second;
  const std::size_t n = macs_.size() + 1;
  const std::string made{'\x02', 0, 0, 0, static_cast<char>(n >> 8), static_cast<char>(n)};
  return macs_.emplace(bytes, made).first->second;
}

std::string StandIns::serial(const std::string& text) {
  if (is_blank(text)) return text;
  const auto known = serials_.find(text);
  if (known != serials_.end()) return known->second;
  const std::string number = std::to_string(serials_.size() + 1);
  std::string made(text.size(), '0');
  const std::size_t size = std::min(number.size(), made.size());
  made.replace(made.size() - size, size, number, number.size() - size, size);
  return serials_.emplace(text, made).first->second;
}

std::size_t StandIns::replace_address(std::string& text, std::size_t at) {
  const std::string found = address_at(text, at);
  if (found.empty()) return 1;
  const std::string made = address(found);
  if (made != found) ++places_;
  text.replace(at, found.size(), made);
  return found.size();
}

std::size_t StandIns::replace_mac(std::string& text, std::size_t at) {
  const std::string found = mac_at(text, at);
  if (found.empty()) return 1;
  std::string bytes;
  for (std::size_t i = 0; i < kMacText; i += 3)
    bytes += static_cast<char>(std::stoi(found.substr(i, 2), nullptr, 16));
  const std::string made = mac(bytes);
  const bool upper =
      std::ranges::any_of(found, [](char character) { return character >= 'A' && character <= 'F'; });
  for (std::size_t i = 0; i < kMacSize; ++i) {
    char hex[4];
    std::snprintf(hex, sizeof hex, upper ? "%02X" : "%02x",
                  static_cast<unsigned>(static_cast<unsigned char>(made[i])));
    text.replace(at + 3 * i, 2, hex);
  }
  if (made != bytes) ++places_;
  return kMacText;
}

void StandIns::replace_known(std::string& text, const std::map<std::string, std::string>& known) {
  for (const auto& [value, made] : known) {
    if (value.size() < kShortestSerial) continue;
    for (std::size_t at = text.find(value); at != std::string::npos;
         at = text.find(value, at + value.size())) {
      text.replace(at, value.size(), made);
      ++places_;
    }
  }
}

std::string StandIns::in_text(const std::string& text) {
  std::string result = text;
  for (std::size_t at = 0; at < result.size();) at += is_digit(result[at]) ? replace_address(result, at) : 1;
  for (std::size_t at = 0; at < result.size();) at += is_hex(result[at]) ? replace_mac(result, at) : 1;
  replace_known(result, macs_);
  replace_known(result, serials_);
  return result;
}

}  // namespace boardrec
