// The tables of substrate-voltage codes, the layout of the records, and the search for a code's voltage.
#include <gtest/gtest.h>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "t1_sdk/boardtest/sensor/vsub/models.h"
#include "t1_sdk/boardtest/sensor/vsub/records.h"
#include "tests/harness/console.h"
#include "tests/harness/on_board.h"

namespace {

using Row = std::pair<std::uint32_t, std::string>;

const std::vector<Row> k6484 = {
    {2784, "8.1"},  {2778, "8.3"},  {2772, "8.5"},  {2766, "8.7"},  {2760, "8.9"},  {2755, "9.1"},
    {2749, "9.3"},  {2744, "9.5"},  {2738, "9.7"},  {2732, "9.9"},  {2726, "10.1"}, {2721, "10.3"},
    {2715, "10.5"}, {2709, "10.7"}, {2703, "10.9"}, {2697, "11.1"}, {2691, "11.3"}, {2685, "11.5"},
    {2680, "11.7"}, {2674, "11.9"}, {2668, "12.1"}, {2663, "12.3"}, {2657, "12.5"}, {2651, "12.7"},
    {2645, "12.9"}, {2639, "13.1"}, {2633, "13.3"}, {2627, "13.5"}, {2621, "13.7"}};
const std::vector<Row> k6455 = {
    {2758, "6"},   {2750, "6.2"}, {2742, "6.4"}, {2734, "6.6"}, {2726, "6.8"}, {2718, "7"},   {2710, "7.2"},
    {2702, "7.4"}, {2694, "7.6"}, {2686, "7.8"}, {2678, "8"},   {2670, "8.2"}, {2662, "8.4"}, {2654, "8.6"},
    {2646, "8.8"}, {2638, "9"},   {2630, "9.2"}, {2622, "9.4"}, {2614, "9.6"}, {2606, "9.8"}, {2598, "10"}};

template <std::size_t size>
std::vector<Row> rows_of(const VSUBNAME (&table)[size]) {
  std::vector<Row> rows;
  for (const VSUBNAME& row : table) {
    EXPECT_NE(std::memchr(row.voltage, '\0', sizeof row.voltage), nullptr);
    rows.emplace_back(row.vsub, std::string(row.voltage, strnlen(row.voltage, sizeof row.voltage)));
  }
  return rows;
}

// ---- tables -------------------------------------------------------------------------------

TEST(VsubTablesTest, The6484Has29CodesFallingBy5Or6) {
  EXPECT_EQ(rows_of(vsub_6484), k6484);
  EXPECT_EQ(std::size(vsub_6484), 29U);
  for (std::size_t row = 1; row < std::size(vsub_6484); ++row) {
    const std::uint32_t fall = vsub_6484[row - 1].vsub - vsub_6484[row].vsub;
    EXPECT_TRUE(fall == 5 || fall == 6) << row;
  }
}

TEST(VsubTablesTest, The6455Has21CodesFallingBy8) {
  EXPECT_EQ(rows_of(vsub_6455), k6455);
  EXPECT_EQ(std::size(vsub_6455), 21U);
  for (std::size_t row = 1; row < std::size(vsub_6455); ++row) {
    EXPECT_EQ(vsub_6455[row - 1].vsub - vsub_6455[row].vsub, 8U) << row;
  }
}

TEST(VsubTablesTest, The6485HasTheCodesOfThe6455) {
  EXPECT_EQ(rows_of(vsub_6485), k6455);
  EXPECT_NE(static_cast<const void*>(vsub_6485), static_cast<const void*>(vsub_6455)) << "a table of its own";
}

// ---- records ------------------------------------------------------------------------------

TEST(VsubTablesTest, ARowIsACodeAndATextOf8Bytes) {
  static_assert(sizeof(VSUBNAME) == 12 && offsetof(VSUBNAME, voltage) == 4 && sizeof(VSUBNAME::voltage) == 8);
  static_assert(std::is_same_v<decltype(VSUBNAME::vsub), std::uint32_t>);
}

TEST(VsubTablesTest, TheVoltageRecordHas64BytesOnEveryMachine) {
  static_assert(sizeof(VSUB_DATA) == 64);
  static_assert(offsetof(VSUB_DATA, realVsub) == 0 && offsetof(VSUB_DATA, originalVsub) == 4);
  static_assert(offsetof(VSUB_DATA, voltage) == 8 && sizeof(VSUB_DATA::voltage) == 8);
  static_assert(offsetof(VSUB_DATA, magicNumber) == 16);
  static_assert(offsetof(VSUB_DATA, res) == 20 && sizeof(VSUB_DATA::res) == 20);
  static_assert(offsetof(VSUB_DATA, checkSum) == 40);
  static_assert(offsetof(VSUB_DATA, res1) == 44 && sizeof(VSUB_DATA::res1) == 20);
}

TEST(VsubTablesTest, TheLumaRecordHas344BytesOnEveryMachine) {
  static_assert(sizeof(VSUB_PAIR) == 8);
  static_assert(offsetof(VSUB_PAIR, vsubValue) == 0 && offsetof(VSUB_PAIR, luma) == 4);
  static_assert(std::is_unsigned_v<decltype(VSUB_PAIR::vsubValue)> &&
                std::is_unsigned_v<decltype(VSUB_PAIR::luma)>);
  static_assert(sizeof(VSUB_LUMA_DATA) == 344);
  static_assert(offsetof(VSUB_LUMA_DATA, magicNumber) == 0 && offsetof(VSUB_LUMA_DATA, vsubNumber) == 4);
  static_assert(offsetof(VSUB_LUMA_DATA, vsubGroup) == 8 && sizeof(VSUB_LUMA_DATA::vsubGroup) == 320);
  static_assert(offsetof(VSUB_LUMA_DATA, res) == 328 && sizeof(VSUB_LUMA_DATA::res) == 12);
  static_assert(offsetof(VSUB_LUMA_DATA, checkSum) == 340);
}

// ---- search -------------------------------------------------------------------------------

constexpr const char* kSays6484 = "QN_5RX6484A, iQN_5RX6484A, QN_5RX6484A_K, iQN_5RX6484A_E\n";
constexpr const char* kSays6485 = "QN_5RX6485, iQN_5RX6485\n";
constexpr const char* kSays6455 = "QN_5RX6455\n";

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
  void expect_rows(int model, const std::vector<Row>& rows, const std::string& says) {
    for (const auto& [code, voltage] : rows) {
      EXPECT_EQ(find(model, code), voltage) << code;
      EXPECT_EQ(console.out(), says);
    }
  }
};

