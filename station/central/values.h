// Values of the records as PostgreSQL takes and gives them, and nothing lost on the way.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "station/records/database.h"

namespace t1station {

/// A text as PostgreSQL can hold it: it takes neither a zero byte nor bytes that are no UTF-8. Each such byte
/// becomes the character U+10FF00 plus the byte, and so does each byte of such a character itself.
std::string central_text(std::string_view text);
/// The text that it was.
std::string text_of_central(std::string_view text);

/// A value on its way: bytes, and whether they are the value's own bytes or its text.
struct WireValue {
  std::optional<std::string> bytes;  ///< nothing: NULL
  bool is_binary = false;
};
WireValue to_wire(const Value& value);

/// The value of a column that came in binary form; `type` is the number of its type in PostgreSQL. Times
/// become texts as records have them, truth values 0 and 1.
Value from_wire(unsigned type, std::string_view bytes);

}  // namespace t1station
