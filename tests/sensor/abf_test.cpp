// The focus motor and its limit switch.
#include "t1_sdk/boardtest/sensor/abf.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "tests/sensor/sensor_run.h"

namespace {

using namespace std::chrono_literals;
using std::chrono::microseconds;

constexpr const char* kAway = "0x40044202";     // away from the switch
constexpr const char* kTowards = "0x40044201";  // towards it

class AbfTest : public SensorRun {
 protected:
  void run_and_expect(const std::string& value) {
    t1_sdk_abf();
    expect_reply(station, 0x2A10, "ABF test", value, value == "Pass" ? "测试成功" : "ABF fail");
  }
  /// What is printed: the announcement of another test first, so many levels of the switch, the rest.
  void expect_lines(const std::vector<std::pair<int, int>>& levels, const Lines& rest) {
    Lines expected = {"printTGParam5", " ABF test will begin", " ABF test will begin!!!"};
    for (const auto& [count, level] : levels) {
      expected.insert(expected.end(), static_cast<std::size_t>(count), "the val is " + std::to_string(level));
    }
    expected.insert(expected.end(), rest.begin(), rest.end());
    EXPECT_EQ(console.lines(), expected);
    EXPECT_EQ(console.err(), "");
  }
  long steps(const char* request) const {
    const Lines calls = calls_on("/dev/motor");
    return std::ranges::count_if(calls, [&](const auto& call) { return call.find(request) != call.npos; });
  }

  // The calls that a run should show, each behind its time.
  Lines script;
  microseconds time{};

