// Statistics against those of another program: SciPy 1.10, with the same numbers.
#include <gtest/gtest.h>

#include <cmath>

#include "station/figures/capability.h"
#include "station/figures/fisher.h"
#include "station/figures/histogram.h"
#include "station/figures/sample.h"
#include "station/text/word_kind.h"

namespace {

using namespace t1station;
using Values = std::vector<double>;

/// Numbers from 0 to 1, the same in every program: a multiplication, and what is left by 2^31 - 1.
Values uniform(std::size_t count) {
  Values values;
  std::int64_t last = 1;
  while (values.size() < count) {
    last = last * 48271 % 2147483647;
    values.push_back(static_cast<double>(last) / 2147483647);
  }
  return values;
}

/// Values around 35 with a deviation of 2: sums of twelve of these. Each is higher by `rise` than the last.
Values bell(std::size_t count, double rise = 0) {
  const Values parts = uniform(12 * count);
  Values values;
  for (std::size_t i = 0; i < count; ++i) {
    double sum = 0;
    for (std::size_t part = 0; part < 12; ++part) sum += parts[12 * i + part];
    values.push_back(35 + 2 * (sum - 6) + static_cast<double>(i) * rise);
  }
  return values;
}

Values exponential(std::size_t count) {
  Values values = uniform(count);
  for (double& value : values) value = -std::log(value);
  return values;
}

void expect_near(double found, double expected) {
  EXPECT_NEAR(found, expected, std::abs(expected) * 1e-8);
}

TEST(StatisticsTest, FishersExactTestGivesThePublishedLikelihoods) {
  struct Known {
    FourNumbers table;
    double p;
  };
  // The first is Fisher's own lady who tastes tea.
  for (const Known& known : {Known{{3, 1, 1, 3}, 0.48571428571428565},
                             {{8, 2, 1, 5}, 0.034965034965034975},
                             {{1, 9, 11, 3}, 0.0027594561852200836},
                             {{10, 90, 20, 280}, 0.2774336820351509},
                             {{0, 20, 5, 60}, 0.33417713577088526},
                             {{2, 18, 2, 38}, 0.5947788817455679},
                             {{30, 170, 40, 560}, 0.0007364334402926231},
                             {{20, 0, 0, 40}, 2.3855846718909774e-16},
                             {{19, 981, 600, 998400}, 3.2985932047149946e-22}}) {
    expect_near(fisher_exact(known.table), known.p);
    const FourNumbers& table = known.table;
    expect_near(fisher_exact({table.second_yes, table.second_no, table.first_yes, table.first_no}), known.p);
  }
  EXPECT_EQ(fisher_exact({0, 20, 0, 40}), 1);
  EXPECT_EQ(fisher_exact({0, 0, 3, 40}), 1);
  EXPECT_EQ(fisher_exact({}), 1);
  EXPECT_EQ(fisher_exact({500000, 0, 0, 500000}), 0) << "too small for a number";
}

TEST(StatisticsTest, MomentsAndQuantilesAreThoseOfAnotherProgram) {
  Values values = exponential(60);
  const Moments moments = moments_of(values);
  expect_near(moments.mean, 0.9245987598949532);
  expect_near(moments.deviation, 1.4628234930057933);
  expect_near(moments.skewness, 5.1575273414015745);
  expect_near(moments.excess_kurtosis, 31.565167103033986);
  expect_near(quantile(values, 0.5), 0.5435493456240892);
  expect_near(quantile(values, 0.95), 2.465352667509827);
  Values two{3, 1};
  EXPECT_EQ(quantile(two, 0.5), 2);
  EXPECT_EQ(quantile(two, 1), 3);
  Values one{7};
  EXPECT_EQ(quantile(one, 0.95), 7);
}

TEST(StatisticsTest, ValuesThatDifferInTheirLastDigitsOnlyHaveNoSpread) {
  Values values(50, 0.1);
  for (std::size_t i = 0; i < values.size(); i += 2) values[i] = 0.3 - 0.2;
  const Moments moments = moments_of(values);
  EXPECT_FALSE(moments.has_spread());
  EXPECT_FALSE(moments_of(Values(1000000, 20.5)).has_spread());
  EXPECT_FALSE(capability_of(moments, 0, 1));
  EXPECT_FALSE(normality_of(moments));
  EXPECT_FALSE(drift_of(values, moments));
}

TEST(StatisticsTest, CpkLooksAtTheNearerLimitAndIsThereFromThirtyValuesOn) {
  Moments moments;
  moments.mean = 6;
  moments.deviation = 1;
  moments.count = 30;
  expect_near(capability_of(moments, 0, 9)->cpk, 1);
  expect_near(capability_of(moments, 3, 100)->cpk, 1);
  expect_near(capability_of(moments, {}, 7.5)->cpk, 0.5);
  expect_near(capability_of(moments, 7.5, {})->cpk, -0.5);
  EXPECT_FALSE(capability_of(moments, {}, {}));
  moments.count = 29;
  EXPECT_FALSE(capability_of(moments, 0, 9));
}

TEST(StatisticsTest, TheIntervalOfCpkIsNearlyTheExactOneOfTheNoncentralT) {
  struct Known {
    std::size_t count;
    double cpk, low, high;  ///< by the noncentral t distribution, for a single limit
  };
  for (const Known& known : {Known{30, 0.8, 0.5610866945450587, 1.03514173181474},
                             Known{30, 1.33, 0.967752882135552, 1.6891736880339028},
                             Known{100, 1.33, 1.1333293451483617, 1.5256534440840483},
                             Known{400, 2, 1.8573702262256693, 2.1423768152065388}}) {
    Moments moments;
    moments.count = known.count;
    moments.mean = 3 * known.cpk;
    moments.deviation = 1;
    const Capability found = *capability_of(moments, 0, {});
    EXPECT_NEAR(found.low, known.low, 0.01 * known.cpk);
    EXPECT_NEAR(found.high, known.high, 0.01 * known.cpk);
  }
}

TEST(StatisticsTest, ValuesThatAreNotNormallyDistributedAreWarnedOf) {
  const auto found = [](const Values& values) { return *normality_of(moments_of(values)); };
  expect_near(found(bell(100)).p, 0.5131893074876868);
  EXPECT_FALSE(found(bell(100)).is_warning);
  expect_near(found(bell(30)).p, 0.9792782413471738);
  expect_near(found(uniform(100)).p, 7.432300902436351e-07);
  EXPECT_TRUE(found(uniform(100)).is_warning) << "flat";
  expect_near(found(exponential(60)).p, 4.1256558690093786e-23);
  EXPECT_TRUE(found(exponential(60)).is_warning) << "to one side";
  EXPECT_FALSE(normality_of(moments_of(bell(29))));
}

TEST(StatisticsTest, ADifferenceFromTheNormalDistributionThatDoesNotMatterIsNoWarning) {
  Moments moments;
  moments.count = 1000000;
  moments.deviation = 1;
  moments.skewness = 0.1;
  const Normality found = *normality_of(moments);
  EXPECT_LT(found.p, 0.01);
  EXPECT_FALSE(found.is_warning);
}

TEST(StatisticsTest, ValuesThatDriftAreWarnedOf) {
  const auto found = [](const Values& values) { return *drift_of(values, moments_of(values)); };
  const Drift rising = found(bell(60, 0.1));
  expect_near(rising.p, 5.384098561892746e-08);
  expect_near(rising.correlation, 0.6340081247173196);
  expect_near(rising.rise, 0.09747714893259968 * 59);
  EXPECT_TRUE(rising.is_warning);
  expect_near(found(bell(60, 0.02)).p, 0.26755291959607275);
  EXPECT_FALSE(found(bell(60, 0.02)).is_warning);
  EXPECT_TRUE(found(bell(60, -0.1)).is_warning) << "downwards";
  EXPECT_EQ(found({1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15,
                   16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30})
                .p,
            0)
      << "a straight line";
}

TEST(StatisticsTest, ADriftOfManyValuesThatIsSmallAgainstTheirSpreadIsNoWarning) {
  const Values values = bell(5000, 0.0002);
  const Drift found = *drift_of(values, moments_of(values));
  EXPECT_LT(found.p, 0.01);
  EXPECT_FALSE(found.is_warning);
}

TEST(StatisticsTest, TheLargestAndTheSmallestNumbersThereAreHaveStatisticsToo) {
  for (const double size : {1.7e308, 1e300, 1e-300, 5e-324}) {
    Values values(40, size);
    for (std::size_t i = 0; i < values.size(); i += 2) values[i] = -size;
    values[0] = 0;
    const Moments moments = moments_of(values);
    EXPECT_TRUE(moments.has_spread()) << size;
    EXPECT_TRUE(std::isfinite(moments.excess_kurtosis)) << size;
    EXPECT_LT(normality_of(moments)->p, 0.01) << "two heaps, and no bell";
    EXPECT_GT(drift_of(values, moments)->p, 0.01) << size;
    EXPECT_TRUE(capability_of(moments, 0, 1)) << size;
  }
}

TEST(StatisticsTest, BarsOfAHistogramHaveRoundEnds) {
  EXPECT_EQ(histogram_ends(3, 3), (Values{3, 3}));
  EXPECT_EQ(histogram_ends(0, 10).size(), 21U);
  EXPECT_EQ(histogram_ends(0, 10)[1], 0.5);
  EXPECT_EQ(histogram_ends(-7, 93).front(), -10);
  EXPECT_EQ(histogram_ends(-7, 93).back(), 95);
  const Values ends{0, 1, 2};
  EXPECT_EQ(histogram_bar(ends, 0), 0U);
  EXPECT_EQ(histogram_bar(ends, 1), 1U);
  EXPECT_EQ(histogram_bar(ends, 2), 1U) << "the last bar's end is its own";
  EXPECT_EQ(histogram_bar({3, 3}, 3), 0U);
}

TEST(StatisticsTest, BarsHoldTheSmallestAndTheLargestNumbersThereAre) {
  struct Range {
    double low, high;
  };
  for (const Range& range : {Range{-1.7e308, 1.7e308},
                             {0, 5e-324},
                             {1, 1 + 1e-15},
                             {1e15, 1e15 + 1},
                             {-1e-300, 0},
                             {0.1, 0.3},
                             {0.3, 2.7}}) {
    const Values ends = histogram_ends(range.low, range.high);
    ASSERT_GE(ends.size(), 2U);
    EXPECT_LE(ends.size(), 26U) << range.high;
    EXPECT_LE(ends.front(), range.low) << range.high;
    EXPECT_GE(ends.back(), range.high) << range.high;
  }
}

TEST(StatisticsTest, WordsThatDifferInNumbersOnlyAreOneKind) {
  struct Known {
    const char *text, *words;
    Values numbers;
  };
  for (const Known& known : std::vector<Known>{{"6.48 V, not 6.50 V", "# V, not # V", {6.48, 6.5}},
                                               {"-3 of +4", "# of #", {-3, 4}},
                                               {"port-3", "port-#", {3}},
                                               {"(a)-3", "(a)-#", {3}},
                                               {"灯-3", "灯-#", {3}},
                                               {"0x1F or 0xg", "# or #xg", {31, 0}},
                                               {"1.2.3.", "#.#.", {1.2, 3}},
                                               {"12:05", "#:#", {12, 5}},
                                               {"3.", "#.", {3}},
                                               {"- 3", "- #", {3}},
                                               {"#", "#", {}},
                                               {"", "", {}}}) {
    EXPECT_EQ(word_kind(known.text).words, known.words);
    EXPECT_EQ(word_kind(known.text).numbers, known.numbers) << known.text;
  }
  EXPECT_EQ(word_kind(std::string(400, '9')).numbers, Values{HUGE_VAL}) << "too many digits for a number";
}

}  // namespace
