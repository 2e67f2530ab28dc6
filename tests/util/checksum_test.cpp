// The byte sums that close stored records.
#include "t1_sdk/util/checksum.h"

#include <gtest/gtest.h>
#include <array>
#include <climits>
#include <string>
#include <vector>

#include "tests/harness/console.h"

namespace {

/// The two sums behind one signature.
struct Sum {
  const char* name;
  int (*of)(std::vector<unsigned char>& bytes, int length);
};

// clang-format off
const Sum kSigned =   {"Signed",   [](std::vector<unsigned char>& bytes, int length) {
                                     return checkSum(reinterpret_cast<char*>(bytes.data()), length); }};
const Sum kUnsigned = {"Unsigned", [](std::vector<unsigned char>& bytes, int length) {
                                     return checksum_8u(bytes.data(), length); }};
// clang-format on

void PrintTo(const Sum& sum, std::ostream* out) {
  *out << sum.name;
}

class ChecksumTest : public ::testing::TestWithParam<Sum> {
 protected:
  int sum(std::vector<unsigned char> bytes) { return GetParam().of(bytes, static_cast<int>(bytes.size())); }
  int sum(std::vector<unsigned char> bytes, int length) { return GetParam().of(bytes, length); }

  Console console;
};

INSTANTIATE_TEST_SUITE_P(Of, ChecksumTest, ::testing::Values(kSigned, kUnsigned),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(ChecksumTest, BytesAreSummedWithoutASignAsFarAsTheLengthGoes) {
  EXPECT_EQ(sum({0xFF, 0xFF}), 510);
  EXPECT_EQ(sum({0x7F, 0x80, 0x00, 0x01}), 256);
  EXPECT_EQ(sum({1, 2, 4, 8}, 3), 7);
  EXPECT_EQ(sum({1, 2, 4, 8}, 1), 1);
}

TEST_P(ChecksumTest, ALengthOf0OrLessMakes0) {
  for (const int length : {0, -1, INT_MIN}) EXPECT_EQ(sum({1, 2, 3}, length), 0) << length;
}

TEST_P(ChecksumTest, TheSumWrapsAt32BitsAndIsItsBitsAsAnInt) {
  EXPECT_EQ(sum(std::vector<unsigned char>(8421505, 0xFF)), -2147483521);
  EXPECT_EQ(sum(std::vector<unsigned char>(16843010, 0xFF)), 254);
}

TEST(SignedChecksumTest, NothingIsPrintedAndNothingIsReadForALengthOf0OrLess) {
  const Console console;
  std::array<char, 2> bytes = {1, 2};
  EXPECT_EQ(checkSum(bytes.data(), 2), 3);
  EXPECT_EQ(checkSum(nullptr, 0), 0);
  EXPECT_EQ(checkSum(nullptr, -1), 0);
  EXPECT_EQ(console.out(), "");
}

TEST(UnsignedChecksumTest, TheSumIsPrintedInHexadecimalWithoutASign) {
  const Console console;
  std::vector<unsigned char> bytes(8421505, 0xFF);
  EXPECT_EQ(checksum_8u(bytes.data(), 2), 510);
  checksum_8u(bytes.data(), static_cast<int>(bytes.size()));
  EXPECT_EQ(console.out(), "<T1> DBG:check sum 0x1fe\n<T1> DBG:check sum 0x8000007f\n");
}

TEST(UnsignedChecksumTest, WithoutABufferOrALengthTheSumIs0AndNothingIsPrinted) {
  const Console console;
  unsigned char byte = 1;
  for (const int length : {10, 0, -1}) EXPECT_EQ(checksum_8u(nullptr, length), 0);
  EXPECT_EQ(checksum_8u(&byte, 0), 0);
  EXPECT_EQ(checksum_8u(&byte, -1), 0);
  EXPECT_EQ(console.out(), "");
}

}  // namespace
