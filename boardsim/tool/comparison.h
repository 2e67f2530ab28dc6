// A simulated board beside a recorded one.
#pragma once

#include <string>

#include "boardrec/session/recording.h"
#include "boardsim/tool/options.h"

namespace boardsim {

/// Sets the board to that of the recording, by the type code and the number of alarm outputs of its boot
/// block. Throws std::invalid_argument when there is none in it. What is not certain is said on standard
/// error.
void take_recorded_board(Options& options, const boardrec::Recording& recording);

/// A folder of a run's own, gone with this object.
class OwnFolder {
 public:
  /// Throws std::runtime_error when none can be made.
  OwnFolder();
  ~OwnFolder();
  OwnFolder(const OwnFolder&) = delete;
  OwnFolder& operator=(const OwnFolder&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

/// A recording whose session is run again on a simulated board. Its own files are gone with it.
class ComparedSession {
 public:
  /// Reads the recording and sets up the options of the run: what the station does, where the run is
  /// recorded, and a copy of the board's folder, which stays as it is. Throws std::runtime_error and its like
  /// with a clear text.
  explicit ComparedSession(Options& options);

  /// Prints how the run, which has ended, compares. The launcher's exit status: 0, or 1 when something
  /// differs.
  int report(const Options& options) const;
  const boardrec::Recording& recording() const { return recording_; }

 private:
  boardrec::Recording recording_;
  OwnFolder folder_{};
};

}  // namespace boardsim
