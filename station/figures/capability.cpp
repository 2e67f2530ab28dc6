#include "station/figures/capability.h"

#include <algorithm>
#include <boost/math/distributions/normal.hpp>
#include <boost/math/distributions/students_t.hpp>
#include <cmath>

namespace t1station {
namespace {

namespace math = boost::math;

constexpr double kSure = 0.01;
constexpr double kMuchSkewness = 0.5, kMuchKurtosis = 1, kMuchRise = 1;

bool says_something(const Moments& moments) {
  return moments.count >= kFewestValues && moments.has_spread();
}

// D'Agostino's transformation of the skewness to a normally distributed number.
double skewness_score(double skewness, double n) {
  const double y = skewness * std::sqrt((n + 1) * (n + 3) / (6 * (n - 2)));
  const double beta = 3 * (n * n + 27 * n - 70) * (n + 1) * (n + 3) / ((n - 2) * (n + 5) * (n + 7) * (n + 9));
  const double w = std::sqrt(2 * (beta - 1)) - 1;  // its square root is D'Agostino's W
  const double alpha = std::sqrt(2 / (w - 1));
  return std::asinh(y / alpha) / std::sqrt(std::log(w) / 2);
}

// Anscombe and Glynn's transformation of the kurtosis.
double kurtosis_score(double excess, double n) {
  const double mean = -6 / (n + 1);
  const double variance = 24 * n * (n - 2) * (n - 3) / ((n + 1) * (n + 1) * (n + 3) * (n + 5));
  const double x = (excess - mean) / std::sqrt(variance);
  const double beta = 6 * (n * n - 5 * n + 2) / ((n + 7) * (n + 9)) *
                      std::sqrt(6 * (n + 3) * (n + 5) / (n * (n - 2) * (n - 3)));
  const double a = 6 + 8 / beta * (2 / beta + std::sqrt(1 + 4 / (beta * beta)));
  const double root = std::cbrt((1 - 2 / a) / (1 + x * std::sqrt(2 / (a - 4))));
  return (1 - 2 / (9 * a) - root) / std::sqrt(2 / (9 * a));
}

}  // namespace

std::optional<Capability> capability_of(const Moments& moments, std::optional<double> low,
                                        std::optional<double> high) {
  if (!says_something(moments) || (!low && !high)) return std::nullopt;
  const double below = low ? moments.mean - *low : *high - moments.mean;
  const double above = high ? *high - moments.mean : below;
  const double cpk = std::min(below, above) / (3 * moments.deviation);
  const auto n = static_cast<double>(moments.count);
  const double error = std::sqrt(1 / (9 * n) + cpk * cpk / (2 * (n - 1)));
  const double reach = math::quantile(math::normal(), 0.975) * error;
  return Capability{cpk, cpk - reach, cpk + reach};
}

std::optional<Normality> normality_of(const Moments& moments) {
  if (!says_something(moments)) return std::nullopt;
  const auto n = static_cast<double>(moments.count);
  const double skewed = skewness_score(moments.skewness, n);
  const double tailed = kurtosis_score(moments.excess_kurtosis, n);
  Normality found;
  found.p = std::exp(-(skewed * skewed + tailed * tailed) / 2);  // chi-squared of two degrees of freedom
  found.skewness = moments.skewness;
  found.excess_kurtosis = moments.excess_kurtosis;
  const bool is_much =
      std::abs(found.skewness) > kMuchSkewness || std::abs(found.excess_kurtosis) > kMuchKurtosis;
  found.is_warning = found.p < kSure && is_much;
  return found;
}

std::optional<Drift> drift_of(std::span<const double> values, const Moments& moments) {
  if (!says_something(moments)) return std::nullopt;
  const auto n = static_cast<double>(values.size());
  const double middle = (n - 1) / 2;
  double together = 0, place = 0;
  for (const double value : values) {
    together += (place++ - middle) * (value / moments.deviation - moments.mean / moments.deviation);
  }
  const double of_places = n * (n * n - 1) / 12;
  const double slope = together / of_places;  // in deviations
  Drift drift;
  drift.correlation = std::clamp(slope * std::sqrt(of_places / (n - 1)), -1.0, 1.0);
  drift.rise = slope * (n - 1) * moments.deviation;
  const double rest = 1 - drift.correlation * drift.correlation;
  const double t = std::abs(drift.correlation) * std::sqrt((n - 2) / rest);
  drift.p = std::isfinite(t) ? 2 * math::cdf(math::complement(math::students_t(n - 2), t)) : 0;
  drift.is_warning = drift.p < kSure && std::abs(slope * (n - 1)) >= kMuchRise;
  return drift;
}

}  // namespace t1station
