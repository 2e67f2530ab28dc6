// The plans of the project: one for each board family, with just the tests that it is given.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include "catalogue/catalogue.h"
#include "station/plan/measure.h"
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

// What only a person can see, by the test's name.
bool is_asked(std::string_view test, std::string_view family) {
  const std::set<std::string_view> seen{"rs485-ptz", "ircut", "iris", "light", "in-light"};
  const bool only_sends = family == "63xx" || family == "rkd2";
  return seen.contains(test) || (test == "rs485" && only_sends);
}

// What stands on the console only, by the test's name.
std::vector<std::string> console_numbers(std::string_view test, std::string_view family) {
  const bool has_two_sticks = family == "k" || family == "65xx" || family == "65xx-level";
  if (test.starts_with("alarm-") && test != "alarm-1in1out") return {"wrong-readings"};
  if (test == "rtc") return {"year"};
  if (test == "temp") return {"temperature"};
  if (test == "usb" && has_two_sticks) return {"wrong-bytes-1", "wrong-bytes-2", "write-speed", "read-speed"};
  if (test == "sd" || test == "usb") return {"wrong-bytes", "write-speed", "read-speed"};
  return {};
}

TEST(PlansTest, EveryFamilyHasAnAttendedPlanThatAsksAndReadsTheConsoleBesides) {
  for (const catalogue::Family& family : catalogue::families()) {
    const t1station::Plan plain = t1station::read_plan(file_of(family.name));
    const t1station::Plan attended = t1station::read_plan(file_of(std::string(family.name) + "-attended"));
    EXPECT_EQ(attended.name, plain.name + "-attended");
    ASSERT_EQ(codes_of(attended), codes_of(plain));
    for (std::size_t i = 0; i < plain.steps.size(); ++i) {
      const t1station::Step& step = attended.steps[i];
      const t1station::Step& other = plain.steps[i];
      SCOPED_TRACE(attended.name + ", " + step.name);
      EXPECT_EQ(std::tie(step.name, step.parameter, step.timeout, step.attempts, step.always),
                std::tie(other.name, other.parameter, other.timeout, other.attempts, other.always));
      EXPECT_EQ(step.confirm.has_value(), is_asked(step.name, family.name));
      std::vector<std::string> numbers;
      for (const t1station::Measure& measure : step.measures)
        if (measure.from == t1station::Measure::From::console) numbers.push_back(measure.name);
      EXPECT_EQ(numbers, console_numbers(step.name, family.name));
      EXPECT_EQ(step.measures.size() - numbers.size(), other.measures.size());
    }
  }
}

// What a simulated board of the family `normal` printed during each step; of `k`, with its two sticks.
const std::map<std::string, std::string> kPrinted{
    {"alarm-5in3out", "报警I/O口完成2次测试,错误次数0\n\n"},
    {"alarm-5in4out", "报警I/O口完成2次测试,错误次数0\n\n"},
    {"alarm-5in5out", "报警I/O口完成2次测试,错误次数0\n\n"},
    {"sd",
     "磁盘分区大小:4.00(G)\n磁盘剩余空间:4.00(G)\n\n磁盘写入速度:1.21(M/S)\n\n磁盘读取速度:1.64(M/S)\n"
     "SD卡完成25(M)读写数据测试,错误数据0(8bit)\n\n"},
    {"usb",
     "磁盘分区大小:4.00(G)\n磁盘剩余空间:4.00(G)\n\n磁盘写入速度:3.36(M/S)\n\n磁盘读取速度:7.26(M/S)\n"
     "USB2完成25(M)读写数据测试,错误数据0(8bit)\n"},
    {"rtc", "\n############RTC测试开始##############\n2024-05-17 08:31:02\n2024-05-17 08:31:03\n"},
    {"temp", "t1_sdk_tmp_test\n温度传感器测得当前温度：45.5 摄氏度\n"},
};

// All numbers that a plan finds in what its board says.
std::map<std::string, double> found_by(std::string_view plan,
                                       const std::map<std::string, std::string>& printed) {
  std::map<std::string, double> found;
  for (const t1station::Step& step : t1station::read_plan(file_of(plan)).steps) {
    t1station::Findings findings{"\nTG param OK. num = [3] TGVer[10002]\n\n", std::nullopt, 1};
    if (const auto text = printed.find(step.name); text != printed.end()) findings.console = text->second;
    for (const t1station::Measure& measure : step.measures) {
      const t1station::Measurement measurement = take_measurement(measure, findings);
      EXPECT_EQ(measurement.outcome, "passed") << step.name;
      found[step.name + " " + measure.name] = measurement.value.value_or(-1);
    }
  }
  return found;
}

TEST(PlansTest, TheAttendedPlanFindsItsNumbersInWhatABoardSays) {
  const std::map<std::string, double> expected{{"alarm-5in3out wrong-readings", 0},
                                               {"alarm-5in4out wrong-readings", 0},
                                               {"alarm-5in5out wrong-readings", 0},
                                               {"sd wrong-bytes", 0},
                                               {"sd write-speed", 1.21},
                                               {"sd read-speed", 1.64},
                                               {"usb wrong-bytes", 0},
                                               {"usb write-speed", 3.36},
                                               {"usb read-speed", 7.26},
                                               {"rtc year", 2024},
                                               {"temp temperature", 45.5},
                                               {"get-tg pairs", 3}};
  EXPECT_EQ(found_by("normal-attended", kPrinted), expected);
}

TEST(PlansTest, TheWrongBytesOfEachOfTwoSticksAreCounted) {
  std::map<std::string, std::string> printed = kPrinted;
  printed["alarm-8in9out"] = printed.at("alarm-5in3out");
  printed["usb"] =
      "磁盘写入速度:33.75(M/S)\n磁盘读取速度:80.23(M/S)\nUSB1完成25(M)读写数据测试,错误数据0(8bit)\n"
      "磁盘写入速度:28.28(M/S)\n磁盘读取速度:82.36(M/S)\nUSB2完成25(M)读写数据测试,错误数据0(8bit)\n";
  const std::map<std::string, double> found = found_by("k-attended", printed);
  EXPECT_EQ(found.at("usb wrong-bytes-1"), 0);
  EXPECT_EQ(found.at("usb wrong-bytes-2"), 0);
  EXPECT_EQ(found.at("usb write-speed"), 33.75) << "the first stick's";
}

TEST(PlansTest, TheExampleInTheDocumentsIsAGoodPlan) {
  std::ifstream page(std::filesystem::path(PLANS).parent_path() / "docs/plans.md");
  std::string text, line;
  while (std::getline(page, line) && line != "```toml") continue;
  while (std::getline(page, line) && line != "```") text += line + "\n";
  EXPECT_EQ(t1station::parse_plan("docs/plans.md", text).steps.size(), 4U);
}

TEST(PlansTest, ThereIsNoPlanOfAFamilyThatDoesNotExist) {
  std::set<std::string> expected, found;
  for (const catalogue::Family& family : catalogue::families()) {
    expected.insert(std::string(family.name) + ".toml");
    expected.insert(std::string(family.name) + "-attended.toml");
  }
  for (const auto& entry : std::filesystem::directory_iterator(PLANS)) found.insert(entry.path().filename());
  EXPECT_EQ(found, expected);
}

}  // namespace
