// The plans of the project: one for each board family, with just the tests that it is given.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "catalogue/catalogue.h"
#include "station/plan/plan_file.h"

namespace {

std::string file_of(std::string_view plan) {
  return std::string(PLANS) + "/" + std::string(plan) + ".toml";
}

std::vector<std::int32_t> codes_of(const t1station::Plan& plan) {
  std::vector<std::int32_t> codes;
  for (const t1station::Step& step : plan.steps) codes.push_back(step.code);
  return codes;
}

TEST(PlansTest, EveryFamilyHasAPlanWithItsTestsInTheirOrderThatNeedsNobody) {
  for (const catalogue::Family& family : catalogue::families()) {
    const t1station::Plan plan = t1station::read_plan(file_of(family.name));
    EXPECT_EQ(plan.name, family.name);
    std::vector<std::int32_t> given;
    for (const catalogue::Test* test : catalogue::tests_of(family.name)) given.push_back(test->code);
    EXPECT_EQ(codes_of(plan), given) << family.name;
    EXPECT_FALSE(plan.wants_person()) << family.name;
    EXPECT_FALSE(plan.wants_console()) << family.name;
    EXPECT_TRUE(plan.serial.matches("AB00000001")) << family.name;
    EXPECT_TRUE(plan.build && plan.build->matches("BUILD: Mar 29 2019-22:09:55")) << family.name;
    EXPECT_TRUE(plan.steps.back().always) << family.name << ": a board leaves its test mode, whatever failed";
    for (const t1station::Step& step : plan.steps) {
      const catalogue::Test* test = catalogue::find_test(step.code);
      const bool sets_voltage = test->voltages.highest > 0;
      EXPECT_EQ(step.parameter, sets_voltage ? std::optional(family.voltage) : std::nullopt) << family.name;
    }
  }
}

TEST(PlansTest, TheAttendedPlanAsksAndMeasuresBesides) {
  const t1station::Plan plain = t1station::read_plan(file_of("normal"));
  const t1station::Plan attended = t1station::read_plan(file_of("normal-attended"));
  EXPECT_EQ(codes_of(attended), codes_of(plain));
  EXPECT_TRUE(attended.wants_person());
  EXPECT_TRUE(attended.wants_console());
}

TEST(PlansTest, ThereIsNoPlanOfAFamilyThatDoesNotExist) {
  std::set<std::string> expected{"normal-attended.toml"}, found;
  for (const catalogue::Family& family : catalogue::families())
    expected.insert(std::string(family.name) + ".toml");
  for (const auto& entry : std::filesystem::directory_iterator(PLANS)) found.insert(entry.path().filename());
  EXPECT_EQ(found, expected);
}

}  // namespace
