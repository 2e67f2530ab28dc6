#include "boardrec/session/encoding.h"

#include <cstddef>
#include <cstring>

namespace boardrec {
namespace {

template <typename Number>
void put(std::string& to, const Number& number) {
  to.append(reinterpret_cast<const char*>(&number), sizeof number);
}

void put_value(std::string& to, const Value& value) {
  put(to, value.type);
  switch (value.type) {
    case ValueType::absent:
      break;
    case ValueType::number:
      put(to, value.number);
      break;
    case ValueType::bytes:
      put(to, static_cast<std::uint32_t>(value.bytes.size()));
      to += value.bytes;
      break;
    case ValueType::digest:
      put(to, value.size);
      put(to, value.digest);
      break;
  }
}

const unsigned char* raw(const void* bytes) {
  return static_cast<const unsigned char*>(bytes);
}

}  // namespace

std::string bytes_of(Header header) {
  header.checksum = checksum(raw(&header), offsetof(Header, checksum));
  std::string bytes;
  put(bytes, header);
  return bytes;
}

std::string bytes_of(const Record& record) {
  std::string body;
  put(body, Body{.call = static_cast<std::uint16_t>(record.call),
                 .thread = record.thread,
                 .flags = record.flags,
                 .began = record.began,
                 .ended = record.ended,
                 .result = record.result,
                 .error = record.error,
                 .in = static_cast<std::uint16_t>(record.in.size()),
                 .out = static_cast<std::uint16_t>(record.out.size())});
  for (const Value& value : record.in) put_value(body, value);
  for (const Value& value : record.out) put_value(body, value);
  if (body.size() > kLargestBody) throw std::length_error("a record is longer than a recording allows");
  std::string bytes;
  put(bytes, Frame{.size = static_cast<std::uint32_t>(body.size()),
                   .checksum = checksum(raw(body.data()), body.size())});
  return bytes += body;
}

Value number_value(std::int64_t number) {
  return {.type = ValueType::number, .number = number};
}

Value bytes_value(std::string bytes) {
  const auto size = static_cast<std::uint32_t>(bytes.size());
  return {.type = ValueType::bytes, .bytes = std::move(bytes), .size = size};
}

std::uint64_t digest_of(std::string_view bytes) {
  return digest(raw(bytes.data()), bytes.size());
}

}  // namespace boardrec
