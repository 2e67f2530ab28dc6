#include "boardrec/session/recording.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>

namespace boardrec {
namespace {

const unsigned char* raw(std::string_view bytes) {
  return reinterpret_cast<const unsigned char*>(bytes.data());
}

/// Takes numbers and bytes off the front; false once there are not enough.
class Taker {
 public:
  explicit Taker(std::string_view bytes) : rest_(bytes) {}

  template <typename Number>
  bool take(Number& number) {
    if (rest_.size() < sizeof number) return false;
    std::memcpy(&number, rest_.data(), sizeof number);
    rest_.remove_prefix(sizeof number);
    return true;
  }
  bool take(std::string& bytes, std::size_t size) {
    if (rest_.size() < size) return false;
    bytes = rest_.substr(0, size);
    rest_.remove_prefix(size);
    return true;
  }
  bool empty() const { return rest_.empty(); }

 private:
  std::string_view rest_;
};

bool take_value(Taker& from, Value& value) {
  if (!from.take(value.type)) return false;
  switch (value.type) {
    case ValueType::absent:
      return true;
    case ValueType::number:
      return from.take(value.number);
    case ValueType::bytes:
      return from.take(value.size) && from.take(value.bytes, value.size);
    case ValueType::digest:
      return from.take(value.size) && from.take(value.digest);
  }
  return false;
}

/// Each value has a byte at least: numbers of values that a body cannot have are found before room is made
/// for them.
bool take_values(Taker& from, std::vector<Value>& values, std::size_t count) {
  for (; count > 0; --count) {
    if (!take_value(from, values.emplace_back())) return false;
  }
  return true;
}

std::optional<Record> record_of(std::string_view bytes) {
  Taker from(bytes);
  Body body{};
  if (!from.take(body)) return std::nullopt;
  Record record;
  record.call = Call{body.call};
  record.thread = body.thread;
  record.flags = body.flags;
  record.began = body.began;
  record.ended = body.ended;
  record.result = body.result;
  record.error = body.error;
  const bool whole = take_values(from, record.in, body.in) && take_values(from, record.out, body.out) &&
                     from.empty() && find_call(record.call) != nullptr;
  return whole ? std::optional(record) : std::nullopt;
}

Header header_of(std::string_view bytes, const std::string& name) {
  Header header{};
  if (bytes.size() < sizeof header.magic || std::memcmp(bytes.data(), kMagic, sizeof kMagic) != 0)
    throw Unreadable(name + " is no recording");
  if (bytes.size() < sizeof header) throw Unreadable(name + " was cut off within its first 64 bytes");
  std::memcpy(&header, bytes.data(), sizeof header);
  if (header.order != kOrder) {
    if (header.order == __builtin_bswap32(kOrder))
      throw Unreadable(name + " was recorded on a machine of the other byte order");
    throw Unreadable(name + " is damaged within its first 64 bytes");
  }
  if (header.version != kVersion) {
    throw Unreadable(name + " has version " + std::to_string(header.version) +
                     " of the format; this program reads " + std::to_string(kVersion));
  }
  if (header.checksum != checksum(raw(bytes), offsetof(Header, checksum)))
    throw Unreadable(name + " is damaged within its first 64 bytes");
  return header;
}

}  // namespace

const CallRow* find_call(Call call) {
  const CallRow* const row = std::ranges::find(kCalls, call, &CallRow::call);
  return row != std::end(kCalls) ? row : nullptr;
}

Recording read_recording(std::string_view bytes, const std::string& name) {
  Recording recording{.header = header_of(bytes, name)};
  const char* wrong = nullptr;
  std::size_t at = sizeof(Header);
  while (at < bytes.size()) {
    Frame frame{};
    const bool framed = Taker(bytes.substr(at)).take(frame);
    const std::string_view behind = framed ? bytes.substr(at + sizeof frame) : std::string_view{};
    if (!framed || (frame.size <= kLargestBody && behind.size() < frame.size)) {
      wrong = "was cut off";
      break;
    }
    const std::string_view body = behind.substr(0, frame.size);
    std::optional<Record> record;
    if (frame.size <= kLargestBody && checksum(raw(body), body.size()) == frame.checksum)
      record = record_of(body);
    if (!record) {
      wrong = "is damaged";
      break;
    }
    record->number = recording.records.size();
    record->offset = at;
    recording.records.push_back(std::move(*record));
    at += sizeof frame + frame.size;
  }
  if (wrong != nullptr) {
    recording.broken = name + " " + wrong + " at byte " + std::to_string(at) + ", behind " +
                       std::to_string(recording.records.size()) + " records";
  }
  return recording;
}

Recording read_recording(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  const std::string bytes(std::istreambuf_iterator<char>(stream), {});
  if (!stream.is_open() || stream.bad()) throw Unreadable(file + ": " + std::strerror(errno));
  return read_recording(bytes, file);
}

}  // namespace boardrec
