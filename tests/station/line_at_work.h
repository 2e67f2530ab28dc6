// A line of slots with answering boards, its file, plans and records in a directory of its own.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "station/line/line.h"
#include "tests/harness/own_directory.h"
#include "tests/station/answering_board.h"
#include "tests/station/records_support.h"

/// Time that only goes on when a test says so.
class TurnedClock final : public t1station::Clock {
 public:
  double now() const override { return now_; }
  void turn(double seconds) { now_ = now_ + seconds; }

 private:
  std::atomic<double> now_ = 1000;
};

/// The plan is that of records_support, "clock" and "temperature", unless a test writes another.
class LineAtWork : public testing::Test {
 protected:
  LineAtWork() { records_support::write(path("plan.toml"), records_support::plan_text()); }
  ~LineAtWork() override { end(); }

  /// The text of a line's file with slots "1", "2" ... at these boards.
  std::string line_text(const std::vector<std::string>& boards, const std::string& more = {}) const {
    std::string text = "[station]\nname = \"ICT-3\"\nrecords = \"records.db\"\nboard_wait = 0.1\n";
    for (std::size_t i = 0; i < boards.size(); ++i) {
      text += "[[slot]]\nname = \"" + std::to_string(i + 1) + "\"\nboard = \"" + boards[i] +
              "\"\nplan = \"plan.toml\"\n";
    }
    return text + more;
  }

  /// Starts a line, or starts it again.
  t1station::Line& begin_file(const std::string& text) {
    end();
    records_support::write(path("line.toml"), text);
    file_ = t1station::read_line_file(path("line.toml"));
    records_.emplace(file_.records, vfs);
    line_ = std::make_unique<t1station::Line>(
        file_, *records_, [this] { tell(); }, clock);
    return *line_;
  }
  t1station::Line& begin(const std::vector<std::string>& boards, const std::string& more = {}) {
    return begin_file(line_text(boards, more));
  }
  void end() {
    line_.reset();
    records_.reset();
  }

  /// Scans, and returns where it went.
  t1station::ScanTaken scan(const std::string& text) { return line_->scan(text, std::nullopt, "Li"); }
  /// The reason why a scan is refused.
  std::string refused(const std::string& text, const std::optional<std::string>& slot = std::nullopt) {
    return refusal([&] { line_->scan(text, slot, "Li"); });
  }
  static std::string refusal(const std::function<void()>& doing,
                             t1station::LineRefusal::Why why = t1station::LineRefusal::Why::refused) {
    try {
      doing();
    } catch (const t1station::LineRefusal& refusal) {
      EXPECT_EQ(refusal.why(), why) << refusal.what();
      return refusal.what();
    }
    return "not refused";
  }

  t1station::SlotView slot(std::size_t place) const { return line_->view().slots.at(place); }
  std::string next_slot() const {
    for (const t1station::SlotView& slot : line_->view().slots) {
      if (slot.is_next) return slot.name;
    }
    return "";
  }
  /// Waits until a slot is like that; looks whenever the line says that something has changed.
  t1station::SlotView await(std::size_t place, const std::function<bool(const t1station::SlotView&)>& like) {
    std::unique_lock lock(mutex_);
    t1station::SlotView seen;
    const bool came = told_.wait_for(lock, std::chrono::seconds(60), [&] {
      seen = slot(place);
      return like(seen);
    });
    EXPECT_TRUE(came) << "slot " << place << " is " << slot_state_name(seen.state) << ": " << seen.reason;
    return seen;
  }
  t1station::SlotView await_state(std::size_t place, t1station::SlotState state) {
    return await(place, [&](const t1station::SlotView& slot) { return slot.state == state; });
  }
  /// Scans a unit and waits for its verdict.
  t1station::SlotView test(const std::string& serial) {
    const std::string name = scan(serial).slot;
    std::size_t place = 0;
    while (slot(place).name != name) ++place;
    return await(place, [&](const t1station::SlotView& slot) {
      return slot.run && slot.run->serial == serial && slot.run->verdict;
    });
  }

  std::string path(const std::string& name) const { return directory_.file(name); }
  std::vector<t1station::StoredRun> runs() const { return records_support::runs_of(file_.records); }

  const OwnDirectory directory_;
  TurnedClock clock;
  std::string vfs;
  t1station::LineFile file_;
  std::optional<t1station::Records> records_;
  std::unique_ptr<t1station::Line> line_;

 private:
  void tell() {
    const std::lock_guard lock(mutex_);
    told_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable told_;
};
