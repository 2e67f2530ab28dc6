// The calls on the alarm driver.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "t1_sdk/boardtest/peripheral/alarm/lines.h"
#include "tests/harness/console.h"
#include "tests/harness/on_board.h"

namespace {

using Lines = std::vector<std::string>;

class AlarmDriverTest : public OnBoard {
 protected:
  AlarmDriverTest() : OnBoard("loop") {}
  Lines names() const {
    Lines names;
    for (const boardsim::Call& call : board.trace()) names.push_back(call.name + " " + call.node);
    return names;
  }
  const Lines kOneRequest = {"open /dev/alarm", "ioctl /dev/alarm", "close /dev/alarm"};
  Console console;
};

TEST_F(AlarmDriverTest, TheRecordIsThreeWords) {
  static_assert(sizeof(alarm_ctrl) == 12 && std::is_unsigned_v<decltype(alarm_ctrl::state)>);
  static_assert(offsetof(alarm_ctrl, idx) == 0 && offsetof(alarm_ctrl, state) == 4 &&
                offsetof(alarm_ctrl, direction) == 8);
  EXPECT_EQ(static_cast<unsigned>(HAL_ALARM_OUT), 0U);
  EXPECT_EQ(static_cast<unsigned>(HAL_ALARM_IN), 1U);
}

TEST_F(AlarmDriverTest, AllOutputsAreSetInOneRecord) {
  EXPECT_EQ(alarm_all_set(27), 0);
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"open /dev/alarm = ok", "ioctl /dev/alarm 0x40044101 {0x46554c4c, 27, 0} = 0",
                   "close /dev/alarm = 0"}));
}

TEST_F(AlarmDriverTest, EveryBitOfTheStateReachesTheDriver) {
  for (const int state : {0, 1, 15, 0x7FFFFFFF, -1, -2147483647 - 1}) {
    alarm_all_set(state);
    const boardsim::Call call = board.trace().at(board.trace().size() - 2);
    EXPECT_EQ(call.record, (std::vector<std::uint32_t>{0x46554C4C, static_cast<std::uint32_t>(state), 0}));
  }
}

TEST_F(AlarmDriverTest, OutputsThatCannotBeSetAreSaidAndTheNodeIsClosed) {
  board.fault("ioctl /dev/alarm 0x40044101 EIO");
  EXPECT_EQ(alarm_all_set(15), -1);
  EXPECT_EQ(console.out(), "set alarm out stat fail!(Input/output error)\n");
  EXPECT_EQ(names(), kOneRequest);
}

TEST_F(AlarmDriverTest, TheReasonIsThatOfTheRequest) {
  board.fault("ioctl /dev/alarm EBUSY");
  board.fault("close /dev/alarm EIO");
  EXPECT_EQ(alarm_all_set(15), -1);
  EXPECT_EQ(console.out(), "set alarm out stat fail!(Device or resource busy)\n");
}

TEST_F(AlarmDriverTest, SettingOutputsWithoutADriverGivesZero) {
  board.fault("open /dev/alarm");
  EXPECT_EQ(alarm_all_set(15), 0);
  EXPECT_EQ(console.out(), "open /dev/alarm error.\n");
  EXPECT_EQ(names(), Lines{"open /dev/alarm"});
}

TEST_F(AlarmDriverTest, TheStateOfAllAlarmsIsWhatWasSet) {
  EXPECT_EQ(alarm_all_set(27), 0);
  alarm_ctrl record = {0x46554C4C, 0, 0};
  EXPECT_EQ(alarm_get(&record), 0);
  EXPECT_EQ(record.state, 27U);
  EXPECT_EQ(console.out(), "");
}

TEST_F(AlarmDriverTest, AnAlarmIsReadInOneRequest) {
  alarm_ctrl record = {2, 0, HAL_ALARM_OUT};
  EXPECT_EQ(alarm_get(&record), 0);
  EXPECT_EQ(record.idx, 2U);
  EXPECT_EQ(names(), kOneRequest);
  EXPECT_EQ(board.trace().at(1).request, 0x80044102U);
}

TEST_F(AlarmDriverTest, AnOutputThatCannotBeReadIsSaidAndTheNodeIsClosed) {
  board.fault("ioctl /dev/alarm 0x80044102");
  alarm_ctrl record = {1, 0, HAL_ALARM_OUT};
  EXPECT_EQ(alarm_get(&record), -1);
  EXPECT_EQ(console.out(), "get alarm out stat fail!(Input/output error)\n");
  EXPECT_EQ(names(), kOneRequest);
}

TEST_F(AlarmDriverTest, AnInputThatCannotBeReadIsSaidAsAnInput) {
  board.fault("ioctl /dev/alarm 0x80044102 EBUSY");
  alarm_ctrl record = {1, 0, HAL_ALARM_IN};
  EXPECT_EQ(alarm_get(&record), -1);
  EXPECT_EQ(console.out(), "get alarm in stat fail!(Device or resource busy)\n");
}

TEST_F(AlarmDriverTest, ReadingAnAlarmWithoutADriverGivesZero) {
  board.fault("open /dev/alarm");
  alarm_ctrl record = {1, 77, HAL_ALARM_OUT};
  EXPECT_EQ(alarm_get(&record), 0);
  EXPECT_EQ(record.state, 77U);
  EXPECT_EQ(console.out(), "boardtest:alarm_get,open /dev/alarm error.\n");
  EXPECT_EQ(names(), Lines{"open /dev/alarm"});
}

TEST_F(AlarmDriverTest, TheValueOfAllAlarmsIsTheirState) {
  for (const int state : {0, 15, 27}) {
    alarm_all_set(state);
    EXPECT_EQ(alarm_get_all_value(), state);
  }
  EXPECT_EQ(console.out(), "");
}

TEST_F(AlarmDriverTest, TheValueOfAllAlarmsIsAskedForInOneRecord) {
  alarm_get_all_value();
  EXPECT_EQ(names(), kOneRequest);
  const boardsim::Call call = board.trace().at(1);
  EXPECT_EQ(call.request, 0x80044102U);
  EXPECT_EQ(call.record, (std::vector<std::uint32_t>{0x46554C4C, 0, 0}));
}

TEST_F(AlarmDriverTest, TheDriversCallsOpenItsNodeWithoutBlocking) {
  alarm_ctrl record = {2, 0, HAL_ALARM_OUT};
  alarm_all_set(27);
  alarm_get(&record);
  alarm_get_all_value();
  int opens = 0;
  for (const boardsim::Call& call : board.trace()) {
    if (call.name != "open") continue;
    EXPECT_EQ(call.record, std::vector<std::uint32_t>{O_RDWR | O_NONBLOCK});
    ++opens;
  }
  EXPECT_EQ(opens, 3);
}

TEST_F(AlarmDriverTest, AValueThatCannotBeReadIsSaidTwiceAndReturnedNegative) {
  board.fault("ioctl /dev/alarm 0x80044102");
  EXPECT_EQ(alarm_get_all_value(), -1);
  EXPECT_EQ(console.lines(),
            (Lines{"get alarm out stat fail!(Input/output error)", "get all_alarm stat fail!(-1)"}));
}

TEST_F(AlarmDriverTest, WithoutADriverTheValueOfAllAlarmsIsZero) {
  board.fault("open /dev/alarm");
  EXPECT_EQ(alarm_get_all_value(), 0);
  EXPECT_EQ(console.out(), "boardtest:alarm_get,open /dev/alarm error.\n");
}

}  // namespace
