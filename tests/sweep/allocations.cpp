// The wrapped functions, and what they count.
#include "tests/sweep/allocations.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "tests/sweep/calls.h"

namespace {

struct Ledger {
  std::vector<boardsim::Call> calls;
  std::optional<Fault> fault;
};

Ledger* g_ledger = nullptr;  // null: nothing is counted

/// Enters an allocation and tells whether it is refused.
bool refuses(const char* name, std::size_t size) {
  if (g_ledger == nullptr) return false;
  boardsim::Call call{.name = name, .record = {static_cast<std::uint32_t>(size)}};
  g_ledger->calls.push_back(call);
  if (!g_ledger->fault) return false;
  const std::vector<std::size_t> refused = befallen(*g_ledger->fault, g_ledger->calls);
  if (refused.empty() || refused.back() != g_ledger->calls.size() - 1) return false;
  g_ledger->calls.back().result = -1;
  g_ledger->calls.back().error = ENOMEM;
  errno = ENOMEM;
  return true;
}

}  // namespace

// The names are the linker's.
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __wrap_malloc(std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);

void* __wrap_malloc(std::size_t size) {
  return refuses("malloc", size) ? nullptr : __real_malloc(size);
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
  return refuses("calloc", count * size) ? nullptr : __real_calloc(count, size);
}
}

bool is_of_allocations(const std::string& fault) {
  return fault.starts_with("malloc") || fault.starts_with("calloc");
}

void begin_allocations(const std::string& fault) {
  static Ledger ledger;
  ledger = {};
  if (is_of_allocations(fault)) ledger.fault = parse_fault(fault);
  g_ledger = &ledger;
}

std::vector<boardsim::Call> end_allocations() {
  const std::vector<boardsim::Call> calls = g_ledger->calls;
  g_ledger = nullptr;
  return calls;
}
