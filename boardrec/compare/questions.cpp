#include "boardrec/compare/questions.h"

#include <fcntl.h>
#include <linux/sockios.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <set>
#include <tuple>

#include "boardrec/session/descriptors.h"
#include "boardrec/session/encoding.h"
#include "boardrec/session/requests.h"
#include "boardrec/session/station.h"

namespace boardrec {
namespace {

constexpr std::string_view kConsole = "console";
constexpr std::string_view kCommands = "commands";
constexpr std::string_view kRestart = "restart";
constexpr std::string_view kThreads = "threads";
constexpr std::string_view kApplication = "application";
constexpr std::uint32_t kReadClock = 0x80247009;

std::uint32_t request_of(const Record& record) {
  return static_cast<std::uint32_t>(value_at(record.in, 1).number);
}

bool is_of_station(const NamedCall& call) {
  return call.node == "station" || call.node == "listener";
}

/// What nobody is asked by, or what the station decides.
bool is_left_out(const NamedCall& call) {
  if (find_call(call.record->call) == nullptr) return true;  // of a later recorder
  switch (call.record->call) {
    case Call::start:
    case Call::finish:
    case Call::note:
    case Call::thread_ended:
    case Call::clock_gettime:
    case Call::gettimeofday:
    case Call::random:
    case Call::getsockname:  // ports are any session's own
    case Call::pthread_join:
    case Call::pthread_cancel:
    case Call::pthread_mutex_lock:
    case Call::pthread_mutex_unlock:
      return true;
    case Call::select:
    case Call::poll:
    case Call::recv:
      return is_of_station(call);
    default:
      return (call.record->flags & kCancelled) != 0;
  }
}

/// What stands at a path: the medium that is mounted there, else the path itself.
class Places {
 public:
  void follow(const Record& record) {
    if (record.call == Call::mount && record.result == 0)
      mounted_[value_at(record.in, 1).bytes] = value_at(record.in, 0).bytes;
  }
  /// The name of the place goes on after the medium has gone: a file there is still named.
  std::string device_at(const std::string& path) const {
    for (const auto& [place, node] : mounted_) {
      if (path == place || path.starts_with(place + "/")) return node;
    }
    return path;
  }

