// Values as statistics see them.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace t1station {

/// The moments of a sample. All are 0 without values.
struct Moments {
  std::size_t count = 0;
  double minimum = 0, maximum = 0, mean = 0;
  double deviation = 0;        ///< of the sample, by n - 1; 0 of fewer than two values
  double skewness = 0;         ///< 0 for a normal distribution; 0 when all values are the same
  double excess_kurtosis = 0;  ///< likewise

  /// Whether there is any difference between the values that is more than a number's last digits.
  bool has_spread() const;
};

Moments moments_of(std::span<const double> values);

/// The value below which `share` (0 to 1) of the values lie, between two values in proportion to their
/// distance: 0.5 gives the median. There must be a value. Changes the order of the values.
double quantile(std::span<double> values, double share);

}  // namespace t1station
