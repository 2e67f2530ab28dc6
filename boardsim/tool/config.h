// What the launcher tells the preload library, through one variable of the environment.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "boardsim/board.h"

namespace boardsim {

/// The variable that holds a Config as JSON.
inline constexpr const char* kConfigVariable = "BOARDSIM_CONFIG";
/// What the preload library writes to `report_fd` when the board is in place; anything else is an error text.
inline constexpr const char* kInPlace = "in place\n";
/// Exit status of a program that called what the board does not know, and of a launcher that cannot launch.
inline constexpr int kExitBroken = 70;

/// One simulated board, as the command line describes it.
struct Config {
  std::string board = "normal";
  std::uint32_t type = 0;       ///< device type code, 0 for the family's own
  std::string pace = "scaled";  ///< "scaled", "stepped" or "virtual"
  double speed = 1.0;
  std::string own_address = "127.0.0.1";            ///< loopback address that no other board of this PC has
  std::map<std::string, std::string> interfaces{};  ///< name to address, empty for none
  std::vector<std::string> faults{};
  std::string trace{};    ///< file, empty for none
  std::string control{};  ///< socket, empty for none
  std::string state{};    ///< folder that keeps the board's storage between runs, empty for none
  std::string devinfo{};  ///< folder whose files stand at /devinfo, empty for those of a healthy board
  std::string uart1{};    ///< where /dev/uart1 appears as a serial device of the PC, empty for nowhere
  std::string station{};  ///< script of a station of the board's own time, empty for none
  bool exit_at_reboot = true;
  bool exit_at_violation = true;  ///< else a call that the board does not know only fails
  bool every_address = false;
  int report_fd = -1;

  std::string to_json() const;
  /// Throws std::exception when the text is none of to_json().
  static Config from_json(const std::string& text);
};

/// Gives a board of the family `config.board` its type code, addresses, files and faults. Throws
/// std::invalid_argument with a clear text for an address that is none of 127.0.0.0/8, a folder that cannot
/// be read and a fault that is not understood. Its storage stays as it is.
void set_up_board(Board& board, const Config& config);

/// The address at which stations reach the program on a board that was set up: the one of eth0, of wlan0, or
/// the board's own when the program finds neither and binds all.
std::string service_address(Board& board);

}  // namespace boardsim
