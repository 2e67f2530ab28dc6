// The records of a station, one SQLite file: what is said here is on the disk when the call returns.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "station/plan/measure.h"
#include "station/plan/plan.h"

namespace t1station {

/// The file is not what it should be, belongs to another process, or is of another version; or the unit may
/// not be run: nothing was changed.
class RecordsRefused : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The file belongs to another process, which writes it.
class RecordsOwned : public RecordsRefused {
 public:
  using RecordsRefused::RecordsRefused;
};

/// Storing failed, or the file cannot be written at all: nothing more may be started or shown, and the file
/// must be opened anew before it is written again.
class RecordsBroken : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// How an attempt ended.
enum class AttemptOutcome { passed, failed, timed_out, broken, stopped, interrupted };
std::string_view attempt_outcome_name(AttemptOutcome outcome);

/// How a run ended.
enum class Verdict { passed, failed, error, stopped, interrupted };
std::string_view verdict_name(Verdict verdict);
/// The verdict of that name; nothing when there is none.
std::optional<Verdict> verdict_named(std::string_view name);
/// The names of all verdicts.
std::span<const std::string_view> verdict_names();

/// What is known of a run when its unit is scanned.
struct NewRun {
  std::string serial;
  std::string kind = "production";  ///< or "check"
  std::string station, slot;
  std::string operator_name;  ///< empty: nobody said
  std::string software;       ///< name and version of this program
  std::string started{};      ///< as record_time() writes; empty: now
};

/// What is known of an attempt before its request is sent.
struct NewAttempt {
  std::string run{};         ///< the run's id
  std::string connection{};  ///< id of the connection that it goes over; empty when none could be made
  std::string step{};
  std::size_t step_index = 0;  ///< from 0
  int number = 1;              ///< from 1
  std::int32_t code = 0;
  std::optional<std::int32_t> parameter;
  std::string request{};  ///< bytes as they go over the wire, without length
};

/// What came of an attempt.
struct AttemptEnd {
  AttemptOutcome outcome = AttemptOutcome::broken;
  double seconds = 0;  ///< from the request to the reply, or to giving up
  std::string board_name, description;
  std::string reply;  ///< bytes as they came over the wire, without length, as far as they came
  std::optional<std::string> console;  ///< bytes; nothing without one
  std::string answer;                  ///< "yes", "no", or empty
  std::vector<Measurement> measurements;
};

/// Why a run is over, as far as its attempts do not say so.
struct RunEnd {
  enum class Why {
    steps_done,  ///< nothing is left to run
    stopped,     ///< by a person, or the station was shut down
    error,       ///< the board could not be reached, its build is not the plan's or changed
  };
  Why why = Why::steps_done;
  std::string reason;  ///< for people; empty: found from the attempts
  double seconds = 0;  ///< that the run took
};

/// An ended run as its end was stored.
struct EndedRun {
  Verdict verdict = Verdict::error;
  std::string reason;
  bool retried = false;
  std::int64_t sequence = 0;
  std::string hash;
  std::optional<double> seconds{};  ///< that it took; nothing when that is not known
};

/// A time as records write it: UTC, "2026-11-22T03:17:12.345Z".
std::string record_time(std::chrono::system_clock::time_point time);
/// The same of this moment.
std::string record_time();

/// The one writer of a file, for one or several threads. All members throw RecordsBroken when storing fails;
/// after that every call does, and nothing is tried again. A call in the wrong order (an end of what has
/// ended, an unknown id) is such a failure too.
class Records {
 public:
  /// Opens a file, or makes it. Runs without an end get one, `interrupted`, and so do their attempts. `vfs`
  /// names the part of SQLite that speaks with the system; empty: the usual one. Throws RecordsRefused: the
  /// file is of another application, of a newer version, of another process (it says which), damaged, or on a
  /// file system whose locks or syncs cannot be trusted. Throws RecordsBroken when it cannot be written:
  /// read-only, the disk is full.
  explicit Records(const std::string& file, const std::string& vfs = {});
  /// Stores that the station ended, and closes the file.
  ~Records();
  Records(const Records&) = delete;
  Records& operator=(const Records&) = delete;

  /// Stores the plan, when it is new, and the run. Throws RecordsRefused, with the reason, for a unit that is
  /// in a run now and for one with max_runs behind it; that refusal is an event. Returns the run's id.
  std::string begin_run(const NewRun& run, const Plan& plan);
  /// A connection of the run came about: its board (HOST:PORT) and the build line that greeted it. Returns
  /// the connection's id.
  std::string add_connection(std::string_view run, std::string_view board, std::string_view build);
  /// Returns the attempt's id; its request may be sent then.
  std::string begin_attempt(const NewAttempt& attempt);
  /// Its result may be shown then.
  void end_attempt(std::string_view attempt, const AttemptEnd& end);
  /// Finds the verdict from what is stored, closes the run and chains it. Attempts without an end become
  /// broken.
  EndedRun end_run(std::string_view run, const RunEnd& end);
  /// `detail` is JSON text or empty; its "serial", if it has one, is what events of a unit are found by.
  void add_event(std::string_view kind, std::string_view slot, std::string_view run,
                 std::string_view operator_name, std::string_view detail);
  /// Lets a unit with max_runs behind it run again; its runs count from zero. Throws RecordsRefused for a
  /// unit that has never been run.
  void release(std::string_view serial, std::string_view reason, std::string_view operator_name);
  /// Stores nothing; throws when nothing can be stored, as far as that shows without storing.
  void look();
  /// These runs are in the central database. What was said before is not stored again.
  void mark_forwarded(const std::vector<std::string>& runs);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace t1station
