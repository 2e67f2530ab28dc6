// The line: slots that take units, test them side by side and show what came of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "station/central/central_state.h"
#include "station/line/line_file.h"
#include "station/link/clock.h"
#include "station/plan/measure.h"
#include "station/plan/plan.h"
#include "station/records/reader.h"
#include "station/records/records.h"

namespace t1station {

/// What a slot is doing.
enum class SlotState {
  idle,     ///< takes a unit
  waiting,  ///< a unit was scanned, its board has not greeted yet
  testing,
  done,   ///< the verdict is shown
  locked  ///< takes no unit, for a reason
};
/// "idle", "waiting", "testing", "done", "locked".
std::string_view slot_state_name(SlotState state);

/// A step of a run whose last attempt did not pass.
struct StepFailure {
  std::string step, outcome, description;
  int attempt = 0;   ///< number of that attempt, from 1; 0: the board could not be reached for it
  int attempts = 1;  ///< how many the plan allows
  std::vector<Measurement> measurements;
  bool operator==(const StepFailure& other) const = default;
};

/// The run that a slot shows. All of it is stored.
struct RunView {
  std::string id, serial, started;
  std::optional<double> seconds;   ///< that it took; nothing while it runs, or when that is not known
  std::optional<Verdict> verdict;  ///< nothing while it runs
  bool retried = false;
  std::string step;       ///< the one that runs, or the last
  std::size_t index = 0;  ///< of that step, from 0
  std::size_t total = 0;  ///< steps of the plan
  int attempt = 0;        ///< of that step, from 1; 0 before the first
  std::optional<Question> question;
  std::vector<StepFailure> failures;
  std::string reason;  ///< of the verdict; empty while it runs
  bool operator==(const RunView& other) const = default;
};

/// A slot as everybody may see it.
struct SlotView {
  std::string name;
  SlotState state = SlotState::idle;
  bool is_next = false;     ///< the next scan goes here
  bool has_answer = false;  ///< a scanned answer goes here
  std::string reason;       ///< why it is locked or waits, or of its verdict; empty when there is none
  std::string plan_name, plan_version;  ///< of the run, else of its first plan; empty when that is bad
  std::optional<RunView> run;
  bool operator==(const SlotView& other) const = default;
};

/// The whole line as everybody may see it.
struct LineView {
  std::string station, language;
  std::string records = "ok";  ///< or what is wrong with them
  CentralState central;
  std::string mqtt = "off";     ///< or "connected", or "waiting": the broker is out of reach, or refuses
  RunCounts today;              ///< of the PC's day
  std::vector<SlotView> slots;  ///< in the file's order
};

/// Where a scan went.
struct ScanTaken {
  std::string slot;
  std::string run;  ///< id; empty where the scan began none
};

/// What was asked for is not done. what() is the reason, for people.
class LineRefusal : public std::runtime_error {
 public:
  enum class Why {
    malformed,    ///< it makes no sense
    unknown,      ///< there is no such slot or unit
    refused,      ///< not now, or not this unit
    cannot_store  ///< the records cannot be written
  };
  LineRefusal(Why why, const std::string& reason) : std::runtime_error(reason), why_(why) {}
  Why why() const { return why_; }

 private:
  Why why_;
};

/// All slots of a station. Its members may be called from any thread; they store before they return, and
/// throw LineRefusal. `operator_name` is who asked, empty when nobody said.
class Line {
 public:
  /// Takes up what the records say of each slot: verdicts that nobody has acknowledged, locks, checks.
  /// `changed` is called, from any thread and under no lock, whenever view() has changed. All of it must
  /// outlive the line. `clock` says how long ago a slot was named; `log` is called with one line for each
  /// thing that happens. Throws RecordsBroken.
  Line(const LineFile& file, Records& records, std::function<void()> changed,
       const Clock& clock = steady_clock(), std::function<void(const std::string&)> log = {});
  /// Ends all runs, as shut_down() does, and waits for them.
  ~Line();
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;

  LineView view() const;
  /// A scanned serial number, `slot:NAME`, `answer:yes` or `answer:no`. `slot` names a slot for this scan.
  ScanTaken scan(std::string_view text, const std::optional<std::string>& slot,
                 const std::string& operator_name);
  /// Ends the slot's run as a person's Ctrl-C does.
  void stop(std::string_view slot, const std::string& operator_name);
  /// The slot's verdict has been seen.
  void acknowledge(std::string_view slot, const std::string& operator_name);
  /// Answers the slot's question.
  void answer(std::string_view slot, bool yes, const std::string& operator_name);
  /// The slot takes no unit from now on; a run goes on to its end.
  void lock(std::string_view slot, const std::string& reason, const std::string& operator_name);
  void unlock(std::string_view slot, const std::string& reason, const std::string& operator_name);
  /// As Records::release().
  void release(const std::string& serial, const std::string& reason, const std::string& operator_name);
  /// Someone's doing that is to be kept as an event, for example a login; `detail` is JSON or empty.
  void note(std::string_view kind, std::string_view operator_name, std::string_view detail);
  /// From now on the central database is shown like that.
  void show_central(const CentralState& state);
  /// The same of the MQTT broker.
  void show_mqtt(const std::string& state);

  /// No unit is taken any more; runs end as stopped, "the station was shut down". Steps with `always` have
  /// about three seconds. Returns whether all runs ended within four and a half seconds.
  bool shut_down();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace t1station
