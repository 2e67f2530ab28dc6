// What may come of a test that met a fault.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tests/sweep/calls.h"
#include "tests/sweep/run.h"
#include "tests/sweep/verdict.h"

/// Judges the runs of one code on one board.
class Judge {
 public:
  /// `healthy`: what comes of the code without a fault.
  Judge(int code, std::string_view family, const Outcome& healthy);

  /// What is wrong with an outcome under a fault (null: without one); nothing when it is as it should be.
  std::vector<std::string> complaints(const Fault* fault, const Outcome& outcome) const;

 private:
  void check_reply(const Fault* fault, const Outcome& outcome, std::vector<std::string>& wrong) const;
  void check_open(const Outcome& outcome, std::vector<std::string>& wrong) const;

  int code_;
  bool passes_;  ///< healthy
  Expectations expectations_;
};
