// Histories of a line, drawn by a seed.
#pragma once

#include <random>
#include <string>
#include <vector>

#include "tests/station/figures_model.h"

namespace figures_model {

/// A week or so of a line: units under several plans and versions, check runs, interrupted ones, runs that
/// start together.
class RandomLine {
 public:
  explicit RandomLine(unsigned seed);

  const Runs& runs() const { return runs_; }
  /// A window that begins and ends anywhere, or exactly at a run's start, or nowhere; of some batch, or all.
  Window window();

 private:
  int number(int low, int high);
  std::string pick(const std::vector<std::string>& texts);
  std::string time();
  Run run(int place);
  void add_step(Run& run, int index);
  Measured measured(const Run& run);

  std::mt19937 random_;
  Runs runs_;
};

}  // namespace figures_model
