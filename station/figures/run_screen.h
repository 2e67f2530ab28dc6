// Which runs of a day may be wanted, told from the day in little room.
#pragma once

#include <vector>

#include "station/figures/digest.h"
#include "station/records/run_filter.h"

namespace t1station {

/// Leaves runs out that a filter cannot want. What it lets pass is for the tables to decide.
class RunScreen {
 public:
  explicit RunScreen(const RunFilter& filter) : filter_(filter) {}

  /// Whether the filter asks for what a day in little room knows, and few runs may have.
  static bool helps(const RunFilter& filter);

  /// The runs that come next are of this day, which must outlive them.
  void open(const Digest& day);
  /// Whether a run of the day may be wanted.
  bool lets_pass(const Digest::Run& run) const;

 private:
  bool has_verdict(const Digest::Run& run) const;
  bool has_step(const Digest::Run& run) const;
  bool has_measured(const Digest::Run& run) const;

  const RunFilter filter_;
  const Digest* day_ = nullptr;
  std::vector<bool> tries_, kinds_;  ///< of the day: may be wanted
};

}  // namespace t1station
