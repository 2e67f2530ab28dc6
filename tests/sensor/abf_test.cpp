// The focus motor and its limit switch.
#include "t1_sdk/boardtest/sensor/abf.h"

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/sensor/sensor_run.h"

namespace {

using namespace std::chrono_literals;
using std::chrono::microseconds;

constexpr const char* kAway = "0x40044202";     // away from the switch
constexpr const char* kTowards = "0x40044201";  // towards it
constexpr const char* kSwitch = "ioctl /dev/qznio 0x80044703";

class AbfTest : public SensorRun {
 protected:
  static Lines opening() { return {"printTGParam5", " ABF test will begin", " ABF test will begin!!!"}; }
  static std::string value(int level) { return "the val is " + std::to_string(level); }

  void expect_pass() { expect_reply(0x2A10, "ABF test", "Pass", "测试成功"); }
  void expect_fail() { expect_reply(0x2A10, "ABF test", "Fail", "ABF fail"); }
  void expect_lines(const Lines& more) {
    Lines expected = opening();
    expected.insert(expected.end(), more.begin(), more.end());
    EXPECT_EQ(console.lines(), expected);
    EXPECT_EQ(console.err(), "");
  }
  std::size_t steps(const char* request) const {
    std::size_t count = 0;
    for (const std::string& call : calls_on("/dev/motor")) {
      if (call.find(request) != std::string::npos) ++count;
    }
    return count;
  }
  std::size_t readings() const {
    std::size_t count = 0;
    for (const std::string& call : calls_on("/dev/qznio")) {
      if (call.rfind(kSwitch, 0) == 0) ++count;
    }
    return count;
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
  void read_switch() { call(std::string(kSwitch) + " {7, 0} = 0"); }
  void open_both() {
    call("open /dev/qznio = ok");
    call("open /dev/motor = ok");
  }
};

// ---- away from the limit ----

TEST_F(AbfTest, AMotor40StepsFromItsLimitGoesThereAndBackAgain) {
  t1_sdk_abf();
  expect_pass();
  Lines lines(39, value(0));
  lines.insert(lines.end(), {value(1), "", "the total step is 40", ""});
  for (int i = 0; i < 40; ++i) lines.push_back("the i is " + std::to_string(i));
  lines.push_back("ABF测试成功.....");
  expect_lines(lines);
  EXPECT_EQ(board->motor.focus().position(), 40);
}

TEST_F(AbfTest, EachStepTowardsTheLimitIsFollowedByAWaitAndAReading) {
  t1_sdk_abf();
  open_both();
  read_switch();
  for (int i = 0; i < 40; ++i) {
    step(kTowards);
    time += 100us;
    read_switch();
  }
  for (int i = 0; i < 40; ++i) {
    step(kAway);
    time += 100us;
  }
  EXPECT_EQ(timed_calls(), script);
}

TEST_F(AbfTest, BothNodesAreClosed) {
  t1_sdk_abf();
  EXPECT_EQ(calls_on("/dev/qznio").back(), "close /dev/qznio = 0");
  EXPECT_EQ(calls_on("/dev/motor").back(), "close /dev/motor = 0");
}

TEST_F(AbfTest, AMotorOneStepFromItsLimitPasses) {
  board->motor.focus().set_position(1);
  t1_sdk_abf();
  expect_pass();
  expect_lines({value(1), "", "the total step is 1", "", "the i is 0", "ABF测试成功....."});
  EXPECT_EQ(board->motor.focus().position(), 1);
}

TEST_F(AbfTest, ALimit999StepsAwayPasses) {
  board->motor.focus().set_position(999);
  t1_sdk_abf();
  expect_pass();
  EXPECT_EQ(steps(kTowards), 999U);
  EXPECT_EQ(steps(kAway), 999U);
  EXPECT_EQ(board->motor.focus().position(), 999);
}

TEST_F(AbfTest, ALimitThatIsReachedWithThe1000thStepFailsAllTheSame) {
  board->motor.focus().set_position(1000);
  t1_sdk_abf();
  expect_fail();
  Lines lines(999, value(0));
  lines.insert(lines.end(),
               {value(1), "", "the total step is 1000", "", "the ABF test is fail", "fail num = 1"});
  expect_lines(lines);
  EXPECT_EQ(steps(kAway), 0U);
  EXPECT_EQ(board->motor.focus().position(), 0);
}

TEST_F(AbfTest, ALimitThatIsNeverReachedFailsAfter1000Steps) {
  board.fault("limit switch never");
  t1_sdk_abf();
  expect_fail();
  Lines lines(1000, value(0));
  lines.insert(lines.end(), {"", "the total step is 1000", "", "the ABF test is fail", "fail num = 1"});
  expect_lines(lines);
  EXPECT_EQ(steps(kTowards), 1000U);
  EXPECT_EQ(steps(kAway), 0U);
  EXPECT_EQ(readings(), 1001U);
  EXPECT_EQ(board.now(), 100ms);
}

TEST_F(AbfTest, AMotorThatIsStuckAwayFromItsLimitFails) {
  board.fault("focus motor stuck");
  t1_sdk_abf();
  expect_fail();
  EXPECT_EQ(steps(kTowards), 1000U);
}

TEST_F(AbfTest, ASwitchThatCannotBeReadIsNotAtItsLimit) {
  board.fault("ioctl /dev/qznio 0x80044703");
  t1_sdk_abf();
  expect_fail();
  Lines lines(1000, value(-1));
  lines.insert(lines.end(), {"", "the total step is 1000", "", "the ABF test is fail", "fail num = 1"});
  expect_lines(lines);
}

TEST_F(AbfTest, AFirstReadingThatFailsSendsTheMotorTowardsTheLimit) {
  board->motor.focus().set_position(0);
  board.fault("ioctl /dev/qznio 0x80044703 #1");
  t1_sdk_abf();
  expect_pass();
  expect_lines({value(1), "", "the total step is 1", "", "the i is 0", "ABF测试成功....."});
  EXPECT_EQ(board->motor.focus().position(), 1) << "it stood at its stop and cannot go further";
}

// ---- at the limit ----

class AbfAtLimitTest : public AbfTest {
 protected:
  AbfAtLimitTest() { board->motor.focus().set_position(0); }
};

TEST_F(AbfAtLimitTest, TheMotorGoes80StepsAwayAndBack) {
  t1_sdk_abf();
  expect_pass();
  Lines lines(159, value(0));
  lines.insert(lines.end(), {value(1), "ABF测试成功....."});
  expect_lines(lines);
  EXPECT_EQ(board->motor.focus().position(), 0);
}

TEST_F(AbfAtLimitTest, TheWayThereRestsBehindEachReadingAndTheWayBackNever) {
  t1_sdk_abf();
  open_both();
  read_switch();
  for (int i = 0; i < 80; ++i) {
    step(kAway);
    read_switch();
    time += 100us;
  }
  for (int i = 0; i < 80; ++i) {
    step(kTowards);
    read_switch();
  }
  EXPECT_EQ(timed_calls(), script);
  EXPECT_EQ(board.now(), 8ms);
}

TEST_F(AbfAtLimitTest, ASwitchThatIsNeverLeftFailsWithoutAWayBack) {
  board.fault("limit switch always");
  t1_sdk_abf();
  expect_fail();
  Lines lines(80, value(1));
  lines.insert(lines.end(), {"the ABF test is fail", "fail num = 1"});
  expect_lines(lines);
  EXPECT_EQ(steps(kAway), 80U);
  EXPECT_EQ(steps(kTowards), 0U);
  EXPECT_EQ(readings(), 81U) << "the verdict needs no reading of its own";
}

TEST_F(AbfAtLimitTest, AMotorThatIsStuckAtItsLimitFails) {
  board.fault("focus motor stuck");
  t1_sdk_abf();
  expect_fail();
  EXPECT_EQ(steps(kTowards), 0U);
}

TEST_F(AbfAtLimitTest, OnlyTheLastOfThe80ReadingsDecides) {
  board->general_io.set_level(7, 1);
  board.at(7900us, [this] { board->general_io.set_level(7, 0); });
  t1_sdk_abf();
  expect_pass();
  Lines lines(79, value(1));
  lines.insert(lines.end(), 81, value(0));
  lines.push_back("ABF测试成功.....");
  expect_lines(lines);
}

TEST_F(AbfAtLimitTest, ASwitchThatClosesAgainAtTheLastReadingFails) {
  board->general_io.set_level(7, 1);
  board.at(50us, [this] { board->general_io.set_level(7, 0); });
  board.at(7900us, [this] { board->general_io.set_level(7, 1); });
  t1_sdk_abf();
  expect_fail();
  Lines lines = {value(1)};
  lines.insert(lines.end(), 78, value(0));
  lines.insert(lines.end(), {value(1), "the ABF test is fail", "fail num = 1"});
  expect_lines(lines);
}

TEST_F(AbfAtLimitTest, ASwitchThatClosesAfterTheLastReadingPasses) {
  board->general_io.set_level(7, 1);
  board.at(50us, [this] { board->general_io.set_level(7, 0); });
  board.at(7950us, [this] { board->general_io.set_level(7, 1); });
  t1_sdk_abf();
  expect_pass();
}

TEST_F(AbfAtLimitTest, WhereTheSwitchStandsOnTheWayBackDoesNotMatter) {
  board->general_io.set_level(7, 1);
  board.at(50us, [this] { board->general_io.set_level(7, 0); });
  t1_sdk_abf();
  expect_pass();
  EXPECT_EQ(steps(kTowards), 80U);
}

// ---- nodes and steps that fail ----

TEST_F(AbfTest, WithoutTheIoDriverTheTestBreaksOff) {
  board.fault("open /dev/qznio");
  t1_sdk_abf();
  expect_fail();
  expect_lines({"  ABF break", "fail num = 1"});
  EXPECT_EQ(steps(kTowards) + steps(kAway), 0U);
}

TEST_F(AbfTest, WithoutTheMotorTheTestBreaksOff) {
  board.fault("open /dev/motor");
  t1_sdk_abf();
  expect_fail();
  expect_lines({"  ABF break", "fail num = 1"});
  EXPECT_EQ(readings(), 0U);
}

TEST_F(AbfTest, ARefusedStepTowardsTheLimitBreaksOffWithCode1) {
  for (const int number : {1, 2, 40}) {
    SCOPED_TRACE(number);
    next_board("normal");
    board.fault("focus motor rejects step " + std::to_string(number));
    t1_sdk_abf();
    expect_fail();
    Lines lines(static_cast<std::size_t>(number - 1), value(0));
    lines.insert(lines.end(), {"  ABF break", "fail num = 1"});
    expect_lines(lines);
    EXPECT_EQ(steps(kTowards), static_cast<std::size_t>(number));
    EXPECT_EQ(board.now(), (number - 1) * 100us) << "no wait follows the refusal";
  }
}

TEST_F(AbfTest, ARefusedStepOnTheWayBackBreaksOffWithCode2) {
  for (const int number : {1, 2, 40}) {
    SCOPED_TRACE(number);
    next_board("normal");
    board.fault("ioctl /dev/motor 0x40044202 #" + std::to_string(number));
    t1_sdk_abf();
    expect_fail();
    const Lines lines = console.lines();
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(lines[lines.size() - 2], "  ABF break");
    EXPECT_EQ(lines.back(), "fail num = 2");
    EXPECT_EQ(steps(kAway), static_cast<std::size_t>(number));
  }
}

TEST_F(AbfAtLimitTest, ARefusedStepAwayFromTheLimitBreaksOffWithCode1) {
  for (const int number : {1, 2, 80}) {
    SCOPED_TRACE(number);
    next_board("normal");
    board->motor.focus().set_position(0);
    board.fault("focus motor rejects step " + std::to_string(number));
    t1_sdk_abf();
    expect_fail();
    Lines lines(static_cast<std::size_t>(number - 1), value(0));
    lines.insert(lines.end(), {"  ABF break", "fail num = 1"});
    expect_lines(lines);
    EXPECT_EQ(steps(kAway), static_cast<std::size_t>(number));
    EXPECT_EQ(steps(kTowards), 0U);
  }
}

TEST_F(AbfAtLimitTest, ARefusedStepBackToTheLimitBreaksOffWithCode2) {
  for (const int number : {1, 2, 80}) {
    SCOPED_TRACE(number);
    next_board("normal");
    board->motor.focus().set_position(0);
    board.fault("ioctl /dev/motor 0x40044201 #" + std::to_string(number));
    t1_sdk_abf();
    expect_fail();
    Lines lines(static_cast<std::size_t>(79 + number), value(0));
    lines.insert(lines.end(), {"  ABF break", "fail num = 2"});
    expect_lines(lines);
  }
}

TEST_F(AbfTest, AStepThatTheDriverAnswersWithANumberIsNoFailure) {
  board.fault("ioctl /dev/motor 0x40044202 result 3");
  t1_sdk_abf();
  expect_pass();
}

TEST_F(AbfTest, EveryBoardHasThisTest) {
  for (const boardsim::Family& family : boardsim::families()) {
    SCOPED_TRACE(family.name);
    next_board(family.name);
    t1_sdk_abf();
    expect_pass();
    EXPECT_EQ(steps(kTowards), 40U);
    EXPECT_EQ(steps(kAway), 40U);
  }
}

TEST_F(AbfTest, TheFirstLineIsThatOfAnotherTest) {
  t1_sdk_abf();
  EXPECT_EQ(console.lines().front(), "printTGParam5");
}

TEST_F(AbfTest, AFailureIsForgottenByTheNextRun) {
  board.fault("open /dev/motor #1");
  t1_sdk_abf();
  forget();
  t1_sdk_abf();
  expect_pass();
}

}  // namespace
