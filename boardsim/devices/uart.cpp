#include "boardsim/devices/uart.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "boardsim/devices/records.h"

namespace boardsim {
namespace {

enum Number : std::uint32_t { kConfigure = 0x40045501, kWaiting = 0x80045502, kEmpty = 0x5503 };

using enum Request::Argument;

// clang-format off
constexpr Request kRequests[] = {
    {kConfigure, record, "{baud rate, data bits, stop bits, parity, flow control}", 5, "configures the port; any values are taken"},
    {kWaiting,   record, "one word", 0, "copies out how many bytes wait"},
    {kEmpty,     none,   "none; with one it fails with `EINVAL`", 0, "throws away what waits"},
};
// clang-format on

}  // namespace

Answer Uart::open(int /*flags*/) {
  opened_ = true;
  return Answer::ok();
}

int Uart::descriptor(int flags) {
  return readiness_.open(flags);
}

std::span<const Request> Uart::requests() const {
  return kRequests;
}

Answer Uart::answer(const Request& request, void* argument) {
  if (request.number == kEmpty) {
    waiting_.clear();
    readiness_.set(false);
  } else if (request.number == kWaiting) {
    set_word(argument, 0, static_cast<std::uint32_t>(waiting_.size()));
  } else {
    const auto field = [&](std::size_t index) { return static_cast<std::int32_t>(word(argument, index)); };
    setup_ = {field(0), field(1), field(2), field(3), field(4)};
    if (configure_watcher_) configure_watcher_();
  }
  return Answer::ok();
}

Answer Uart::read(void* buffer, std::size_t size, off64_t& /*position*/) {
  if (size == 0) return Answer::ok();
  if (waiting_.empty()) return Answer::fails(EAGAIN);
  if (buffer == nullptr) return Answer::fails(EFAULT);
  const std::size_t taken = std::min(size, waiting_.size());
  std::memcpy(buffer, waiting_.data(), taken);
  waiting_.erase(0, taken);
  readiness_.set(!waiting_.empty());
  return Answer::ok(static_cast<long>(taken));
}

Answer Uart::write(const void* buffer, std::size_t size, off64_t& /*position*/) {
  if (buffer == nullptr && size > 0) return Answer::fails(EFAULT);
  if (!mute_ && size > 0) {
    const std::string_view bytes(static_cast<const char*>(buffer), size);
    sent_ += bytes;
    if (send_watcher_) send_watcher_(bytes);
  }
  return Answer::ok(static_cast<long>(size));
}

void Uart::receive(std::string_view bytes) {
  if (!opened_ || deaf_) return;
  waiting_.append(bytes.substr(0, kBuffer - waiting_.size()));
  readiness_.set(!waiting_.empty());
}

FaultForms uart_fault_forms(std::span<Uart> ports) {
  const FaultValue port = number("PORT", 1, static_cast<std::uint32_t>(ports.size()));
  return {{"uart PORT dead",
           "the port receives nothing",
           {port},
           [ports](const FaultArguments& given) { ports[given.number(0) - 1].be_deaf(); }},
          {"uart PORT driver dead",
           "what is written to the port does not leave the board; the program does not notice",
           {port},
           [ports](const FaultArguments& given) { ports[given.number(0) - 1].be_mute(); }}};
}

}  // namespace boardsim
