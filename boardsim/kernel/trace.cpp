#include "boardsim/kernel/trace.h"

#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

namespace boardsim {
namespace {

constexpr int kLargestError = 133;          // the last one Linux knows
constexpr std::int64_t kSmallWord = 65536;  // from here on words are addresses and masks: shown in hex

[[gnu::format(printf, 1, 2)]] std::string format(const char* pattern, ...) {
  char text[64];
  va_list arguments;
  va_start(arguments, pattern);
  std::vsnprintf(text, sizeof text, pattern, arguments);
  va_end(arguments);
  return text;
}

std::string word_text(std::uint32_t word) {
  const auto value = static_cast<std::int32_t>(word);
  if (value > -kSmallWord && value < kSmallWord) return std::to_string(value);
  return format("0x%08" PRIx32, word);
}

std::string record_text(const std::vector<std::uint32_t>& record) {
  std::string text = "{";
  for (const std::uint32_t word : record) text.append(text.size() > 1 ? ", " : "").append(word_text(word));
  return text.append("}");
}

/// Lengths and waits: plain numbers.
std::string number_text(const std::vector<std::uint32_t>& record) {
  std::string text;
  for (const std::uint32_t word : record) text.append(" ").append(std::to_string(word));
  return text;
}

bool is_sleep(const Call& call) {
  return call.name == "sleep" || call.name == "usleep" || call.name == "nanosleep" ||
         call.name == "clock_nanosleep";
}

bool opens(const Call& call) {
  return call.name == "open" || call.name == "fopen";
}

bool gives_descriptor(const Call& call) {
  return opens(call) || call.name == "socket" || call.name == "accept";
}

std::string result_text(const Call& call) {
  if (call.error != 0) return std::to_string(call.result).append(" ").append(error_name(call.error));
  return gives_descriptor(call) ? "ok" : std::to_string(call.result);
}

}  // namespace

std::string Call::text() const {
  std::string text = name;
  if (!node.empty()) text.append(" ").append(node);
  if (name == "thread started" || name == "thread ended") return text;
  if (name == "ioctl") {
    text.append(format(" 0x%08" PRIx32 " ", request)).append(record_text(record));
  } else if (name == "reboot") {
    text += format(" 0x%" PRIx32, record.empty() ? 0 : record.front());
  } else if (name == "mkdir") {
    text += format(" 0%" PRIo32, record.empty() ? 0 : record.front());
  } else if (!opens(*this)) {
    text += number_text(record);
  }
  if (is_sleep(*this) && error == 0) return text;
  return text.append(" = ").append(result_text(*this));
}

std::string Call::timed_text() const {
  constexpr auto kSecond = std::micro::den;
  return format("%" PRId64 ".%06" PRId64 " ", std::int64_t{at.count() / kSecond},
                std::int64_t{at.count() % kSecond})
      .append(text());
}

void Trace::add(Call call, Subject subject) {
  if (sink_) sink_(call);
  if (keeps_) entries_.push_back({std::move(call), subject});
}

std::vector<Call> Trace::calls() const {
  std::vector<Call> calls;
  for (const Entry& entry : entries_) calls.push_back(entry.call);
  return calls;
}

std::vector<Call> Trace::hardware_calls() const {
  std::vector<Call> calls;
  for (const Entry& entry : entries_) {
    if (entry.subject == Subject::hardware) calls.push_back(entry.call);
  }
  return calls;
}

std::string error_name(int error) {
  const char* name = strerrorname_np(error);
  return name != nullptr ? name : std::to_string(error);
}

int error_number(std::string_view name) {
  for (int error = 1; error <= kLargestError; ++error) {
    const char* known = strerrorname_np(error);
    if (known != nullptr && name == known) return error;
  }
  return name == "EWOULDBLOCK" ? error_number("EAGAIN") : 0;
}

}  // namespace boardsim
