// The self-test of the camera's application on MA boards.
#pragma once

/// Test 10769. The verdict is in the application's last reply, even one from an earlier command when nobody
/// answered this one.
void t1_sdk_ma();
