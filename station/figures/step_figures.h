// Steps, and why they did not pass.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "station/figures/digest.h"
#include "station/figures/figures.h"

namespace t1station {

/// Finds what attempts tell. Runs must come newest first.
class StepCounting {
 public:
  explicit StepCounting(Figures& figures) : figures_(figures) {}

  /// What follows is of this digest, which must stand until then.
  void open(const Digest& digest);
  void add(const Digest::Run& run);
  void finish();

 private:
  struct Step {
    StepFigures figures;
    std::vector<double> seconds;
    std::vector<double> longest;  ///< of each run that has some
  };
  /// Where attempts of one kind are counted.
  struct Place {
    Step* step = nullptr;
    std::int64_t* outcomes = nullptr;
    bool is_passed = false, is_failed = false;
  };
  using FailureName = std::tuple<std::string, std::string, std::optional<std::string>>;

  void add_failure(const Digest::Attempt& last, std::string_view run);

  Figures& figures_;
  const Digest* digest_ = nullptr;
  std::vector<Place> places_;  ///< for each of the digest's tries
  std::map<std::pair<std::string, std::string>, Step> steps_;
  std::map<FailureName, FailureKind> failures_;
};

}  // namespace t1station
