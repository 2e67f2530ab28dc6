// Which menu of the console is up, and the flag that asks a test to stop.
#pragma once

/// The console's menus. This version has two of them: ST_MAIN_MENU and ST_TEST_SAMPLING.
enum TEST_ST {
  ST_INVALID = 0,
  ST_MAIN_MENU = 1,
  ST_TEST_ALL = 2,
  ST_TEST_ALARM = 3,
  ST_TEST_IRCUT = 4,
  ST_TEST_RTC = 5,
  ST_TEST_SDCARD = 6,
  ST_TEST_FANCTL = 7,
  ST_TEST_TEMP = 8,
  ST_TEST_CENTAURUS = 9,
  ST_TEST_QUIT = 10,
  ST_SET_TG_PARAM = 11,
  ST_GET_TG_PARAM = 12,
  ST_TEST_RS485 = 13,
  ST_TEST_VSUB_6484A = 14,
  ST_TEST_VSUB_6455 = 15,
  ST_TEST_VSUB_6485 = 16,
  ST_TEST_USBDEV = 17,
  ST_TEST_VSUB_TRIM = 18,
  ST_TEST_VSUB_AUTO = 19,
  ST_TEST_VSUB_PRINT = 20,
  ST_TEST_AUTO_IRIS = 21,
  ST_TEST_SAMPLING = 22,
  ST_TEST_TEMPERATURE = 23,
  ST_TEST_FAN = 24,
  ST_ERROR = 25,
};

/// Which one is up: set by sampling_test(), and looked at by nobody.
extern TEST_ST test_status;
/// Asks a test to stop; no test of this version looks at it.
extern int g_stop;
