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
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/devices/application.h"
#include "boardsim/devices/general_io.h"
#include "boardsim/devices/ir_filter.h"
#include "boardsim/devices/iris.h"
#include "boardsim/devices/uart.h"
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
  /// cut"
  /// ... `boardsim --fault list`, docs/simulator.md and docs/simulator-devices.md explain all. Throws
  /// std::invalid_argument, which tells what there can be instead, when it is not understood.
  void fault(std::string_view text);
  /// Takes all faults away again; counts start anew.
  void clear_faults();

  // ---- hardware -------------------------------------------------------------------------
  int gpio_level(unsigned pin) const;                         ///< level of a line, 0 or 1
  void set_gpio_level(unsigned pin, int level);               ///< drives an input line from outside
  Direction gpio_direction(unsigned pin) const;               ///< what a line is set up as
  std::uint32_t fpga(std::uint32_t address) const;            ///< FPGA register
  void set_fpga(std::uint32_t address, std::uint32_t value);  ///< as the hardware itself would
  std::uint32_t afe(std::uint32_t address) const;             ///< front-end register behind /dev/tg
  void set_afe(std::uint32_t address, std::uint32_t value);   ///< the same
  std::uint32_t stm8(std::uint32_t address) const;            ///< coprocessor register behind /dev/tcs
  void set_stm8(std::uint32_t address, std::uint32_t value);  ///< the same
  using Pwm = boardsim::Pwm;                                  ///< setting of a PWM channel
  Pwm pwm(std::int32_t channel) const;                        ///< the channel's setting
  std::uint32_t led(std::uint32_t index) const;               ///< state last written
  /// Puts /proc/debug/tempN with the given content in place; a healthy board has only temp1, "45500\n".
  void set_sensor(int number, std::string content);
  /// Takes every /proc/debug/tempN away, temp1 too.
  void remove_sensors();
  /// The clock answers these seconds, one a read, then goes on with the last ("rtc seconds ..." as a call).
  void set_rtc_seconds(std::vector<int> seconds);

  // ---- alarm lines and their jig -----------------------------------------------------------
  bool test_control() const;  ///< whether I/O test control (/dev/qznitc) is on
  /// What /dev/alarm was last set to, one bit an alarm output from bit 0 on.
  std::uint32_t alarm_state() const;
  /// Whether the program drives an output of the jig in place, "F1" ... (its coil, not its contacts: a dead
  /// output counts as driven). Throws std::invalid_argument for an output that this jig lacks.
  bool output_driven(std::string_view output) const;
  /// Level, 0 or 1, that the program reads on an input of the jig in place: "T1" ... "SYNC". Throws
  /// std::invalid_argument for an input that this jig lacks.
  int input_level(std::string_view input) const;
  /// Name of the jig in place, as in docs/simulator-devices.md: "5in3out", "8in9out" ...
  std::string_view jig() const;
  /// Plugs a jig in and leaves it there ("jig NAME" as a call). "auto", as after switching on, goes by what
  /// the program drives while test control is on. Throws std::invalid_argument for a jig that does not fit
  /// this board.
  void set_jig(std::string_view name);

  // ---- IR-cut filter ----------------------------------------------------------------------
  using Filter = IrFilter::Side;  ///< where the filter stands: unset, day or night
  /// Where the electromagnetic filter (lines 86 to 88) or the board's shell commands put it last.
  Filter filter() const;
  /// Where the stepped motor of lines 110, 111 and 113 stands, in quarters of a step from its home stop.
  int stepper_position() const;
  unsigned motor_moves() const;        ///< number of moves that /dev/motor carried out
  std::uint32_t motor_travel() const;  ///< argument of the last of them, 0 before

  // ---- factory data --------------------------------------------------------------------------
  /// `size` bytes of the flash partition (/dev/mtd4, 22 erase blocks of 0x10000 bytes) from `offset` on. A
  /// partition that was never written is all ones; erasing makes ones, writing makes zeros.
  std::vector<std::uint8_t> flash(std::size_t offset, std::size_t size) const;
  void set_flash(std::size_t offset, std::span<const std::uint8_t> bytes);
  /// The same of the eMMC partition (/dev/mmcblk0p7, 0x40000 bytes). It comes from the factory with valid
  /// records: dead pixels at 0, flat field at 0x10000, timing generator at 0x20000, substrate voltage at
  /// 0x30000. Throws std::out_of_range, as flash() does.
  std::vector<std::uint8_t> emmc(std::size_t offset, std::size_t size) const;
  void set_emmc(std::size_t offset, std::span<const std::uint8_t> bytes);
  /// Number of erase requests that each of the 22 flash blocks has taken.
  unsigned flash_erasures(std::size_t block) const;
  /// Keeps both partitions in the files "mtd4" and "mmcblk0p7" of a folder: takes over what is there, and
  /// writes through from now on. Throws std::runtime_error when the folder cannot be used.
  void keep_media_in(const std::string& folder);
  /// Puts a file of the board's own file system in place, "/devinfo/TG.bin" for one; its content in bytes. A
  /// healthy board has /devinfo/TG.bin with sections for its own model and others. Throws
  /// std::invalid_argument for a path that is not below /devinfo.
  void set_file(std::string_view path, std::string content);
  /// Takes such a file away; nothing happens when there is none.
  void remove_file(std::string_view path);

  // ---- storage media below /mnt ------------------------------------------------------------------
  /// What is mounted, in the order of mounting: "/dev/msb1 on /mnt/test".
  std::vector<std::string> mounts() const;
  /// The folders that the program has made below /mnt and not removed again.
  std::vector<std::string> folders() const;
  /// What is stored in a file of the medium behind a node ("/dev/mmc01", "/dev/mmc11", "/dev/msbd1",
  /// "/dev/msb1"), mounted or not. Throws std::invalid_argument for another node, or a file that is not
  /// there.
  std::string medium_file(std::string_view node, std::string_view name) const;
  /// How many megabytes the medium holds, and how many of them are free now; an empty one of 4096 MB after
  /// switching on. Throws std::invalid_argument for another node, and when its files leave no such room.
  void set_medium_space(std::string_view node, double size_mb, double free_mb);

  // ---- serial lines ----------------------------------------------------------------------------
  using UartSetup = boardsim::UartSetup;  ///< baud rate, data, stop, parity, flowcontrol
  UartSetup uart(unsigned number) const;  ///< the setting of /dev/uartN
  /// Bytes arrive at the receiver of a UART now (with at(): later), as if its line were driven from outside.
  void uart_receives(unsigned number, std::string_view bytes);
  /// All bytes that the program has sent on a UART and that left the board.
  std::string uart_sent(unsigned number) const;
  /// Name of the RS485 fixture that wires the UARTs to one another: "ring5", "ring3", "ring2", "self" (port 1
  /// to itself), "partner" (port 1 to a device that plays the station's part of the echo test), "terminal"
  /// (port 1 to a serial device of the PC), "none".
  std::string_view rs485_fixture() const;
  /// Plugs a fixture in and leaves it there ("rs485 fixture NAME" as a call). "auto", as after switching on,
  /// goes by what the RS485 test of the board needs. Throws std::invalid_argument for any other name.
  void set_rs485_fixture(std::string_view name);
  /// The far end of the terminal /dev/ttyS1 (the controlling side of a pseudo-terminal of this PC, set not to
  /// block): what is written there arrives at the board, what the board sends is read from it.
  int terminal();

  // ---- the camera's main application, 127.0.0.1 port 7001 -----------------------------------------
  using AppReply = Application::Reply;  ///< one thing that it sends back
  /// Scripts the answer to a command: the replies, then the connection is closed; with `closes` false it
  /// stays open for ever. Without a script the application answers as a healthy one (see
  /// docs/simulator-devices.md), and a command that it does not know is a violation.
  void set_app_answer(std::uint32_t command, std::vector<AppReply> replies, bool closes = true);
  using AppCommand = Application::Command;       ///< one command as it read it
  std::vector<AppCommand> app_commands() const;  ///< all of them, in their order

  // ---- optics ----------------------------------------------------------------------------------
  using Iris = boardsim::Iris::State;  ///< unset, closed or open
  Iris iris() const;                   ///< where it stands now
  /// Where the focus motor stands: steps from its limit switch on line 7, which reads 1 at 0.
  int focus_position() const;
  void set_focus_position(int steps);
  /// The substrate-voltage code that the hardware was given last, 0 before: FPGA 0x2001 taken over by a write
  /// of 1 to 0x2102, or the 65xx request. FPGA 0xB0 reads a luma that falls as the code rises.
  std::uint32_t vsub() const;

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
