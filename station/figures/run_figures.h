// Runs, units, yields and slots.
#pragma once

#include <boost/unordered/unordered_flat_set.hpp>
#include <functional>
#include <map>
#include <memory_resource>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "station/figures/batch_figures.h"
#include "station/figures/digest.h"
#include "station/figures/figures.h"

namespace t1station {

/// Finds what runs alone tell. Runs must come newest first.
class RunCounting {
 public:
  explicit RunCounting(Figures& figures) : figures_(figures) {}

  void add(const Digest& digest, const Digest::Run& run);
  void finish();

 private:
  void add_to_slot(const Digest& digest, const Digest::Run& run);
  /// Whether this is the first run that comes of its unit, which is its last one in the window.
  bool is_new_unit(const Digest& digest, const Digest::Run& run);
  void add_first(const Digest& digest, const Digest::Run& run);

  Figures& figures_;
  std::string unit_;                            // of the run that is looked at
  std::pmr::monotonic_buffer_resource memory_;  // for the names of a million units, given back at once
  boost::unordered_flat_set<std::string_view, std::hash<std::string_view>> units_;
  std::map<std::pair<std::string, std::optional<std::string>>, SlotFigures> slots_;
  BatchCounting batches_;
};

}  // namespace t1station
