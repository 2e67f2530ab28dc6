// Writes recordings for tests, byte by byte as the format has them, without the code that reads and writes
// them.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "boardrec/format/calls.h"
#include "boardrec/format/layout.h"

/// A block whose bytes are elsewhere.
struct LongBlock {
  std::uint32_t size;
  std::uint64_t digest;
};

/// What goes into a call or comes back: nothing, a number, bytes, or a block that is elsewhere.
using Item = std::variant<std::monostate, std::int64_t, std::string, LongBlock>;

/// A call as a test writes it down.
struct Written {
  boardrec::Call call;
  std::vector<Item> in{}, out{};
  std::int64_t result = 0;
  int error = 0;
  std::uint16_t thread = 0;
  std::uint32_t flags = 0;
  double took = 0;  ///< seconds
};

/// 32-bit words one after the other.
inline std::string words(const std::vector<std::uint32_t>& values) {
  std::string bytes(values.size() * sizeof(std::uint32_t), '\0');
  if (!values.empty()) std::memcpy(bytes.data(), values.data(), bytes.size());
  return bytes;
}

class RecordingWriter {
 public:
  /// Of a board with 32-bit words, on which recording began on 2026-11-22 10:00:00 UTC.
  RecordingWriter() {
    std::memcpy(header_.magic, boardrec::kMagic, sizeof header_.magic);
    header_.order = boardrec::kOrder;
    header_.version = boardrec::kVersion;
    header_.word_size = 4;
    header_.real_time = 1795341600ULL * 1'000'000'000;
    header_.monotonic = 20ULL * 1'000'000'000;
  }

  /// Adds a call that begins when the one before ended.
  RecordingWriter& add(const Written& call) {
    const auto took = static_cast<std::uint64_t>(call.took * 1e9);
    boardrec::Body body{};
    body.call = static_cast<std::uint16_t>(call.call);
    body.thread = call.thread;
    body.flags = call.flags;
    body.began = now_;
    body.ended = now_ += took;
    body.result = call.result;
    body.error = call.error;
    body.in = static_cast<std::uint16_t>(call.in.size());
    body.out = static_cast<std::uint16_t>(call.out.size());
    std::string bytes = raw(body);
    for (const Item& item : call.in) bytes += value(item);
    for (const Item& item : call.out) bytes += value(item);
    records_ += framed(bytes);
    return *this;
  }

  /// Lets time pass before the next call.
  RecordingWriter& after(double seconds) {
    now_ += static_cast<std::uint64_t>(seconds * 1e9);
    return *this;
  }

  /// Adds any bytes as a record's body.
  RecordingWriter& add_body(std::string_view bytes) {
    records_ += framed(bytes);
    return *this;
  }

  boardrec::Header& header() { return header_; }

  /// The file; the header's checksum is put right.
  std::string bytes() const {
    boardrec::Header header = header_;
    header.checksum = boardrec::checksum(reinterpret_cast<const unsigned char*>(&header), sizeof header - 4);
    return raw(header) + records_;
  }

  template <class Layout>
  static std::string raw(const Layout& layout) {
    return {reinterpret_cast<const char*>(&layout), sizeof layout};
  }

 private:
  static std::string framed(std::string_view body) {
    boardrec::Frame frame{};
    frame.size = static_cast<std::uint32_t>(body.size());
    frame.checksum = boardrec::checksum(reinterpret_cast<const unsigned char*>(body.data()), body.size());
    return raw(frame).append(body);
  }

  static std::string value(const Item& item) {
    std::string bytes(1, static_cast<char>(item.index()));
    if (const auto* number = std::get_if<std::int64_t>(&item)) return bytes + raw(*number);
    if (const auto* text = std::get_if<std::string>(&item))
      return bytes + raw(static_cast<std::uint32_t>(text->size())) + *text;
    if (const auto* block = std::get_if<LongBlock>(&item))
      return bytes + raw(block->size) + raw(block->digest);
    return bytes;
  }

  boardrec::Header header_{};
  std::uint64_t now_ = 0;
  std::string records_;
};
