// A small program that is linked twice: as what is shipped for boards in one file, without the parts of the C
// library that nothing reaches, and as usual. Does the one thing that its argument names and prints what came
// back, in the way of the program on the board: its console, its failures, its threads, its ends.
#include <arpa/inet.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

// What the compiler calls when it finds a stack or a buffer overrun.
extern "C" {
[[noreturn]] void __stack_chk_fail();
[[noreturn]] void __chk_fail();
}

namespace {

int print() {
  const char* const gbk = "\xB2\xE2\xCA\xD4 \xFF\x80";
  std::printf("%d %u %x %#x %08x %02d %c %5s|%-5s|%.4s|%.*s\n", -1, 4000000000U, 255U, 255U, 0xABCDU, 7, 0xB2,
              "a", "b", gbk, 3, gbk);
  std::printf("%.1f %4.2f %f %ld %lld %zu %p\n", -40.05, 12345678.999, 1e300 * 1e300, -1L, -1LL, sizeof(int),
              static_cast<void*>(nullptr));
  char line[8];
  const int length = std::snprintf(line, sizeof line, "%s", gbk);
  std::printf("%d %s", length, line);
  std::fputs(gbk, stdout);
  std::fputc(0xFF, stdout);
  std::fwrite(gbk, 1, 3, stdout);
  std::puts(gbk);
  std::fprintf(stderr, "%s: %d\n", gbk, 1);
  return std::fflush(stdout);
}

int errors() {
  for (int error = -1; error < 140; ++error) {
    std::puts(std::strerror(error));
    errno = error;
    std::perror("\xB2\xE2");
  }
  std::puts(std::system_error(EAGAIN, std::generic_category(), "a lock").what());
  return 0;
}

int files(const char* self) {
  std::FILE* const missing = std::fopen("/nowhere/file", "r");
  std::printf("%d %s\n", missing == nullptr, std::strerror(errno));
  std::FILE* const file = std::fopen(self, "r");
  char line[4];
  std::printf("%d %s\n", std::fgets(line, sizeof line, file) == line, line + 1);
  std::printf("%d\n", std::fclose(file));
  std::FILE* const full = std::fopen("/dev/full", "w");
  std::printf("%d\n", std::fputs("nobody", full) >= 0);
  std::printf("%d %s\n", std::fclose(full), std::strerror(errno));
  return 0;
}

int numbers() {
  char* end = nullptr;
  const long decimal = std::strtol("-12x", &end, 10);
  std::printf("%ld %s %lld\n", decimal, end, std::strtoll("0x7fffffffffffffffff", nullptr, 16));
  char address[INET_ADDRSTRLEN];
  for (const char* text : {"192.0.2.7", "1.2", "localhost", "300.1.1.1", ""}) {
    const in_addr number{inet_addr(text)};
    std::puts(inet_ntop(AF_INET, &number, address, sizeof address));
  }
  return 0;
}

void* end_by(void* way) {
  const std::string_view name(static_cast<const char*>(way));
  std::strerror(-7);  // an error without a name: its text is kept until the thread ends
  if (name == "exit") pthread_exit(way);
  while (name == "cancel") pause();
  if (name == "asynchronous") {
    pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, nullptr);
    for (volatile bool forever = true; forever;) {
    }
  }
  return way;
}

int threads() {
  for (const char* way : {"return", "exit", "cancel", "asynchronous"}) {
    pthread_t thread{};
    if (pthread_create(&thread, nullptr, end_by, const_cast<char*>(way)) != 0) return 1;
    if (way[0] == 'c' || way[0] == 'a') pthread_cancel(thread);
    void* result = nullptr;
    pthread_join(thread, &result);
    std::printf("%s: %d %d\n", way, result == way, result == PTHREAD_CANCELED);
  }
  return 0;
}

int shell() {
  for (const char* command : {"echo from the shell; exit 3", "kill -9 $$", "/nowhere/program 2>/dev/null"}) {
    std::fflush(stdout);
    const int status = std::system(command);
    std::printf("%d %d %d\n", WIFEXITED(status), WEXITSTATUS(status), WTERMSIG(status));
  }
  return 0;
}

int caught() {
  try {
    static_cast<void>(std::string("short").at(std::strlen("a longer one")));
  } catch (const std::out_of_range& error) {
    std::puts(error.what());
  }
  try {
    std::string("a").append(std::string().max_size(), 'b');
  } catch (const std::length_error& error) {
    std::puts(error.what());
  }
  try {
    static volatile std::size_t most = SIZE_MAX / 2 + 1;  // no compiler may know better
    ::operator delete(::operator new(most));
  } catch (const std::bad_alloc& error) {
    std::puts(error.what());
  }
  return 0;
}

int bad_pointer() {
  static char memory[64];
  static char* volatile inside = memory + 8;
  std::free(inside);
  return 0;
}

int run(std::string_view deed, const char* self) {
  if (deed == "print") return print();
  if (deed == "errors") return errors();
  if (deed == "files") return files(self);
  if (deed == "numbers") return numbers();
  if (deed == "threads") return threads();
  if (deed == "shell") return shell();
  if (deed == "caught") return caught();
  if (deed == "uncaught") throw std::runtime_error("nobody");
  if (deed == "stack") __stack_chk_fail();
  if (deed == "buffer") __chk_fail();
  if (deed == "pointer") return bad_pointer();
  return 64;
}

}  // namespace

int main(int argc, char** argv) {
  return argc == 2 ? run(argv[1], argv[0]) : 64;
}
