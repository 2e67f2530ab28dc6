// A recording as it was read from its file.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "boardrec/format/calls.h"
#include "boardrec/format/layout.h"

namespace boardrec {

/// A longer file is refused: it is read into the memory whole.
inline constexpr std::int64_t kLargestFile = std::int64_t{1} << 30;

/// A file that is no recording, or none that this version can read. what() is one line and names the file.
class Unreadable : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What went into a call or came back.
struct Value {
  ValueType type = ValueType::absent;
  std::int64_t number = 0;
  std::string bytes{};       ///< of type bytes
  std::uint32_t size = 0;    ///< of types bytes and digest
  std::uint64_t digest = 0;  ///< of type digest

  bool operator==(const Value&) const = default;
};

/// One call, in the order in which they ended.
struct Record {
  std::size_t number = 0;    ///< from 0
  std::uint64_t offset = 0;  ///< of its frame in the file
  Call call{};
  std::uint16_t thread = 0;
  std::uint32_t flags = 0;  ///< of Flag
  std::uint64_t began = 0;  ///< nanoseconds since recording began
  std::uint64_t ended = 0;
  std::int64_t result = 0;
  std::int32_t error = 0;
  std::vector<Value> in{};
  std::vector<Value> out{};
};

struct Recording {
  Header header{};
  std::vector<Record> records{};
  /// Why the file could not be read to its end, one line that says where; empty when it could. The records
  /// before are whole: a power cut ends a recording like that.
  std::string broken{};
};

/// Reads what can be read. Throws Unreadable for a file that is not there or longer than kLargestFile, is no
/// recording, is of another version or of a machine of the other byte order, or whose header is damaged.
Recording read_recording(const std::string& file);
/// The same of bytes; `name` stands for the file in messages.
Recording read_recording(std::string_view bytes, const std::string& name);

/// The value of this index; an absent one when there are fewer.
const Value& value_at(const std::vector<Value>& values, std::size_t index);

/// The call's row; null for a number that is in none.
const CallRow* find_call(Call call);
/// The call's name; "?" for a number that is in no row.
std::string_view name_of(Call call);

}  // namespace boardrec
