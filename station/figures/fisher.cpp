#include "station/figures/fisher.h"

#include <algorithm>

namespace t1station {
namespace {

// Tables as likely as this one differ in their last digits only.
constexpr double kRounding = 1 + 1e-7;

/// Tables with the same totals, by the number in their first field.
struct Tables {
  double yes, first, all;  ///< of both groups, of the first group, of everything

  double smallest() const { return std::max(0.0, yes + first - all); }
  double largest() const { return std::min(yes, first); }
  /// How many times as likely the table with one more is.
  double step(double k) const { return (yes - k) * (first - k) / ((k + 1) * (all - yes - first + k + 1)); }
  double likeliest() const {
    const auto mode = static_cast<std::int64_t>((yes + 1) * (first + 1) / (all + 2));
    return std::clamp(static_cast<double>(mode), smallest(), largest());
  }
  /// Calls with the number and weight of each table that counts at all; the likeliest one weighs 1.
  template <typename Call>
  void for_each(const Call& call) const {
    const double mode = likeliest();
    double weight = 1;
    for (double k = mode; k <= largest() && weight > 0; weight *= step(k), ++k) call(k, weight);
    weight = 1;
    for (double k = mode - 1; k >= smallest(); --k) {
      weight /= step(k);
      if (weight == 0) return;
      call(k, weight);
    }
  }
};

}  // namespace

double fisher_exact(const FourNumbers& table) {
  const auto seen = static_cast<double>(table.first_yes);
  const Tables tables{
      static_cast<double>(table.first_yes + table.second_yes),
      static_cast<double>(table.first_yes + table.first_no),
      static_cast<double>(table.first_yes + table.first_no + table.second_yes + table.second_no)};
  double own = 0, all = 0, rare = 0;
  tables.for_each([&](double k, double weight) {
    all += weight;
    if (k == seen) own = weight;
  });
  tables.for_each([&](double, double weight) {
    if (weight <= own * kRounding) rare += weight;
  });
  return std::min(1.0, rare / all);
}

}  // namespace t1station
