// The text of a call.
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "boardrec/session/named_calls.h"
#include "boardrec/session/requests.h"

namespace boardrec {
namespace {

constexpr std::int64_t kSmallWord = 65536;  // from here on words are addresses and masks: shown in hex
constexpr std::int64_t kSecond = 1'000'000'000;

std::int64_t number_at(const Record& record, std::size_t index) {
  return value_at(record.in, index).number;
}

[[gnu::format(printf, 1, 2)]] std::string format(const char* pattern, ...) {
  char text[64];
  va_list arguments;
  va_start(arguments, pattern);
  std::vsnprintf(text, sizeof text, pattern, arguments);
  va_end(arguments);
  return text;
}

std::string record_text(const std::vector<std::uint32_t>& record) {
  std::string text = "{";
  for (const std::uint32_t word : record) {
    const auto value = static_cast<std::int32_t>(word);
    const bool is_small = value > -kSmallWord && value < kSmallWord;
    text.append(text.size() > 1 ? ", " : "")
        .append(is_small ? std::to_string(value) : format("0x%08x", word));
  }
  return text + "}";
}

/// A number as a trace has it: 32 bits.
std::string number_text(std::int64_t number) {
  return " " + std::to_string(static_cast<std::uint32_t>(number));
}

/// Seconds, and what is left in parts of which a second has so many.
std::string span_text(const Value& span, std::int64_t parts) {
  if (span.type != ValueType::number) return "";
  return number_text(span.number / kSecond) + number_text(span.number % kSecond / (kSecond / parts));
}

std::string poll_text(const Value& span) {
  constexpr std::int64_t kMillisecond = 1'000'000;
  const bool for_ever = span.type != ValueType::number || span.number < 0;
  return number_text(for_ever ? -1 : span.number / kMillisecond);
}

/// What stands between a call's node and its result.
std::string handed_in(const Record& record) {
  switch (record.call) {
    case Call::ioctl: {
      const auto request = static_cast<std::uint32_t>(number_at(record, 1));
      return format(" 0x%08x ", request) + record_text(words_in(request, value_at(record.in, 2)));
    }
    case Call::reboot:
      return format(" 0x%x", static_cast<std::uint32_t>(number_at(record, 0)));
    case Call::mkdir:
      return format(" 0%o", static_cast<std::uint32_t>(number_at(record, 1)));
    case Call::mount:
      return number_text(number_at(record, 3));
    case Call::read:
    case Call::write:
    case Call::lseek:
    case Call::recv:
    case Call::send:
    case Call::shutdown:
    case Call::listen:
    case Call::access:
    case Call::tcsetattr:
    case Call::tcflush:
    case Call::fgets:
    case Call::fread:
    case Call::fwrite:
      return number_text(number_at(record, 1));
    case Call::sleep:
    case Call::usleep:
      return number_text(number_at(record, 0));
    case Call::nanosleep:
      return span_text(value_at(record.in, 0), kSecond);
    case Call::clock_nanosleep:
      return span_text(value_at(record.in, 2), kSecond);
    case Call::select:
      return span_text(value_at(record.in, 4), 1'000'000);
    case Call::poll:
      return poll_text(value_at(record.in, 1));
    default:
      return "";
  }
}

bool gives_descriptor(Call call) {
  return call == Call::open || call == Call::fopen || call == Call::socket || call == Call::accept;
}

std::string error_name(int error) {
  const char* const name = strerrorname_np(error);
  return name != nullptr ? name : std::to_string(error);
}

std::string result_text(const Record& record) {
  if ((record.flags & (kBegan | kCancelled)) != 0) return "?";
  const bool is_null = record.call == Call::fopen && record.result == 0;
  if (record.call == Call::pthread_create && record.result != 0)
    return "-1 " + error_name(static_cast<int>(record.result));
  if (record.error != 0) return std::to_string(is_null ? -1 : record.result) + " " + error_name(record.error);
  return gives_descriptor(record.call) ? "ok" : std::to_string(record.result);
}

/// A call that traces do not have: every value that went in and came back.
std::string plain_text(const NamedCall& call) {
  std::string text(name_of(call.record->call));
  for (const auto* values : {&call.record->in, &call.record->out}) {
    for (const Value& value : *values) {
      if (value.type == ValueType::number) text.append(" ").append(std::to_string(value.number));
      if (value.type == ValueType::bytes) text.append(" ").append(printable(value.bytes));
      if (value.type == ValueType::digest) text.append(" ").append(std::to_string(value.size));
    }
  }
  const bool returns = call.record->call >= Call::open;
  return returns ? text.append(" = ").append(result_text(*call.record)) : text;
}

bool is_plain_sleep(const Record& record) {
  const bool sleeps = record.call == Call::sleep || record.call == Call::usleep ||
                      record.call == Call::nanosleep || record.call == Call::clock_nanosleep;
  return sleeps && record.error == 0;
}

}  // namespace

std::string text(const NamedCall& call) {
  const Record& record = *call.record;
  if (!call.in_trace) return plain_text(call);
  if (record.call == Call::thread_ended) return "thread ended";
  if (record.call == Call::pthread_create && record.result == 0) return "thread started";
  std::string text(name_of(record.call));
  if (!call.node.empty()) text.append(" ").append(call.node);
  text += handed_in(record);
  if (is_plain_sleep(record)) return text;
  return text.append(" = ").append(result_text(record));
}

}  // namespace boardrec
