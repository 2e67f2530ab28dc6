#include "boardrec/recorder/entry.h"

#include <time.h>

#include "boardrec/recorder/blocks.h"
#include "boardrec/recorder/next.h"
#include "boardrec/recorder/session.h"

BOARDREC_NEXT(clock_gettime);

namespace boardrec {

thread_local constinit ThisThread this_thread{-1, 0};

namespace {

/// How many values each call has, by its number.
struct Counts {
  static constexpr std::size_t kCalls = 128;
  std::uint8_t in[kCalls]{};
  std::uint8_t out[kCalls]{};

  constexpr Counts() {
    for (const CallRow& row : boardrec::kCalls) {
      in[static_cast<std::size_t>(row.call)] = count_of(row.in);
      out[static_cast<std::size_t>(row.call)] = count_of(row.out);
    }
  }
};
constexpr Counts kCounts;

}  // namespace

std::uint64_t monotonic() {
  timespec time{};
  next_clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000U + static_cast<std::uint64_t>(time.tv_nsec);
}

std::uint64_t now() {
  return monotonic() - recording_began();
}

Entry::Entry(Call call)
    : error_(errno), recorded_(this_thread.number >= 0 && this_thread.depth == 0 && recording()) {
  if (!recorded_) return;
  ++this_thread.depth;
  body_.call = static_cast<std::uint16_t>(call);
  body_.thread = static_cast<std::uint16_t>(this_thread.number);
  body_.began = now();
}

void Entry::in_moved(const void* bytes, ssize_t size) {
  if (size < 0) return in_absent();
  const auto length = static_cast<std::size_t>(size);
  if (length <= kLongestWhole) return in_bytes(bytes, length);
  const std::uint64_t sum = digest(static_cast<const unsigned char*>(bytes), length);
  in_.add({.kind = Item::Kind::digest, .size = static_cast<std::uint32_t>(length), .digest = sum});
  const kernel::Locked lock(shared);
  remember_block(sum);
}

void Entry::out_moved(const void* bytes, ssize_t size) {
  if (size < 0) return out_absent();
  const auto length = static_cast<std::size_t>(size);
  if (length <= kLongestWhole) return out_bytes(bytes, length);
  const std::uint64_t sum = digest(static_cast<const unsigned char*>(bytes), length);
  const kernel::Locked lock(shared);
  if (had_block(sum)) {
    out_.add({.kind = Item::Kind::digest, .size = static_cast<std::uint32_t>(length), .digest = sum});
  } else {
    out_bytes(bytes, length);
    if (length + (128U << 10) <= kLargestBody) remember_block(sum);
  }
}

void Entry::pad(Items& items, std::uint16_t count) const {
  while (items.count < count) items.add({});
}

void Entry::announce() {
  const kernel::Locked lock(shared);
  Body body = body_;
  body.flags |= kBegan;
  body.ended = body.began;
  Items in = in_;
  pad(in, kCounts.in[body.call]);
  write_record(body, in, Items(), false);
}

void Entry::write_locked(std::int64_t result, std::int32_t error) {
  body_.ended = now();
  body_.result = result;
  body_.error = error;
  pad(in_, kCounts.in[body_.call]);
  if ((body_.flags & kCancelled) == 0) pad(out_, kCounts.out[body_.call]);
  write_record(body_, in_, out_, error == 0 && (body_.flags & kCancelled) == 0);
}

void Entry::leave() {
  --this_thread.depth;
  errno = error_;
}

void Entry::write(std::int64_t result, std::int32_t error) {
  {
    const kernel::Locked lock(shared);
    write_locked(result, error);
  }
  leave();
}

void Entry::cancelled(void* entry) {
  auto& its = *static_cast<Entry*>(entry);
  its.flag(kCancelled);
  its.write(0, 0);
}

}  // namespace boardrec
