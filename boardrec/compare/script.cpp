#include "boardrec/compare/script.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <vector>

#include "boardrec/session/named_calls.h"

namespace boardrec {
namespace {

constexpr std::uint64_t kLonger = 120'000'000'000;  // nanoseconds that the program has behind the last record

struct Moment {
  std::uint64_t time;
  std::string what;
};

/// What is known of the connection that goes on.
struct Connection {
  bool is_open = false;
  std::uint64_t last_sent = 0;  ///< when the last transfer to the station that succeeded began
  bool is_shut = false;         ///< by the program itself
  /// When the program could not receive what the station had sent, and has received nothing since.
  std::optional<std::uint64_t> unheard{};
};

std::string hex_digits(const std::string& bytes) {
  std::string text;
  for (const char byte : bytes) {
    char digits[4];
    std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
    text += digits;
  }
  return text;
}

class Script {
 public:
  void follow(const NamedCall& call) {
    const Record& record = *call.record;
    last_ = std::max(last_, record.ended);
    if (record.call == Call::accept) accepted(record);
    if (call.node != "station" || !connection_.is_open) return;
    if (record.call == Call::shutdown || record.call == Call::close) shut();
    if (record.call == Call::recv) received(record);
    if (record.call == Call::send) sent(record);
  }

  std::string text() {
    if (refused_) moments_.push_back({*refused_, "connect"});
    moments_.push_back({last_ + kLonger, "end"});
    std::ranges::stable_sort(moments_, {}, &Moment::time);
    std::string lines;
    for (const Moment& moment : moments_)
      lines.append(seconds_text(moment.time)).append(" ").append(moment.what).append("\n");
    return lines;
  }

 private:
  /// A station that could not be accepted is there again when the program tries once more.
  void accepted(const Record& record) {
    if (record.result < 0 || record.error != 0) {
      refused_ = record.ended;
      return;
    }
    refused_.reset();
    connection_ = {.is_open = true, .last_sent = record.ended};
    moments_.push_back({record.ended, "connect"});
  }

  void received(const Record& record) {
    if (connection_.is_shut || (record.flags & (kBegan | kCancelled)) != 0) return;
    if (record.result == 0) return gone(record.ended, "leave");
    if (record.result < 0) {
      const bool broken = record.error == ECONNRESET || record.error == ETIMEDOUT || record.error == EPIPE;
      connection_.unheard = record.ended;
      return broken ? gone(record.ended, "reset") : void();
    }
    connection_.unheard.reset();
    const Value& bytes = value_at(record.out, 0);
    if (bytes.type != ValueType::bytes)
      throw std::invalid_argument("what the station sent at " + seconds_text(record.ended) +
                                  " s is not in the recording");
    moments_.push_back({record.ended, "send " + hex_digits(bytes.bytes)});
  }

  /// The program leaves. What it did not hear is in no recording: one byte stands for it.
  void shut() {
    if (connection_.unheard && !connection_.is_shut) moments_.push_back({*connection_.unheard, "send 00"});
    connection_.is_shut = true;
  }

  /// A station that closes is first noticed by the second transfer to it.
  void sent(const Record& record) {
    if (record.error == 0) connection_.last_sent = record.began;
    const bool failed = record.error == EPIPE || record.error == ECONNRESET;
    if (failed && !connection_.is_shut) gone(connection_.last_sent, "leave");
  }

  void gone(std::uint64_t when, const char* how) {
    moments_.push_back({when, how});
    connection_.is_open = false;
  }

  std::vector<Moment> moments_;
  Connection connection_;
  std::optional<std::uint64_t> refused_;  ///< when no station could be accepted, and none was since
  std::uint64_t last_ = 0;
};

}  // namespace

std::string station_script(const Recording& recording) {
  Script script;
  for (const NamedCall& call : named_calls(recording)) script.follow(call);
  return script.text();
}

}  // namespace boardrec
