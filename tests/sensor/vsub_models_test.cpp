// The tables of the models: from an operator's entry to the code, and from a code to its voltage.
#include <gtest/gtest.h>
#include <climits>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "t1_sdk/boardtest/sensor/vsub/models.h"
#include "t1_sdk/boardtest/sensor/vsub/records.h"
#include "tests/harness/console.h"
#include "tests/harness/on_board.h"

namespace {

static_assert(sizeof(VSUBNAME) == 12 && sizeof(VSUBNAME::voltage) == 8);

using Rows = std::vector<std::pair<std::uint32_t, std::string>>;

const Rows k6484 = {{2784, "8.1"},  {2778, "8.3"},  {2772, "8.5"},  {2766, "8.7"},  {2760, "8.9"},
                    {2755, "9.1"},  {2749, "9.3"},  {2744, "9.5"},  {2738, "9.7"},  {2732, "9.9"},
                    {2726, "10.1"}, {2721, "10.3"}, {2715, "10.5"}, {2709, "10.7"}, {2703, "10.9"},
                    {2697, "11.1"}, {2691, "11.3"}, {2685, "11.5"}, {2680, "11.7"}, {2674, "11.9"},
                    {2668, "12.1"}, {2663, "12.3"}, {2657, "12.5"}, {2651, "12.7"}, {2645, "12.9"},
                    {2639, "13.1"}, {2633, "13.3"}, {2627, "13.5"}, {2621, "13.7"}};
const Rows k6455 = {{2758, "6"},   {2750, "6.2"}, {2742, "6.4"}, {2734, "6.6"}, {2726, "6.8"}, {2718, "7"},
                    {2710, "7.2"}, {2702, "7.4"}, {2694, "7.6"}, {2686, "7.8"}, {2678, "8"},   {2670, "8.2"},
                    {2662, "8.4"}, {2654, "8.6"}, {2646, "8.8"}, {2638, "9"},   {2630, "9.2"}, {2622, "9.4"},
                    {2614, "9.6"}, {2606, "9.8"}, {2598, "10"}};

// ---- from an entry, in hundredths of a volt, to the code --------------------------------------

constexpr int k6484Model = 0;
constexpr int k6455Model = 1;

class VsubCodeTest : public OnBoard {
 protected:
  Console console;

  void expect_code(int model, int entry, int expected, const std::string& said_behind = "") {
    SCOPED_TRACE("model " + std::to_string(model) + ", entry " + std::to_string(entry));
    console.clear();
    EXPECT_EQ(t1_sdk_vsub_code_to_regval(model, entry), expected);
    EXPECT_EQ(console.out(), "temp_sub_value = " + std::to_string(entry / 10) + said_behind);
  }
  /// An entry outside the model's table.
  void expect_fallback(int model, int entry) {
    expect_code(model, entry, model == k6455Model ? 2686 : 2784, "error num\n");
  }
};

TEST_F(VsubCodeTest, SixAndAHalfVoltsAre2742OnA6455AndTheConsolesLineHasNoEnd) {
  expect_code(k6455Model, 650, 2742);
  EXPECT_EQ(console.out(), "temp_sub_value = 65");
  EXPECT_TRUE(board.hardware_trace().empty()) << "no hardware is asked";
}

TEST_F(VsubCodeTest, EachRowOfATableCoversItsOwnTenthAndTheNextAndHundredthsDoNotCount) {
  for (int entry = 600; entry < 1020; ++entry) {
    const auto row = static_cast<std::size_t>(entry / 10 - 60) / 2;
    expect_code(k6455Model, entry, static_cast<int>(k6455.at(row).first));
  }
  for (int entry = 810; entry < 1390; ++entry) {
    const auto row = static_cast<std::size_t>(entry / 10 - 81) / 2;
    expect_code(k6484Model, entry, static_cast<int>(k6484.at(row).first));
  }
}

TEST_F(VsubCodeTest, AnEntryOutsideTheTableFallsBackTo7Point8VoltsOnA6455AndTo8Point1OnA6484) {
  for (const int entry : {599, 1020}) expect_fallback(k6455Model, entry);
  for (const int entry : {809, 1390}) expect_fallback(k6484Model, entry);
  for (const int entry : {0, 9, -1, -600, -650, 5, 65, 6500, 65000, 1'000'000, INT_MAX, INT_MIN}) {
    expect_fallback(k6455Model, entry);
    expect_fallback(k6484Model, entry);
  }
}

TEST_F(VsubCodeTest, AnyOtherModelIsNotSupportedWhateverTheEntry) {
  for (const int model : {2, 3, -1, 0x9603, INT_MAX, INT_MIN}) {
    for (const int entry : {650, 5}) {
      expect_code(model, entry, -1, "unsupported devType = " + std::to_string(model) + "\n");
    }
  }
}

// ---- from a code to its voltage ---------------------------------------------------------------

class VsubVoltageTest : public OnBoard {
 protected:
  Console console;
  VSUB_DATA record{};

