// The self-test of the camera's application on MA boards.
#pragma once

/// Test 10769. The verdict is in the application's last reply, even one from an earlier command when nobody
/// answered this one. Code 1 when that reply is to another command, counts no heartbeat, or says that the
/// start is not complete; the description goes on saying that the test succeeded.
void t1_sdk_ma();
