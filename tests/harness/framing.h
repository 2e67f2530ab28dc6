// How a document travels: the framing of records, written independently of the program's.
#pragma once

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

/// The record of a document: its length, then its bytes.
inline std::string record_of(std::string_view xml) {
  return length_field(static_cast<std::int32_t>(xml.size())).append(xml);
}