  std::string find(int model, std::uint32_t original) {
    record.originalVsub = original;
    console.clear();
    find_vusb_voltage(&record, model);
    return {record.voltage, strnlen(record.voltage, sizeof record.voltage)};
  }
};

TEST_F(VsubVoltageTest, EachModelHasItsTable) {
  const std::string says_6484 = "QN_5RX6484A, iQN_5RX6484A, QN_5RX6484A_K, iQN_5RX6484A_E\n";
  const struct {
    int model;
    const Rows& rows;
    std::string says;
  } models[] = {{0x9604, k6484, says_6484},
                {0x960F, k6484, says_6484},
                {0x9709, k6484, says_6484},
                {0x9605, k6455, "QN_5RX6485, iQN_5RX6485\n"},
                {0x9603, k6455, "QN_5RX6455\n"}};
  for (const auto& [model, rows, says] : models) {
    SCOPED_TRACE(model);
    std::memcpy(record.voltage, "12345678", 8);  // a longer voltage stands in its place
    for (const auto& [code, voltage] : rows) {
      EXPECT_EQ(find(model, code), voltage) << code;
      EXPECT_EQ(console.out(), says);
    }
  }
}

TEST_F(VsubVoltageTest, AnyOtherModelIsNotFoundAndKeepsItsVoltage) {
  std::memcpy(record.voltage, "12345678", 8);
  for (const int model : {0, 1, 2, 0x9601, 0x9602, 0x9606, 0x960E, 0x9702, 0x9703, 0xA6001, -1}) {
    EXPECT_EQ(find(model, 2694), "12345678") << model;
    EXPECT_EQ(console.out(), "find_vusb_voltage : can't find devtype\n") << model;
  }
}

TEST_F(VsubVoltageTest, ACodeInNoRowLeavesTheVoltageAsItIs) {
  std::memcpy(record.voltage, "12345678", 8);
  for (const auto& [model, code] : {std::pair{0x9603, 2693U}, {0x9605, 0U}, {0x9604, 2745U}}) {
    EXPECT_EQ(find(model, code), "12345678") << model;
  }
}

TEST_F(VsubVoltageTest, TheOriginalCodeCountsNotTheRealOneAndNothingButTheVoltageIsTouched) {
  std::memset(&record, 0x5A, sizeof record);
  record.realVsub = 2784;
  VSUB_DATA expected = record;
  expected.originalVsub = 2744;
  EXPECT_EQ(find(0x9604, 2744), "9.5");
  std::memcpy(expected.voltage, "9.5\0\0\0\0", 8);
  EXPECT_EQ(std::memcmp(&record, &expected, sizeof record), 0);
}

TEST_F(VsubVoltageTest, WithoutARecordNothingHappens) {
  for (const int model : {0x9603, 0x9604, 0x9605, 0}) find_vusb_voltage(nullptr, model);
  EXPECT_EQ(console.out(), "");
}

}  // namespace
