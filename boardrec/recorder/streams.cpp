// Streams that the program opens itself; what it prints is no call of these.
#include <stdio.h>

#include <cstring>

#include "boardrec/recorder/entry.h"
#include "boardrec/recorder/next.h"
#include "boardrec/recorder/session.h"

using boardrec::Call;
using boardrec::Entry;

extern "C" {
char* __fgets_chk(char* buffer, size_t buffer_size, int size, FILE* stream);
size_t __fread_chk(void* buffer, size_t buffer_size, size_t size, size_t count, FILE* stream);
}

BOARDREC_NEXT(fopen);
BOARDREC_NEXT(fopen64);
BOARDREC_NEXT(fclose);
BOARDREC_NEXT(fgets);
BOARDREC_NEXT(__fgets_chk);
BOARDREC_NEXT(fread);
BOARDREC_NEXT(__fread_chk);
BOARDREC_NEXT(fwrite);

namespace {

/// The stream's number; 0 for one that the program was given, or where nothing is recorded.
std::uint32_t number_of(const FILE* stream) {
  if (boardrec::this_thread.number < 0 || boardrec::this_thread.depth > 0 || !boardrec::recording()) return 0;
  ++boardrec::this_thread.depth;
  boardrec::shared.take();
  const std::uint32_t number = boardrec::stream_number(stream);
  boardrec::shared.give();
  --boardrec::this_thread.depth;
  return number;
}

template <typename Function>
FILE* open_any(const char* path, const char* mode, Function function) {
  Entry entry(Call::fopen);
  if (!entry) return function();
  FILE* const stream = entry.make_cancellable(function);
  entry.in_text(path);
  entry.in_text(mode);
  if (stream != nullptr) {
    const boardrec::kernel::Locked lock(boardrec::shared);
    entry.out(boardrec::stream_opened(stream));
  }
  return entry.end_with_pointer(stream, stream == nullptr);
}

template <typename Function>
char* gets_any(char* buffer, int size, FILE* stream, Function function) {
  const std::uint32_t number = number_of(stream);
  if (number == 0) return function();
  Entry entry(Call::fgets);
  entry.in(number);
  entry.in(size);
  char* const line = entry.make_cancellable(function);
  if (line != nullptr) entry.out_bytes(buffer, std::strlen(line));
  return entry.end_with_pointer(line, line == nullptr && ferror(stream) != 0);
}

template <typename Function>
size_t read_any(void* buffer, size_t size, size_t count, FILE* stream, Function function) {
  const std::uint32_t number = number_of(stream);
  if (number == 0) return function();
  Entry entry(Call::fread);
  entry.in(number);
  entry.in(static_cast<std::int64_t>(size * count));
  const size_t moved = entry.make_cancellable(function);
  entry.out_moved(buffer, static_cast<ssize_t>(moved * size));
  return entry.end_with_count(moved, moved < count && ferror(stream) != 0);
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

FILE* fopen(const char* path, const char* mode) {
  return open_any(path, mode, [=] { return next_fopen(path, mode); });
}
FILE* fopen64(const char* path, const char* mode) {
  return open_any(path, mode, [=] { return next_fopen64(path, mode); });
}

int fclose(FILE* stream) {
  const std::uint32_t number = number_of(stream);
  if (number == 0) return next_fclose(stream);
  Entry entry(Call::fclose);
  entry.in(number);
  {
    const boardrec::kernel::Locked lock(boardrec::shared);
    boardrec::stream_closed(stream);
  }
  return entry.end(entry.make_cancellable([=] { return next_fclose(stream); }));
}

char* fgets(char* buffer, int size, FILE* stream) {
  return gets_any(buffer, size, stream, [=] { return next_fgets(buffer, size, stream); });
}
char* __fgets_chk(char* buffer, size_t buffer_size, int size, FILE* stream) {
  return gets_any(buffer, size, stream, [=] { return next___fgets_chk(buffer, buffer_size, size, stream); });
}

size_t fread(void* buffer, size_t size, size_t count, FILE* stream) {
  return read_any(buffer, size, count, stream, [=] { return next_fread(buffer, size, count, stream); });
}
size_t __fread_chk(void* buffer, size_t buffer_size, size_t size, size_t count, FILE* stream) {
  return read_any(buffer, size, count, stream,
                  [=] { return next___fread_chk(buffer, buffer_size, size, count, stream); });
}

size_t fwrite(const void* buffer, size_t size, size_t count, FILE* stream) {
  const auto function = [=] { return next_fwrite(buffer, size, count, stream); };
  const std::uint32_t number = number_of(stream);
  if (number == 0) return function();
  Entry entry(Call::fwrite);
  entry.in(number);
  entry.in(static_cast<std::int64_t>(size * count));
  const size_t moved = entry.make_cancellable(function);
  entry.in_moved(buffer, static_cast<ssize_t>(moved * size));
  return entry.end_with_count(moved, moved < count && ferror(stream) != 0);
}

}  // extern "C"
#pragma GCC visibility pop
