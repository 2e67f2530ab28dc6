// T1 records: length field and document.
#include "station/protocol/frame.h"

#include <algorithm>
#include <cstdint>

#include "station/text/errors.h"

namespace t1station {
namespace {

std::uint32_t byte_at(std::string_view bytes, std::size_t index) {
  return static_cast<unsigned char>(bytes[index]);
}

std::int32_t read_length(std::string_view bytes) {
  const std::uint32_t value =
      byte_at(bytes, 0) | byte_at(bytes, 1) << 8 | byte_at(bytes, 2) << 16 | byte_at(bytes, 3) << 24;
  return static_cast<std::int32_t>(value);
}

}  // namespace

std::string make_record(std::string_view document) {
  if (document.empty() || document.size() > kLongestRequest) {
    throw UsageError("a request of " + std::to_string(document.size()) + " bytes cannot be sent: 1 to " +
                     std::to_string(kLongestRequest) + " bytes");
  }
  std::string record;
  record.reserve(kLengthFieldSize + document.size());
  for (unsigned shift = 0; shift < 32; shift += 8) {
    record.push_back(static_cast<char>(document.size() >> shift & 0xFF));
  }
  return record.append(document);
}

void RecordReader::feed(std::string_view bytes) {
  pending_.append(bytes);
}

std::optional<std::string> RecordReader::next() {
  if (pending_.size() < kLengthFieldSize) return std::nullopt;
  const std::int32_t length = read_length(pending_);
  if (length < 1 || length > static_cast<std::int32_t>(kLongestReply)) {
    throw ProtocolError("the board announced a record of " + std::to_string(length) + " bytes; 1 to " +
                        std::to_string(kLongestReply) + " are possible");
  }
  const std::size_t end = kLengthFieldSize + static_cast<std::size_t>(length);
  if (pending_.size() < end) return std::nullopt;
  std::string document = pending_.substr(kLengthFieldSize, static_cast<std::size_t>(length));
  pending_.erase(0, end);
  return document;
}

std::string RecordReader::part() const {
  return pending_.substr(std::min(pending_.size(), kLengthFieldSize));
}

}  // namespace t1station
