// What stays in a station's records when stations are killed, stopped, or come twice.
#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <sstream>

#include "tests/e2e/child.h"
#include "tests/e2e/on_server.h"
#include "tests/e2e/station_client.h"

namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

// The clock takes 6 seconds, the light 10.
constexpr char kPlan[] = R"(format = 1
name = "main-board"
version = "3"
serial = '[A-Z]{2}[0-9]{8}'
[[step]]
name = "clock"
test = "rtc"
timeout = 60
[[step]]
name = "light"
test = "light"
timeout = 60
[[step]]
name = "temperature"
test = "temp"
timeout = 60
always = true
)";

constexpr char kAsked[] = "RECV COMMANDS:";  // the board's words when a request has come

/// All runs in records, the oldest first.
std::vector<nlohmann::json> runs_in(const std::string& file) {
  Child reader({T1STATION_PROGRAM, "records", "export", file, "--format", "jsonl"});
  std::vector<nlohmann::json> runs;
  std::istringstream lines(reader.rest());
  for (std::string line; std::getline(lines, line);) runs.push_back(nlohmann::json::parse(line));
  return runs;
}

class KeptRunsTest : public OnServer {
 protected:
  KeptRunsTest() { std::ofstream(plan_) << kPlan; }

  /// A station that takes a unit through the plan.
  Child station(const std::string& serial) const {
    return Child({T1STATION_PROGRAM, board.address() + ":36001", "run", "--plan", plan_, "--serial", serial,
                  "--records", file_, "--quiet"});
  }
  /// What `t1station records COMMAND FILE` shows, beside whatever runs; it finds nothing wrong.
  std::string records(const std::string& command) const {
    Child reader({T1STATION_PROGRAM, "records", command, file_});
    EXPECT_EQ(reader.exit_status(), 0) << reader.err();
    return reader.rest();
  }
  /// The verdicts of all runs, the oldest first; "null" for one without.
  std::vector<std::string> verdicts() const {
    std::vector<std::string> found;
    for (const nlohmann::json& run : runs_in(file_)) found.push_back(run.at("verdict").dump());
    return found;
  }
  /// A station's whole run on a board that is well.
  void expect_pass(const std::string& serial) {
    Child whole = station(serial);
    board.lines_until(kAsked);
    board.advance(6s);
    board.lines_until(kAsked);
    board.advance(10s);
    pass_leave(board);
    EXPECT_EQ(whole.exit_status(), 0) << whole.err();
    EXPECT_THAT(whole.rest(), HasSubstr(serial + ": passed\n"));
  }

  const OwnDirectory directory_;
  const std::string plan_ = directory_.file("plan.toml"), file_ = directory_.file("records.db");
};

TEST_F(KeptRunsTest, AKilledStationNeverLeavesAPass) {
  const auto expect_no_pass_of_killed = [this](Child& killed) {
    killed.signal(SIGKILL);
    EXPECT_EQ(killed.exit_status(), 128 + SIGKILL);
    EXPECT_EQ(verdicts().back(), "null");
    EXPECT_THAT(records("check"), HasSubstr("as they were stored"));
  };
  {
    Child in_its_first_step = station("AB00000001");
    board.lines_until(kAsked);
    expect_no_pass_of_killed(in_its_first_step);
    board.advance(6s);
  }
  {
    Child behind_a_pass = station("AB00000002");
    board.lines_until(kAsked);
    board.advance(6s);
    board.lines_until(kAsked);
    expect_no_pass_of_killed(behind_a_pass);
    board.advance(10s);
  }
  {
    Child behind_its_last_pass = station("AB00000003");
    board.lines_until(kAsked);
    board.advance(6s);
    board.lines_until(kAsked);
    board.advance(10s);
    board.lines_until("recv q command");
    expect_no_pass_of_killed(behind_its_last_pass);
    board.advance(1s);
  }
  expect_pass("AB00000004");
  EXPECT_THAT(verdicts(), ElementsAre("\"interrupted\"", "\"interrupted\"", "\"interrupted\"", "\"passed\""));
  EXPECT_THAT(records("check"), HasSubstr("4 runs and "));
}

TEST_F(KeptRunsTest, APlanThatIsMadeEasierDuringARunIsNotThatRunsPlan) {
  board.fault("rtc stopped");
  Child running = station("AB00000001");
  board.lines_until(kAsked);
  std::string easier = kPlan;
  easier.erase(easier.find("[[step]]"), easier.find("[[step]]\nname = \"light\"") - easier.find("[[step]]"));
  std::ofstream(plan_) << easier;
  board.advance(6s);
  board.lines_until(kAsked);
  board.advance(10s);
  pass_leave(board);
  EXPECT_EQ(running.exit_status(), 1);
  EXPECT_THAT(running.rest(), HasSubstr("AB00000001: failed (step clock: failed"));
  EXPECT_THAT(verdicts(), ElementsAre("\"failed\""));
}

