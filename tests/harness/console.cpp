// Captures the console with two files in memory.
#include "tests/harness/console.h"

#include <gtest/gtest.h>
#include <stdio_ext.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <string_view>

#include "tests/harness/gbk.h"

namespace {

std::vector<std::string> split(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t begin = 0;
  while (begin < text.size()) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    lines.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return lines;
}

/// Shows captured text of a failed test: the test framework's own messages are UTF-8 and the program's
/// lines are GBK.
void show(std::FILE* stream, const std::string& text) {
  for (const std::string& line : split(text)) {
    std::string shown = line;
    try {
      gbk(line);
    } catch (const std::invalid_argument&) {
      try {
        shown = utf8(line);
      } catch (const std::invalid_argument&) {
        shown = line;
      }
    }
    std::fprintf(stream, "%s\n", shown.c_str());
  }
}

/// A buffer that it is given makes the C library look at the new mode with the very next character.
void buffer_output(int mode) {
  static char buffer[BUFSIZ];
  std::setvbuf(stdout, buffer, mode, sizeof buffer);
}

}  // namespace

Console::Stream::Stream(int fd) : descriptor(fd), original(dup(fd)), capture(memfd_create("console", 0)) {
  if (original < 0 || capture < 0 || dup2(capture, descriptor) < 0) {
    throw std::runtime_error("the console cannot be captured");
  }
}

std::string Console::Stream::text() const {
  struct stat status = {};
  if (fstat(capture, &status) != 0) throw std::runtime_error("the captured console is gone");
  std::string text(static_cast<std::size_t>(status.st_size), '\0');
  const ssize_t size = pread(capture, text.data(), text.size(), 0);
  text.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
  return text;
}

Console::Console() : out_((std::fflush(stdout), STDOUT_FILENO)), err_((std::fflush(stderr), STDERR_FILENO)) {}

Console::~Console() {
  std::fflush(stdout);
  std::fflush(stderr);
  const std::string out = out_.forgotten + out_.text();
  const std::string err = err_.forgotten + err_.text();
  for (const Stream& stream : {out_, err_}) {
    dup2(stream.original, stream.descriptor);
    close(stream.original);
    close(stream.capture);
  }
  if (fully_buffered_) buffer_output(_IOFBF);
  if (::testing::Test::HasFailure()) {
    show(stdout, out);
    show(stderr, err);
  }
}

std::string Console::out() const {
  std::fflush(stdout);
  return flushed();
}

std::string Console::flushed() const {
  return utf8(out_.text());
}

std::vector<std::string> Console::lines() const {
  return split(out());
}

std::string Console::err() const {
  std::fflush(stderr);
  return utf8(err_.text());
}

void Console::join() {
  std::fflush(stdout);
  std::fflush(stderr);
  if (dup2(out_.capture, err_.descriptor) < 0)
    throw std::runtime_error("the console's streams cannot be joined");
  if (__flbf(stdout) != 0) return;
  fully_buffered_ = true;
  buffer_output(_IOLBF);
}

void Console::clear() {
  std::fflush(stdout);
  std::fflush(stderr);
  for (Stream* const stream : {&out_, &err_}) {
    if (::testing::Test::HasFailure()) stream->forgotten += stream->text();
    if (ftruncate(stream->capture, 0) != 0 || lseek(stream->capture, 0, SEEK_SET) != 0) {
      throw std::runtime_error("the captured console cannot be cleared");
    }
  }
}
