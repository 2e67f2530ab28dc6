// How a document travels: the framing of records, written independently of the program's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// The length field of a record as it stands on the wire: four bytes, the lowest first.
inline std::string length_field(std::int32_t length) {
  std::string bytes;
  for (unsigned shift = 0; shift < 32; shift += 8) {
    bytes += static_cast<char>(static_cast<std::uint32_t>(length) >> shift & 0xFF);
  }
  return bytes;
}

/// The length that a record begins with. What is cut off of its four bytes counts as 0.
inline std::uint32_t length_in(std::string_view record) {
  std::uint32_t length = 0;
  for (std::size_t i = 0; i < 4 && i < record.size(); ++i) {
    length |= std::uint32_t{static_cast<unsigned char>(record[i])} << 8 * i;
  }
  return length;
}

/// The record of a document: its length, then its bytes.
inline std::string record_of(std::string_view xml) {
  return length_field(static_cast<std::int32_t>(xml.size())).append(xml);
}
