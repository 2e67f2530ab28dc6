// Counts the heap allocations of a program that runs behind the simulated board, and those that are not its
// own.
//
// Loaded in front of the program and of the board. An allocation belongs to whom asked for it: the first
// caller that stands in none of the libraries of C and C++ and of this file. The two counts, the program's
// own and all others, stand in the file that the environment variable BENCH_ALLOCATIONS names.
#include <fcntl.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <unwind.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

struct Counts {
  std::atomic<std::uint64_t> program;
  std::atomic<std::uint64_t> others;
};

struct Range {
  std::uintptr_t from;
  std::uintptr_t to;
  bool contains(std::uintptr_t address) const { return address >= from && address < to; }
};

constinit Counts* counts = nullptr;
constinit Range program{};
constinit Range passed_over[8]{};  // libraries that allocate on behalf of their callers
constinit int passed_over_size = 0;
constinit thread_local bool counting = false;

int note_object(dl_phdr_info* info, std::size_t, void* first) {
  Range range{UINTPTR_MAX, 0};
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const auto& header = info->dlpi_phdr[i];
    if (header.p_type != PT_LOAD) continue;
    const std::uintptr_t start = info->dlpi_addr + header.p_vaddr;
    if (start < range.from) range.from = start;
    if (start + header.p_memsz > range.to) range.to = start + header.p_memsz;
  }
  bool& is_first = *static_cast<bool*>(first);
  if (is_first) {
    program = range;
    is_first = false;
    return 0;
  }
  for (const char* const name :
       {"/libc.so", "/libstdc++.so", "/libgcc_s.so", "/ld-linux", "/libcount_allocations"}) {
    if (std::strstr(info->dlpi_name, name) != nullptr && passed_over_size < 8)
      passed_over[passed_over_size++] = range;
  }
  return 0;
}

_Unwind_Reason_Code look_at_frame(_Unwind_Context* context, void* found) {
  const auto address = static_cast<std::uintptr_t>(_Unwind_GetIP(context));
  for (int i = 0; i < passed_over_size; ++i) {
    if (passed_over[i].contains(address)) return _URC_NO_REASON;
  }
  *static_cast<bool*>(found) = program.contains(address);
  return _URC_END_OF_STACK;
}

void count() {
  if (counts == nullptr || counting) return;
  counting = true;
  bool by_program = false;
  _Unwind_Backtrace(look_at_frame, &by_program);
  (by_program ? counts->program : counts->others).fetch_add(1, std::memory_order_relaxed);
  counting = false;
}

// System calls without their functions: those of the simulated board stand in their place.
[[gnu::constructor]] void start() {
  const char* const name = std::getenv("BENCH_ALLOCATIONS");
  if (name == nullptr) return;
  const long fd = syscall(SYS_openat, AT_FDCWD, name, O_RDWR | O_CLOEXEC);
  if (fd < 0) return;
  const long memory = syscall(SYS_mmap, nullptr, sizeof(Counts), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0L);
  syscall(SYS_close, fd);
  if (memory == -1) return;
  bool first = true;
  dl_iterate_phdr(note_object, &first);
  counts = reinterpret_cast<Counts*>(memory);
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) {
  count();
  return __libc_malloc(size);
}

void* calloc(std::size_t number, std::size_t size) {
  count();
  return __libc_calloc(number, size);
}

void* realloc(void* block, std::size_t size) {
  count();
  return __libc_realloc(block, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
  count();
  return __libc_memalign(alignment, size);
}

}  // extern "C"
