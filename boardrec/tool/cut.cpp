#include "boardrec/tool/cut.h"

#include <charconv>
#include <cmath>
#include <set>

#include "boardrec/session/descriptors.h"
#include "boardrec/session/encoding.h"
#include "boardrec/session/part.h"
#include "boardrec/tool/exit_code.h"

namespace boardrec {
namespace {

bool is_before(const Record& record, const CutPlace& place) {
  if (place.record) return record.number < *place.record;
  return static_cast<double>(record.began) * 1e-9 < *place.seconds;
}

/// The records that opened what is open, and made the threads that there are, when the part begins.
std::set<std::size_t> openings_before(const Recording& recording, std::size_t first) {
  Descriptors descriptors;
  std::set<std::size_t> openings;
  for (std::size_t i = 0; i < first; ++i) {
    const Record& record = recording.records[i];
    if ((record.flags & kBegan) == 0) descriptors.follow(record);
    const bool makes_thread = record.call == Call::pthread_create && record.result == 0;
    if (makes_thread || record.call == Call::start) openings.insert(i);
  }
  const std::vector<std::size_t> open = descriptors.openings();
  openings.insert(open.begin(), open.end());
  return openings;
}

Record note_of_cut(const Recording& whole, std::size_t first, std::size_t last, std::uint64_t time) {
  return {.call = Call::note,
          .began = time,
          .ended = time,
          .in = {bytes_value(note_of_part(first, last, whole.records.size()))}};
}

/// Digests of the blocks whose bytes a recording has, and those of which it has none.
std::size_t digests_without_bytes(const Recording& recording) {
  std::set<std::uint64_t> known;
  std::size_t missing = 0;
  for (const Record& record : recording.records) {
    const auto learn = [&known](const Value& value) {
      if (value.type == ValueType::digest) known.insert(value.digest);
      if (value.type == ValueType::bytes && value.bytes.size() > kLongestWhole)
        known.insert(digest_of(value.bytes));
    };
    for (const Value& value : record.in) learn(value);  // a replay has it from the program itself
    for (const Value& value : record.out) {
      if (value.type == ValueType::digest && !known.contains(value.digest)) ++missing;
      learn(value);
    }
  }
  return missing;
}

}  // namespace

CutPlace cut_place(const std::string& text) {
  const char* const end = text.data() + text.size();
  std::size_t record = 0;
  if (const auto read = std::from_chars(text.data(), end, record); read.ec == std::errc() && read.ptr == end)
    return {.record = record, .seconds = {}};
  double seconds = 0;
  const auto read = std::from_chars(text.data(), end, seconds);
  if (read.ec != std::errc() || read.ptr + 1 != end || *read.ptr != 's' || !std::isfinite(seconds) ||
      seconds < 0)
    throw UsageError("\"" + text +
                     "\" is no place in a recording: 120 is the record of this number, 2.5s are seconds");
  return {.record = {}, .seconds = seconds};
}

Recording cut(const Recording& recording, const std::optional<CutPlace>& from,
              const std::optional<CutPlace>& to) {
  const std::vector<Record>& records = recording.records;
  std::size_t first = 0;
  while (from && first < records.size() && is_before(records[first], *from)) ++first;
  std::size_t end = first;
  while (end < records.size() && (!to || is_before(records[end], *to))) ++end;
  if (first == end) throw UsageError("no record lies between these two places");

  Recording part{.header = recording.header};
  std::set<std::size_t> before = openings_before(recording, first);
  Record note = note_of_cut(recording, first, end - 1, records[first].began);
  if (records[first].call == Call::start) before.insert(first++);
  for (const std::size_t opening : before) part.records.push_back(records[opening]);
  part.records.push_back(std::move(note));
  part.records.insert(part.records.end(), records.begin() + static_cast<std::ptrdiff_t>(first),
                      records.begin() + static_cast<std::ptrdiff_t>(end));
  return part;
}

std::size_t lost_blocks(const Recording& whole, const Recording& part) {
  const std::size_t before = digests_without_bytes(whole);
  const std::size_t now = digests_without_bytes(part);
  return now > before ? now - before : 0;
}

}  // namespace boardrec
