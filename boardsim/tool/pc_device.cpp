#include "boardsim/tool/pc_device.h"

#include <termios.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "boardsim/kernel/real.h"

namespace boardsim {
namespace {

[[noreturn]] void fail(const std::string& what, int error) {
  throw std::runtime_error(what + ": " + std::strerror(error));
}

}  // namespace

std::shared_ptr<PseudoTerminal> offer_device(const std::string& option, const std::string& path) {
  std::shared_ptr<PseudoTerminal> terminal = PseudoTerminal::make();
  if (!terminal) fail(option + ": no pseudo-terminal", errno);
  termios settings{};
  real::tcgetattr(terminal->near(), &settings);
  cfmakeraw(&settings);
  real::tcsetattr(terminal->near(), TCSANOW, &settings);
  std::error_code error;
  if (std::filesystem::is_symlink(path, error) && !std::filesystem::exists(path, error)) {
    std::filesystem::remove(path, error);  // what an earlier run left behind
  }
  std::filesystem::create_symlink(terminal->name(), path, error);
  if (error) fail(option + ": " + path + " cannot be made", error.value());
  return terminal;
}

}  // namespace boardsim
