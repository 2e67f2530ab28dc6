#include "boardrec/session/part.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

namespace boardrec {
namespace {

constexpr std::string_view kNoteBegins = "cut: records ";

/// The number of the part's first record; nothing for a note that says something else.
std::optional<std::size_t> first_of_part(std::string_view note) {
  if (!note.starts_with(kNoteBegins)) return std::nullopt;
  note.remove_prefix(kNoteBegins.size());
  std::size_t first = 0;
  const auto read = std::from_chars(note.data(), note.data() + note.size(), first);
  return read.ec == std::errc() ? std::optional(first) : std::nullopt;
}

}  // namespace

std::string note_of_part(std::size_t first, std::size_t last, std::size_t count) {
  return std::string(kNoteBegins) + std::to_string(first) + " to " + std::to_string(last) + " of " +
         std::to_string(count);
}

std::size_t missing_at_the_beginning(const Recording& recording) {
  std::size_t kept = 0;
  std::size_t missing = 0;
  for (const Record& record : recording.records) {
    if (record.call != Call::note) {
      ++kept;
      continue;
    }
    const auto first = first_of_part(value_at(record.in, 0).bytes);
    if (first && *first > kept) missing = std::max(missing, *first - kept);
  }
  return missing;
}

}  // namespace boardrec
