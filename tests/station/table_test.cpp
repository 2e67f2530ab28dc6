// Tables by columns.
#include "station/report/table.h"

#include <gtest/gtest.h>

#include <sstream>

#include "station/catalogue/codes.h"
#include "station/text/text.h"
#include "tests/station/board_texts.h"

namespace {

using namespace t1station;

RunReport sample() {
  RunReport report;
  report.results = {{1536, Outcome::passed, board_texts::rtc_name, board_texts::success, 6.04},
                    {14592, Outcome::failed, board_texts::light_name, "", 10},
                    {1, Outcome::timed_out, "", "no reply within 30 s", 30}};
  return report;
}

TEST(TableTest, ResultsOfABoardLineUpThoughTheirNamesAreChinese) {
  EXPECT_EQ(results_table(sample(), false),
            "Test    Code  Result    Seconds  Board's name  Description\n"
            "-----  -----  --------  -------  ------------  --------------------\n"
            "rtc     1536  Pass          6.0  测试RTC时钟   测试成功\n"
            "light  14592  Fail         10.0  测试内置灯\n"
            "1          1  no reply     30.0                no reply within 30 s\n"
            "\n"
            "3 tests: 1 passed, 1 failed, 1 without reply, 46.0 s\n");
}

TEST(TableTest, TestsOfOneNameOnTheBoardAreToldApart) {
  RunReport report;
  report.results = {{520, Outcome::passed, "测试应用程序", "", 1},
                    {528, Outcome::passed, "测试应用程序", "", 1},
                    {9728, Outcome::passed, "设置vsub电压值", "", 1, 650}};
  EXPECT_EQ(results_table(report, false),
            "Test              Code  Result  Seconds  Board's name    Description\n"
            "----------------  ----  ------  -------  --------------  -----------\n"
            "alarm-5in3out      520  Pass        1.0  测试应用程序\n"
            "alarm-5in5out      528  Pass        1.0  测试应用程序\n"
            "set-sub-6455=650  9728  Pass        1.0  设置vsub电压值\n"
            "\n"
            "3 tests: 3 passed, 0 failed, 3.0 s\n");
}

TEST(TableTest, ColorsDoNotMoveColumns) {
  std::string table = results_table(sample(), true);
  EXPECT_NE(table.find("rtc     1536  \x1b[32mPass\x1b[0m          6.0"), std::string::npos) << table;
  EXPECT_NE(table.find("light  14592  \x1b[31mFail\x1b[0m         10.0"), std::string::npos) << table;
  for (const std::string color : {"\x1b[31m", "\x1b[32m", "\x1b[33m", "\x1b[0m"}) {
    while (table.find(color) != std::string::npos) table.erase(table.find(color), color.size());
  }
  EXPECT_EQ(table, results_table(sample(), false));
}

TEST(TableTest, ADescriptionOfSeveralLinesStaysInItsColumn) {
  RunReport report;
  report.results = {{10752, Outcome::passed, "TG", "\nTG param OK\n\n{0x1, 0x2}\n", 1}};
  EXPECT_EQ(results_table(report, false),
            "Test     Code  Result  Seconds  Board's name  Description\n"
            "------  -----  ------  -------  ------------  -----------\n"
            "get-tg  10752  Pass        1.0  TG            TG param OK\n"
            "\n"
            "                                              {0x1, 0x2}\n"
            "\n"
            "1 test: 1 passed, 0 failed, 1.0 s\n");
}

TEST(TableTest, ATestThatDidNotRunHasNoNameOfTheBoards) {
  RunReport report;
  report.results = {{1536, Outcome::not_run, "", "interrupted by the operator", 0}};
  const std::string table = results_table(report, false);
  EXPECT_NE(table.find("rtc   1536  not run      0.0                interrupted by the operator\n"),
            std::string::npos)
      << table;
  EXPECT_NE(table.find("1 test: 0 passed, 0 failed, 1 not run, 0.0 s\n"), std::string::npos) << table;
}

TEST(TableTest, TheListShowsEveryTestOnce) {
  const std::string table = tests_table();
  const auto lines = static_cast<std::size_t>(std::count(table.begin(), table.end(), '\n'));
  EXPECT_EQ(lines, 1 + catalogue::tests().size()) << "a heading and every test";
  EXPECT_NE(table.find(" 1536    0x600  rtc                           6  RTC clock\n"), std::string::npos)
      << table;
  EXPECT_NE(table.find("  -15           restart                       1  Restart into the application\n"),
            std::string::npos)
      << table;
}

TEST(TableTest, TheListOfAFamilyHasItsTestsInTheirOrder) {
  const std::string table = tests_table("ma");
  EXPECT_LT(table.find("alarm-5in3out"), table.find("rs485-ptz"));
  EXPECT_LT(table.find(" ma "), table.find("restart"));
  EXPECT_EQ(table.find("set-sub"), std::string::npos) << table;
}

}  // namespace
