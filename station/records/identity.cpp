#include "station/records/identity.h"

#include <sys/random.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <string_view>
#include <system_error>

#include "station/records/records.h"

namespace t1station {
namespace {

constexpr std::string_view kDigits = "0123456789abcdef";
// Ids of one millisecond are numbered in 12 bits.
constexpr std::uint64_t kNumbersPerMillisecond = 4096;

std::uint64_t milliseconds_of(std::chrono::system_clock::time_point time) {
  const auto since = std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch());
  return static_cast<std::uint64_t>(since.count());
}

// Milliseconds times 4096 and a number, larger at each call.
std::uint64_t next_tick() {
  static std::mutex mutex;
  static std::uint64_t last = 0;
  const std::lock_guard lock(mutex);
  last = std::max(last + 1, milliseconds_of(std::chrono::system_clock::now()) * kNumbersPerMillisecond);
  return last;
}

std::uint64_t random_number() {
  std::uint64_t number = 0;
  ssize_t got = 0;
  do {
    got = getrandom(&number, sizeof(number), 0);
  } while (got < 0 && errno == EINTR);
  if (got != sizeof(number)) throw std::system_error(errno, std::generic_category(), "no random numbers");
  return number;
}

}  // namespace

std::string record_time() {
  return record_time(std::chrono::system_clock::now());
}

std::string record_time(std::chrono::system_clock::time_point time) {
  const std::uint64_t milliseconds = milliseconds_of(time);
  const auto seconds = static_cast<std::time_t>(milliseconds / 1000);
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  std::array<char, 32> text{};
  const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S.", &utc);
  const std::string thousandths = std::to_string(1000 + milliseconds % 1000).substr(1);
  return std::string(text.data(), length) + thousandths + "Z";
}

std::string new_id() {
  const std::uint64_t tick = next_tick();
  const std::uint64_t high = tick / kNumbersPerMillisecond << 16U | 0x7000U | tick % kNumbersPerMillisecond;
  const std::uint64_t low = (random_number() & 0x3FFFFFFFFFFFFFFFU) | 0x8000000000000000U;
  std::string id;
  for (const std::uint64_t half : {high, low}) {
    for (int shift = 60; shift >= 0; shift -= 4) {
      if (id.size() == 8 || id.size() == 13 || id.size() == 18 || id.size() == 23) id += '-';
      id += kDigits[half >> static_cast<unsigned>(shift) & 0xFU];
    }
  }
  return id;
}

}  // namespace t1station
