// Everything that one simulated board is made of.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/board/call_faults.h"
#include "boardsim/board/descriptors.h"
#include "boardsim/board/hardware.h"
#include "boardsim/kernel/clock.h"
#include "boardsim/kernel/lock.h"
#include "boardsim/kernel/trace.h"

namespace boardsim {

/// How a board behaves towards the process that it lives in; the launcher sets it.
struct ProcessRules {
  std::function<void()> after_violation{};  ///< with the board's lock held
  std::function<void()> after_reboot{};     ///< with the board's lock held
  bool every_address = false;               ///< a program may bind to all addresses of the PC
  std::string own_address = "127.0.0.1";    ///< what it gets instead when it asks for all of them
  bool loopback_only = false;               ///< interfaces have addresses of 127.0.0.0/8 only
};

/// What boardsim/calls/ works on.
struct BoardState {
  BoardState(const Family& family, Pace pace, double speed);

  /// Runs an event with the lock held when `span` of virtual time has passed. For program threads and events:
  /// from others it must not be called with the lock held.
  void after(Time span, std::function<void()> event);
  void fault(std::string_view text);
  /// The faults of interfaces and devices.
  const FaultForms& fault_forms() BOARDSIM_LOCKS(requires_capability(mutex));
  /// All faults, those of calls too.
  std::vector<FaultLine> fault_list();
  void clear_faults();
  /// Reports what the board does not know.
  void violation(const std::string& text) BOARDSIM_LOCKS(requires_capability(mutex));
  /// Lets the application look at its connections after a call on a socket of that name.
  void serve_application(std::string_view socket_name) BOARDSIM_LOCKS(requires_capability(mutex));
  /// Name of a socket in the trace.
  std::string name_of(int fd) BOARDSIM_LOCKS(requires_capability(mutex));
  /// Address of an interface as a program finds it now; empty when it has none.
  std::string address_of(std::string_view interface) const BOARDSIM_LOCKS(requires_capability(mutex));
  /// Throws std::invalid_argument for what cannot be an interface's address here.
  void check_address(std::string_view address) const BOARDSIM_LOCKS(requires_capability(mutex));
  void set_interface(std::string_view name, std::string_view address)
      BOARDSIM_LOCKS(requires_capability(mutex));

  Clock clock;
  std::shared_ptr<ProgramThread> main_thread{};  ///< the record of the thread that made the board
  mutable Mutex mutex;
  Devices devices BOARDSIM_LOCKS(guarded_by(mutex));
  Descriptors descriptors BOARDSIM_LOCKS(guarded_by(mutex)){};
  Trace trace BOARDSIM_LOCKS(guarded_by(mutex)){};
  CallFaults call_faults BOARDSIM_LOCKS(guarded_by(mutex)){};
  FaultForms forms
      BOARDSIM_LOCKS(guarded_by(mutex)){};  ///< what fault_forms() returns, made when it is first asked
  std::uint32_t type_of_forms BOARDSIM_LOCKS(
      guarded_by(mutex)){};  ///< the board's device type code then: terminals and jigs go by it
  ProcessRules process_rules BOARDSIM_LOCKS(guarded_by(mutex)){};
  std::map<std::string, std::string, std::less<>> interfaces BOARDSIM_LOCKS(guarded_by(mutex)){
      {"eth0", "127.0.0.1"}};
  std::map<std::string, std::string, std::less<>> interface_faults BOARDSIM_LOCKS(guarded_by(mutex)){};
  /// By node and number: how long a request of ioctl(2) takes there, or a read or write, where one takes a
  /// while.
  static constexpr std::uint32_t kReading = 1, kWriting = 0;  ///< numbers that no request has
  std::map<std::pair<std::string, std::uint32_t>, Time> durations BOARDSIM_LOCKS(guarded_by(mutex)){};
  bool select_counts_down BOARDSIM_LOCKS(guarded_by(mutex)) = true;
  std::vector<std::string> violations BOARDSIM_LOCKS(guarded_by(mutex)){};
  std::vector<std::uint32_t> reboots BOARDSIM_LOCKS(guarded_by(mutex)){};
};

}  // namespace boardsim
