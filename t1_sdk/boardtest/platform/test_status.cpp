#include "t1_sdk/boardtest/platform/test_status.h"

TEST_ST test_status = ST_INVALID;
int g_stop = 0;
