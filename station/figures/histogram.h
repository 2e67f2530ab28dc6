// Bars of equal width with round numbers at their ends.
#pragma once

#include <vector>

namespace t1station {

/// The ends of bars that hold all values from `minimum` to `maximum`: one more than there are bars, which
/// are 1 to 25. Their width is 1, 2 or 5 times a power of ten. A single value has one bar.
std::vector<double> histogram_ends(double minimum, double maximum);

/// The bar that a value lies in, from 0; the last one's upper end belongs to it.
std::size_t histogram_bar(const std::vector<double>& ends, double value);

}  // namespace t1station
