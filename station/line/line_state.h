// The inside of a line: its slots, its lock, and what is done under it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "station/line/slot_cell.h"
#include "station/records/reader.h"

namespace t1station {

/// Why a run is stopped that nobody stopped.
inline constexpr const char* kShutDown = "the station was shut down";

/// Everything is stored without holding the lock: a slow disk holds up nobody who only looks.
struct Line::State {
  State(const LineFile& line, Records& to_records, std::function<void()> on_change, const Clock& a_clock,
        std::function<void(const std::string&)> to_log);
  ~State();

  LineView view();
  ScanTaken name_slot(const std::string& name, const std::string& text, const std::string& operator_name);
  ScanTaken scan_answer(bool yes, const std::string& operator_name);
  ScanTaken scan_unit(const std::string& serial, const std::optional<std::string>& slot,
                      const std::string& operator_name);
  void stop(std::string_view slot, const std::string& operator_name);
  void acknowledge(std::string_view slot, const std::string& operator_name);
  void answer(std::string_view slot, bool yes, const std::string& operator_name);
  void lock(std::string_view slot, const std::string& reason, const std::string& operator_name);
  void unlock(std::string_view slot, const std::string& reason, const std::string& operator_name);
  void release(const std::string& serial, const std::string& reason, const std::string& operator_name);
  void show_central(const CentralState& state);
  void show_mqtt(const std::string& state);
  bool shut_down();

  /// Stores something. Throws LineRefusal when that fails; nothing is stored any more then.
  void store(const std::function<void(Records&)>& storing);

 private:
  /// Where a unit is about to go.
  struct Reserved {
    SlotCell* cell = nullptr;
    bool is_check = false;
  };

  // Called with the lock held.
  SlotCell* find(std::string_view slot);
  SlotCell& cell_of(std::string_view slot);  // throws LineRefusal
  SlotCell* next_cell();
  SlotCell* asking_cell();
  SlotCell* slot_for(const std::optional<std::string>& named, bool is_check);
  bool is_due(const SlotCell& cell) const;
  void expect_open() const;  // throws LineRefusal
  bool is_slot_named() const;
  std::string reason_against(const SlotCell* cell, const std::optional<std::string>& named,
                             const std::string& serial, bool is_check);
  std::string state_reason(const SlotCell& cell, SlotState state) const;
  SlotState state_of(const SlotCell& cell) const;
  SlotView view_of(const SlotCell& cell) const;

  void take_up_history();
  Reserved reserve(const std::string& serial, const std::optional<std::string>& slot,
                   const std::string& operator_name);
  ScanTaken begin(const Reserved& reserved, const std::string& serial, const std::string& operator_name);
  void let_go(SlotCell& cell);
  void start(SlotCell& cell, const std::shared_ptr<const Plan>& plan, const NewRun& run,
             const std::string& id);
  void test(SlotCell& cell, const std::shared_ptr<SlotRun>& run, const NewRun& unit);
  void judge_check(SlotCell& cell, const NewRun& unit, Verdict verdict);
  [[noreturn]] void refuse(const std::string& slot, const std::string& text, const std::string& reason,
                           const std::string& operator_name);
  void break_off(const std::string& reason);
  void say(const std::string& event) const;
  bool take_up_plans(SlotCell& cell);
  Plans known_plans(const SlotCell& cell) const;
  void count_today();
  void look_after();

  const LineFile file;
  Records& records;
  const std::function<void()> changed;
  const Clock& clock;
  const std::function<void(const std::string&)> log;

  std::mutex one_at_a_time;  // answers, acknowledgements and locks: none is stored twice
  std::mutex mutex;          // of everything below but the reader
  std::deque<SlotCell> cells;
  std::string trouble;  // with the records; empty: none
  CentralState central;
  std::string mqtt = "off";
  RunCounts today;
  std::string counted_day;  // when the day of `today` began
  bool is_closing = false;
  std::string named;  // the slot that the last scan named; empty: none
  double named_at = 0;
  std::uint64_t passes = 0;
  std::condition_variable ended;  // a run has

  std::mutex reader_mutex;
  std::optional<RecordsReader> reader;
  std::jthread caretaker;
};

}  // namespace t1station
