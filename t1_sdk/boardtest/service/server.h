// The test server: listens on TCP port 36001, serves one station after the other.
#pragma once

/// Empty receive waits of 100 seconds since the last known test code; 18 of them close the connection.
/// Unknown codes and new connections do not reset it.
extern int g_iTimeCount;

namespace boardtest {

/// The size of the receive buffer and the longest request, in bytes.
inline constexpr int kMaxRequest = 512;

/// Runs the server. Returns -1 when a socket call or a banner fails; it has no successful return.
int run_server();

}  // namespace boardtest

/// Sends the banner, then the help menu, on g_iSockClient; `pSock` only has to be no null pointer. 0, or -1
/// for a null pointer or when a send failed.
[[nodiscard]] int send_start_info(int* pSock);

/// Receives one request into the kMaxRequest bytes of `pcRecvBuf`, which are neither cleared nor terminated.
/// Returns the request's length as it was announced, also when less arrived; with 0 or a negative length
/// nothing is read and the buffer keeps the request before. -2 when nothing arrived, for 100 seconds or
/// because the station closed, and the caller is to wait again. -1 when the connection is to be closed: a
/// null buffer, no station, a length above kMaxRequest, an error, or the 18th empty wait. An announced -1 or
/// -2 is taken for these.
[[nodiscard]] int recv_client_operation(unsigned char* pcRecvBuf);
