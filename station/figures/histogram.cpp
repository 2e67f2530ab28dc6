#include "station/figures/histogram.h"

#include <algorithm>
#include <cmath>

namespace t1station {
namespace {

constexpr double kMostBars = 24;  // a round beginning may need one more

// The smallest round width of which kMostBars reach so far.
double round_width(double range) {
  const double least = range / kMostBars;
  const double power = std::pow(10.0, std::floor(std::log10(least)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= least) return factor * power;
  }
  return 10 * power;
}

}  // namespace

std::vector<double> histogram_ends(double minimum, double maximum) {
  const double width = round_width(maximum - minimum);
  // Neighbouring numbers have no round ones between them, and the largest ones no difference at all.
  const bool is_round = std::isnormal(width) && minimum + width > minimum && maximum - width < maximum;
  if (!is_round) return {minimum, maximum};
  std::vector<double> ends;
  double place = std::floor(minimum / width);
  while (place * width > minimum) --place;
  do {
    ends.push_back(place++ * width);
  } while (ends.back() < maximum || ends.size() < 2);
  return ends;
}

std::size_t histogram_bar(const std::vector<double>& ends, double value) {
  const auto above = std::upper_bound(ends.begin() + 1, ends.end() - 1, value);
  return static_cast<std::size_t>(above - ends.begin() - 1);
}

}  // namespace t1station
