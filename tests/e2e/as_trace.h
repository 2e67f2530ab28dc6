// A recording and the simulated board's own trace of the same session, brought into the same words.
#pragma once

#include <string>
#include <vector>

#include "boardrec/session/recording.h"

/// The calls on nodes, files, folders and the station's socket, a line each, in the order of their records:
/// "0.200000 ioctl /dev/rtc 0x80247009 = 0", "5.000000 read /dev/uart1 = -1 EAGAIN". Without waits, locks,
/// threads and streams.
std::vector<std::string> calls_of(const boardrec::Recording& recording);

/// The same calls from the lines of a trace.
std::vector<std::string> calls_of(const std::vector<std::string>& trace);

/// What the program slept: "29.433928 sleep 5".
std::vector<std::string> sleeps_of(const boardrec::Recording& recording);
std::vector<std::string> sleeps_of(const std::vector<std::string>& trace);