 private:
  std::map<std::string, std::string> mounted_;
};

std::string device_of(const NamedCall& call, const Places& places) {
  const Record& record = *call.record;
  switch (record.call) {
    case Call::socket:
    case Call::bind:
    case Call::listen:
    case Call::accept:
    case Call::shutdown:
      return std::string(kNetwork);
    case Call::connect:
      return std::string(call.node == kApplicationAddress ? kApplication : kNetwork);
    case Call::system:
      return std::string(kCommands);
    case Call::reboot:
      return std::string(kRestart);
    case Call::pthread_create:
      return std::string(kThreads);
    case Call::sleep:
    case Call::usleep:
    case Call::nanosleep:
    case Call::clock_nanosleep:
      return std::string(kSleeps);
    case Call::mount:
      return value_at(record.in, 0).bytes;
    case Call::mkdir:
    case Call::rmdir:
      return call.node;
    default:
      break;
  }
  if (record.call == Call::ioctl && request_of(record) == SIOCGIFADDR) return std::string(kNetwork);
  if (call.node == "0" || call.node == "1" || call.node == "2") return std::string(kConsole);
  if (is_of_station(call) || call.node == "socket") return std::string(kNetwork);
  return places.device_at(call.node);
}

std::string number_text(const Record& record, std::size_t index) {
  const Value& value = value_at(record.in, index);
  return value.type == ValueType::number ? " " + std::to_string(value.number) : " none";
}

std::uint64_t digest_of(const Value& value) {
  return value.type == ValueType::digest ? value.digest : boardrec::digest_of(std::string_view(value.bytes));
}

/// Everything that the program asked, but for numbers of descriptors, addresses of its own, and times that
/// depend on when it asks.
std::string values_asked(const Record& record) {
  std::string text;
  switch (record.call) {
    case Call::open:
      return " " + std::to_string(value_at(record.in, 1).number & O_ACCMODE);
    case Call::fopen:
      return " " + value_at(record.in, 1).bytes;
    case Call::ioctl:
      text = " " + request_text(request_of(record));
      if (request_of(record) == SIOCGIFADDR) return text;
      for (const std::uint32_t word : words_in(request_of(record), value_at(record.in, 2)))
        text += " " + std::to_string(word);
      return text;
    case Call::lseek:
      return number_text(record, 1) + number_text(record, 2);
    case Call::mount:
      return number_text(record, 3);
    case Call::socket:
      return number_text(record, 0) + number_text(record, 1) + number_text(record, 2);
    case Call::sleep:
    case Call::usleep:
    case Call::nanosleep:
    case Call::reboot:
      return number_text(record, 0);
    case Call::clock_nanosleep:
      return value_at(record.in, 1).number == 0 ? number_text(record, 2) : "";
    case Call::read:
    case Call::recv:
    case Call::fgets:
    case Call::fread:
    case Call::write:
    case Call::fwrite:
    case Call::send:
    case Call::listen:
    case Call::access:
    case Call::mkdir:
    case Call::shutdown:
    case Call::tcflush:
    case Call::tcsetattr:
    case Call::umount:
      return number_text(record, 1);
    default:
      return "";
  }
}

std::string kind_of(const Record& record) {
  std::string kind(find_call(record.call)->name);
  if (record.call == Call::ioctl) kind += " " + request_text(request_of(record));
  return kind;
}

/// Seconds since 1970 of a real-time clock's record; none for what is no such record.
std::optional<double> clock_time(const Record& record) {
  const std::string& bytes = value_at(record.out, 0).bytes;
  std::int32_t words[6]{};
  if (record.call != Call::ioctl || request_of(record) != kReadClock || bytes.size() < sizeof words)
    return std::nullopt;
  std::memcpy(words, bytes.data(), sizeof words);
  tm date{};
  date.tm_sec = words[0], date.tm_min = words[1], date.tm_hour = words[2];
  date.tm_mday = words[3], date.tm_mon = words[4], date.tm_year = words[5];
  return static_cast<double>(timegm(&date));
}

/// The documents that a thread sends to the station, put together from what each transfer moved.
class Documents {
 public:
  void take(const Record& record) {
    const Value& bytes = value_at(record.in, 2);
    waiting_ += bytes.bytes.substr(0, static_cast<std::size_t>(std::max<std::int64_t>(record.result, 0)));
  }
  /// The next document that is whole; empty when there is none.
  std::string next() {
    std::int32_t size = 0;
    if (waiting_.size() < sizeof size) return {};
    std::memcpy(&size, waiting_.data(), sizeof size);
    const std::size_t whole = sizeof size + static_cast<std::size_t>(std::max(size, 0));
    if (waiting_.size() < whole) return {};
    const std::string document = waiting_.substr(sizeof size, whole - sizeof size);
    waiting_.erase(0, whole);
    return document;
  }

 private:
  std::string waiting_;
};

/// Puts a session together, call by call.
class Builder {
 public:
  explicit Builder(Session& session) : session_(session) {
    for (const StationRequest& request : station_requests(session.calls)) {
      ++session_.requests;
      names_[request.call] =
          "request " + std::to_string(session_.requests) +
          (request.code ? " (TestCode " + std::to_string(*request.code) + ")" : " (no TestCode)");
    }
    for (const NamedCall& call : session.calls) {
      if ((call.record->flags & kBegan) == 0) ended_.insert(beginning(*call.record));
    }
  }

  void build() {
    for (std::size_t at = 0; at < session_.calls.size(); ++at) take(at);
    for (auto& [number, thread] : threads_) session_.threads.push_back(std::move(thread));
  }

 private:
  static std::tuple<Call, std::uint16_t, std::uint64_t> beginning(const Record& record) {
    return {record.call, record.thread, record.began};
  }

