// The wrapped functions, and what they count.
#include "tests/sweep/wrapped.h"

#include <sys/select.h>
#include <termios.h>
#include <unistd.h>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "t1_sdk/boardtest/protocol/message.h"
#include "tests/sweep/calls.h"

namespace {

using NoPlaces = std::vector<std::size_t>;

struct Ledger {
  std::vector<boardsim::Call> counted;
  std::vector<boardsim::Call> noted;  // what the board's trace has not
  std::optional<Fault> fault;
};

Ledger* g_ledger = nullptr;  // null: nothing is counted

/// Counts a call and tells whether it is spoilt: it then has this result, and this error unless 0.
bool spoils(boardsim::Call call, long result, int error) {
  if (g_ledger == nullptr) return false;
  std::vector<boardsim::Call>& counted = g_ledger->counted;
  counted.push_back(call);
  const std::vector<std::size_t> all = g_ledger->fault ? befallen(*g_ledger->fault, counted) : NoPlaces{};
  const bool is_spoilt = !all.empty() && all.back() == counted.size() - 1;
  if (is_spoilt) {
    call.result = result;
    call.error = error;
    if (error != 0) errno = error;
  }
  if (is_spoilt || call.name == "malloc" || call.name == "calloc") g_ledger->noted.push_back(std::move(call));
  return is_spoilt;
}

bool refuses(const char* name, std::size_t size) {
  return spoils({.name = name, .record = {static_cast<std::uint32_t>(size)}}, -1, ENOMEM);
}

}  // namespace

// The names are the linker's.
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
int __real_reboot(int command);
int __real_tcflush(int fd, int queues);
int __real_select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, timeval* limit);
void* __wrap_malloc(std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);
int __wrap_reboot(int command);
int __wrap_tcflush(int fd, int queues);
int __wrap_select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, timeval* limit);

void* __wrap_malloc(std::size_t size) {
  return refuses("malloc", size) ? nullptr : __real_malloc(size);
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
  return refuses("calloc", count * size) ? nullptr : __real_calloc(count, size);
}

int __wrap_reboot(int command) {
  return spoils({.name = "reboot"}, -1, EPERM) ? -1 : __real_reboot(command);
}

int __wrap_tcflush(int fd, int queues) {
  return spoils({.name = "tcflush"}, -1, EIO) ? -1 : __real_tcflush(fd, queues);
}

int __wrap_select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, timeval* limit) {
  const bool sends = writable != nullptr && g_iSockClient >= 0 && FD_ISSET(g_iSockClient, writable);
  if (!spoils({.name = "select", .node = sends ? "station" : ""}, 0, 0)) {
    return __real_select(count, readable, writable, exceptional, limit);
  }
  if (limit != nullptr) {
    sleep(static_cast<unsigned>(limit->tv_sec));
    usleep(static_cast<useconds_t>(limit->tv_usec));
    *limit = {};
  }
  for (fd_set* set : {readable, writable, exceptional}) {
    if (set != nullptr) FD_ZERO(set);
  }
  return 0;
}
}

bool is_of_wrapped(const std::string& fault) {
  for (const char* name : {"malloc", "calloc", "reboot", "tcflush"}) {
    if (fault.starts_with(name)) return true;
  }
  return fault.ends_with("time-out");
}

void begin_wrapped(const std::string& fault) {
  static Ledger ledger;
  ledger = {};
  if (!fault.empty()) ledger.fault = parse_fault(fault);
  g_ledger = &ledger;
}

std::vector<boardsim::Call> end_wrapped() {
  const std::vector<boardsim::Call> noted = g_ledger->noted;
  g_ledger = nullptr;
  return noted;
}
