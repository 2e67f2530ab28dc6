#include "t1_sdk/util/console_line.h"

#include <sys/select.h>
#include <termios.h>
#include <unistd.h>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

constexpr char kTab = 9;
constexpr char kLineFeed = 10;
constexpr char kBackspace = 8;

/// Whether failures are printed on standard output.
enum class Reports { no, yes };

void report(Reports reports, bool failed, const char* text) {
  if (failed && reports == Reports::yes) std::fputs(text, stdout);
}

void wait_for_key() {
  int ready = 0;
  while (ready == 0) {
    fd_set keys;
    FD_ZERO(&keys);
    FD_SET(STDIN_FILENO, &keys);
    timeval second{1, 0};
    ready = select(STDIN_FILENO + 1, &keys, nullptr, nullptr, &second);
  }
}

void echo(Reports reports, std::string_view keys) {
  for (const char key : keys) report(reports, std::fputc(key, stdout) == EOF, "<T1> ERR:readline:fputc\n");
  report(reports, std::fflush(stdout) == EOF, "<T1> ERR:readline:fflush\n");
}

/// Reads keys into `buf`, which holds at least one byte. False when the input ended: then nothing closes the
/// line. The position is left in `position`.
bool read_keys(Reports reports, char* buf, int len, int& position) {
  do {
    wait_for_key();
    char& key = buf[position];
    if (read(STDIN_FILENO, &key, 1) < 1) {
      if (reports == Reports::yes) std::printf("<T1> ERR:readline:read,i=%d\n", position);
      return false;
    }
    if (key == kTab || key == kLineFeed) return true;
    if (key != kBackspace) {
      echo(reports, {&key, 1});
      ++position;
    } else if (position > 0) {
      echo(reports, "\b \b");
      --position;
    }
  } while (position < len - 1);
  return true;
}

// Settings that cannot be read are left alone: nobody could put them back.
void read_line(Reports reports, char* buf, int len) {
  if (len < 1) return;
  termios saved{};
  const bool known = tcgetattr(STDIN_FILENO, &saved) == 0;
  report(reports, !known, "<T1> ERR:readline:tcgetattr\n");
  const auto apply = [&](const termios& settings, const char* failure) {
    if (known) report(reports, tcsetattr(STDIN_FILENO, TCSANOW, &settings) != 0, failure);
  };
  termios raw = saved;
  raw.c_lflag &= static_cast<tcflag_t>(~(ICANON | ECHO));
  raw.c_cc[VMIN] = 1;
  apply(raw, "<T1> ERR:readline:tcsetattr\n");
  int position = 0;
  const bool complete = read_keys(reports, buf, len, position);
  if (complete || reports == Reports::no) buf[std::min(position, len - 1)] = '\0';
  apply(saved, "<T1> ERR:readline:tcsetattr 2\n");
}

}  // namespace

void readline(char* buf, int len) {
  if (buf != nullptr) read_line(Reports::no, buf, len);
}

void readline(unsigned char* buf, int len) {
  if (buf == nullptr) {
    std::fputs("<T1> ERR:readline:NULL == buf\n", stdout);
    std::exit(1);
  }
  read_line(Reports::yes, reinterpret_cast<char*>(buf), len);
}