TEST_F(KeptRunsTest, RecordsHaveOneWriterAndAnyNumberOfReaders) {
  Child first = station("AB00000001");
  board.lines_until(kAsked);
  Child second = station("AB00000002");
  EXPECT_EQ(second.exit_status(), 4);
  EXPECT_THAT(second.err(),
              HasSubstr("belongs to another process: process " + std::to_string(first.pid()) + " on "));
  EXPECT_THAT(records("list"), HasSubstr("AB00000001"));
  EXPECT_THAT(verdicts(), ElementsAre("null"));
  board.advance(6s);
  board.lines_until(kAsked);
  board.advance(10s);
  pass_leave(board);
  EXPECT_EQ(first.exit_status(), 0);
  EXPECT_THAT(verdicts(), ElementsAre("\"passed\""));
}

TEST_F(KeptRunsTest, ATerminatedStationStopsItsRunButForWhatIsAlwaysRun) {
  Child stopped = station("AB00000001");
  board.lines_until(kAsked);
  stopped.terminate();
  while (stopped.next_err_line("the clock's end").find("[1/3]") == std::string::npos) continue;
  board.advance(6s);
  pass_leave(board);  // the connection on which the clock's reply may still come is given up
  pass_leave(board);
  EXPECT_EQ(stopped.exit_status(), 2);
  EXPECT_THAT(stopped.err(), AllOf(Not(HasSubstr("[2/3]")), HasSubstr("[3/3] Temperature sensor: Pass")));
  EXPECT_THAT(stopped.rest(), HasSubstr("AB00000001: stopped"));
  EXPECT_THAT(verdicts(), ElementsAre("\"stopped\""));
}

TEST(WiredStationTest, ARunTakesNumbersFromTheConsoleAndPlaysTheBoardsPartnerOnItsLine) {
  const OwnDirectory directory;
  const auto file = [&directory](const char* name) { return directory.file(name); };
  std::ofstream(file("plan.toml")) << R"(format = 1
name = "wired"
version = "1"
serial = '.*'
[[step]]
name = "temperature"
test = "temp"
[[step.measure]]
name = "temperature"
from = "console"
match = '^温度传感器测得当前温度：([0-9.]+) 摄氏度$'
low = 45.0
high = 46.0
[[step]]
name = "echo"
test = "rs485"
)";
  BoardUnderTest board({"--console-tty", file("console"), "--uart1", file("uart1")});
  board.settle();
  Child station({T1STATION_PROGRAM, board.address(), "run", "--plan", file("plan.toml"), "--serial",
                 "AB00000001", "--records", file("records.db"), "--console", file("console"), "--rs485",
                 file("uart1"), "--speed", "6", "--quiet"});
  board.lines_until("t1_sdk_tmp_test");
  board.lines_until(kAsked);
  board.advance(6s);  // the port is open then, and a second later by the station's clock its frame comes
  board.lines_until("<t1>第一次开始发送数据:d0 1 6 f 11 62 80 32 34 12 78 56 9a bc 75");
  board.advance(10ms);  // in which the echo's bits go over the line
  pass_leave(board);
  EXPECT_EQ(station.exit_status(), 0) << station.err() << station.rest();
  const nlohmann::json run = runs_in(file("records.db")).at(0);
  EXPECT_EQ(run.at("verdict"), "passed");
  const nlohmann::json& temperature = run.at("attempts").at(0);
  EXPECT_EQ(temperature.at("measurements").at(0).at("value"), 45.5);
  EXPECT_EQ(temperature.at("description"), "测试成功") << "in which there is no number";
  const nlohmann::json& echo = run.at("attempts").at(1);
  EXPECT_THAT(echo.at("description").get<std::string>(),
              AllOf(HasSubstr("sent     d0 01 06 0f 11 62 80 32 34 12 78 56 9a bc 75\n"),
                    HasSubstr("received d0 01 06 0f 11 62 80 32 34 12 78 56 9a bc 75\n"),
                    testing::EndsWith("\nthe echo is right")));
  EXPECT_THAT(echo.at("console").get<std::string>(), HasSubstr("请在60秒内输入485测试数据\r\n"))
      << "both sides' words";
}

}  // namespace
