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
  void add(const std::vector<std::string>& texts) {
    std::vector<std::uint32_t> lengths;
    for (const std::string& text : texts) lengths.push_back(static_cast<std::uint32_t>(text.size()));
    add(lengths);
    for (const std::string& text : texts) bytes_ += text;
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
    std::memcpy(&count, take(sizeof(count)).data(), sizeof(count));
    list.resize(count);
    const std::string_view content = take(count * sizeof(T));
    if (count > 0) std::memcpy(list.data(), content.data(), content.size());
  }
  void read(std::vector<std::string>& texts) {
    std::vector<std::uint32_t> lengths;
    read(lengths);
    texts.clear();
    texts.reserve(lengths.size());
    for (const std::uint32_t length : lengths) texts.emplace_back(take(length));
  }

 private:
  std::string_view take(std::size_t size) {
    const std::string_view taken = bytes_.substr(0, size);
    bytes_.remove_prefix(size);
    return taken;
  }
  std::string_view bytes_;
};

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
  return true;
}

}  // namespace t1station
