// The RS485 lines between the board's serial ports and the fixture: what a port sends arrives where the
// fixture's wires lead, in its time and with the faults of the line.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "boardsim/jigs/rs485_fixtures.h"
#include "boardsim/jigs/rs485_partner.h"
#include "boardsim/kernel/fault_forms.h"
#include "boardsim/kernel/time.h"

namespace boardsim {

/// How the lines see the board that is plugged into the fixture. Called with the board's lock held.
struct Rs485Board {
  std::function<Time()> now;                                           ///< virtual time
  Rs485Partner::After after;                                           ///< runs an event later
  std::function<const Hardware&()> hardware;                           ///< what it has
  std::function<int(unsigned port)> rate;                              ///< bits per second as configured
  std::function<void(unsigned port, std::string_view bytes)> receive;  ///< bytes arrive at a port
};

/// A byte takes ten bits of its sender's rate; blocks that a port sends follow one another, and each arrives
/// whole when its last bit is through. A receiver with another rate hears something else. A port that was not
/// configured is not on the line. What a terminal sends is not disturbed. A fixture that is plugged in stays.
class Rs485Lines {
 public:
  using Terminal = std::function<void(std::string_view bytes)>;

  explicit Rs485Lines(Rs485Board board);
  Rs485Lines(const Rs485Lines&) = delete;
  Rs485Lines& operator=(const Rs485Lines&) = delete;

  /// The program has configured a port.
  void port_configured(unsigned port);
  /// A port has sent bytes.
  void port_sent(unsigned port, std::string_view bytes);

  /// The fixture in place.
  const Rs485Fixture& fixture() const;
  /// Plugs one in, or with "auto" the one that the board's test needs. Throws std::invalid_argument.
  void set_fixture(std::string_view name);
  /// Whether somebody has plugged one in.
  bool is_fixture_chosen() const { return plugged_ != nullptr; }
  /// Takes the bytes that port 1 sends while the fixture is "terminal".
  void set_terminal(Terminal terminal) { terminal_ = std::move(terminal); }
  /// Bytes come from the terminal: they are at port 1 at once. For any thread.
  void terminal_sent(std::string_view bytes);

  FaultForms fault_forms();
  void clear_faults();

 private:
  /// What leaves one port, or the fixture's device.
  struct Sender {
    Time free_from{};                           ///< when the last bit of the block before is through
    std::uint64_t sent = 0;                     ///< bytes so far
    std::set<std::uint64_t> flipped{}, lost{};  ///< numbers of bytes, the first ever sent is 1
    Time late{};                                ///< added to the time of each block
  };

  void send(unsigned from, std::string_view bytes, int rate);
  void arrive(unsigned to, std::string_view bytes, int rate);
  std::string damaged(Sender& sender, std::string_view bytes) const;

  Rs485Board board_;
  Rs485Partner partner_;
  Terminal terminal_{};
  const Rs485Fixture* plugged_ = nullptr;  ///< null: the one that the board's test needs
  std::array<Sender, kRs485Ports + 1> senders_{};
  std::set<std::pair<unsigned, unsigned>> cut_{};
};

}  // namespace boardsim
