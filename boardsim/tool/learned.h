// What a recording told of a real board, kept beside a board's storage: a simulated one that starts from
// there is like it.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "boardsim/board.h"

namespace boardsim {

/// All that can be taken over. What a recording never touched is not there, and stays as on a healthy board.
struct Learned {
  /// Of a medium, megabytes.
  struct Space {
    double size = 0, free = 0;
  };
  /// What the application sends back, microseconds behind the command or the reply before.
  struct Reply {
    std::int64_t after = 0;
    std::string bytes{};
  };
  struct Answer {
    std::uint32_t command = 0;
    std::uint32_t value = 0;  ///< that the command came with: the reply echoes it
    std::vector<Reply> replies{};
    bool closes = true;
  };
  using Registers = std::map<std::uint32_t, std::uint32_t>;
  using Durations = std::map<std::uint32_t, std::int64_t>;

  std::string boot_block{};                      ///< 256 bytes; empty when it was not read
  std::map<std::string, Registers> registers{};  ///< by node: values before the program wrote there
  std::map<std::string, std::string> files{};    ///< by path: below /devinfo, sensors
  std::map<std::string, Space> media{};          ///< by node
  std::map<std::string, Durations>
      blocks{};  ///< by medium's node: microseconds of a write (0) and a read (1)
  std::map<std::string, Durations>
      requests{};  ///< by node and request, or read (1) and write (0): microseconds, where one took a while
  std::vector<Answer> application{};

  /// The device type code of the boot block; nothing without one.
  std::optional<std::uint32_t> type() const;
};

/// Reads what is kept in a folder; nothing when the folder has none. Throws std::runtime_error for a file
/// that cannot be read or is none.
std::optional<Learned> read_learned(const std::string& folder);
/// Writes it there. Throws std::runtime_error.
void write_learned(const std::string& folder, const Learned& learned);
/// Makes a board that has just been switched on what was learned.
void make_like(Board& board, const Learned& learned);

}  // namespace boardsim
