// The station client `t1station`: environment from the system, everything else from the library.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <iostream>

#include "station/app/app.h"
#include "station/app/exit_code.h"
#include "station/records/owner.h"

namespace {

std::string time_of_day() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &utc);
  return text.data();
}

std::size_t terminal_columns() {
  winsize size{};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

bool is_set(const char* variable) {
  const char* value = std::getenv(variable);
  return value && *value != '\0';
}

// What is opened first must not take the place of a closed standard stream: a connection would get its texts.
void keep_standard_places() {
  for (const int place : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(place, F_GETFD) < 0) open("/dev/null", place == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    keep_standard_places();
    std::signal(SIGPIPE, SIG_IGN);
    t1station::Interrupt interrupt;
    interrupt.watch_signals();
    const t1station::SteadyClock clock;
    t1station::Environment around{std::cout, std::cerr, clock, interrupt, time_of_day()};
    around.out_is_terminal = isatty(STDOUT_FILENO) == 1;
    around.err_is_terminal = isatty(STDERR_FILENO) == 1;
    around.in_is_terminal = isatty(STDIN_FILENO) == 1;
    around.no_color = is_set("NO_COLOR");
    around.columns = terminal_columns();
    around.host = t1station::host_name();
    return t1station::run_app(std::vector<std::string>(argv + 1, argv + argc), around);
  } catch (const std::exception& error) {
    std::cerr << "t1station: " << error.what() << std::endl;
    return t1station::exit_code::kBroken;
  }
}
