#include "boardrec/compare/alignment.h"

#include <algorithm>
#include <cstdint>
#include <unordered_map>

namespace boardrec {
namespace {

constexpr std::int64_t kMostEdits = 2000;  // the memory grows with their square

using Alike = std::function<bool(std::size_t a, std::size_t b)>;

/// Texts by number: they are compared millions of times.
using Numbers = std::vector<std::size_t>;

/// The shortest way from the beginning of both lists to their ends, along diagonals b = a - k where items are
/// alike: for each number of edits, how far every diagonal can be followed.
class Paths {
 public:
  Paths(std::size_t a_size, std::size_t b_size, const Alike& alike)
      : a_size_(static_cast<std::int64_t>(a_size)),
        b_size_(static_cast<std::int64_t>(b_size)),
        alike_(alike) {}

  std::vector<Aligned> shortest() {
    const std::int64_t most = std::min(a_size_ + b_size_, kMostEdits);
    std::int64_t best = 0;  // the diagonal that has come farthest
    for (std::int64_t edits = 0; edits <= most; ++edits) {
      reached_.emplace_back(static_cast<std::size_t>(edits) + 1);
      best = -edits;
      for (std::int64_t k = -edits; k <= edits; k += 2) {
        const std::int64_t a = follow(first_of(edits, k), k);
        place(edits, k) = a;
        if (a >= a_size_ && a - k >= b_size_) return way_back(edits, k);
        if (2 * a - k > 2 * place(edits, best) - best) best = k;
      }
    }
    return with_rest(way_back(most, best));
  }

 private:
  std::int64_t& place(std::int64_t edits, std::int64_t k) {
    return reached_[static_cast<std::size_t>(edits)][static_cast<std::size_t>((k + edits) / 2)];
  }

  /// Whether diagonal k is reached by leaving out an item of b, and not one of a.
  bool comes_down(std::int64_t edits, std::int64_t k) {
    return k == -edits || (k != edits && place(edits - 1, k - 1) < place(edits - 1, k + 1));
  }

  std::int64_t first_of(std::int64_t edits, std::int64_t k) {
    if (edits == 0) return 0;
    return comes_down(edits, k) ? place(edits - 1, k + 1) : place(edits - 1, k - 1) + 1;
  }

  std::int64_t follow(std::int64_t a, std::int64_t k) const {
    while (a < a_size_ && a - k < b_size_ && a - k >= 0 &&
           alike_(static_cast<std::size_t>(a), static_cast<std::size_t>(a - k)))
      ++a;
    return a;
  }

  std::vector<Aligned> way_back(std::int64_t edits, std::int64_t k) {
    std::vector<Aligned> way;
    std::int64_t a = place(edits, k);
    end_a_ = std::min(a, a_size_);
    end_b_ = std::min(a - k, b_size_);
    for (; edits >= 0; --edits) {
      const std::int64_t first = first_of(edits, k);
      for (; a > first; --a) add(way, a - 1, a - 1 - k, true, true);
      if (edits == 0) break;
      const bool down = comes_down(edits, k);
      if (down) {
        add(way, 0, a - k - 1, false, true);
        ++k;
      } else {
        add(way, a - 1, 0, true, false);
        --a;
        --k;
      }
    }
    std::ranges::reverse(way);
    return way;
  }

  void add(std::vector<Aligned>& way, std::int64_t a, std::int64_t b, bool has_a, bool has_b) const {
    has_a = has_a && a < a_size_;
    has_b = has_b && b < b_size_;
    if (!has_a && !has_b) return;  // an edit behind the end of a list
    Aligned aligned;
    if (has_a) aligned.a = static_cast<std::size_t>(a);
    if (has_b) aligned.b = static_cast<std::size_t>(b);
    way.push_back(aligned);
  }

  std::vector<Aligned> with_rest(std::vector<Aligned> way) const {
    for (std::int64_t a = end_a_; a < a_size_; ++a) add(way, a, 0, true, false);
    for (std::int64_t b = end_b_; b < b_size_; ++b) add(way, 0, b, false, true);
    return way;
  }

  std::int64_t a_size_, b_size_;
  const Alike& alike_;
  std::vector<std::vector<std::int64_t>> reached_;
  std::int64_t end_a_ = 0, end_b_ = 0;
};

Numbers numbers_of(const std::vector<std::string>& texts,
                   std::unordered_map<std::string, std::size_t>& known) {
  Numbers numbers;
  for (const std::string& text : texts)
    numbers.push_back(known.try_emplace(text, known.size()).first->second);
  return numbers;
}

}  // namespace

std::vector<Aligned> align(std::size_t a_size, std::size_t b_size, const Alike& alike) {
  return Paths(a_size, b_size, alike).shortest();
}

std::vector<Aligned> align(const std::vector<std::string>& a, const std::vector<std::string>& b) {
  std::unordered_map<std::string, std::size_t> known;
  const Numbers first = numbers_of(a, known);
  const Numbers second = numbers_of(b, known);
  return align(a.size(), b.size(), [&](std::size_t i, std::size_t j) { return first[i] == second[j]; });
}

}  // namespace boardrec
