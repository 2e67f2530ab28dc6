// The least program that uses what boardtest uses: a string, a thread, a line on the console. Then it waits
// for its end. The floor under the sizes of the program's files and under its memory.
#include <pthread.h>
#include <unistd.h>

#include <cstdio>
#include <string>

namespace {

void* append(void* text) {
  static_cast<std::string*>(text)->append(" and its thread, which says more than fits without memory");
  return nullptr;
}

}  // namespace

int main(int argc, char** argv) {
  std::string text(argc > 1 ? argv[1] : "a program");
  pthread_t thread{};
  if (pthread_create(&thread, nullptr, append, &text) != 0) return 1;
  pthread_join(thread, nullptr);
  std::puts(text.c_str());
  std::fflush(stdout);
  pause();
  return 0;
}
