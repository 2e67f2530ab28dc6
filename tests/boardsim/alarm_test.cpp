// The alarm driver.
#include "boardsim/devices/alarm.h"

#include <gtest/gtest.h>
#include <cerrno>

#include "tests/boardsim/device_driver.h"

namespace {

using namespace boardsim;
using namespace boardsim::test;

constexpr std::uint32_t kSet = 0x40044101;
constexpr std::uint32_t kGet = 0x80044102;
constexpr std::uint32_t kAll = 0x46554C4C;  // "LLUF" in storage order

class AlarmTest : public testing::Test {
 protected:
  Alarm alarm_;
};

TEST_F(AlarmTest, NoOutputIsSetAfterSwitchingOn) {
  EXPECT_EQ(alarm_.state(), 0U);
  EXPECT_EQ(exchange(alarm_, kGet, {kAll, 7, 0}), (Words{kAll, 0, 0}));
}

TEST_F(AlarmTest, AllOutputsAreSetAtOnceOneBitEach) {
  EXPECT_EQ(send(alarm_, kSet, {kAll, 0x0FFFFFFE, 0}), 0);
  EXPECT_EQ(alarm_.state(), 0x0FFFFFFEU);
  EXPECT_EQ(exchange(alarm_, kGet, {kAll, 0, 0}), (Words{kAll, 0x0FFFFFFE, 0}));
}

TEST_F(AlarmTest, OneOutputIsSetByItsNumberAndTheOthersStay) {
  send(alarm_, kSet, {kAll, 9, 0});
  EXPECT_EQ(send(alarm_, kSet, {2, 1, 0}), 0);
  EXPECT_EQ(send(alarm_, kSet, {3, 0, 0}), 0);
  EXPECT_EQ(send(alarm_, kSet, {31, 5, 0}), 0) << "every state but 0 sets";
  EXPECT_EQ(alarm_.state(), 0x80000005U);
  EXPECT_EQ(exchange(alarm_, kGet, {2, 0, 0}), (Words{2, 1, 0}));
  EXPECT_EQ(exchange(alarm_, kGet, {3, 9, 0}), (Words{3, 0, 0}));
}

TEST_F(AlarmTest, AnOutputThatTheBoardLacksAndInputsAreRefused) {
  for (const std::uint32_t request : {kSet, kGet}) {
    EXPECT_EQ(send(alarm_, request, {32, 1, 0}), -EINVAL);
    EXPECT_EQ(send(alarm_, request, {kAll, 1, 1}), -EINVAL) << "the driver knows no inputs";
    EXPECT_EQ(outcome(alarm_.ioctl(request, nullptr)), -EFAULT);
    EXPECT_EQ(alarm_.words_in(request, nullptr), Words{});
  }
  EXPECT_EQ(alarm_.state(), 0U);
}

TEST_F(AlarmTest, TheTraceShowsTheWholeRecord) {
  EXPECT_EQ(traced(alarm_, kSet, {kAll, 15, 0}), (Words{kAll, 15, 0}));
  EXPECT_EQ(traced(alarm_, kGet, {kAll, 0, 0}), (Words{kAll, 0, 0}));
}

TEST_F(AlarmTest, WhoeverWatchesIsToldOfSettingOnly) {
  int calls = 0;
  alarm_.on_set([&calls] { ++calls; });
  send(alarm_, kGet, {kAll, 0, 0});
  send(alarm_, kSet, {40, 0, 0});
  EXPECT_EQ(calls, 0);
  send(alarm_, kSet, {kAll, 0, 0});
  EXPECT_EQ(calls, 1);
}

TEST_F(AlarmTest, AnotherRequestIsUnknown) {
  Words record(3);
  EXPECT_FALSE(alarm_.ioctl(0x40044102, record.data()).known);
  EXPECT_EQ(traced(alarm_, 0x40044102, record), Words{});
}

}  // namespace
