// What a process can do, whether its values are normally distributed, and whether they drift.
#pragma once

#include <optional>
#include <span>

#include "station/figures/figures.h"
#include "station/figures/sample.h"

namespace t1station {

/// Fewer values say nothing.
inline constexpr std::size_t kFewestValues = 30;

/// Cpk, the distance of the mean from the nearer limit in threes of deviations, and its 95 % confidence
/// interval (Bissell's). Nothing without limits, without spread, or of fewer than kFewestValues.
std::optional<Capability> capability_of(const Moments& moments, std::optional<double> low,
                                        std::optional<double> high);

inline constexpr const char* kNormalityTest = "D'Agostino and Pearson's K2";

/// Warns when kNormalityTest says p < 0.01, and the skewness is beyond 0.5 or the excess kurtosis beyond 1:
/// of very many values each distribution differs from the normal one, though not so that it matters.
std::optional<Normality> normality_of(const Moments& moments);

inline constexpr const char* kDriftTest = "Student's t of the slope";

/// The line through the values in their order. Warns when kDriftTest says p < 0.01 and the line rises, or
/// falls, by one deviation at least.
std::optional<Drift> drift_of(std::span<const double> values, const Moments& moments);

}  // namespace t1station
