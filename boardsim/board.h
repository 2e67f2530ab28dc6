// The simulated board: what stands behind the program's system calls on a PC.
//
// A test makes one Board; while it lives, every open, ioctl, read, select, sleep ... of the
// process that concerns the board is answered by it, in virtual time. The launcher
// (boardsim/tool) makes the same Board inside an unmodified program.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/board/access.h"
#include "boardsim/families/families.h"
#include "boardsim/kernel/call.h"
#include "boardsim/kernel/time.h"

namespace boardsim {

struct BoardState;

/// A board of one family, healthy until a fault is laid over it. Only one exists at a time. The thread that
/// makes it is the program's first, and switches it off again. All other members may be called from any
/// thread and from the events of at(), except that advance() and settle() are not for events, which run
/// inside them, and that boot_block() hands out memory that nothing guards.
class Board {
 public:
  /// Switches on a board of the named family; `speed` counts for Pace::scaled only. Throws
  /// std::invalid_argument for a name that families() lacks, std::logic_error while there is another board.
  explicit Board(std::string_view family = "normal", Pace pace = Pace::virtual_time, double speed = 1.0);
  ~Board();
  Board(const Board&) = delete;
  Board& operator=(const Board&) = delete;

  /// The board that answers now, or null.
  static Board* current();

  // ---- identity -------------------------------------------------------------------------
  /// Writes a composite device type code into the boot block (high half at 28, low half at 100).
  void set_type(std::uint32_t code);
  /// Writes the number of alarm outputs into the boot block (offset 90).
  void set_alarm_outputs(std::uint8_t count);
  /// The 256 bytes that the boot block request copies out. Not guarded: for the time before the program's
  /// other threads run.
  std::array<std::uint8_t, 256>& boot_block();

  // ---- time -----------------------------------------------------------------------------
  /// Virtual time now.
  Time now() const;
  /// Runs `event` when virtual time reaches `when` (at once, inside the next wait, when that has passed).
  /// In this way a test plays what happens on its own: bytes that arrive, a peer that closes, a wire that
  /// breaks.
  void at(Time when, std::function<void()> event);
  /// Pace::stepped only: lets `span` of virtual time pass, waking every waiting thread at its due time and
  /// letting it run until it waits again. Returns false when the program does not come to rest within
  /// 30 s of the PC's time.
  bool advance(Time span);
  /// Waits (in real time, at most 30 s) until every thread of the program waits and no socket it waits for is
  /// ready.
  bool settle();

  // ---- faults ---------------------------------------------------------------------------
  /// Lays a named fault over the board: "open /dev/rtc #2 EBUSY", "recv #2 short 1", "rtc stopped", "wire T2
  /// cut". `boardsim --fault list`, docs/simulator.md and docs/simulator-devices.md explain all of them.
  /// Throws std::invalid_argument, which says what is possible instead, for a text that is not understood.
  void fault(std::string_view text);
  /// Takes all faults away again; counts start anew.
  void clear_faults();

  // ---- devices --------------------------------------------------------------------------
  /// The board's devices, as boardsim/board/hardware.h lists them, and what hangs on them:
  /// `board->fpga.reg(0xB0)`, `board->uart(1).receive("...")`. Locked to the end of the expression, in which
  /// the program must not run.
  LockedDevices operator->() const;

  // ---- network --------------------------------------------------------------------------
  /// What SIOCGIFADDR answers for an interface ("eth0", "wlan0"); an empty address removes it. Throws
  /// std::invalid_argument for what is no IPv4 address.
  /// A healthy board has eth0 at 127.0.0.1 and no wlan0.
  void set_interface(std::string_view name, std::string_view address);
  /// Whether select writes the time that is left into its time-out (Linux does; default true).
  void set_select_counts_down(bool yes);

  // ---- what happened --------------------------------------------------------------------
  /// Every call since the board was switched on or clear_trace() was called.
  std::vector<Call> trace() const;
  /// text() of the calls, without those on sockets (station, select, network calls), clocks (sleeps too: they
  /// show in the times) and threads: what the hardware saw.
  std::vector<std::string> hardware_trace() const;
  /// timed_text() of the same calls.
  std::vector<std::string> timed_hardware_trace() const;
  /// Forgets the calls made so far; virtual time and open nodes stay as they are.
  void clear_trace();
  /// Nodes that are open now, in the order of opening, one entry a descriptor.
  std::vector<std::string> open_nodes() const;
  /// The argument of each reboot call. None is ever performed.
  std::vector<std::uint32_t> reboots() const;
  /// Calls that the board did not know (unknown node, request, file, program call); each also went to
  /// standard error when it happened. Anything here fails the test.
  std::vector<std::string> violations() const;
  /// For tests of the violations themselves.
  void clear_violations();
  /// Number of program threads alive besides the one that made the board.
  int live_threads() const;

  BoardState& state() { return *state_; }  ///< internal to boardsim/

 private:
  std::shared_ptr<BoardState> state_;  ///< threads of the program that outlive the board keep it alive
};

}  // namespace boardsim
