#include "station/figures/digest.h"

#include <algorithm>
#include <cstring>

namespace t1station {
namespace {

/// What is added up of bytes, eight at a time: shows what a disk made of them, not what a person means.
std::uint64_t sum_of(std::string_view bytes) {
  constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15U;
  std::uint64_t sum = bytes.size();
  for (std::size_t place = 0; place < bytes.size(); place += sizeof(sum)) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes.data() + place, std::min(sizeof(word), bytes.size() - place));
    sum = (sum ^ word) * kFactor;
    sum ^= sum >> 32U;
  }
  return sum;
}

class Writer {
 public:
  template <typename T>
  void add(const std::vector<T>& list) {
    add_number(list.size());
    bytes_.append(reinterpret_cast<const char*>(list.data()), list.size() * sizeof(T));
  }
  void add(const TextList& texts) {
    add(texts.ends);
    bytes_ += texts.letters;
  }
  std::string finish() {
    add_number(sum_of(bytes_));
    return std::move(bytes_);
  }

 private:
  void add_number(std::uint64_t number) {
    bytes_.append(reinterpret_cast<const char*>(&number), sizeof(number));
  }
  std::string bytes_;
};

/// Reads what its sum has vouched for.
class Reader {
 public:
  explicit Reader(std::string_view bytes) : bytes_(bytes) {}

  bool is_whole() {
    if (bytes_.size() < sizeof(std::uint64_t)) return false;
    std::uint64_t sum = 0;
    std::memcpy(&sum, bytes_.data() + bytes_.size() - sizeof(sum), sizeof(sum));
    bytes_.remove_suffix(sizeof(sum));
    return sum == sum_of(bytes_);
  }
  template <typename T>
  void read(std::vector<T>& list) {
    std::uint64_t count = 0;
    if (bytes_.size() >= sizeof(count)) std::memcpy(&count, take(sizeof(count)).data(), sizeof(count));
    const auto most = static_cast<std::size_t>(std::min<std::uint64_t>(count, bytes_.size() / sizeof(T)));
    const std::string_view content = take(most * sizeof(T));
    list.resize(content.size() / sizeof(T));
    if (!list.empty()) std::memcpy(list.data(), content.data(), content.size());
  }
  void read(TextList& texts) {
    read(texts.ends);
    texts.letters = take(texts.ends.empty() ? 0 : texts.ends.back());
  }

 private:
  std::string_view take(std::size_t size) {
    const std::string_view taken = bytes_.substr(0, size);
    bytes_.remove_prefix(taken.size());
    return taken;
  }
  std::string_view bytes_;
};

/// Whether each place that is named is there: a file that somebody made must not lead elsewhere.
bool is_sound(const Digest& digest) {
  const auto is_text = [&digest](Digest::Text place) {
    return place == Digest::kNone || place < digest.texts.ends.size();
  };
  const auto is_part = [](std::size_t first, std::size_t count, std::size_t all) {
    return count == 0 || (first < all && count <= all - first);
  };
  const auto all = [](const auto& list, const auto& is_good) {
    return std::all_of(list.begin(), list.end(), is_good);
  };
  const std::vector<std::uint32_t>& ends = digest.texts.ends;
  return std::is_sorted(ends.begin(), ends.end()) &&
         (ends.empty() || ends.back() == digest.texts.letters.size()) &&
         digest.measured.size() == digest.values.size() &&
         all(digest.runs,
             [&](const Digest::Run& run) {
               return is_text(run.id) && is_text(run.serial) && is_text(run.started) && is_text(run.plan) &&
                      is_text(run.station) && is_text(run.slot) && is_text(run.verdict) &&
                      is_part(run.first_attempt, run.attempts, digest.attempts.size()) &&
                      is_part(run.first_measured, run.measurements, digest.measured.size());
             }) &&
         all(digest.tries,
             [&](const Digest::Try& tried) {
               return is_text(tried.plan) && is_text(tried.step) && is_text(tried.outcome);
             }) &&
         all(digest.attempts,
             [&](const Digest::Attempt& attempt) {
               return attempt.tried < digest.tries.size() && is_text(attempt.words);
             }) &&
         all(digest.kinds,
             [&](const Digest::Kind& kind) {
               return is_text(kind.plan) && is_text(kind.step) && is_text(kind.name) && is_text(kind.unit) &&
                      is_text(kind.outcome);
             }) &&
         all(digest.measured, [&](std::uint32_t kind) { return kind < digest.kinds.size(); });
}

/// Both ways through all that there is.
template <typename Stream, typename AnyDigest>
void go_through(Stream&& each, AnyDigest& digest) {
  each(digest.texts);
  each(digest.runs);
  each(digest.tries);
  each(digest.attempts);
  each(digest.kinds);
  each(digest.measured);
  each(digest.values);
}

}  // namespace

std::string bytes_of(const Digest& digest) {
  Writer writer;
  go_through([&writer](const auto& list) { writer.add(list); }, digest);
  return writer.finish();
}

bool read_bytes(std::string_view bytes, Digest& digest) {
  Reader reader(bytes);
  if (!reader.is_whole()) return false;
  go_through([&reader](auto& list) { reader.read(list); }, digest);
  return is_sound(digest);
}

}  // namespace t1station
