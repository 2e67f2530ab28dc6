// The exit codes of boardrec, and what ends it with one of them.
#pragma once

#include <stdexcept>

namespace boardrec {

namespace exit_code {
inline constexpr int kDone = 0;
inline constexpr int kDiffers = 1;
inline constexpr int kDamaged = 2;  // a recording is damaged behind what was used of it
inline constexpr int kUsage = 64;
inline constexpr int kUnreadable = 65;  // no recording, or none that can be read
inline constexpr int kUnwritten = 73;   // a file or standard output cannot be written
}  // namespace exit_code

/// A file that cannot be written; what() is one line and names it.
class Unwritable : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A word of the command line that makes no sense for this recording.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace boardrec
