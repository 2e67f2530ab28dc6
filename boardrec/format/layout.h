// The bytes of a recording: a header, then records, each with its size and checksum, in the order in which
// calls ended.
#pragma once

#include <cstddef>
#include <cstdint>

namespace boardrec {

/// Numbers stand in the order of the machine that records. What is read on another machine is told by
/// `kOrder`.
inline constexpr char kMagic[8] = {'B', 'O', 'A', 'R', 'D', 'R', 'E', 'C'};
inline constexpr std::uint32_t kOrder = 0x01020304;
inline constexpr std::uint16_t kVersion = 3;
inline constexpr std::uint16_t kOldestVersion = 1;
/// From this version on recordings have the numbers that random() gave, of which another C library has
/// others.
inline constexpr std::uint16_t kVersionWithRandom = 2;
/// From this version on they have the names of sockets, and how long an address was that was cut off.
inline constexpr std::uint16_t kVersionWithSocketNames = 3;

/// Begins a recording. A reader reads versions from the oldest to its own.
struct Header {
  char magic[8];            ///< kMagic
  std::uint32_t order;      ///< kOrder
  std::uint16_t version;    ///< kVersion of who recorded
  std::uint16_t word_size;  ///< bytes of a long on the machine that recorded: 4 or 8
  std::uint64_t real_time;  ///< when recording began: nanoseconds since 1970
  std::uint64_t monotonic;  ///< the same moment on the monotonic clock, nanoseconds; records count from there
  std::uint8_t reserved[28];  ///< zero
  std::uint32_t checksum;     ///< checksum() of all before it
};
static_assert(sizeof(Header) == 64);

/// Stands before each record's body.
struct Frame {
  std::uint32_t size;      ///< of the body, bytes; at most kLargestBody
  std::uint32_t checksum;  ///< checksum() of the body
};
static_assert(sizeof(Frame) == 8);

/// A body is never longer: a frame that says so is damaged.
inline constexpr std::uint32_t kLargestBody = 16U << 20;

/// What a body begins with; behind it its values, those that went in first.
struct Body {
  std::uint16_t call;    ///< a Call
  std::uint16_t thread;  ///< 0 is the one that runs main, others in the order in which they were created
  std::uint32_t flags;   ///< of Flag
  std::uint64_t began;   ///< nanoseconds since recording began, monotonic
  std::uint64_t ended;   ///< the same; of a call that has not ended `began`
  std::int64_t result;   ///< what the call returned; of one that gives a pointer 1, or 0 for none
  std::int32_t error;    ///< errno when it failed, else 0
  std::uint16_t in;      ///< number of values that the program handed in
  std::uint16_t out;     ///< number of values that came back
};
static_assert(sizeof(Body) == 40);

enum Flag : std::uint32_t {
  kBegan =
      1,  ///< written before the call, which may never return (a restart); another record follows if it did
  kCancelled = 2,  ///< the thread was cancelled in this call: it has no result
  kUnknownSize =
      4,  ///< a request whose record's size nobody knows: what the number says was taken, if anything
  kNotRecorded = 8,  ///< bytes that could not be read stand as ValueType::absent
};

/// A value: one of these as a byte, then what it says.
enum class ValueType : std::uint8_t {
  absent = 0,  ///< a null pointer, or nothing was handed over; nothing follows
  number = 1,  ///< std::int64_t
  bytes = 2,   ///< std::uint32_t size, then so many bytes
  digest =
      3,  ///< std::uint32_t size, std::uint64_t digest(): a long block whose bytes the recording has already
          ///< had, as bytes or as what the program handed to a write, or which the program itself hands in
};

/// Blocks of more bytes stand as digest where the reader can have their bytes from elsewhere: all that a
/// program hands in, and what comes back once it was handed in, or stood as bytes, before.
inline constexpr std::uint32_t kLongestWhole = 4096;

/// CRC-32 as Ethernet has it, of more bytes behind those of `before`.
constexpr std::uint32_t checksum(const unsigned char* bytes, std::size_t size, std::uint32_t before = 0) {
  std::uint32_t sum = ~before;
  for (std::size_t at = 0; at < size; ++at) {
    sum ^= bytes[at];
    for (int bit = 0; bit < 8; ++bit) sum = (sum >> 1) ^ (0xEDB88320U & (0U - (sum & 1U)));
  }
  return ~sum;
}

/// Tells long blocks apart; no defence against somebody who wants two alike. Reads eight bytes at a time.
inline std::uint64_t digest(const unsigned char* bytes, std::size_t size) {
  constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15U;
  std::uint64_t sum = size * kFactor;
  const auto mix = [&sum](std::uint64_t word) {
    sum = (sum ^ word) * kFactor;
    sum ^= sum >> 29;
  };
  std::size_t at = 0;
  for (; at + sizeof(std::uint64_t) <= size; at += sizeof(std::uint64_t)) {
    std::uint64_t word = 0;
    __builtin_memcpy(&word, bytes + at, sizeof word);
    mix(word);
  }
  std::uint64_t rest = 0;
  if (at < size) __builtin_memcpy(&rest, bytes + at, size - at);
  mix(rest);
  return sum;
}

}  // namespace boardrec
