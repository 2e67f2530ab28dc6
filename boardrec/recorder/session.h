// The recording's beginning and end, and what its records number.
#pragma once

#include <pthread.h>
#include <stdio.h>

#include <cstdint>

namespace boardrec {

/// The monotonic clock that the program has, nanoseconds.
std::uint64_t monotonic();
/// The moment from which records count, on that clock.
std::uint64_t recording_began();

/// The number of an open stream, 0 for one that the program did not open itself.
std::uint32_t stream_number(const FILE* stream);
/// Numbers a stream that was opened; 0 when there are too many. Both: the lock is held.
std::uint32_t stream_opened(const FILE* stream);
void stream_closed(const FILE* stream);

/// The number of a mutex, 0 when there are too many. The lock is held.
std::uint32_t mutex_number(const pthread_mutex_t* mutex);

/// The number of a thread that was created, -1 for one that is not recorded. The lock is held.
int thread_number(pthread_t thread);
/// The lock is held.
void thread_created(pthread_t thread, int number);
/// The thread's number may be given again, to another thread. The lock is held.
void thread_joined(pthread_t thread);

/// The kind of node that a descriptor was opened on, as node_kind() says.
std::uint8_t kind_of(int fd);
void set_kind(int fd, std::uint8_t kind);

}  // namespace boardrec
