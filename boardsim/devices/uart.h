// /dev/uart1 to /dev/uart5: the board's own serial ports.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "boardsim/devices/device.h"
#include "boardsim/kernel/readiness.h"

namespace boardsim {

/// What the UART driver was last configured to ("/dev/uart1" is number 1); all 0 before.
struct UartSetup {
  std::int32_t baudrate = 0, data = 0, stop = 0, parity = 0, flowcontrol = 0;
  bool operator==(const UartSetup&) const = default;  ///< field by field
};

/// One port. Bytes that arrive wait for whoever reads first; those before the first opening, and those beyond
/// 4096 waiting ones, are lost. A descriptor is readable, for select too, while bytes wait, and always
/// writable.
class Uart : public Device {
 public:
  static constexpr std::size_t kBuffer = 4096;

  /// `number` as in the node's name and in the faults.
  explicit Uart(unsigned number) : number_(number) {}

  Answer open(int flags) override;
  int descriptor(int flags) override;
  std::span<const Request> requests() const override;
  /// What waits, up to `size`; EAGAIN when nothing does.
  Answer read(void* buffer, std::size_t size, off64_t& position) override;
  Answer write(const void* buffer, std::size_t size, off64_t& position) override;
  /// It receives nothing.
  void be_deaf() { deaf_ = true; }
  /// What is sent does not leave the board.
  void be_mute() { mute_ = true; }
  void clear_faults() override { deaf_ = mute_ = false; }

  /// Called with all bytes that leave the board.
  void on_send(std::function<void(std::string_view bytes)> watcher) { send_watcher_ = std::move(watcher); }
  /// Called whenever the program has configured the port.
  void on_configure(std::function<void()> watcher) { configure_watcher_ = std::move(watcher); }

  /// Bytes arrive on the line.
  void receive(std::string_view bytes);
  /// All bytes that have left the board.
  const std::string& sent() const { return sent_; }
  const UartSetup& setup() const { return setup_; }

 private:
  Answer answer(const Request& request, void* argument) override;
  unsigned number_;
  Readiness readiness_{};  ///< readable while bytes wait
  bool opened_ = false;
  bool deaf_ = false, mute_ = false;
  std::string waiting_{};
  std::string sent_{};
  UartSetup setup_{};
  std::function<void(std::string_view)> send_watcher_{};
  std::function<void()> configure_watcher_{};
};

/// The faults of all ports, numbered from 1.
FaultForms uart_fault_forms(std::span<Uart> ports);

}  // namespace boardsim
