// From an operator's voltage entry, in hundredths of a volt, to the code.
#include <gtest/gtest.h>
#include <array>
#include <climits>
#include <cstddef>
#include <string>

#include "t1_sdk/boardtest/sensor/vsub/models.h"
#include "tests/harness/console.h"
#include "tests/harness/on_board.h"

namespace {

constexpr int k6484Model = 0;
constexpr int k6455Model = 1;

constexpr std::array k6484Codes{2784, 2778, 2772, 2766, 2760, 2755, 2749, 2744, 2738, 2732,
                                2726, 2721, 2715, 2709, 2703, 2697, 2691, 2685, 2680, 2674,
                                2668, 2663, 2657, 2651, 2645, 2639, 2633, 2627, 2621};

/// The line of an entry that is in the model's table.
std::string tenths(int value) {
  return "temp_sub_value = " + std::to_string(value);
}

class VsubCodeTest : public OnBoard {
 protected:
  Console console;

  int code(int model, int entry) {
    console.clear();
    return t1_sdk_vsub_code_to_regval(model, entry);
  }
  void expect_code(int model, int entry, int expected) {
    EXPECT_EQ(code(model, entry), expected) << entry;
    EXPECT_EQ(console.out(), tenths(entry / 10)) << entry;
  }
  void expect_fallback(int model, int entry, int expected) {
    EXPECT_EQ(code(model, entry), expected) << entry;
    EXPECT_EQ(console.out(), tenths(entry / 10) + "error num\n") << entry;
  }
};

TEST_F(VsubCodeTest, SixAndAHalfVoltsAre2742OnA6455) {
  expect_code(k6455Model, 650, 2742);
}

TEST_F(VsubCodeTest, SixVoltsAre2758OnA6455) {
  expect_code(k6455Model, 600, 2758);
}

TEST_F(VsubCodeTest, EachRowOfA6455CoversItsOwnTenthAndTheNext) {
  for (int tenth = 60; tenth <= 101; ++tenth) {
    expect_code(k6455Model, tenth * 10, 2758 - 8 * ((tenth - 60) / 2));
  }
  expect_code(k6455Model, 610, 2758);
  expect_code(k6455Model, 620, 2750);
  expect_code(k6455Model, 1000, 2598);
  expect_code(k6455Model, 1010, 2598);
}

TEST_F(VsubCodeTest, EachRowOfA6484CoversItsOwnTenthAndTheNext) {
  for (int tenth = 81; tenth <= 138; ++tenth) {
    expect_code(k6484Model, tenth * 10, k6484Codes.at(static_cast<std::size_t>((tenth - 81) / 2)));
  }
  expect_code(k6484Model, 820, 2784);
  expect_code(k6484Model, 830, 2778);
  expect_code(k6484Model, 1370, 2621);
  expect_code(k6484Model, 1380, 2621);
}

TEST_F(VsubCodeTest, HundredthsDoNotCount) {
  for (int hundredth = 0; hundredth < 10; ++hundredth) {
    expect_code(k6455Model, 650 + hundredth, 2742);
    expect_code(k6455Model, 1010 + hundredth, 2598);
    expect_code(k6484Model, 810 + hundredth, 2784);
  }
}

TEST_F(VsubCodeTest, AnEntryOf1389IsStillInTheTableOfA6484) {
  expect_code(k6484Model, 1389, 2621);
}

TEST_F(VsubCodeTest, TheFirstEntryAboveTheTableOfA6484Is1390) {
  expect_fallback(k6484Model, 1390, 2784);
}

TEST_F(VsubCodeTest, TheFirstEntryBelowTheTableOfA6484Is809) {
  expect_fallback(k6484Model, 809, 2784);
  expect_code(k6484Model, 810, 2784);
}

TEST_F(VsubCodeTest, AnEntryOf599FallsBackTo7Point8VoltsOnA6455) {
  expect_fallback(k6455Model, 599, 2686);
}

TEST_F(VsubCodeTest, TheFirstEntryAboveTheTableOfA6455Is1020) {
  expect_code(k6455Model, 1019, 2598);
  expect_fallback(k6455Model, 1020, 2686);
}

TEST_F(VsubCodeTest, AnEntryFarOutOfRangeStillYieldsACode) {
  for (const int entry : {0, 9, -1, -600, -650, 5, 65, 6500, 65000, 1'000'000, INT_MAX, INT_MIN}) {
    expect_fallback(k6455Model, entry, 2686);
    expect_fallback(k6484Model, entry, 2784);
  }
}

TEST_F(VsubCodeTest, EveryEntryYieldsACodeOnAKnownModel) {
  for (int entry = -50; entry <= 1500; ++entry) {
    const int tenth = entry / 10;
    const int of_6455 = tenth >= 60 && tenth <= 101 ? 2758 - 8 * ((tenth - 60) / 2) : 2686;
    const int of_6484 =
        tenth >= 81 && tenth <= 138 ? k6484Codes.at(static_cast<std::size_t>((tenth - 81) / 2)) : 2784;
    ASSERT_EQ(t1_sdk_vsub_code_to_regval(k6455Model, entry), of_6455) << entry;
    ASSERT_EQ(t1_sdk_vsub_code_to_regval(k6484Model, entry), of_6484) << entry;
  }
}

TEST_F(VsubCodeTest, AnyOtherModelIsNotSupported) {
  for (const int model : {2, 3, -1, 0x9603, INT_MAX, INT_MIN}) {
    EXPECT_EQ(code(model, 650), -1) << model;
    EXPECT_EQ(console.out(), "temp_sub_value = 65unsupported devType = " + std::to_string(model) + "\n");
  }
}

TEST_F(VsubCodeTest, AnEntryOutOfRangeOfNoModelIsNotSupportedEither) {
  EXPECT_EQ(code(2, 5), -1);
  EXPECT_EQ(console.out(), "temp_sub_value = 0unsupported devType = 2\n");
}

TEST_F(VsubCodeTest, NoHardwareIsAsked) {
  code(k6455Model, 650);
  EXPECT_TRUE(board.hardware_trace().empty());
}

}  // namespace
