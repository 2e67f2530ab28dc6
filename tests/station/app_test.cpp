// The whole station against a fake board: output, reports and exit codes.
#include "station/app/app.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/harness/own_directory.h"
#include "tests/station/board_texts.h"
#include "tests/station/fake_board.h"
#include "tests/station/scripted_link.h"

namespace {

using namespace board_texts;
namespace fs = std::filesystem;

class AppTest : public testing::Test {
 protected:
  int run(const std::vector<std::string>& arguments, bool on_terminal = false, bool no_color = false) {
    const t1station::Environment around{out_,        err_,        clock_,   interrupt_, "2024-05-06T07:08:09",
                                        on_terminal, on_terminal, no_color, 80};
    return t1station::run_app(arguments, around);
  }

  std::string out() const { return out_.str(); }
  std::string err() const { return err_.str(); }
  std::string path(const std::string& name) const { return directory_.file(name); }
  static std::string content(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
  }

  ManualClock clock_;  // stands still: every test takes 0.0 seconds
  t1station::Interrupt interrupt_;
  std::ostringstream out_, err_;
  const OwnDirectory directory_;
};

const std::string light_pass = reply(14592, light_name_gbk, "Pass", "");
const std::string rtc_fail = reply(1536, rtc_name_gbk, "Fail", read_failed_gbk);

std::string document(int code) {
  return "<TestItem><TestCode>" + std::to_string(code) + "</TestCode></TestItem>";
}

TEST_F(AppTest, TwoTestsThatPassGiveATableAndExitCode0) {
  FakeBoard board(
      {{sends(greeting()), hears(), sends(heartbeat() + rtc_pass()), hears(), sends(light_pass), hears()}});
  EXPECT_EQ(run({board.address(), "run", "rtc", "light"}), 0);
  EXPECT_EQ(out(),
            "Test    Code  Result  Seconds  Board's name  Description\n"
            "-----  -----  ------  -------  ------------  -----------\n"
            "rtc     1536  Pass        0.0  测试RTC时钟   测试成功\n"
            "light  14592  Pass        0.0  测试内置灯\n"
            "\n"
            "2 tests: 2 passed, 0 failed, 0.0 s\n");
  EXPECT_EQ(board.requests(), (std::vector<std::string>{document(1536), document(14592), document(62208)}));
}

TEST_F(AppTest, BannerMenuAndProgressGoToStandardErrorUnlessTheyAreHidden) {
  FakeBoard board({{sends(greeting()), hears(), sends(rtc_pass()), hears()}});
  run({board.address(), "run", "rtc"});
  const std::string stars(50, '*');
  EXPECT_EQ(err(), stars + "\n" + title + stars +
                       "\nBUILD: Mar 29 2019-22:09:55\n\tT1 test menu:\n\t[h] 帮助菜单\n\t[q] 退出测试\n"
                       "[1/1] RTC clock: Pass (0.0 s)\n");
  err_.str("");
  FakeBoard other({{sends(greeting()), hears(), sends(rtc_pass()), hears()}});
  run({other.address(), "run", "rtc", "--quiet"});
  EXPECT_EQ(err(), "[1/1] RTC clock: Pass (0.0 s)\n");
}

TEST_F(AppTest, ReportsAreWrittenWithTheBoardsBuildAndTheParameters) {
  FakeBoard board({{sends(greeting()), hears(), sends(rtc_pass()), hears(),
                    sends(reply(9728, "x", "Pass", "")), hears()}});
  EXPECT_EQ(run({board.address(), "run", "1536", "set-sub-6455=650", "--json", path("json"), "--junit",
                 path("junit")}),
            0);
  EXPECT_EQ(board.requests().at(1),
            "<TestItem><TestCode>9728</TestCode><Parameters>650</Parameters></TestItem>");
  const nlohmann::json report = nlohmann::json::parse(content(path("json")));
  EXPECT_EQ(report["build"], "BUILD: Mar 29 2019-22:09:55");
  EXPECT_EQ(report["board"], board.address());
  EXPECT_EQ(report["tests"][0]["board_name"], rtc_name);
  EXPECT_EQ(report["tests"][1]["parameter"], 650);
  EXPECT_NE(content(path("junit")).find("<testcase classname=\"boardtest.rtc\" name=\"1536 RTC clock\""),
            std::string::npos);
}

TEST_F(AppTest, ARestartBeforeOtherTestsIsWarnedOf) {
  const std::string warning =
      "t1station: restart is not the last test: the board will be gone for those behind it\n";
  const std::string restart_pass = reply(-15, "x", "Pass", "");
  {
    FakeBoard board({{sends(greeting()), hears(), sends(restart_pass), awaits_close()}});
    EXPECT_EQ(run({board.address(), "run", "restart", "rtc"}), 6);
    EXPECT_TRUE(err().starts_with(warning)) << err();
    EXPECT_EQ(board.requests(), std::vector<std::string>{document(-15)});
  }
  err_.str("");
  FakeBoard board({{sends(greeting()), hears(), sends(rtc_pass()), hears(), sends(restart_pass)}});
  EXPECT_EQ(run({board.address(), "run", "rtc", "restart"}), 0);
  EXPECT_EQ(err().find("not the last"), std::string::npos) << err();
}

TEST_F(AppTest, AnUnreachableBoardGivesExitCode6AndStillAReportOfARun) {
  std::string address;
  {
    FakeBoard board({});
    address = board.address();
  }
  EXPECT_EQ(run({address, "run", "rtc", "light", "--json", path("report")}), 6);
  const nlohmann::json report = nlohmann::json::parse(content(path("report")));
  EXPECT_EQ(report["summary"]["broken"], 1);
  EXPECT_EQ(report["summary"]["not_run"], 1);
  EXPECT_EQ(report["exit_code"], 6);
  EXPECT_EQ(run({address, "monitor"}), 6);
  EXPECT_NE(err().find("Connection refused"), std::string::npos);
}

TEST_F(AppTest, AnInterruptGivesExitCode2AndPartialResultsAreWritten) {
  FakeBoard board({{sends(greeting()), hears(), sends(rtc_pass()), hears(),
                    does([this] { interrupt_.raise(); }), hears(), awaits_close()}});
  EXPECT_EQ(
      run({board.address(), "run", "rtc", "light", "temp", "--junit", path("junit"), "--json", path("json")}),
      2);
  EXPECT_NE(out().find("3 tests: 1 passed, 0 failed, 1 interrupted, 1 not run"), std::string::npos) << out();
  EXPECT_NE(content(path("junit")).find("skipped=\"2\""), std::string::npos);
  EXPECT_EQ(nlohmann::json::parse(content(path("json")))["exit_code"], 2);
  EXPECT_EQ(board.requests().back(), document(62208));
}

TEST_F(AppTest, WithoutABoardThereAreExitCodesToo) {
  EXPECT_EQ(run({"127.0.0.1:1", "run", "clock"}), 4);
  EXPECT_EQ(err(),
            "t1station: there is no test \"clock\"; \"t1station list\" shows them all. Did you mean rtc?\n");
  EXPECT_EQ(run({"127.0.0.1:1", "run"}), 5) << "nothing is selected";
  EXPECT_EQ(out(), "");
  EXPECT_EQ(run({"--help"}), 0);
  EXPECT_NE(out().find("Usage:"), std::string::npos);
  EXPECT_EQ(run({"list"}), 0);
  EXPECT_NE(out().find("alarm-10in10out-level"), std::string::npos);
}

TEST_F(AppTest, AReportThatCannotBeWrittenKeepsNoOtherFromBeingWrittenAndGivesExitCode7) {
  fs::create_directory(path("gone"));
  FakeBoard board({{sends(greeting()), hears(), does([this] { fs::remove_all(path("gone")); }),
                    sends(rtc_pass()), hears()}});
  EXPECT_EQ(run({board.address(), "run", "rtc", "--json", path("gone/json"), "--junit", path("junit")}), 7);
  EXPECT_NE(out().find("1 passed"), std::string::npos);
  EXPECT_NE(err().find("cannot write " + path("gone/json")), std::string::npos) << err();
  EXPECT_NE(content(path("junit")).find("<testcase"), std::string::npos);
}

TEST_F(AppTest, AReportThatCannotBeWrittenIsKnownBeforeAnythingIsRun) {
  EXPECT_EQ(run({"127.0.0.1:1", "run", "rtc", "--json", path("missing/json")}), 7);
  EXPECT_EQ(err(), "t1station: no file can be made in " + path("missing") + "; nothing was run\n");
  EXPECT_EQ(run({"127.0.0.1:1", "run", "rtc", "--json", path("same"), "--junit", path("same")}), 4);
  EXPECT_EQ(out(), "");
}

TEST_F(AppTest, AStandardOutputThatCannotBeWrittenGivesExitCode7UnlessTheRunHasAWorseOne) {
  out_.setstate(std::ios::badbit);
  for (const std::string command : {"list", "--help", "--version"}) EXPECT_EQ(run({command}), 7) << command;
  EXPECT_NE(err().find("t1station: standard output cannot be written\n"), std::string::npos);
  {
    FakeBoard board({{sends(greeting()), hears(), sends(rtc_pass()), hears()}});
    EXPECT_EQ(run({board.address(), "run", "rtc", "--json", path("json")}), 7);
    EXPECT_EQ(nlohmann::json::parse(content(path("json")))["exit_code"], 0)
        << "a report is written all the same";
  }
  FakeBoard board({{sends(greeting()), hears(), sends(rtc_fail), hears()}});
  EXPECT_EQ(run({board.address(), "run", "rtc"}), 1);
}

TEST_F(AppTest, ABoardWhoseServerIsBeingStartedAgainIsWaitedFor) {
  const std::vector<BoardStep> serves{sends(greeting()), hears(), sends(rtc_pass()), hears()};
  FakeBoard board({{resets()}, {}, serves});
  EXPECT_EQ(run({board.address(), "run", "rtc", "--wait", "60"}), 0) << out();
}

TEST_F(AppTest, ColorsAreForTerminalsUnlessSaidOtherwise) {
  struct Case {
    bool on_terminal, no_color;
    std::vector<std::string> options;
    bool colored;
  };
  const std::vector<Case> cases{
      {false, false, {}, false},
      {true, false, {}, true},
      {true, true, {}, false},
      {true, false, {"--color", "never"}, false},
      {false, false, {"--color", "always"}, true},
      {true, true, {"--color", "always"}, true},
      {true, true, {"--color", "auto"}, false},
  };
  for (const Case& one : cases) {
    out_.str("");
    FakeBoard board({{sends(greeting()), hears(), sends(rtc_pass()), hears()}});
    std::vector<std::string> arguments{board.address(), "run", "rtc"};
    arguments.insert(arguments.end(), one.options.begin(), one.options.end());
    EXPECT_EQ(run(arguments, one.on_terminal, one.no_color), 0);
    EXPECT_EQ(out().find("\x1b[32m") != std::string::npos, one.colored) << out();
  }
}

TEST_F(AppTest, TheMonitorShowsWhatComesAndLeavesTheBoardFree) {
  FakeBoard board({{sends(greeting() + heartbeat()), hears()}});
  EXPECT_EQ(run({board.address(), "monitor", "--records", "3"}), 0);
  EXPECT_NE(out().find("请选择测试项"), std::string::npos);
  EXPECT_EQ(board.requests(), std::vector<std::string>{document(62208)});
}

}  // namespace