TEST_F(VsubVoltageTest, EveryVariantOfThe6484HasItsTable) {
  for (const int model : {0x9604, 0x960F, 0x9709}) {
    SCOPED_TRACE(model);
    expect_rows(model, k6484, kSays6484);
  }
}

TEST_F(VsubVoltageTest, The6485HasItsTable) {
  expect_rows(0x9605, k6455, kSays6485);
}

TEST_F(VsubVoltageTest, The6455HasItsTable) {
  expect_rows(0x9603, k6455, kSays6455);
}

TEST_F(VsubVoltageTest, AnyOtherModelIsNotFound) {
  for (const int model : {0, 1, 2, 0x9601, 0x9602, 0x9606, 0x960E, 0x9702, 0x9703, 0xA6001, -1}) {
    EXPECT_EQ(find(model, 2694), "") << model;
    EXPECT_EQ(console.out(), "find_vusb_voltage : can't find devtype\n") << model;
  }
}

TEST_F(VsubVoltageTest, ACodeInNoRowLeavesAZeroedVoltageEmpty) {
  EXPECT_EQ(find(0x9603, 2695), "");
  EXPECT_EQ(console.out(), kSays6455);
  const std::array<char, 8> zeros{};
  EXPECT_EQ(std::memcmp(record.voltage, zeros.data(), zeros.size()), 0);
}

TEST_F(VsubVoltageTest, ACodeInNoRowLeavesTheVoltageAsItIs) {
  std::memcpy(record.voltage, "12345678", 8);
  for (const auto& [model, code] : {std::pair{0x9603, 2693U}, {0x9605, 0U}, {0x9604, 2745U}, {0x1, 2694U}}) {
    EXPECT_EQ(find(model, code), "12345678") << model;
  }
}

TEST_F(VsubVoltageTest, TheOriginalCodeCountsNotTheRealOne) {
  record.realVsub = 2758;
  EXPECT_EQ(find(0x9603, 2598), "10");
  EXPECT_EQ(record.realVsub, 2758U);
  EXPECT_EQ(record.originalVsub, 2598U);
}

TEST_F(VsubVoltageTest, AVoltageTakesThePlaceOfALongerOne) {
  std::memcpy(record.voltage, "12345678", 8);
  EXPECT_EQ(find(0x9603, 2758), "6");
}

TEST_F(VsubVoltageTest, NothingButTheVoltageIsTouched) {
  std::memset(&record, 0x5A, sizeof record);
  VSUB_DATA expected = record;
  expected.originalVsub = 2744;
  EXPECT_EQ(find(0x9604, 2744), "9.5");
  std::memcpy(expected.voltage, record.voltage, sizeof expected.voltage);
  EXPECT_EQ(std::memcmp(&record, &expected, sizeof record), 0);
}

TEST_F(VsubVoltageTest, EachModelHasItsOwnRows) {
  EXPECT_EQ(find(0x9604, 2726), "10.1");
  EXPECT_EQ(find(0x9603, 2726), "6.8");
}

TEST_F(VsubVoltageTest, WithoutARecordNothingHappens) {
  for (const int model : {0x9603, 0x9604, 0x9605, 0}) find_vusb_voltage(nullptr, model);
  EXPECT_EQ(console.out(), "");
}

}  // namespace
