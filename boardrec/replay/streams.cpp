// Streams that the program opens itself, as they were recorded.
#include <cstdio>
#include <cstring>
#include <map>

#include "boardrec/replay/next.h"
#include "boardrec/replay/turns.h"

using boardrec::Call;
using boardrec::Handed;
using boardrec::is_replayed;
using boardrec::next_answer;
using boardrec::Record;

extern "C" {
char* __fgets_chk(char* buffer, size_t buffer_size, int size, FILE* stream);
}

namespace {

std::map<const FILE*, std::int64_t>& streams() {
  static std::map<const FILE*, std::int64_t> known;
  return known;
}

/// Its number in the recording; 0 for the console's, which nobody recorded.
std::int64_t number_of(const FILE* stream) {
  const boardrec::Within within;
  const auto known = streams().find(stream);
  return known != streams().end() ? known->second : 0;
}

FILE* open_recorded(const char* path, const char* mode) {
  const Record& record = next_answer(Call::fopen, {Handed::text(path), Handed::text(mode)});
  if (record.result == 0) return boardrec::returned(record), nullptr;
  const boardrec::Within within;
  FILE* const stream = fopencookie(nullptr, "r+", {});  // nobody reads it: what it has is in the recording
  streams()[stream] = record.out.front().number;
  return stream;
}

}  // namespace

extern "C" {

FILE* fopen(const char* path, const char* mode) {
  if (is_replayed()) return open_recorded(path, mode);
  BOARDREC_PASS_ON(fopen, path, mode);
}
FILE* fopen64(const char* path, const char* mode) {
  if (is_replayed()) return open_recorded(path, mode);
  BOARDREC_PASS_ON(fopen64, path, mode);
}

char* fgets(char* buffer, int size, FILE* stream) {
  static auto* const behind = boardrec::next<decltype(fgets)>("fgets");
  const std::int64_t number = is_replayed() ? number_of(stream) : 0;
  if (number == 0) return behind(buffer, size, stream);
  const Record& record = next_answer(Call::fgets, {Handed::of(number), Handed::of(size)});
  if (record.result == 0 || size < 1) return boardrec::returned(record), nullptr;
  const std::string& bytes = record.out.front().bytes;
  buffer[bytes.copy(buffer, static_cast<std::size_t>(size) - 1)] = '\0';
  return buffer;
}
char* __fgets_chk(char* buffer, size_t buffer_size, int size, FILE* stream) {
  if (is_replayed() && number_of(stream) != 0) return fgets(buffer, size, stream);
  BOARDREC_PASS_ON(__fgets_chk, buffer, buffer_size, size, stream);
}

size_t fread(void* buffer, size_t size, size_t count, FILE* stream) {
  static auto* const behind = boardrec::next<decltype(fread)>("fread");
  const std::int64_t number = is_replayed() ? number_of(stream) : 0;
  if (number == 0) return behind(buffer, size, count, stream);
  const auto bytes = static_cast<std::int64_t>(size * count);
  const Record& record = next_answer(Call::fread, {Handed::of(number), Handed::of(bytes)});
  give(record.out.front(), buffer, size * count);
  return static_cast<size_t>(boardrec::returned(record));
}

size_t fwrite(const void* buffer, size_t size, size_t count, FILE* stream) {
  static auto* const behind = boardrec::next<decltype(fwrite)>("fwrite");
  const std::int64_t number = is_replayed() ? number_of(stream) : 0;
  if (number == 0) return behind(buffer, size, count, stream);
  const auto bytes = static_cast<std::int64_t>(size * count);
  return static_cast<size_t>(boardrec::returned(
      next_answer(Call::fwrite, {Handed::of(number), Handed::of(bytes), Handed::record(buffer)})));
}

int fclose(FILE* stream) {
  static auto* const behind = boardrec::next<decltype(fclose)>("fclose");
  const std::int64_t number = is_replayed() ? number_of(stream) : 0;
  if (number == 0) return behind(stream);
  const Record& record = next_answer(Call::fclose, {Handed::of(number)});
  {
    const boardrec::Within within;
    streams().erase(stream);
    behind(stream);
  }
  return boardrec::returned_int(record);
}

}  // extern "C"
