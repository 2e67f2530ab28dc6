// Time between two instants.
#pragma once

#include <sys/time.h>

/// The absolute time between two instants, in seconds.
double get_interval(const timeval* start, const timeval* end);
