// The command `t1station run --plan` as the tests of it call it.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "station/app/app.h"
#include "tests/harness/own_directory.h"
#include "tests/station/board_texts.h"
#include "tests/station/records_support.h"
#include "tests/station/scripted_link.h"

/// With the plan of records_support: "clock" with two attempts, which stops the rest, and "temperature" with
/// its limits.
class RunPlanTest : public testing::Test {
 protected:
  static inline const std::string nobody = "127.0.0.1:1";  ///< where a connection would end with 6
  static inline const std::string serial = "AB00000001";
  static inline const std::string rtc_fail =
      board_texts::reply(1536, board_texts::rtc_name_gbk, "Fail", board_texts::read_failed_gbk);
  /// The temperature's "Pass" with this number.
  static std::string degrees(const std::string& number) {
    return board_texts::reply(records_support::plan().steps.at(1).code, "x", "Pass", number);
  }

  RunPlanTest() { records_support::write(plan_, records_support::plan_text()); }

  int run_app(const std::vector<std::string>& words) { return run_app(words, clock_); }
  int run_app(const std::vector<std::string>& words, const t1station::Clock& clock) {
    out_.str("");
    err_.str("");
    t1station::Environment around{out_, err_, clock, interrupt_, "2026-11-22T03:17:12"};
    around.host = "ICT-7";
    return t1station::run_app(words, around);
  }
  /// `run` with the plan, a unit and records.
  int run(const std::string& board, const std::vector<std::string>& more = {}) {
    return run(board, more, clock_);
  }
  int run(const std::string& board, const std::vector<std::string>& more, const t1station::Clock& clock) {
    std::vector<std::string> words{board,  "run",       "--plan", plan_,          "--serial",
                                   serial, "--records", file_,    "--board-wait", "0.1"};
    words.insert(words.end(), more.begin(), more.end());
    return run_app(words, clock);
  }
  /// The complaint of a run that is refused with exit code 4 before anything was asked or kept.
  std::string refused(const std::vector<std::string>& words) {
    EXPECT_EQ(run_app(words), 4);
    EXPECT_EQ(out(), "");
    EXPECT_FALSE(std::filesystem::exists(file_));
    return err();
  }
  std::string refused_plan(const std::string& text) {
    records_support::write(plan_, text);
    return refused({nobody, "run", "--plan", plan_, "--serial", serial, "--records", file_});
  }

  std::string out() const { return out_.str(); }
  std::string err() const { return err_.str(); }
  std::string path(const std::string& name) const { return directory_.file(name); }
  nlohmann::json json() const { return nlohmann::json::parse(records_support::content_of(path("json"))); }
  t1station::StoredRun stored() const { return records_support::runs_of(file_).back(); }

  const OwnDirectory directory_;
  const std::string plan_ = directory_.file("p.toml");
  const std::string file_ = directory_.file("records.db");
  ManualClock clock_;  // stands still: every test takes 0.0 seconds
  t1station::Interrupt interrupt_;
  std::ostringstream out_, err_;
};