  Segment& segment_of(std::uint16_t number) {
    SessionThread& thread = threads_[number];
    if (thread.segments.empty()) {
      thread.number = number;
      thread.segments.push_back({number == 0 ? "the start" : "thread " + std::to_string(number), {}});
    }
    return thread.segments.back();
  }

  void take(std::size_t at) {
    const NamedCall& call = session_.calls[at];
    const Record& record = *call.record;
    if (record.thread == 0) session_.main_ended = std::max(session_.main_ended, record.ended);
    // Of a call that was announced and came back, the record of its end counts.
    if ((record.flags & kBegan) != 0 && ended_.contains(beginning(record))) return;
    if (record.call == Call::finish || record.call == Call::reboot) session_.ended = true;
    places_.follow(record);
    Segment& current = segment_of(record.thread);
    if (record.call == Call::accept && record.thread == 0)
      threads_[0].segments.push_back({"connection " + std::to_string(++connections_), {}});
    if (const auto request = names_.find(at); request != names_.end() && record.thread == 0)
      threads_[0].segments.push_back({request->second, {}});
    if (is_left_out(call)) return;
    if (record.call == Call::send && call.node == "station" && record.error == 0) return add_documents(call);
    Segment& segment = record.thread == 0 ? threads_[0].segments.back() : current;
    segment.questions.push_back(question_of(call));
  }

  void add_documents(const NamedCall& call) {
    Documents& documents = documents_[{call.record->thread, call.opened_by}];
    documents.take(*call.record);
    for (std::string text = documents.next(); !text.empty(); text = documents.next()) {
      segment_of(call.record->thread)
          .questions.push_back({.call = &call,
                                .device = std::string(kStation),
                                .kind = "document",
                                .asked = "document",
                                .document = std::move(text),
                                .has_duration = false});
    }
  }

  Question question_of(const NamedCall& call) {
    const Record& record = *call.record;
    Question question{.call = &call, .device = device_of(call, places_), .kind = kind_of(record)};
    const bool has_own_address = record.call == Call::bind;
    const bool is_of_socket = is_of_station(call) || call.node == "socket" || has_own_address;
    question.asked = question.kind + " " + (is_of_socket ? "" : call.node) + values_asked(record);
    if (is_of_socket && record.call == Call::send) question.asked = "send";
    question.has_duration = !is_of_socket && record.call != Call::pthread_create;
    if (const auto time = clock_time(record)) {
      const double passed = static_cast<double>(record.began) / 1e9;
      if (!first_clock_) first_clock_ = *time - passed;
      question.clock_drift = *time - passed - *first_clock_;
    }
    return question;
  }

  Session& session_;
  std::map<std::size_t, std::string> names_;  ///< of the requests, by the call that received their end
  std::set<std::tuple<Call, std::uint16_t, std::uint64_t>> ended_;
  std::map<std::uint16_t, SessionThread> threads_;
  std::map<std::pair<std::uint16_t, std::size_t>, Documents> documents_;
  Places places_;
  std::size_t connections_ = 0;
  std::optional<double> first_clock_;
};

}  // namespace

std::string request_text(std::uint32_t request) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08x", request);
  return text;
}

bool is_same_question(const Question& one, const Question& other) {
  if (one.asked != other.asked) return false;
  const Call call = one.call->record->call;
  const bool hands_in = call == Call::write || call == Call::fwrite || call == Call::send;
  if (!hands_in || !one.document.empty()) return true;
  const Value& bytes = value_at(one.call->record->in, 2);
  const Value& others = value_at(other.call->record->in, 2);
  const bool fell_short =
      bytes.type == ValueType::absent || others.type == ValueType::absent || bytes.size != others.size;
  return fell_short || digest_of(bytes) == digest_of(others);
}

Session session_of(const Recording& recording) {
  Session session;
  session.calls = named_calls(recording);
  Builder(session).build();
  return session;
}

}  // namespace boardrec
