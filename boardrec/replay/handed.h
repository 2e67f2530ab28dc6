// What the program hands in, held against what was recorded.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

#include "boardrec/session/recording.h"

namespace boardrec {

/// A value that the program hands in now. Its memory is looked at without harm where there is none.
struct Handed {
  enum class Kind : std::uint8_t {
    number,
    bytes,     ///< null for nothing
    text,      ///< the same, up to a zero
    record,    ///< a number, or the place of as many bytes as were recorded
    nowhere,   ///< a place where no memory is
    anything,  ///< counts as equal
  };
  Kind kind = Kind::anything;
  std::int64_t number = 0;
  const void* bytes = nullptr;
  std::size_t size = 0;

  static Handed of(std::int64_t number) { return {.kind = Kind::number, .number = number}; }
  static Handed of(const void* bytes, std::size_t size) {
    return {.kind = Kind::bytes, .bytes = bytes, .size = size};
  }
  static Handed text(const char* text) { return {.kind = Kind::text, .bytes = text}; }
  static Handed record(const void* argument) { return {.kind = Kind::record, .bytes = argument}; }
  static Handed nothing() { return of(nullptr, 0); }
  static Handed nowhere() { return {.kind = Kind::nowhere}; }
};

using In = std::initializer_list<Handed>;

/// Copies memory of the program; false when it cannot be read. Not within another call of this file.
bool read_memory(const void* from, void* to, std::size_t size);

/// Something of the program's in its own form, which the call's record has in another one.
template <typename Type>
class Given {
 public:
  explicit Given(const Type* from)
      : is_null_(from == nullptr), is_there_(!is_null_ && read_memory(from, &copy_, sizeof copy_)) {}
  explicit operator bool() const { return is_there_; }
  const Type& operator*() const { return copy_; }
  /// What stands in its place when it is not there.
  Handed missing() const { return is_null_ ? Handed::nothing() : Handed::nowhere(); }

 private:
  Type copy_{};
  bool is_null_;
  bool is_there_;
};

/// Whether the program asks what was recorded. Of a driver's record counts what the driver looks at: the rest
/// is what the program's memory held. `in` has as many values as the record.
bool asks_the_same(const Record& recorded, In in);

/// The values as they are now, to be shown beside the recorded ones of the same call, or null.
std::vector<Value> values_now(In in, const Record* recorded);

}  // namespace boardrec
