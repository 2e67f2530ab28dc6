// The IPv4 address that the server binds.
#pragma once

#include <netinet/in.h>

namespace boardtest {

/// The address of a board that was never configured; such a board is reached over wlan0 instead. Only the
/// first kFallbackCompared characters are compared, so its neighbours count as not configured too.
inline constexpr char kFallbackAddress[] = "198.51.100.64";
inline constexpr int kFallbackCompared = 10;

}  // namespace boardtest

/// Results of get_local_ipaddr_by_interface.
enum DIAG_RET_ENUM { DIAG_RET_SUCCESS = 0, DIAG_RET_FAILED = 1, DIAG_RET_BUTT = 2 };

/// The address to bind in network byte order: eth0's, or wlan0's when eth0 has none or the fallback address.
/// 0 (any address), after telling so on the console, when wlan0 is asked and has none: also when eth0 has the
/// fallback address.
in_addr_t get_local_ipaddr();
/// The dotted address of an interface into `ip`, at most `len` (16 or more) bytes with its terminator.
/// DIAG_RET_SUCCESS, or DIAG_RET_FAILED after one line of text.
int get_local_ipaddr_by_interface(char* interface_name, char* ip, int len);
