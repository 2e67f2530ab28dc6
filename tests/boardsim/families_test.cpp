// The families of boards and the boot block that tells them apart.
#include "boardsim/families/boot_block.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace boardsim;

TEST(FamiliesTest, EveryFamilyHasADescriptionOfOneLineAndOneHasSevenAlarmOutputs) {
  for (const Family& family : families()) {
    EXPECT_FALSE(family.description.empty()) << family.name;
    EXPECT_EQ(family.description.find('\n'), std::string_view::npos) << family.name;
    EXPECT_EQ(family.alarm_outputs == 7, family.name == "6444") << family.name;
  }
}

TEST(FamiliesTest, AFamilyIsFoundByNameAndByTypeCode) {
  ASSERT_NE(find_family("loop"), nullptr);
  EXPECT_EQ(find_family("loop")->type, 0x96C1U);
  ASSERT_NE(find_family(0x96C0U), nullptr);
  EXPECT_EQ(find_family(0x96C0U)->name, "6444");
  EXPECT_EQ(find_family(0x9C0AU)->name, "65xx");
  EXPECT_EQ(find_family(0x9726U)->name, "k") << "a family has other codes besides its first";
  EXPECT_EQ(find_family("LOOP"), nullptr);
  EXPECT_EQ(find_family(""), nullptr);
  EXPECT_EQ(find_family(0x1234U), nullptr);
}

TEST(BootBlockTest, EveryBoardCarriesItsTypeCodeAlarmOutputsAndModel) {
  for (const Family& family : families()) {
    const BootBlock block = make_boot_block(family);
    EXPECT_EQ(boot_type(block), family.type) << family.name;
    EXPECT_EQ(block[90], family.alarm_outputs) << family.name;
    const std::string field(block.begin() + 128, block.begin() + 192);
    EXPECT_EQ(field.substr(0, field.find('\0')), "SIMULATED-" + std::string(family.name));
  }
}

TEST(BootBlockTest, WritingTypeAndAlarmOutputsLeavesTheOtherBytesAlone) {
  BootBlock block;
  block.fill(0xEE);
  set_boot_type(block, 0x12345678);
  set_boot_alarm_outputs(block, 7);
  const auto untouched = std::ranges::count(block, std::uint8_t{0xEE});
  EXPECT_EQ(untouched, 256 - 5);
  EXPECT_EQ(block[90], 7);
}

TEST(BootBlockTest, BothMacAddressesAreLocallyAdministeredAndDiffer) {
  const BootBlock block = make_boot_block(*find_family("normal"));
  EXPECT_EQ(block[53], 0x02);
  EXPECT_EQ(block[59], 0x02);
  EXPECT_FALSE(std::equal(&block[53], &block[59], &block[59]));
}

}  // namespace