  void call(const std::string& text) {
    char stamp[32];
    std::snprintf(stamp, sizeof stamp, "%lld.%06lld ", static_cast<long long>(time.count() / 1000000),
                  static_cast<long long>(time.count() % 1000000));
    script.push_back(stamp + text);
  }
  void step(const char* request) { call(std::string("ioctl /dev/motor ") + request + " {10} = 0"); }
  void read_switch() { call("ioctl /dev/qznio 0x80044703 {7, 0} = 0"); }
  void begin_script() {
    call("open /dev/qznio = ok");
    call("open /dev/motor = ok");
    read_switch();
  }
  /// These calls were made, and then both nodes were closed, in any order.
  void expect_script() {
    Lines calls = board.timed_hardware_trace();
    ASSERT_GE(calls.size(), 2U);
    call("close /dev/motor = 0");
    call("close /dev/qznio = 0");
    std::sort(calls.end() - 2, calls.end());
    EXPECT_EQ(calls, script);
    EXPECT_EQ(board.now(), time);
  }
};

// ---- away from the limit ----------------------------------------------------------------------

TEST_F(AbfTest, AMotor40StepsFromItsLimitGoesThereAndBackAgain) {
  run_and_expect("Pass");
  Lines rest = {"", "the total step is 40", ""};
  for (int i = 0; i < 40; ++i) rest.push_back("the i is " + std::to_string(i));
  rest.push_back("ABF测试成功.....");
  expect_lines({{39, 0}, {1, 1}}, rest);
  EXPECT_EQ(board->motor.focus().position(), 40);
  begin_script();
  for (int i = 0; i < 40; ++i) {
    step(kTowards);
    time += 100us;
    read_switch();
  }
  for (int i = 0; i < 40; ++i) {
    step(kAway);
    time += 100us;
  }
  expect_script();
}

TEST_F(AbfTest, ALimit999StepsAwayPasses) {
  board->motor.focus().set_position(999);
  run_and_expect("Pass");
  EXPECT_EQ(steps(kTowards), 999);
  EXPECT_EQ(steps(kAway), 999);
}

TEST_F(AbfTest, ALimitThatIsReachedWithThe1000thStepFailsAllTheSame) {
  board->motor.focus().set_position(1000);
  run_and_expect("Fail");
  expect_lines({{999, 0}, {1, 1}},
               {"", "the total step is 1000", "", "the ABF test is fail", "fail num = 1"});
  EXPECT_EQ(steps(kAway), 0);
}

TEST_F(AbfTest, ALimitThatIsNeverReachedFailsAfter1000Steps) {
  board.fault("limit switch never");
  run_and_expect("Fail");
  expect_lines({{1000, 0}}, {"", "the total step is 1000", "", "the ABF test is fail", "fail num = 1"});
  EXPECT_EQ(steps(kTowards), 1000);
  EXPECT_EQ(steps(kAway), 0);
  EXPECT_EQ(board.now(), 100ms);
}

TEST_F(AbfTest, ASwitchThatCannotBeReadIsNotAtItsLimit) {
  board.fault("ioctl /dev/qznio 0x80044703");
  run_and_expect("Fail");
  expect_lines({{1000, -1}}, {"", "the total step is 1000", "", "the ABF test is fail", "fail num = 1"});
}

TEST_F(AbfTest, AFirstReadingThatFailsSendsTheMotorTowardsTheLimit) {
  board->motor.focus().set_position(0);
  board.fault("ioctl /dev/qznio 0x80044703 #1");
  run_and_expect("Pass");
  expect_lines({{1, 1}}, {"", "the total step is 1", "", "the i is 0", "ABF测试成功....."});
  EXPECT_EQ(board->motor.focus().position(), 1) << "it stood at its stop and cannot go further";
}

// ---- at the limit -----------------------------------------------------------------------------

TEST_F(AbfTest, TheMotorGoes80StepsAwayWithRestsAndBackWithoutOne) {
  board->motor.focus().set_position(0);
  run_and_expect("Pass");
  expect_lines({{159, 0}, {1, 1}}, {"ABF测试成功....."});
  EXPECT_EQ(board->motor.focus().position(), 0);
  begin_script();
  for (int i = 0; i < 80; ++i) {
    step(kAway);
    read_switch();
    time += 100us;
  }
  for (int i = 0; i < 80; ++i) {
    step(kTowards);
    read_switch();
  }
  expect_script();
}

TEST_F(AbfTest, ASwitchThatIsNeverLeftFailsWithoutAWayBack) {
  board->motor.focus().set_position(0);
  board.fault("limit switch always");
  run_and_expect("Fail");
  expect_lines({{80, 1}}, {"the ABF test is fail", "fail num = 1"});
  EXPECT_EQ(steps(kAway), 80);
  EXPECT_EQ(steps(kTowards), 0);
}

TEST_F(AbfTest, OnlyTheLastOfThe80ReadingsDecides) {
  board->motor.focus().set_position(0);
  board->general_io.set_level(7, 1);
  board.at(7900us, [this] { board->general_io.set_level(7, 0); });
  run_and_expect("Pass");
  expect_lines({{79, 1}, {81, 0}}, {"ABF测试成功....."});  // the way back decides nothing either
}

TEST_F(AbfTest, ASwitchThatClosesAgainAtTheLastReadingFails) {
  board->motor.focus().set_position(0);
  board->general_io.set_level(7, 1);
  board.at(50us, [this] { board->general_io.set_level(7, 0); });
  board.at(7900us, [this] { board->general_io.set_level(7, 1); });
  run_and_expect("Fail");
  expect_lines({{1, 1}, {78, 0}, {1, 1}}, {"the ABF test is fail", "fail num = 1"});
}

// ---- nodes and steps that fail ----------------------------------------------------------------

TEST_F(AbfTest, WithoutOneOfItsNodesTheTestBreaksOff) {
  for (const char* fault : {"open /dev/qznio", "open /dev/motor"}) {
    SCOPED_TRACE(fault);
    next_board("normal");
    board.fault(fault);
    run_and_expect("Fail");
    expect_lines({}, {"  ABF break", "fail num = 1"});
    EXPECT_EQ(calls("ioctl"), 0U);
  }
}

TEST_F(AbfTest, ARefusedStepBreaksOffWithCode1OnTheFirstWayAndCode2OnTheWayBack) {
  const struct {
    int position;
    const char* request;
    int last;  ///< step of that way
    const char* code;
    std::size_t lines;  ///< that stand before the first step of that way
  } ways[] = {{40, kTowards, 40, "1", 3},
              {40, kAway, 40, "2", 3 + 40 + 3},
              {0, kAway, 80, "1", 3},
              {0, kTowards, 80, "2", 3 + 80}};
  for (const auto& [position, request, last, code, before] : ways) {
    for (const int number : {1, 2, last}) {
      SCOPED_TRACE(std::string(request) + " #" + std::to_string(number));
      next_board("normal");
      board->motor.focus().set_position(position);
      board.fault(std::string("ioctl /dev/motor ") + request + " #" + std::to_string(number));
      run_and_expect("Fail");
      const Lines lines = console.lines();
      ASSERT_EQ(lines.size(), before + static_cast<std::size_t>(number) + 1);
      EXPECT_EQ(lines[lines.size() - 2], "  ABF break");
      EXPECT_EQ(lines.back(), std::string("fail num = ") + code);
      EXPECT_EQ(steps(request), number);
    }
  }
}

TEST_F(AbfTest, AStepThatTheDriverAnswersWithANumberIsNoFailure) {
  board.fault("ioctl /dev/motor 0x40044202 result 3");
  run_and_expect("Pass");
}

}  // namespace
