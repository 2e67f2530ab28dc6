// What the launcher tells the preload library, through one variable of the environment.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

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
  std::map<std::string, std::string> interfaces{};  ///< name to address, empty for none
  std::vector<std::string> faults{};
  std::string trace{};    ///< file, empty for none
  std::string control{};  ///< socket, empty for none
  bool exit_at_reboot = true;
  bool every_address = false;
  int report_fd = -1;

  std::string to_json() const;
  /// Throws std::exception when the text is none of to_json().
  static Config from_json(const std::string& text);
};

}  // namespace boardsim
