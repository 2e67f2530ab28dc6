// What the interactive tests tell of themselves.
#include "t1_sdk/boardtest/platform/test_status.h"

#include <gtest/gtest.h>

namespace {

TEST(TestStatusTest, AtTheStartNoMenuIsUpAndNothingIsToStop) {
  EXPECT_EQ(test_status, ST_INVALID);
  EXPECT_EQ(g_stop, 0);
}

TEST(TestStatusTest, TheStatesAreNumberedFrom0On) {
  int number = 0;
  for (const TEST_ST state : {ST_INVALID,         ST_MAIN_MENU,      ST_TEST_ALL,        ST_TEST_ALARM,
                              ST_TEST_IRCUT,      ST_TEST_RTC,       ST_TEST_SDCARD,     ST_TEST_FANCTL,
                              ST_TEST_TEMP,       ST_TEST_CENTAURUS, ST_TEST_QUIT,       ST_SET_TG_PARAM,
                              ST_GET_TG_PARAM,    ST_TEST_RS485,     ST_TEST_VSUB_6484A, ST_TEST_VSUB_6455,
                              ST_TEST_VSUB_6485,  ST_TEST_USBDEV,    ST_TEST_VSUB_TRIM,  ST_TEST_VSUB_AUTO,
                              ST_TEST_VSUB_PRINT, ST_TEST_AUTO_IRIS, ST_TEST_SAMPLING,   ST_TEST_TEMPERATURE,
                              ST_TEST_FAN,        ST_ERROR}) {
    EXPECT_EQ(static_cast<int>(state), number++);
  }
  EXPECT_EQ(number, 26);
}

}  // namespace
