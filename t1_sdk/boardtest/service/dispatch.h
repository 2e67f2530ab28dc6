// From a request to the one test that it names.
#pragma once

namespace boardtest {

/// What process_client_operation returns when the station asked to quit.
inline constexpr int kQuitRequested = 2;

}  // namespace boardtest

/// Runs the request in `pcRecvBuf`: text up to the first NUL, at most 512 bytes; `iLen` is not used.
/// -1 for a null buffer, 2 for the quit code, else 0, whatever the test did.
int process_client_operation(unsigned char* pcRecvBuf, int iLen);
