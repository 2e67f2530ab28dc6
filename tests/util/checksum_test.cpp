// The byte sums that close stored records.
#include "t1_sdk/util/checksum.h"

#include <gtest/gtest.h>
#include <array>
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

TEST_P(ChecksumTest, TwoBytesOfAllOnesMake510) {
  EXPECT_EQ(sum({0xFF, 0xFF}), 510);
}

TEST_P(ChecksumTest, NoBytesMake0) {
  EXPECT_EQ(sum({1, 2, 3}, 0), 0);
}

TEST_P(ChecksumTest, ALengthBelow0Makes0) {
  EXPECT_EQ(sum({1, 2, 3}, -1), 0);
  EXPECT_EQ(sum({1, 2, 3}, -2147483647 - 1), 0);
}

TEST_P(ChecksumTest, BytesFrom128OnCountUpwards) {
  EXPECT_EQ(sum({0x80}), 128);
  EXPECT_EQ(sum({0x7F, 0x80, 0x00, 0x01}), 256);
}

TEST_P(ChecksumTest, ZeroBytesAreBytesToo) {
  EXPECT_EQ(sum({0, 0, 5, 0, 7}), 12);
}

TEST_P(ChecksumTest, OnlyTheLengthIsSummed) {
  EXPECT_EQ(sum({1, 2, 4, 8}, 3), 7);
  EXPECT_EQ(sum({1, 2, 4, 8}, 1), 1);
}

TEST_P(ChecksumTest, TheOrderOfBytesDoesNotMatter) {
  EXPECT_EQ(sum({1, 200, 30}), sum({30, 1, 200}));
}

TEST_P(ChecksumTest, ASumAboveTheLargestIntIsItsBitsAsAnInt) {
  EXPECT_EQ(sum(std::vector<unsigned char>(8421505, 0xFF)), -2147483521);
}

TEST_P(ChecksumTest, TheSumWrapsAt32Bits) {
  EXPECT_EQ(sum(std::vector<unsigned char>(16843010, 0xFF)), 254);
}

TEST(SignedChecksumTest, NothingIsPrinted) {
  const Console console;
  std::array<char, 2> bytes = {1, 2};
  EXPECT_EQ(checkSum(bytes.data(), 2), 3);
  EXPECT_EQ(console.out(), "");
}

TEST(SignedChecksumTest, NothingIsReadForALengthOf0OrLess) {
  EXPECT_EQ(checkSum(nullptr, 0), 0);
  EXPECT_EQ(checkSum(nullptr, -1), 0);
}

TEST(UnsignedChecksumTest, TheSumIsPrintedInHexadecimal) {
  const Console console;
  std::array<unsigned char, 3> bytes = {0xFF, 0xFF, 0xFF};
  EXPECT_EQ(checksum_8u(bytes.data(), 2), 510);
  EXPECT_EQ(console.out(), "<T1> DBG:check sum 0x1fe\n");
}

TEST(UnsignedChecksumTest, ASumAboveTheLargestIntIsPrintedWithoutASign) {
  const Console console;
  std::vector<unsigned char> bytes(8421505, 0xFF);
  checksum_8u(bytes.data(), static_cast<int>(bytes.size()));
  EXPECT_EQ(console.out(), "<T1> DBG:check sum 0x8000007f\n");
}

TEST(UnsignedChecksumTest, WithoutABufferTheSumIs0) {
  EXPECT_EQ(checksum_8u(nullptr, 10), 0);
  EXPECT_EQ(checksum_8u(nullptr, 0), 0);
  EXPECT_EQ(checksum_8u(nullptr, -1), 0);
}

TEST(UnsignedChecksumTest, WhatIsNotSummedIsNotPrinted) {
  const Console console;
  unsigned char byte = 1;
  checksum_8u(nullptr, 10);
  checksum_8u(&byte, 0);
  checksum_8u(&byte, -1);
  EXPECT_EQ(console.out(), "");
}

}  // namespace
