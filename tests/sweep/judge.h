// What may come of a test that met a fault.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/sweep/calls.h"
#include "tests/sweep/run.h"
#include "tests/sweep/verdict.h"

/// Judges the runs of one code on one board.
class Judge {
 public:
  /// `healthy`: what comes of the code without a fault, with the levels of input lines.
  Judge(int code, std::string_view family, const Outcome& healthy);

  /// Whether a test may pass and fail under a fault alike.
  bool is_undecided(const Fault& fault) const { return expectations_.of(fault) == Verdict::either; }

  /// The fault under which a test must reply the same, because the calls do just as little and nobody looks
  /// at what they return; none when the reply to `fault` is known without it.
  std::optional<Fault> twin(const Fault& fault) const;

  /// What is wrong with an outcome under a fault (null: without one), given what its twin replies if it has
  /// one; nothing when it is as it should be.
  std::vector<std::string> complaints(const Fault* fault, const Outcome& outcome,
                                      const std::vector<std::string>* twin) const;

 private:
  using Wrong = std::vector<std::string>;
  void check_reply(const Fault* fault, const Outcome& outcome, const std::vector<std::string>* twin,
                   Wrong& wrong) const;
  void check_open(const Outcome& outcome, Wrong& wrong) const;
  void check_time(const Outcome& outcome, Wrong& wrong) const;

  int code_;
  std::string_view family_;
  Expectations expectations_;
};
