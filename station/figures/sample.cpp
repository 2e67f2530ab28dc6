#include "station/figures/sample.h"

#include <algorithm>
#include <cmath>

namespace t1station {
namespace {

// What a value's last digits make of a deviation, against its size.
constexpr double kRounding = 1e-12;

}  // namespace

bool Moments::has_spread() const {
  return deviation > kRounding * std::max(std::abs(minimum), std::abs(maximum));
}

Moments moments_of(std::span<const double> values) {
  Moments moments;
  moments.count = values.size();
  if (values.empty()) return moments;
  const auto count = static_cast<double>(values.size());
  const auto [smallest, largest] = std::minmax_element(values.begin(), values.end());
  moments.minimum = *smallest;
  moments.maximum = *largest;
  // From the first value on, what all have in common is not rounded a million times; and sums, squares and
  // differences of the largest numbers need more room than these.
  const long double first = values.front();
  long double above = 0;
  for (const double value : values) above += value - first;
  const long double mean = first + above / static_cast<long double>(values.size());
  moments.mean = static_cast<double>(mean);
  const long double reach = std::max(moments.maximum - mean, mean - moments.minimum);
  if (reach == 0) return moments;
  double second = 0, third = 0, fourth = 0;
  for (const double value : values) {
    const auto difference = static_cast<double>((value - mean) / reach);
    const double square = difference * difference;
    second += square;
    third += square * difference;
    fourth += square * square;
  }
  if (values.size() > 1) {
    moments.deviation = static_cast<double>(reach * std::sqrt(second / (count - 1)));
  }
  if (!moments.has_spread()) return moments;
  const double variance = second / count;
  moments.skewness = third / count / (variance * std::sqrt(variance));
  moments.excess_kurtosis = fourth / count / (variance * variance) - 3;
  return moments;
}

double quantile(std::span<double> values, double share) {
  const double place = share * static_cast<double>(values.size() - 1);
  const auto below = static_cast<std::size_t>(place);
  const auto at = values.begin() + static_cast<std::ptrdiff_t>(below);
  std::nth_element(values.begin(), at, values.end());
  const double low = *at;
  if (below + 1 == values.size()) return low;
  const double high = *std::min_element(at + 1, values.end());
  return low + (high - low) * (place - static_cast<double>(below));
}

}  // namespace t1station
