#include "boardrec/replay/handed.h"

#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "boardrec/memory/copies.h"
#include "boardrec/memory/kernel.h"
#include "boardrec/session/requests.h"

namespace boardrec {
namespace {

constexpr std::size_t kLongestText = 4096;  // as recordings have them

kernel::Lock copying{};

std::optional<std::string> copied(const void* from, std::size_t size) {
  std::string copy(size, '\0');
  return read_memory(from, copy.data(), size) ? std::optional(std::move(copy)) : std::nullopt;
}

std::optional<std::string> copied_text(const char* from) {
  std::string copy(kLongestText, '\0');
  const kernel::Locked lock(copying);
  const long size = copy_text(from, copy.data(), copy.size());
  if (size < 0) return std::nullopt;
  copy.resize(static_cast<std::size_t>(size));
  return copy;
}

/// The bytes that the program hands in, of a record as many as were recorded; nothing where no memory is.
std::optional<std::string> bytes_now(const Handed& handed, std::size_t recorded_size) {
  if (handed.bytes == nullptr || handed.kind == Handed::Kind::nowhere) return std::nullopt;
  if (handed.kind == Handed::Kind::text) return copied_text(static_cast<const char*>(handed.bytes));
  return copied(handed.bytes, handed.kind == Handed::Kind::record ? recorded_size : handed.size);
}

/// Whether texts are the same but for when the program was built, which it greets a station with: a recording
/// is for ever, and its program is built anew.
bool is_same_but_for_the_build(std::string_view recorded, std::string_view now) {
  constexpr std::string_view kBuilt = "BUILD: ";
  const auto begin = recorded.find(kBuilt);
  const auto end = begin == std::string_view::npos ? begin : recorded.find('\n', begin);
  if (end == std::string_view::npos) return false;
  return recorded.substr(0, begin + kBuilt.size()) == now.substr(0, begin + kBuilt.size()) &&
         recorded.substr(end) == now.substr(end);
}

bool has_bytes(const Value& value, const std::optional<std::string>& now) {
  if (!now || now->size() != value.size) return false;
  if (value.type == ValueType::digest)
    return digest(reinterpret_cast<const unsigned char*>(now->data()), now->size()) == value.digest;
  return value.type == ValueType::bytes && value.bytes == *now;
}

bool is_equal(const Value& value, const Handed& handed) {
  switch (handed.kind) {
    case Handed::Kind::anything:
      return true;
    case Handed::Kind::nowhere:
      return false;
    case Handed::Kind::number:
      return value.type == ValueType::number && value.number == handed.number;
    case Handed::Kind::record:
      if (value.type == ValueType::absent) return true;
      if (value.type == ValueType::number) {
        const auto now = reinterpret_cast<std::uintptr_t>(handed.bytes);  // a long has 32 bits on some boards
        return static_cast<std::uint32_t>(value.number) == static_cast<std::uint32_t>(now);
      }
      return has_bytes(value, bytes_now(handed, value.size));
    case Handed::Kind::text:
    case Handed::Kind::bytes:
      break;
  }
  if (handed.bytes == nullptr || value.type == ValueType::absent)
    return handed.bytes == nullptr && value.type == ValueType::absent;
  return has_bytes(value, bytes_now(handed, value.size));
}

bool is_greeting(const Value& value, const Handed& handed) {
  if (value.type != ValueType::bytes) return false;
  const std::optional<std::string> now = bytes_now(handed, value.size);
  return now && is_same_but_for_the_build(value.bytes, *now);
}

/// What the program has now where this was recorded; null when it was not.
Value value_now(const Handed& handed, const Value* recorded) {
  if (handed.kind == Handed::Kind::anything) return recorded != nullptr ? *recorded : Value{};
  if (handed.kind == Handed::Kind::number) return {.type = ValueType::number, .number = handed.number};
  const bool has_size =
      recorded != nullptr && (recorded->type == ValueType::bytes || recorded->type == ValueType::digest);
  if (handed.kind == Handed::Kind::record && !has_size) {
    return {.type = ValueType::number,
            .number = static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(handed.bytes))};
  }
  std::optional<std::string> bytes = bytes_now(handed, has_size ? recorded->size : 0);
  if (!bytes) return {};
  const auto size = static_cast<std::uint32_t>(bytes->size());
  return {.type = ValueType::bytes, .bytes = std::move(*bytes), .size = size};
}

}  // namespace

bool read_memory(const void* from, void* to, std::size_t size) {
  const kernel::Locked lock(copying);
  return copy_block(from, to, size);
}

bool asks_the_same(const Record& recorded, In in) {
  constexpr std::size_t kRequest = 1, kArgument = 2;
  for (std::size_t i = 0; i < in.size(); ++i) {
    const Handed& handed = in.begin()[i];
    const Value& value = recorded.in[i];
    if (value.type == ValueType::absent && (recorded.flags & kNotRecorded) != 0) continue;
    // An argument of which nobody knows whether it is a number or a place in memory.
    if (value.type == ValueType::number && handed.kind == Handed::Kind::record &&
        (recorded.flags & kUnknownSize) != 0) {
      continue;
    }
    if (recorded.call == Call::send && is_greeting(value, handed)) continue;
    const bool is_record = recorded.call == Call::ioctl && i == kArgument && value.type == ValueType::bytes;
    if (is_record && handed.bytes != nullptr) {
      const auto request = static_cast<std::uint32_t>(recorded.in[kRequest].number);
      const Value now = value_now(handed, &value);
      if (now.type == ValueType::absent || words_in(request, value) != words_in(request, now)) return false;
    } else if (!is_equal(value, handed)) {
      return false;
    }
  }
  return true;
}

std::vector<Value> values_now(In in, const Record* recorded) {
  std::vector<Value> values;
  for (const Handed& handed : in) {
    const std::size_t place = values.size();
    const bool has_other = recorded != nullptr && place < recorded->in.size();
    values.push_back(value_now(handed, has_other ? &recorded->in[place] : nullptr));
  }
  return values;
}

}  // namespace boardrec
