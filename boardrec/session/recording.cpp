#include "boardrec/session/recording.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <optional>

namespace boardrec {
namespace {

const unsigned char* raw(std::string_view bytes) {
  return reinterpret_cast<const unsigned char*>(bytes.data());
}

/// What checksum() makes of one byte, for all bytes: a table is eight times as fast.
constexpr auto kChecksums = [] {
  std::array<std::uint32_t, 256> sums{};
  for (std::uint32_t i = 0; i < sums.size(); ++i) {
    std::uint32_t sum = i;
    for (int bit = 0; bit < 8; ++bit) sum = (sum >> 1) ^ (0xEDB88320U & (0U - (sum & 1U)));
    sums[i] = sum;
  }
  return sums;
}();

/// checksum() of a body.
std::uint32_t quick_checksum(std::string_view bytes) {
  std::uint32_t sum = ~0U;
  for (const char byte : bytes)
    sum = (sum >> 8) ^ kChecksums[(sum ^ static_cast<unsigned char>(byte)) & 0xFFU];
  return ~sum;
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
  if (header.version < kOldestVersion || header.version > kVersion) {
    throw Unreadable(name + " has version " + std::to_string(header.version) +
                     " of the format; this program reads " + std::to_string(kOldestVersion) + " to " +
                     std::to_string(kVersion));
  }
  if (header.checksum != checksum(raw(bytes), offsetof(Header, checksum)))
    throw Unreadable(name + " is damaged within its first 64 bytes");
  return header;
}

/// A file that is open, closed with this object.
class OpenFile {
 public:
  explicit OpenFile(const std::string& file) : fd_(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
  ~OpenFile() {
    if (fd_ >= 0) close(fd_);
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

std::string bytes_of_file(const std::string& file) {
  const auto fail = [&file](const std::string& why) { throw Unreadable(file + why); };
  const OpenFile open_file(file);
  struct stat status {};
  if (open_file.get() < 0 || fstat(open_file.get(), &status) != 0)
    fail(std::string(": ") + std::strerror(errno));
  if (S_ISDIR(status.st_mode)) fail(" is a folder");
  if (!S_ISREG(status.st_mode)) fail(" is no file");
  if (status.st_size > kLargestFile) {
    fail(" has " + std::to_string(status.st_size) + " bytes; recordings of up to " +
         std::to_string(kLargestFile) + " bytes are read");
  }
  std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
  std::size_t size = 0;
  while (size < bytes.size()) {
    const ssize_t more = read(open_file.get(), bytes.data() + size, bytes.size() - size);
    if (more < 0) fail(std::string(": ") + std::strerror(errno));
    if (more == 0) break;  // somebody has cut it meanwhile
    size += static_cast<std::size_t>(more);
  }
  bytes.resize(size);
  return bytes;
}

}  // namespace

const CallRow* find_call(Call call) {
  const CallRow* const row = std::ranges::find(kCalls, call, &CallRow::call);
  return row != std::end(kCalls) ? row : nullptr;
}

std::string_view name_of(Call call) {
  const CallRow* const row = find_call(call);
  return row != nullptr ? row->name : "?";
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
    if (frame.size <= kLargestBody && quick_checksum(body) == frame.checksum) record = record_of(body);
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
  return read_recording(bytes_of_file(file), file);
}

const Value& value_at(const std::vector<Value>& values, std::size_t index) {
  static const Value kAbsent;
  return index < values.size() ? values[index] : kAbsent;
}

}  // namespace boardrec
