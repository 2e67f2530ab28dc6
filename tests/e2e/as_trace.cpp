#include "tests/e2e/as_trace.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <sstream>
#include <string_view>

namespace {

using boardrec::Call;
using boardrec::Record;

constexpr std::string_view kPathCalls[] = {"open",  "stat",   "lstat", "statfs", "mkdir",
                                           "rmdir", "unlink", "mount", "umount", "system"};
constexpr std::string_view kDescriptorCalls[] = {"close", "read", "write", "lseek", "ioctl", "recv", "send"};

bool is_one_of(std::string_view name, auto& names) {
  return std::ranges::find(names, name) != std::end(names);
}

std::string time_text(std::uint64_t nanoseconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6f", static_cast<double>(nanoseconds / 1000) / 1e6);
  return text;
}

std::string result_text(const Record& record) {
  std::string text = record.call == Call::open && record.result >= 0 ? "ok" : std::to_string(record.result);
  if (record.error != 0) text.append(" ").append(strerrorname_np(record.error));
  return text;
}

/// What the program's descriptors are on, as a trace calls it.
class Descriptors {
 public:
  void follow(const Record& record) {
    const auto result = record.result;
    if (record.call == Call::open && result >= 0) names_[result] = record.in[0].bytes;
    if (record.call == Call::socket) names_[result] = "socket";
    if (record.call == Call::listen) names_[record.in[0].number] = "listener";
    if (record.call == Call::accept) names_[result] = "station";
    if (record.call == Call::connect && record.error == 0) names_[record.in[0].number] = "application";
  }
  std::string name(std::int64_t fd) const {
    const auto found = names_.find(fd);
    return found != names_.end() ? found->second : std::to_string(fd);
  }
  void closed(std::int64_t fd) { names_.erase(fd); }

 private:
  std::map<std::int64_t, std::string> names_{};
};

/// "29.433928 sleep 5" of a trace, taken apart.
struct TraceLine {
  std::string time{};
  std::string call{};
  std::string subject{};
  std::string first{};  ///< what follows it
  std::string result{};

  explicit TraceLine(const std::string& line) {
    std::istringstream words(line);
    words >> time >> call >> subject >> first;
    const auto equals = line.rfind(" = ");
    if (equals != std::string::npos) result = line.substr(equals + 3);
  }
};

}  // namespace

std::vector<std::string> calls_of(const boardrec::Recording& recording) {
  constexpr std::int64_t kInterfaceAddress = 0x8915;
  std::vector<std::string> lines;
  Descriptors descriptors;
  for (const Record& record : recording.records) {
    if ((record.flags & (boardrec::kBegan | boardrec::kCancelled)) != 0) continue;
    descriptors.follow(record);
    const std::string_view call = boardrec::find_call(record.call)->name;
    std::string subject;
    if (is_one_of(call, kPathCalls)) {
      subject = record.in[0].bytes;
    } else if (is_one_of(call, kDescriptorCalls)) {
      subject = descriptors.name(record.in[0].number);
    } else {
      continue;
    }
    if (record.call == Call::close) descriptors.closed(record.in[0].number);
    if (record.call == Call::ioctl) {
      if (record.in[1].number == kInterfaceAddress) continue;
      char request[16];
      std::snprintf(request, sizeof request, " 0x%08llx",
                    static_cast<unsigned long long>(record.in[1].number));
      subject += request;
    }
    lines.push_back(time_text(record.began) + " " + std::string(call) + " " + subject + " = " +
                    result_text(record));
  }
  return lines;
}

std::vector<std::string> calls_of(const std::vector<std::string>& trace) {
  std::vector<std::string> lines;
  std::set<std::string> streams;  // what these read stands in no record of its own
  for (const std::string& text : trace) {
    const TraceLine line(text);
    if (line.call == "fopen") streams.insert(line.subject);
    const bool counts = is_one_of(line.call, kPathCalls) || is_one_of(line.call, kDescriptorCalls);
    if (!counts || streams.contains(line.subject)) {
      if (line.call == "close") streams.erase(line.subject);
      continue;
    }
    if (line.call == "ioctl" && line.first == "0x00008915") continue;
    const std::string request = line.call == "ioctl" ? " " + line.first : "";
    lines.push_back(line.time + " " + line.call + " " + line.subject + request + " = " + line.result);
  }
  return lines;
}

std::vector<std::string> sleeps_of(const boardrec::Recording& recording) {
  std::vector<std::string> lines;
  for (const Record& record : recording.records) {
    if (record.call != Call::sleep && record.call != Call::usleep) continue;
    lines.push_back(time_text(record.began) + " " + std::string(boardrec::find_call(record.call)->name) +
                    " " + std::to_string(record.in[0].number));
  }
  return lines;
}

std::vector<std::string> sleeps_of(const std::vector<std::string>& trace) {
  std::vector<std::string> lines;
  for (const std::string& text : trace) {
    const TraceLine line(text);
    if (line.call == "sleep" || line.call == "usleep")
      lines.push_back(line.time + " " + line.call + " " + line.subject);
  }
  return lines;
}
