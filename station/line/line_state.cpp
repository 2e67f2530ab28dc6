// What a line is at a moment, and what it does by itself: taking up its past, plans that change, the day, the
// end.
#include "station/line/line_state.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <utility>

#include "station/text/json.h"

namespace t1station {
namespace {

using namespace std::chrono_literals;

constexpr auto kCaretakerPause = 1s;
constexpr auto kOrderlyEnd = 3s;  // for steps with `always`
constexpr auto kLatestEnd = 4500ms;
constexpr double kNamingLasts = 60;  // seconds

// When the PC's day began.
std::string day_start() {
  std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  local.tm_sec = local.tm_min = local.tm_hour = 0;
  local.tm_isdst = -1;
  return record_time(std::chrono::system_clock::from_time_t(std::mktime(&local)));
}

std::string hours_ago(double hours) {
  using Hours = std::chrono::duration<double, std::ratio<3600>>;
  const auto ago = std::chrono::duration_cast<std::chrono::system_clock::duration>(Hours(hours));
  return record_time(std::chrono::system_clock::now() - ago);
}

}  // namespace

Line::State::State(const LineFile& line, Records& to_records, std::function<void()> on_change,
                   const Clock& a_clock, std::function<void(const std::string&)> to_log)
    : file(line), records(to_records), changed(std::move(on_change)), clock(a_clock), log(std::move(to_log)) {
  for (const SlotFile& slot : file.slots) {
    SlotCell& cell = cells.emplace_back();
    cell.file = slot;
    cell.plans = read_plan_set(slot, file.path, known_plans(cell));
    if (file.check) cell.checks.emplace(*file.check);
  }
  reader.emplace(file.records);
  take_up_history();
  count_today();
  caretaker = std::jthread([this](const std::stop_token& end) {
    std::mutex pause_mutex;
    std::condition_variable_any pause;
    std::unique_lock lock(pause_mutex);
    while (!pause.wait_for(lock, end, kCaretakerPause, [] { return false; }) && !end.stop_requested()) {
      look_after();
    }
  });
}

Line::State::~State() {
  caretaker = {};
  for (SlotCell& cell : cells) {
    if (cell.thread.joinable()) cell.thread.join();
  }
}

void Line::State::take_up_history() {
  for (SlotCell& cell : cells) {
    SlotHistory history = reader->slot_history(file.station, cell.file.name);
    cell.lock_reason = history.lock_reason.value_or("");
    if (history.unacknowledged) cell.shown = shown_again(*history.unacknowledged, cell.plans);
    std::string wrong;
    for (const CheckRun& run : history.checks) {
      if (!cell.checks) break;
      wrong = cell.checks->add(run.serial, run.verdict, run.ended);
      // What was wrong before somebody unlocked the slot is settled.
      if (run.ended < history.unlocked) wrong.clear();
    }
    if (wrong.empty() || !cell.lock_reason.empty()) continue;
    records.add_event("lock", cell.file.name, history.checks.back().id, {}, json_text({{"reason", wrong}}));
    cell.lock_reason = wrong;
  }
}

void Line::State::store(const std::function<void(Records&)>& storing) {
  try {
    storing(records);
  } catch (const RecordsBroken& broken) {
    break_off(broken.what());
    throw LineRefusal(LineRefusal::Why::cannot_store, broken.what());
  }
}

void Line::State::break_off(const std::string& reason) {
  {
    const std::lock_guard lock(mutex);
    if (!trouble.empty()) return;
    trouble = reason;
    for (const SlotCell& cell : cells) {
      if (cell.running) cell.running->stop_at_once();  // nothing that comes of it could be stored
    }
  }
  say(reason + "; no unit is taken any more");
  changed();
}

void Line::State::say(const std::string& event) const {
  if (log) log(event);
}

SlotCell* Line::State::find(std::string_view slot) {
  const auto found =
      std::find_if(cells.begin(), cells.end(), [&](const SlotCell& cell) { return cell.file.name == slot; });
  return found == cells.end() ? nullptr : &*found;
}

SlotCell& Line::State::cell_of(std::string_view slot) {
  if (SlotCell* cell = find(slot)) return *cell;
  throw LineRefusal(LineRefusal::Why::unknown, "there is no slot " + std::string(slot));
}

bool Line::State::is_due(const SlotCell& cell) const {
  return cell.checks && cell.checks->is_due(hours_ago(file.check->every_hours));
}

SlotState Line::State::state_of(const SlotCell& cell) const {
  // A unit that is about to be stored is not shown yet.
  if (cell.running) return cell.shown->is_testing ? SlotState::testing : SlotState::waiting;
  if (waits_for_acknowledgement(cell)) return SlotState::done;
  if (!trouble.empty() || !lock_of(cell).empty()) return SlotState::locked;
  if (shows_a_pass(cell)) return SlotState::done;
  return is_due(cell) ? SlotState::locked : SlotState::idle;
}

std::string Line::State::state_reason(const SlotCell& cell, SlotState state) const {
  switch (state) {
    case SlotState::idle:
    case SlotState::testing:
      return {};
    case SlotState::waiting:
      return cell.shown ? cell.shown->waiting_for : "";
    case SlotState::done:
      return cell.shown->run.reason;
    case SlotState::locked:
      break;
  }
  if (!trouble.empty()) return trouble;
  const std::string lock = lock_of(cell);
  return lock.empty() ? cell.checks->due_text() : lock;
}

// A naming holds for one scan and a minute.
bool Line::State::is_slot_named() const {
  return !named.empty() && clock.now() - named_at <= kNamingLasts;
}

// The first idle slot, else the one that has shown a pass longest.
SlotCell* Line::State::next_cell() {
  SlotCell* longest = nullptr;
  for (SlotCell& cell : cells) {
    if (is_busy(cell)) continue;
    const SlotState state = state_of(cell);
    if (state == SlotState::idle) return &cell;
    if (state != SlotState::done || !shows_a_pass(cell)) continue;
    if (!longest || cell.passed_as < longest->passed_as) longest = &cell;
  }
  return longest;
}

SlotCell* Line::State::asking_cell() {
  SlotCell* first = nullptr;
  for (SlotCell& cell : cells) {
    if (!cell.shown || cell.shown->asked == 0) continue;
    if (!first || cell.shown->asked < first->shown->asked) first = &cell;
  }
  return first;
}

SlotView Line::State::view_of(const SlotCell& cell) const {
  SlotView view;
  view.name = cell.file.name;
  view.state = state_of(cell);
  view.reason = state_reason(cell, view.state);
  if (cell.shown) {
    view.run = cell.shown->run;
    view.plan_name = cell.shown->plan_name;
    view.plan_version = cell.shown->plan_version;
  } else if (!cell.plans.plans.empty()) {
    view.plan_name = cell.plans.plans.front()->name;
    view.plan_version = cell.plans.plans.front()->version;
  }
  return view;
}

LineView Line::State::view() {
  const std::lock_guard lock(mutex);
  LineView view;
  view.station = file.station;
  view.language = file.language;
  if (!trouble.empty()) view.records = trouble;
  view.central = central;
  view.mqtt = mqtt;
  view.today = today;
  const SlotCell* next = is_slot_named() ? find(named) : next_cell();
  const SlotCell* asking = asking_cell();
  for (const SlotCell& cell : cells) {
    view.slots.push_back(view_of(cell));
    view.slots.back().is_next = &cell == next && trouble.empty() && !is_closing;
    view.slots.back().has_answer = &cell == asking;
  }
  return view;
}

// The slot's own first, then those of the others: slots with the same plan share it, since its patterns take
// a great deal of memory.
Plans Line::State::known_plans(const SlotCell& cell) const {
  Plans known = cell.plans.plans;
  for (const SlotCell& other : cells) {
    for (const std::shared_ptr<const Plan>& plan : other.plans.plans) {
      if (std::find(known.begin(), known.end(), plan) == known.end()) known.push_back(plan);
    }
  }
  return known;
}

// Returns whether they are others than before.
bool Line::State::take_up_plans(SlotCell& cell) {
  PlanSet before;
  Plans known;
  {
    const std::lock_guard lock(mutex);
    before = cell.plans;
    known = known_plans(cell);
  }
  PlanSet now = read_plan_set(cell.file, file.path, known);
  const bool is_other = now.plans != before.plans || now.trouble != before.trouble;
  if (is_other) {
    say("slot " + cell.file.name + ": " +
        (now.trouble.empty() ? "plans changed" : "locked: " + now.trouble_text()));
  }
  const std::lock_guard lock(mutex);
  cell.plans = std::move(now);
  return is_other;
}

void Line::State::count_today() {
  const std::string day = day_start();
  RunCounts counts;
  {
    const std::lock_guard lock(reader_mutex);
    counts = reader->counts_since(day);
  }
  const std::lock_guard lock(mutex);
  today = counts;
  counted_day = day;
}

// What changes without anybody asking for it: plan files, the day, a check that becomes due, a naming that is
// too old.
void Line::State::look_after() {
  try {
    records.look();
    for (SlotCell& cell : cells) take_up_plans(cell);
    bool is_new_day = false;
    {
      const std::lock_guard lock(mutex);
      is_new_day = counted_day != day_start();
    }
    if (is_new_day) count_today();
  } catch (const std::exception& error) {
    return break_off(error.what());
  }
  changed();
}

void Line::State::show_central(const CentralState& state) {
  {
    const std::lock_guard lock(mutex);
    central = state;
  }
  changed();
}

void Line::State::show_mqtt(const std::string& state) {
  {
    const std::lock_guard lock(mutex);
    mqtt = state;
  }
  changed();
}

bool Line::State::shut_down() {
  const auto start = std::chrono::steady_clock::now();
  std::unique_lock lock(mutex);
  is_closing = true;
  const auto running = [this] {
    std::vector<std::shared_ptr<SlotRun>> runs;
    for (const SlotCell& cell : cells) {
      if (cell.running) runs.push_back(cell.running);
    }
    return runs;
  };
  const auto none_is_busy = [this] { return std::none_of(cells.begin(), cells.end(), is_busy); };
  for (const std::shared_ptr<SlotRun>& run : running()) run->stop(kShutDown);
  if (ended.wait_until(lock, start + kOrderlyEnd, none_is_busy)) return true;
  for (const std::shared_ptr<SlotRun>& run : running()) run->stop_at_once();
  return ended.wait_until(lock, start + kLatestEnd, none_is_busy);
}

}  // namespace t1station
