#include "boardsim/devices/terminal.h"

#include <termios.h>

#include <cerrno>

#include "boardsim/kernel/real.h"

namespace boardsim {
namespace {

using enum Request::Argument;

// clang-format off
constexpr Request kRequests[] = {
    {TCGETS,   own, "as on Linux", 0, "copies out the settings"},
    {TCSETS,   own, "as on Linux", 0, "changes them at once"},
    {TCSETSW,  own, "as on Linux", 0, "changes them behind what is sent"},
    {TCSETSF,  own, "as on Linux", 0, "the same, and throws away what waits"},
    {TCSBRK,   own, "as on Linux", 0, "waits for what is sent"},
    {TCFLSH,   own, "as on Linux", 0, "throws away what waits"},
    {FIONREAD, own, "as on Linux", 0, "copies out how many bytes wait"},
};
// clang-format on

/// Whether a read finds something. Also lets arrive what is still under way inside the PC.
bool is_readable(int fd) {
  pollfd look{fd, POLLIN, 0};
  return real::poll(&look, 1UL, 0) > 0;
}

/// Keeps errno for whoever looks at something on the side.
class KeepErrno {
 public:
  ~KeepErrno() { errno = error_; }

 private:
  int error_ = errno;
};

Answer outcome(ssize_t result) {
  return result < 0 ? Answer::fails(errno) : Answer::ok(result);
}

}  // namespace

std::optional<Time> terminal_read_limit(int fd) {
  const KeepErrno keep;
  termios settings{};
  if (real::tcgetattr(fd, &settings) != 0) return std::nullopt;
  if ((settings.c_lflag & ICANON) != 0 || settings.c_cc[VMIN] != 0) return std::nullopt;
  return std::chrono::milliseconds(100) * settings.c_cc[VTIME];
}

int Terminal::far_end() {
  if (line_) return line_->far();
  line_ = PseudoTerminal::make();
  return line_ ? line_->far() : -1;
}

Answer Terminal::open(int /*flags*/) {
  return far_end() < 0 ? Answer::fails(errno) : Answer::ok();
}

int Terminal::descriptor(int flags) {
  // It must not become the terminal that the test or the launcher is controlled from.
  return real::open(line_->name().c_str(), flags | O_NOCTTY | O_CLOEXEC);
}

std::span<const Request> Terminal::requests() const {
  return kRequests;
}

Answer Terminal::answer(const Request& request, void* argument) {
  is_readable(line_->near());
  return outcome(real::ioctl(line_->near(), request.number, argument));
}

Answer Terminal::read(void* buffer, std::size_t size, off64_t& /*position*/) {
  if (size == 0) return Answer::ok();
  if (is_readable(line_->near())) return outcome(real::read(line_->near(), buffer, size));
  return read_limit() == Time(0) ? Answer::ok() : Answer::fails(EAGAIN);
}

Answer Terminal::write(const void* buffer, std::size_t size, off64_t& /*position*/) {
  const Answer answer = outcome(real::write(line_->near(), buffer, size));
  // A line does not wait for anybody to listen.
  return answer.error == 0 || answer.error == EAGAIN ? Answer::ok(static_cast<long>(size)) : answer;
}

std::optional<Time> Terminal::read_limit() const {
  return terminal_read_limit(line_->near());
}

}  // namespace boardsim
