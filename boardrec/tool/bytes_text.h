// Bytes of a recording for people.
#pragma once

#include <string>
#include <string_view>

#include "boardrec/session/recording.h"

namespace boardrec {

/// How a board's texts, which are GBK, are shown.
enum class TextForm { utf8, gbk };

/// The values that went into a call and came back, a line each and the bytes below it: in hexadecimal, 16 a
/// line, and as a text where they are one. Empty for a call without values.
std::string values_text(const Record& record, TextForm form);

/// Bytes as a text in quotes, control characters and what is no GBK as \xNN, line ends as \r and \n.
std::string quoted_text(std::string_view bytes, TextForm form);

}  // namespace boardrec
