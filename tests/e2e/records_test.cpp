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
    Child reader({T1STATION_PROGRAM, "records", "export", file_, "--format", "jsonl"});
    std::vector<std::string> found;
    std::istringstream lines(reader.rest());
    for (std::string line; std::getline(lines, line);)
      found.push_back(nlohmann::json::parse(line).at("verdict").dump());
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

}  // namespace
