// T1 records: a signed 32-bit little-endian length, then so many bytes of XML. Nothing else marks a record.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace t1station {

/// Bytes of the length field in front of every document.
inline constexpr std::size_t kLengthFieldSize = 4;
/// The longest document that a board's record has room for, in bytes.
inline constexpr std::size_t kLongestReply = 2048;
/// The longest document that a board takes from a station, in bytes; with more it closes the connection.
inline constexpr std::size_t kLongestRequest = 512;

/// The record that carries `document` to the board.
/// Throws UsageError when the document is empty or longer than `longest_request`.
std::string make_record(std::string_view document);

/// Cuts the byte stream of a connection into documents, however the network split it.
class RecordReader {
 public:
  /// Adds bytes as they came from the connection.
  void feed(std::string_view bytes);

  /// The next complete document, or nothing while it is still on its way.
  /// Throws ProtocolError when the length field is below 1 or above `longest_reply`; there is no way to find
  /// the next record then, so every later call throws too.
  std::optional<std::string> next();

  /// The bytes of a document that have arrived of one that is not whole.
  std::string part() const;

  /// True when part of a record is waiting for its rest.
  bool holds_a_part() const { return !pending_.empty(); }

 private:
  std::string pending_;
};

}  // namespace t1station
