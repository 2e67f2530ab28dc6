// The numbers that stand in records for what has none: streams, mutexes, threads.
#include <cstddef>

#include "boardrec/recorder/session.h"

namespace boardrec {
namespace {

template <std::size_t kRoom>
struct Numbers {
  struct Row {
    std::uintptr_t key;
    std::uint32_t number;
  } rows[kRoom];
  std::size_t used;

  Row* find(std::uintptr_t key) {
    for (std::size_t i = 0; i < used; ++i) {
      if (rows[i].key == key) return &rows[i];
    }
    return nullptr;
  }
  /// Also of a key that is there: the last number counts. False when there is no room.
  bool set(std::uintptr_t key, std::uint32_t number) {
    Row* row = find(key);
    if (row == nullptr && used < kRoom) row = &rows[used++];
    if (row == nullptr) return false;
    *row = {key, number};
    return true;
  }
  void remove(std::uintptr_t key) {
    if (Row* const row = find(key); row != nullptr) *row = rows[--used];
  }
};

constinit Numbers<256> streams{};
constinit Numbers<1024> mutexes{};
constinit Numbers<1024> threads{};
constinit std::uint32_t streams_opened = 0;
constinit std::uint8_t kinds[1024]{};

std::uintptr_t key(const void* pointer) {
  return reinterpret_cast<std::uintptr_t>(pointer);
}

}  // namespace

std::uint32_t stream_number(const FILE* stream) {
  const auto* const row = streams.find(key(stream));
  return row != nullptr ? row->number : 0;
}

std::uint32_t stream_opened(const FILE* stream) {
  return streams.set(key(stream), streams_opened + 1) ? ++streams_opened : 0;
}

void stream_closed(const FILE* stream) {
  streams.remove(key(stream));
}

std::uint32_t mutex_number(const pthread_mutex_t* mutex) {
  if (const auto* const row = mutexes.find(key(mutex)); row != nullptr) return row->number;
  const auto number = static_cast<std::uint32_t>(mutexes.used + 1);
  return mutexes.set(key(mutex), number) ? number : 0;
}

int thread_number(pthread_t thread) {
  const auto* const row = threads.find(static_cast<std::uintptr_t>(thread));
  return row != nullptr ? static_cast<int>(row->number) : -1;
}

void thread_created(pthread_t thread, int number) {
  threads.set(static_cast<std::uintptr_t>(thread), static_cast<std::uint32_t>(number));
}

void thread_joined(pthread_t thread) {
  threads.remove(static_cast<std::uintptr_t>(thread));
}

std::uint8_t kind_of(int fd) {
  return fd >= 0 && static_cast<std::size_t>(fd) < sizeof kinds ? kinds[fd] : std::uint8_t{0};
}

void set_kind(int fd, std::uint8_t kind) {
  if (fd >= 0 && static_cast<std::size_t>(fd) < sizeof kinds) kinds[fd] = kind;
}

}  // namespace boardrec
