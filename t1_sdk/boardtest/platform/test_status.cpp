// Which menu of the console is up, and the flag that asks a test to stop.
#include "t1_sdk/boardtest/platform/test_status.h"

TEST_ST test_status = ST_INVALID;
int g_stop = 0;
