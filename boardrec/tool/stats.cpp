#include "boardrec/tool/stats.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "boardrec/session/named_calls.h"
#include "boardrec/session/station.h"
#include "boardrec/tool/table.h"
#include "catalogue/catalogue.h"

namespace boardrec {
namespace {

using Rows = std::vector<std::vector<std::string>>;

constexpr std::size_t kSlowest = 10;
constexpr std::int64_t kSecond = 1'000'000'000;

struct Sum {
  std::uint64_t calls = 0;
  std::uint64_t failed = 0;
  std::uint64_t nanoseconds = 0;
  std::uint64_t read = 0;  ///< bytes
  std::uint64_t written = 0;
};

std::uint64_t duration(const Record& record) {
  return record.ended > record.began ? record.ended - record.began : 0;
}

bool reads(Call call) {
  return call == Call::read || call == Call::recv || call == Call::fgets || call == Call::fread;
}

bool writes(Call call) {
  return call == Call::write || call == Call::send || call == Call::fwrite;
}

/// How many bytes a value has, here or elsewhere in the recording.
std::uint64_t size_of(const Value& value) {
  return value.type == ValueType::bytes || value.type == ValueType::digest ? value.size : 0;
}

void add(Sum& sum, const Record& record) {
  ++sum.calls;
  if (record.error != 0) ++sum.failed;
  sum.nanoseconds += duration(record);
  if (reads(record.call)) sum.read += size_of(value_at(record.out, 0));
  if (writes(record.call)) sum.written += size_of(value_at(record.in, 2));
}

/// The start of a program: its file, its arguments.
std::string program_of(const Recording& recording) {
  for (const Record& record : recording.records) {
    if (record.call != Call::start) continue;
    std::string text = value_at(record.in, 0).bytes;
    std::string arguments = value_at(record.in, 1).bytes;
    std::ranges::replace(arguments, '\0', ' ');
    return printable(arguments.empty() ? text : text + ", called as: " + arguments);
  }
  return "not known";
}

std::string date_text(std::uint64_t nanoseconds) {
  const auto seconds = static_cast<std::time_t>(nanoseconds / kSecond);
  std::tm date{};
  char text[64] = "";
  gmtime_r(&seconds, &date);
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &date);
  return text;
}

std::string end_of(const Recording& recording, const std::vector<NamedCall>& calls) {
  if (!recording.broken.empty()) return "not known: the recording breaks off";
  if (calls.empty()) return "not known";
  const Record& last = *calls.back().record;
  if (last.call == Call::finish)
    return "by itself, with status " + std::to_string(value_at(last.in, 0).number);
  std::set<std::uint16_t> threads;
  for (auto call = calls.rbegin(); call != calls.rend(); ++call) {
    const bool is_last_of_thread = threads.insert(call->record->thread).second;
    if (is_last_of_thread && (call->record->flags & kBegan) != 0) return "within " + text(*call);
  }
  return "not by itself: its last call was " + text(calls.back());
}

void show_session(const Recording& recording, const std::vector<NamedCall>& calls, std::uint64_t file_size,
                  std::ostream& out) {
  std::uint64_t length = 0;
  std::set<std::uint16_t> threads;
  for (const Record& record : recording.records) {
    length = std::max(length, record.ended);
    threads.insert(record.thread);
  }
  char each[32] = "";
  if (!calls.empty()) {
    std::snprintf(each, sizeof each, ", %.1f a record",
                  static_cast<double>(file_size - sizeof(Header)) / static_cast<double>(calls.size()));
  }
  out << "Session\n";
  show_table(
      {{"program", program_of(recording)},
       {"recorded", date_text(recording.header.real_time) + ", by a machine of " +
                        std::to_string(8 * recording.header.word_size) + " bits"},
       {"length", seconds_text(length) + " s"},
       {"file", std::to_string(file_size) + " bytes, " + std::to_string(calls.size()) + " records" + each},
       {"threads", std::to_string(threads.size())},
       {"ended", end_of(recording, calls)}},
      2, out);
}

void show_requests(const std::vector<NamedCall>& calls, std::ostream& out) {
  Rows rows{{"at", "connection", "code", "test", "answer", "seconds"}};
  for (const StationRequest& request : station_requests(calls)) {
    const std::uint64_t asked = calls[request.call].record->ended;
    const catalogue::Test* const test =
        request.code ? catalogue::find_test(static_cast<std::int32_t>(*request.code)) : nullptr;
    const bool answered = !request.value.empty() && request.answered >= asked;
    rows.push_back({seconds_text(asked), std::to_string(request.connection), name_of(request),
                    test != nullptr ? std::string(test->name) : "-", answered ? request.value : "none",
                    answered ? seconds_text(request.answered - asked) : "-"});
  }
  out << "\nRequests of the station\n";
  if (rows.size() == 1) rows = {{"none"}};
  show_table(rows, 5, out);
}

/// The sums in rows, those that took longest first.
Rows rows_of(const std::map<std::string, Sum>& sums, const std::vector<std::string>& headings) {
  std::vector<std::pair<std::string, Sum>> sorted(sums.begin(), sums.end());
  std::ranges::stable_sort(sorted, std::ranges::greater(), [](const auto& row) {
    return std::pair(row.second.nanoseconds, row.second.calls);
  });
  Rows rows{headings};
  for (const auto& [name, sum] : sorted) {
    rows.push_back({name, std::to_string(sum.calls), std::to_string(sum.failed),
                    seconds_text(sum.nanoseconds), std::to_string(sum.read), std::to_string(sum.written)});
  }
  return rows;
}

void show_sums(const std::vector<NamedCall>& calls, std::ostream& out) {
  std::map<std::string, Sum> kinds;
  std::map<std::string, Sum> nodes;
  for (const NamedCall& call : calls) {
    if ((call.record->flags & kBegan) != 0 || call.record->call < Call::open) continue;
    add(kinds[std::string(name_of(call.record->call))], *call.record);
    if (call.in_trace && !call.node.empty()) add(nodes[call.node], *call.record);
  }
  out << "\nCalls by kind\n";
  show_table(rows_of(kinds, {"call", "calls", "failed", "seconds", "bytes read", "bytes written"}), 1, out);
  out << "\nCalls by node\n";
  show_table(rows_of(nodes, {"node", "calls", "failed", "seconds", "bytes read", "bytes written"}), 1, out);
}

void show_slowest(std::vector<NamedCall> calls, std::ostream& out) {
  std::erase_if(calls, [](const NamedCall& call) { return call.record->call < Call::open; });
  std::ranges::stable_sort(calls, std::ranges::greater(),
                           [](const NamedCall& call) { return duration(*call.record); });
  out << "\nSlowest calls\n";
  Rows rows{{"seconds", "record", "call"}};
  for (std::size_t i = 0; i < std::min(calls.size(), kSlowest); ++i) {
    rows.push_back({seconds_text(duration(*calls[i].record)), std::to_string(calls[i].record->number),
                    timed_text(calls[i])});
  }
  show_table(rows, 3, out);
}

/// What the recorder could not write down, and what it says of itself.
void show_gaps(const Recording& recording, std::ostream& out) {
  std::uint64_t unknown = 0;
  std::uint64_t missing = 0;
  Rows rows;
  for (const Record& record : recording.records) {
    if ((record.flags & kUnknownSize) != 0) ++unknown;
    if ((record.flags & kNotRecorded) != 0) ++missing;
    if (record.call == Call::note)
      rows.push_back({"at " + seconds_text(record.began), printable(value_at(record.in, 0).bytes)});
  }
  if (unknown != 0) rows.push_back({std::to_string(unknown), "requests whose record's size nobody knows"});
  if (missing != 0) rows.push_back({std::to_string(missing), "calls with bytes that could not be recorded"});
  if (!recording.broken.empty()) rows.push_back({"damaged", recording.broken});
  out << "\nNot recorded\n";
  if (rows.empty()) rows = {{"nothing that is known of"}};
  show_table(rows, 2, out);
}

}  // namespace

void show_stats(const Recording& recording, std::uint64_t file_size, std::ostream& out) {
  const std::vector<NamedCall> calls = named_calls(recording);
  show_session(recording, calls, file_size, out);
  show_requests(calls, out);
  show_sums(calls, out);
  show_slowest(calls, out);
  show_gaps(recording, out);
}

}  // namespace boardrec
