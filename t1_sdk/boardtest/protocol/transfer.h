// Blocking transfers over the station's socket, each within 100 seconds in all.
#pragma once

/// Reads `iNum` bytes unless 100 seconds pass or the peer closes first. Returns the number of bytes
/// read (0 to iNum; 0 also when the peer closed before the first), or -1 for a null buffer or an error. With
/// an `iNum` of 0 or less nothing is waited for or read, and 0 is returned.
[[nodiscard]] int tcp_readn(int sConnTcp, void* pBufRecv, int iNum);
/// Writes all `iNum` bytes. Returns iNum, or -1 for a null buffer, an error or when 100 seconds have passed.
/// With an `iNum` of 0 or less nothing is written.
[[nodiscard]] int tcp_writen(int sConnTcp, void* pBufSend, int iNum);
/// The same; `sent` receives how many bytes have gone out, also when it fails.
[[nodiscard]] int tcp_writen(int sConnTcp, void* pBufSend, int iNum, int& sent);
