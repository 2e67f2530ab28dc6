// What the line knows of one slot, for the files of this room.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "station/line/check_state.h"
#include "station/line/line.h"
#include "station/line/plan_set.h"
#include "station/line/slot_run.h"

namespace t1station {

/// All of it is guarded by the line's lock.
struct SlotCell {
  SlotFile file;
  PlanSet plans;
  std::string lock_reason;           ///< a person's or a check's; empty: not locked by either
  std::string taken_by;              ///< a unit that was scanned, until its run is stored
  std::optional<ShownRun> shown;     ///< the unit that is in it
  std::uint64_t passed_as = 0;       ///< place among the passes that slots show, from 1
  std::shared_ptr<SlotRun> running;  ///< null when no unit is being tested
  std::optional<CheckState> checks;  ///< nothing where the line has no point check
  std::thread thread;                ///< of the last run
};

/// Whether a unit is being tested, or about to be.
bool is_busy(const SlotCell& cell);
/// Whether its verdict has to be acknowledged before another unit.
bool waits_for_acknowledgement(const SlotCell& cell);
/// Whether it shows a pass, which gives way to the next unit.
bool shows_a_pass(const SlotCell& cell);
/// Why no unit may be tested here, whatever the slot shows; empty: none of these reasons.
std::string lock_of(const SlotCell& cell);
/// What a slot shows of a run that ended before the station started.
ShownRun shown_again(const StoredRun& run, const PlanSet& plans);

}  // namespace t1station
