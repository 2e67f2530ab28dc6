// Scans, stops, acknowledgements, answers, locks: each is stored before it counts.
#include <algorithm>
#include <utility>

#include "station/line/line_state.h"
#include "station/text/json.h"
#include "station/text/software.h"
#include "station/text/text.h"

namespace t1station {
namespace {

constexpr const char* kByAPerson = "stopped by a person";

[[noreturn]] void refuse_plainly(const std::string& reason) {
  throw LineRefusal(LineRefusal::Why::refused, reason);
}

void expect_reason(const std::string& reason) {
  if (without_blanks_around(reason).empty())
    throw LineRefusal(LineRefusal::Why::malformed, "a reason is needed");
}

}  // namespace

void Line::State::refuse(const std::string& slot, const std::string& text, const std::string& reason,
                         const std::string& operator_name) {
  store([&](Records& to) {
    to.add_event("refused", slot, {}, operator_name, json_text({{"serial", text}, {"reason", reason}}));
  });
  say((slot.empty() ? "" : "slot " + slot + ": ") + "refused: " + reason);
  changed();
  refuse_plainly(reason);
}

// Scans are taken as long as the station is not shut down and its records can be written.
void Line::State::expect_open() const {
  if (!trouble.empty()) throw LineRefusal(LineRefusal::Why::cannot_store, trouble);
  if (is_closing) refuse_plainly("the station is being shut down");
}

ScanTaken Line::State::name_slot(const std::string& name, const std::string& text,
                                 const std::string& operator_name) {
  bool is_known = false;
  {
    const std::lock_guard lock(mutex);
    expect_open();
    is_known = find(name) != nullptr;
    named = is_known ? name : std::string();
    named_at = clock.now();
  }
  if (!is_known) refuse({}, text, "there is no slot " + clean_text(name), operator_name);
  changed();
  return {name, {}};
}

ScanTaken Line::State::scan_answer(bool yes, const std::string& operator_name) {
  std::string slot;
  {
    const std::lock_guard lock(mutex);
    if (const SlotCell* asking = asking_cell()) slot = asking->file.name;
  }
  if (slot.empty()) refuse({}, yes ? "answer:yes" : "answer:no", "no slot asks anything", operator_name);
  answer(slot, yes, operator_name);
  return {slot, {}};
}

// The named slot; for a check unit the first that is due; else the next.
SlotCell* Line::State::slot_for(const std::optional<std::string>& wanted, bool is_check) {
  if (wanted) return find(*wanted);
  if (is_check) {
    for (SlotCell& cell : cells) {
      const bool is_free = !is_busy(cell) && !waits_for_acknowledgement(cell) && lock_of(cell).empty();
      if (is_free && is_due(cell)) return &cell;
    }
  }
  return next_cell();
}

// Why a unit cannot be tested in a slot; empty: it can.
std::string Line::State::reason_against(const SlotCell* cell, const std::optional<std::string>& wanted,
                                        const std::string& serial, bool is_check) {
  for (const SlotCell& other : cells) {
    const bool is_here = other.taken_by == serial || (other.shown && other.shown->run.serial == serial);
    if (is_here) return clean_text(serial) + " is in slot " + other.file.name + " now";
  }
  if (!cell && wanted) return "there is no slot " + clean_text(*wanted);
  if (!cell) {
    const bool is_check_due =
        std::any_of(cells.begin(), cells.end(), [this](const SlotCell& c) { return is_due(c); });
    return is_check_due && !is_check ? "no slot is free: a check is due" : "no slot is free";
  }
  const std::string slot = "slot " + cell->file.name;
  if (is_busy(*cell)) return slot + " is testing another unit";
  if (waits_for_acknowledgement(*cell)) return slot + " shows a verdict that must be acknowledged first";
  if (const std::string lock = lock_of(*cell); !lock.empty()) return slot + " is locked: " + lock;
  if (!is_check && is_due(*cell)) return slot + " takes no unit: " + cell->checks->due_text();
  return {};
}

Line::State::Reserved Line::State::reserve(const std::string& serial, const std::optional<std::string>& slot,
                                           const std::string& operator_name) {
  Reserved reserved{nullptr, is_check_unit(file, serial)};
  std::string reason;
  {
    const std::lock_guard lock(mutex);
    expect_open();
    std::optional<std::string> wanted = slot;
    if (!wanted && is_slot_named()) wanted = named;
    named.clear();  // it holds for one scan, taken or refused
    reserved.cell = slot_for(wanted, reserved.is_check);
    reason = reason_against(reserved.cell, wanted, serial, reserved.is_check);
    if (reason.empty()) reserved.cell->taken_by = serial;
  }
  if (!reason.empty()) {
    refuse(reserved.cell ? reserved.cell->file.name : slot.value_or(""), serial, reason, operator_name);
  }
  return reserved;
}

void Line::State::let_go(SlotCell& cell) {
  {
    const std::lock_guard lock(mutex);
    cell.taken_by.clear();
  }
  ended.notify_all();
  changed();
}

ScanTaken Line::State::scan_unit(const std::string& serial, const std::optional<std::string>& slot,
                                 const std::string& operator_name) {
  const Reserved reserved = reserve(serial, slot, operator_name);
  try {
    return begin(reserved, serial, operator_name);
  } catch (...) {
    let_go(*reserved.cell);
    throw;
  }
}

ScanTaken Line::State::begin(const Reserved& reserved, const std::string& serial,
                             const std::string& operator_name) {
  SlotCell& cell = *reserved.cell;
  const std::string& slot = cell.file.name;
  take_up_plans(cell);
  PlanSet plans;
  {
    const std::lock_guard lock(mutex);
    plans = cell.plans;
  }
  if (!plans.trouble.empty())
    refuse(slot, serial, "slot " + slot + " is locked: " + plans.trouble_text(), operator_name);
  std::shared_ptr<const Plan> plan = plans.plan_for(serial);
  if (!plan && reserved.is_check) plan = plans.plans.front();
  if (!plan)
    refuse(slot, serial, clean_text(serial) + " is no serial number of a plan of slot " + slot,
           operator_name);

  NewRun run;
  run.serial = serial;
  run.kind = reserved.is_check ? "check" : "production";
  run.station = file.station;
  run.slot = slot;
  run.operator_name = operator_name;
  run.software = software();
  run.started = record_time();
  std::string id;
  try {
    store([&](Records& to) { id = to.begin_run(run, *plan); });
  } catch (const RecordsRefused& refused) {  // which has stored why
    refuse_plainly(refused.what());
  }
  start(cell, plan, run, id);
  return {slot, id};
}

void Line::State::start(SlotCell& cell, const std::shared_ptr<const Plan>& plan, const NewRun& run,
                        const std::string& id) {
  ShownRun shown;
  shown.plan_name = plan->name;
  shown.plan_version = plan->version;
  shown.run.id = id;
  shown.run.serial = run.serial;
  shown.run.started = run.started;
  shown.run.total = plan->steps.size();
  const Show show = [this, &cell](const std::function<void(ShownRun&)>& change) {
    {
      const std::lock_guard lock(mutex);
      change(*cell.shown);
    }
    changed();
  };
  const SlotPlace place{cell.file, file.board_wait, file.greeting_wait, file.time_scale};
  auto next = std::make_shared<SlotRun>(place, plan, id, records, show);
  std::thread last;
  {
    const std::lock_guard lock(mutex);
    last = std::move(cell.thread);
    cell.shown = std::move(shown);
    cell.running = next;
    cell.taken_by.clear();
    if (is_closing) next->stop(kShutDown);
    cell.thread = std::thread([this, &cell, next, run] { test(cell, next, run); });
  }
  say("slot " + cell.file.name + ": " + clean_text(run.serial) + " begins " + plan->name + ", run " + id);
  changed();
  if (last.joinable()) last.join();  // it has said its verdict long ago
}

// The slot's own thread.
void Line::State::test(SlotCell& cell, const std::shared_ptr<SlotRun>& run, const NewRun& unit) {
  std::optional<EndedRun> verdict;
  try {
    verdict = run->go();
    judge_check(cell, unit, verdict->verdict);
    count_today();
  } catch (const std::exception& error) {
    break_off(error.what());
  }
  {
    const std::lock_guard lock(mutex);
    cell.running.reset();
    if (!verdict || !trouble.empty()) {
      cell.shown.reset();  // nothing is shown that is not known to be stored
    } else {
      cell.shown->run.verdict = verdict->verdict;
      cell.shown->run.seconds = verdict->seconds;
      cell.shown->run.retried = verdict->retried;
      cell.shown->run.reason = verdict->reason;
      cell.shown->run.question.reset();
      if (verdict->verdict == Verdict::passed) cell.passed_as = ++passes;
    }
  }
  if (verdict)
    say("slot " + cell.file.name + ": " + clean_text(unit.serial) + " " +
        std::string(verdict_name(verdict->verdict)));
  ended.notify_all();
  changed();
}

void Line::State::judge_check(SlotCell& cell, const NewRun& unit, Verdict verdict) {
  if (unit.kind != "check") return;
  std::string wrong, run;
  {
    const std::lock_guard lock(mutex);
    run = cell.shown->run.id;
    if (cell.checks) wrong = cell.checks->add(unit.serial, verdict_name(verdict), record_time());
  }
  if (wrong.empty()) return;
  records.add_event("lock", cell.file.name, run, {}, json_text({{"reason", wrong}}));
  say("slot " + cell.file.name + ": locked: " + wrong);
  const std::lock_guard lock(mutex);
  cell.lock_reason = wrong;
}

void Line::State::stop(std::string_view slot, const std::string& operator_name) {
  std::shared_ptr<SlotRun> run;
  std::string id, serial;
  {
    const std::lock_guard lock(mutex);
    const SlotCell& cell = cell_of(slot);
    if (!cell.running) refuse_plainly("nothing runs in slot " + std::string(slot));
    run = cell.running;
    id = cell.shown->run.id;
    serial = cell.shown->run.serial;
  }
  store([&](Records& to) { to.add_event("stop", slot, id, operator_name, json_text({{"serial", serial}})); });
  say("slot " + std::string(slot) + ": " + clean_text(serial) + " is stopped by a person");
  run->stop(kByAPerson);
}

void Line::State::acknowledge(std::string_view slot, const std::string& operator_name) {
  const std::lock_guard one(one_at_a_time);
  std::string id, serial;
  {
    const std::lock_guard lock(mutex);
    const SlotCell& cell = cell_of(slot);
    if (is_busy(cell) || !cell.shown) refuse_plainly("slot " + std::string(slot) + " shows no verdict");
    id = cell.shown->run.id;
    serial = cell.shown->run.serial;
  }
  store([&](Records& to) {
    to.add_event("acknowledge", slot, id, operator_name, json_text({{"serial", serial}}));
  });
  {
    const std::lock_guard lock(mutex);
    SlotCell& cell = cell_of(slot);
    if (!is_busy(cell) && cell.shown && cell.shown->run.id == id) cell.shown.reset();
  }
  changed();
}

void Line::State::answer(std::string_view slot, bool yes, const std::string& operator_name) {
  const std::lock_guard one(one_at_a_time);
  std::shared_ptr<SlotRun> run;
  std::string id, serial;
  std::uint64_t asked = 0;
  const auto look = [&] {
    const SlotCell& cell = cell_of(slot);
    if (!cell.running || cell.shown->asked == 0)
      refuse_plainly("slot " + std::string(slot) + " asks nothing");
    run = cell.running;
    id = cell.shown->run.id;
    serial = cell.shown->run.serial;
    asked = cell.shown->asked;
  };
  {
    const std::lock_guard lock(mutex);
    look();
  }
  store([&](Records& to) {
    to.add_event("answer", slot, id, operator_name,
                 json_text({{"serial", serial}, {"answer", yes ? "yes" : "no"}}));
  });
  {
    const std::lock_guard lock(mutex);
    const std::uint64_t before = asked;
    look();
    if (asked != before) refuse_plainly("slot " + std::string(slot) + " asks something else by now");
    run->give_answer(yes);
    SlotCell& cell = cell_of(slot);
    cell.shown->asked = 0;
    cell.shown->run.question.reset();
  }
  changed();
}

void Line::State::lock(std::string_view slot, const std::string& reason, const std::string& operator_name) {
  expect_reason(reason);
  const std::lock_guard one(one_at_a_time);
  {
    const std::lock_guard lock(mutex);
    if (!cell_of(slot).lock_reason.empty())
      refuse_plainly("slot " + std::string(slot) + " is locked already");
  }
  store([&](Records& to) { to.add_event("lock", slot, {}, operator_name, json_text({{"reason", reason}})); });
  {
    const std::lock_guard lock(mutex);
    cell_of(slot).lock_reason = clean_text(reason);
  }
  say("slot " + std::string(slot) + ": locked: " + clean_text(reason));
  changed();
}

void Line::State::unlock(std::string_view slot, const std::string& reason, const std::string& operator_name) {
  expect_reason(reason);
  const std::lock_guard one(one_at_a_time);
  {
    const std::lock_guard lock(mutex);
    const SlotCell& cell = cell_of(slot);
    const std::string name = "slot " + std::string(slot);
    const bool is_locked = !cell.lock_reason.empty();
    if (!is_locked && is_due(cell)) refuse_plainly(name + " takes no unit: " + cell.checks->due_text());
    if (!is_locked) refuse_plainly(name + " is not locked by a person or a check");
  }
  store([&](Records& to) {
    to.add_event("unlock", slot, {}, operator_name, json_text({{"reason", reason}}));
  });
  {
    const std::lock_guard lock(mutex);
    cell_of(slot).lock_reason.clear();
  }
  say("slot " + std::string(slot) + ": unlocked: " + clean_text(reason));
  changed();
}

void Line::State::release(const std::string& serial, const std::string& reason,
                          const std::string& operator_name) {
  expect_reason(reason);
  try {
    store([&](Records& to) { to.release(serial, reason, operator_name); });
  } catch (const RecordsRefused& refused) {
    throw LineRefusal(LineRefusal::Why::unknown, refused.what());
  }
}

}  // namespace t1station
