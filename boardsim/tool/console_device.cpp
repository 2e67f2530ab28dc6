#include "boardsim/tool/console_device.h"

#include <poll.h>
#include <unistd.h>

#include "boardsim/tool/pc_device.h"

namespace boardsim {
namespace {

constexpr int kReadersPatience = 2000;  // ms

}  // namespace

ConsoleDevice::ConsoleDevice(const std::string& path) : terminal_(offer_device("--console-tty", path)) {
  terminal_->hang_up();  // from here on it shows whether somebody has it open
}

bool ConsoleDevice::is_open(int patience_ms) const {
  pollfd look{terminal_->far(), 0, 0};
  return poll(&look, 1, patience_ms) <= 0;
}

void ConsoleDevice::print(std::string_view bytes) const {
  if (!is_open(0)) return;
  std::string text;
  for (const char byte : bytes) text.append(byte == '\n' ? "\r" : "").push_back(byte);
  [[maybe_unused]] const auto ignored = write(terminal_->far(), text.data(), text.size());
}

void ConsoleDevice::wait_for_readers() const {
  is_open(kReadersPatience);
}

}  // namespace boardsim
